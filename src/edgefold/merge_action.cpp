#include "edgefold/merge_action.h"

#include <cstdint>

#include "diag/file_access.h"
#include "diag/message_catalogue.h"
#include "diag/reporter.h"
#include "edgefold/input_list.h"
#include "edgefold/options.h"
#include "hotpath/database/sample_db.h"
#include "hotpath/model/function_record_factory_impl.h"
#include "hotpath/model/function_record_set.h"
#include "hotpath/model/hotpath_allocator.h"
#include "hotpath/report/dump_report.h"

namespace tool {
namespace {

// What one merge works on. The proxies of `database_records` point into the database.
struct MergeState {
    hotpath::FunctionRecordFactoryImpl<hotpath::AllocatorOnHeap> factory;
    hotpath::FunctionRecordSet input_records{factory};
    hotpath::SampleDB database;
    hotpath::FunctionRecordSet database_records{factory};
};

void open_database(MergeState& state, const char* path) {
    switch (state.database.open_writable(&state.database_records, path)) {
        case hotpath::DbOpenOk: return;
        case hotpath::DbOpenCannotOpen: diag::report_fatal(diag::PT_cannot_open_output_file, path);
        case hotpath::DbOpenIncompatible:
            diag::report_fatal(diag::PT_edgefold_incompatible_file_format, path);
        default: diag::report_fatal(diag::PT_edgefold_internal_error);
    }
}

void merge_inputs(MergeState& state, const char* database_path) {
    open_database(state, database_path);
    if (!state.database.merge_records(state.input_records, state.factory))
        diag::report_fatal(diag::PT_edgefold_internal_error);
    // The report shows what the inputs brought, not what the database holds now.
    if (opt_dump != 0) hotpath::dump_report(state.input_records, opt_sort);
}

}  // namespace

void merge_action(char* file_list, const char* database_path, TargetFile target) {
    // Before any input is opened: a run that can't keep its result doesn't warn of its inputs.
    const bool exists = diag::file_access(database_path, diag::AccessMode::read) == 0;
    if (target == TargetFile::must_be_new && exists)
        diag::report_fatal(diag::PT_edgefold_output_exists, database_path);
    // Never deleted: the process ends with the action, and to delete millions of objects would cost
    // time for nothing. The reference keeps them reachable.
    static MergeState& state = *new MergeState;
    const std::uint32_t count = read_input_list(file_list, state.input_records);
    if (count != 0) merge_inputs(state, database_path);
    if (opt_quiet == 0)
        diag::report_remark(diag::PT_edgefold_merged_files, static_cast<std::int32_t>(count));
    state.database.close();
}

}  // namespace tool
