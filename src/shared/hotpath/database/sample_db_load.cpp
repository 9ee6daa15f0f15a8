// Turns rows of a sample database into records of the profile model.
#include <utility>

#include "diag/decimal_text.h"
#include "diag/reporter.h"
#include "shared/hotpath/database/sample_db.h"
#include "shared/hotpath/model/function_record_factory.h"
#include "shared/hotpath/model/function_record_set.h"

namespace hotpath {

// A row of `sf_functions`. It arrives as text, of which most rows of an update need little.
class FunctionRow {
public:
    FunctionRow(const TextTable& table, int row) : table_(table), row_(row) {}

    std::uint32_t id() const { return static_cast<std::uint32_t>(number_32(functions_column::id)); }
    std::string_view name() const { return cell(functions_column::func_name); }
    std::int32_t file_id() const { return number_32(functions_column::file_id); }
    std::uint64_t exec_count() const { return number_64(functions_column::exec_count); }
    std::uint64_t flags() const { return number_64(functions_column::flags); }

private:
    std::string_view cell(std::uint32_t column) const {
        return table_.cell(row_, static_cast<int>(column));
    }
    std::int32_t number_32(std::uint32_t column) const {
        return diag::decimal_prefix_32(cell(column));
    }
    std::uint64_t number_64(std::uint32_t column) const {
        return static_cast<std::uint64_t>(diag::decimal_prefix(cell(column)));
    }

