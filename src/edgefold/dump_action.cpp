#include "edgefold/dump_action.h"

#include "edgefold/input_list.h"
#include "edgefold/options.h"
#include "hotpath/model/function_record_factory_impl.h"
#include "hotpath/model/function_record_set.h"
#include "hotpath/model/hotpath_allocator.h"
#include "hotpath/report/dump_report.h"

namespace tool {
namespace {

struct DumpState {
    hotpath::FunctionRecordFactoryImpl<hotpath::AllocatorOnHeap> factory;
    hotpath::FunctionRecordSet records{factory};
};

}  // namespace

void dump_action(char* file_list) {
    // Never deleted, as the process ends with the action; the reference keeps it reachable.
    static DumpState& state = *new DumpState;
    // A list of which nothing could be read still leads to a report, an empty one.
    (void)read_input_list(file_list, state.records);
    hotpath::dump_report(state.records, opt_sort);
}

}  // namespace tool
