#include "tool/dump_action.h"

#include "shared/hotpath/model/function_record_factory.h"
#include "shared/hotpath/model/function_record_set.h"
#include "shared/hotpath/model/hotpath_allocator.h"
#include "shared/hotpath/report/dump_report.h"
#include "tool/input_list.h"
#include "tool/options.h"

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
    read_input_list(file_list, state.records);
    hotpath::dump_report(state.records, opt_sort);
}

}  // namespace tool