    const TextTable& table_;
    int row_;
};

namespace {

void trace_sql_error(const char* operation, const char* form, const char* error) {
    if ((diag::trace_flags & diag::TRACE_DB_ERRORS) == 0) return;
    diag::trace_print("SampleDB::%s: ", operation);
    diag::trace_print("%s: %s\n", form, error);
}

// False, with its trace, if no file can have the row's file id.
bool has_valid_file(const FunctionRow& row, const FileTable& files) {
    const std::int32_t id = row.file_id();
    if (id >= 0 && static_cast<std::uint32_t>(id) < files.size()) return true;
    if ((diag::trace_flags & diag::TRACE_DB_ERRORS) == 0) return false;
    diag::trace_print("Database corrupt. Invalid file_id for %.*s\n",
                      diag::printed_size(row.name()), row.name().data());
    diag::trace_print("Max file id expected was %u", files.size());
    diag::trace_print(" File id was %u\n", static_cast<std::uint32_t>(id));
    return false;
}

void trace_load(std::string_view file_name, std::string_view function_name) {
    if ((diag::trace_flags & diag::TRACE_DB_LOAD) == 0) return;
    diag::trace_print("Load function: %.*s(%.*s)", diag::printed_size(file_name), file_name.data(),
                      diag::printed_size(function_name), function_name.data());
}

void trace_loaded(const char* what) {
    if ((diag::trace_flags & diag::TRACE_DB_LOAD) != 0) diag::trace_print(": %s created\n", what);
}

void trace_missing_callee(std::uint32_t func_id) {
    if ((diag::trace_flags & diag::TRACE_DB_ERRORS) == 0) return;
    diag::trace_print("Corrupted DB:");
    diag::trace_print(" Callee name missing for function.");
    diag::trace_print(" func_id = %u\n", func_id);
}

std::uint32_t column_uint32(const SqlStatement& row, std::uint32_t column) {
    return static_cast<std::uint32_t>(row.column_int(static_cast<int>(column)));
}

std::uint64_t column_uint64(const SqlStatement& row, std::uint32_t column) {
    return static_cast<std::uint64_t>(row.column_int64(static_cast<int>(column)));
}

SourcePosition from_position(const SqlStatement& row) {
    return {column_uint32(row, edges_column::from_abs_line),
            column_uint32(row, edges_column::from_rel_line),
            column_uint32(row, edges_column::from_column),
            column_uint32(row, edges_column::from_discr)};
}

SourcePosition to_position(const SqlStatement& row) {
    return {column_uint32(row, edges_column::to_abs_line),
            column_uint32(row, edges_column::to_rel_line),
            column_uint32(row, edges_column::to_column),
            column_uint32(row, edges_column::to_discr)};
}

}  // namespace

bool SampleDB::read_function_records(FunctionRecordSet& set, FunctionRecordFactory& factory,
                                     bool proxies) {
    return proxies ? read_proxies(set, nullptr) : read_full_records(set, factory);
}

bool SampleDB::load_function_details(std::uint32_t func_id, FunctionRecordFactory& factory,
                                     FunctionRecord& record) {
    load_edges(func_id, factory, record);
    load_calls(func_id, factory, record);
    return true;
}

bool SampleDB::load_filenames_table(FileTable& names) const {
    const OptionalId largest = max_column_value(filenames_table.name, "sf_id");
    if (!largest.has_value) return false;
    names.resize(std::int64_t{static_cast<std::int32_t>(largest.value)} + 1);
    if (names.read(db())) return true;
    trace_sql_error("load_filenames_table", "SQL error", names.error());
    return false;
}

// Adds the run count to the set, and reads the rows that its functions come from.
bool SampleDB::read_tables(FunctionRecordSet& set, FileTable& files, TextTable& functions) const {
    const std::int32_t num_runs = get_int_value(run_info_table, "num_runs");
    if (num_runs != -1) set.add_runs(static_cast<std::uint32_t>(num_runs));
    if (!load_filenames_table(files)) return false;
    if (functions.read(db(), "SELECT * FROM sf_functions")) return true;
    trace_sql_error("read_function_records", "SQL error ", functions.error());
    return false;
}

// Without `wanted` each function becomes a proxy.
bool SampleDB::read_proxies(FunctionRecordSet& set, const FunctionRecordSet* wanted) {
    FileTable files;
    TextTable table;
    if (!read_tables(set, files, table)) return false;
    m_held_functions = table.row_count() != 0;
    for (int i = 0; i < table.row_count(); ++i) {
        const FunctionRow row(table, i);
        if (!has_valid_file(row, files)) return false;
        add_proxy(set, row, files[static_cast<std::uint32_t>(row.file_id())], wanted);
    }
    return true;
}

void SampleDB::add_proxy(FunctionRecordSet& set, const FunctionRow& row, std::string_view file_name,
                         const FunctionRecordSet* wanted) {
    trace_load(file_name, row.name());
    FunctionRecordProxy* const proxy =
        wanted == nullptr
            ? set.find_or_create_proxy(file_name, row.name(), this, row.id())
            : set.find_or_create_wanted_proxy(file_name, row.name(), this, row.id(), *wanted);
    if (proxy != nullptr) {
        proxy->set_exec_count(row.exec_count());
        proxy->set_flags(row.flags());
    }
    trace_loaded("proxy");
}

bool SampleDB::read_full_records(FunctionRecordSet& set, FunctionRecordFactory& factory) {
    FileTable files;
    TextTable table;
    if (!read_tables(set, files, table)) return false;
    // A statement that stands on a row holds the file's read lock, which each of the two reads for
    // each function would otherwise take and give back.
    SqlStatement lock;
    lock.prepare(db(), "SELECT sf_id FROM sf_functions");
    lock.step();
    for (int i = 0; i < table.row_count(); ++i) {
        const FunctionRow row(table, i);
        if (!has_valid_file(row, files)) return false;
        add_full_record(set, row, files[static_cast<std::uint32_t>(row.file_id())], factory);
    }
    return true;
}

void SampleDB::add_full_record(FunctionRecordSet& set, const FunctionRow& row,
                               std::string_view file_name, FunctionRecordFactory& factory) {
    trace_load(file_name, row.name());
    FunctionRecord* const record = set.find_or_create_record(file_name, row.name());
    record->add_exec_count(row.exec_count());
    if ((row.flags() & function_uses_discriminators) != 0) record->set_uses_discriminators(true);
    if ((row.flags() & function_uses_columns) != 0) record->set_uses_columns(true);
    load_function_details(row.id(), factory, *record);
    trace_loaded("full record loaded");
}

void SampleDB::load_edges(std::uint32_t func_id, FunctionRecordFactory& factory,
                          FunctionRecord& record) {
    const SqlStatement& row = m_select_edges;
    row.bind_uint32(edges_column::from_func_id, func_id);
    int code = row.step();
    for (; code == step_row; code = row.step()) {
        // Only the low half of a stored count is read, with its sign: readers of the format have
        // always had it so.
        const std::int64_t count = row.column_int(edges_column::exec_count);
        EdgeRecord* const edge =
            record.add_edge(column_uint64(row, edges_column::from_address), from_position(row),
                            column_uint64(row, edges_column::to_bb_end_address), to_position(row),
                            static_cast<std::uint64_t>(count), factory);
        const std::uint32_t flags = column_uint32(row, edges_column::flags);
        edge->set_entry(flags);
        edge->set_exit(flags >> 1);
    }
    if (code != step_done) m_row_ids.forget();
    row.reset();
}

void SampleDB::load_calls(std::uint32_t func_id, FunctionRecordFactory& factory,
                          FunctionRecord& record) {
    const SqlStatement& row = m_select_calls;
    row.bind_uint32(calls_column::from_func_id, func_id);
    int code = row.step();
    for (; code == step_row; code = row.step()) {
        const char* const callee_name = row.column_text(calls_column::to_func_name);
        if (callee_name == nullptr) {
            trace_missing_callee(func_id);
            continue;
        }
        record.add_call(factory.keep_text(callee_name),
                        column_uint32(row, calls_column::from_abs_line),
                        column_uint32(row, calls_column::from_rel_line),
                        column_uint64(row, calls_column::exec_count));
    }
    if (code != step_done) m_row_ids.forget();
    row.reset();
}

}  // namespace hotpath
