// Brings the inputs of a run into the target database.
#include "diag/reporter.h"
#include "shared/hotpath/database/sample_db.h"
#include "shared/hotpath/model/function_record_proxy.h"
#include "shared/hotpath/model/function_record_set.h"

namespace hotpath {
namespace {

bool succeeded(bool done, const char* failure) {
    if (!done && (diag::trace_flags & diag::TRACE_DB_ERRORS) != 0) diag::trace_print("%s", failure);
    return done;
}

}  // namespace

bool SampleDB::merge_records(const FunctionRecordSet& input_records,
                             FunctionRecordFactory& factory) {
    // No proxies of functions that no input can find: a large file costs an update little more than
    // the reading of its rows.
    if (!read_proxies(*m_record_set, &input_records)) return false;
    m_proxies_read = true;
    const std::uint32_t runs = m_record_set->num_runs() + input_records.num_runs();
    // Outside the transaction: a merge that fails later has still counted its runs.
    set_value(run_info_table, "num_runs", static_cast<std::int32_t>(runs));
    begin_transaction();
    bool done = true;
    for (FunctionRecordInterface* record : input_records.records_by_key()) {
        const FunctionRecord& source = *record->get_full_record();
        done = m_held_functions ? merge_function(source, factory) : insert_new(source);
        if (!done) break;
    }
    // Also after a failure: what was written before it is kept.
    end_transaction();
    return done;
}

bool SampleDB::insert_new(const FunctionRecord& source) {
    return succeeded(insert_function_record(source), "Error while inserting function.\n");
}

bool SampleDB::merge_function(const FunctionRecord& source, FunctionRecordFactory& factory) {
    FunctionRecord* const target =
        m_record_set->find_record(source.get_file_name(), source.get_function_name());
    if (target == nullptr) return insert_new(source);
    const FunctionRecordProxy* const proxy = target->get_proxy();
    target->merge(source, factory);
    return succeeded(update_function_record(proxy->function_id(), *target),
                     "Error while updating function.\n");
}

}  // namespace hotpath
