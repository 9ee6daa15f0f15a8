#include "hotpath/database/merge.h"

#include <optional>

#include "diag/trace.h"
#include "hotpath/database/key_values.h"
#include "hotpath/model/function_record_proxy.h"
#include "hotpath/model/function_record_set.h"

namespace hotpath {
namespace {

bool succeeded(bool done, const char* failure) {
    if (!done && diag::traces(diag::TRACE_DB_ERRORS)) diag::trace_print("%s", failure);
    return done;
}

}  // namespace

bool Merge::run(const FunctionRecordSet& inputs, FunctionRecordFactory& factory) {
    if (!read_own_records(inputs)) return false;
    // Outside the transaction: a merge that fails later has still counted its runs.
    write_run_count(inputs);
    m_connection.begin_transaction();
    // From here on nobody else can write; until here another process could.
    m_own_records_are_current =
        !m_data_version.empty() && m_connection.data_version() == m_data_version;
    const bool done = write_functions(inputs, factory);
    // Also after a failure: what was written before it is kept. That this may fail isn't looked at.
    (void)m_connection.end_transaction();
    return done;
}

// No proxies of functions that no input can find: a large file costs an update little more than
// SQLite's reading of its rows.
bool Merge::read_own_records(const FunctionRecordSet& inputs) {
    m_data_version = m_connection.data_version();
    const std::optional<std::uint64_t> rows = m_loader.read_proxies(m_own_records, &inputs);
    m_file_had_functions = rows.value_or(0) != 0;
    return rows.has_value();
}

void Merge::write_run_count(const FunctionRecordSet& inputs) const {
    const std::uint32_t runs = m_own_records.num_runs() + inputs.num_runs();
    // Not looked at: a run count that can't be written doesn't stop the merge.
    (void)set_value(m_connection, run_info_table, "num_runs", static_cast<std::int32_t>(runs));
}

bool Merge::write_functions(const FunctionRecordSet& inputs, FunctionRecordFactory& factory) {
    for (FunctionRecordInterface* record : inputs.records_by_key()) {
        const FunctionRecord& source = *record->get_full_record();
        if (!(m_file_had_functions ? insert_or_update(source, factory) : insert(source)))
            return false;
    }
    return true;
}

bool Merge::insert(const FunctionRecord& source) {
    return succeeded(m_writer.insert_function_record(source, older_row(source)),
                     "Error while inserting function.\n");
}

bool Merge::insert_or_update(const FunctionRecord& source, FunctionRecordFactory& factory) {
    FunctionRecord* const target =
        m_own_records.find_record(source.key().file(), source.get_function_name());
    if (target == nullptr) return insert(source);
    const FunctionRecordProxy* const proxy = target->get_proxy();
    target->merge(source, factory);
    return succeeded(m_writer.update_function_record(proxy->function_id(), *target),
                     "Error while updating function.\n");
}

// What the file's own records tell of a function that isn't among them. Each row that has its texts
// stands under its key, and so do rows whose names are cut otherwise. Of the inputs' functions no
// two have the same texts.
OlderRow Merge::older_row(const FunctionRecord& source) const {
    if (!m_own_records_are_current) return OlderRow::possible;
    if (!m_file_had_functions) return OlderRow::none;
    return m_own_records.holds_key(source.key().file(), source.get_function_name())
               ? OlderRow::possible
               : OlderRow::none;
}

}  // namespace hotpath
