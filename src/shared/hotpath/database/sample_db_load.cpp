// Turns rows of a sample database into records of the profile model.
#include <utility>

#include "diag/decimal_text.h"
#include "diag/reporter.h"
#include "shared/hotpath/database/sample_db.h"
#include "shared/hotpath/model/function_record_factory.h"
#include "shared/hotpath/model/function_record_set.h"

namespace hotpath {
namespace {

// A row of `sf_functions`, which arrives as text.
struct FunctionRow {
    FunctionRow(const TextTable& table, int row)
        : id(static_cast<std::uint32_t>(
              diag::decimal_prefix_32(table.cell(row, functions_column::id)))),
          name(table.cell(row, functions_column::func_name)),
          file_id(diag::decimal_prefix_32(table.cell(row, functions_column::file_id))),
          exec_count(static_cast<std::uint64_t>(
              diag::decimal_prefix(table.cell(row, functions_column::exec_count)))),
          flags(static_cast<std::uint64_t>(
              diag::decimal_prefix(table.cell(row, functions_column::flags)))) {}

    std::uint32_t id;
    std::string_view name;
    std::int32_t file_id;
    std::uint64_t exec_count;
    std::uint64_t flags;
};

void trace_sql_error(const char* operation, const char* form, const char* error) {
    if ((diag::trace_flags & diag::TRACE_DB_ERRORS) == 0) return;
    diag::trace_print("SampleDB::%s: ", operation);
    diag::trace_print("%s: %s\n", form, error);
}

void trace_invalid_file_id(const FunctionRow& function, std::uint32_t file_count) {
    if ((diag::trace_flags & diag::TRACE_DB_ERRORS) == 0) return;
    diag::trace_print("Database corrupt. Invalid file_id for %.*s\n",
                      diag::printed_size(function.name), function.name.data());
    diag::trace_print("Max file id expected was %u", file_count);
    diag::trace_print(" File id was %u\n", static_cast<std::uint32_t>(function.file_id));
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
    const std::int32_t num_runs = get_int_value(run_info_table, "num_runs");
    if (num_runs != -1) set.add_runs(static_cast<std::uint32_t>(num_runs));
    FileTable files;
    if (!load_filenames_table(files)) return false;
    return read_functions(set, factory, proxies, files);
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

bool SampleDB::read_functions(FunctionRecordSet& set, FunctionRecordFactory& factory, bool proxies,
                              const FileTable& files) {
    TextTable table;
    if (!table.read(db(), "SELECT * FROM sf_functions")) {
        trace_sql_error("read_function_records", "SQL error ", table.error());
        return false;
    }
    // A statement that stands on a row holds the file's read lock, which each of the two reads for
    // each function would otherwise take and give back.
    SqlStatement lock;
    if (!proxies && lock.prepare(db(), "SELECT sf_id FROM sf_functions")) lock.step();
    for (int row = 0; row < table.row_count(); ++row) {
        const FunctionRow function(table, row);
        if (function.file_id < 0 || static_cast<std::uint32_t>(function.file_id) >= files.size()) {
            trace_invalid_file_id(function, files.size());
            return false;
        }
        const std::string_view file_name = files[static_cast<std::uint32_t>(function.file_id)];
        trace_load(file_name, function.name);
        if (proxies) {
            FunctionRecordProxy* const proxy =
                set.find_or_create_proxy(file_name, function.name, this, function.id);
            proxy->set_exec_count(function.exec_count);
            proxy->set_flags(function.flags);
            trace_loaded("proxy");
        } else {
            FunctionRecord* const record = set.find_or_create_record(file_name, function.name);
            record->add_exec_count(function.exec_count);
            if ((function.flags & function_uses_discriminators) != 0)
                record->set_uses_discriminators(true);
            if ((function.flags & function_uses_columns) != 0) record->set_uses_columns(true);
            load_function_details(function.id, factory, *record);
            trace_loaded("full record loaded");
        }
    }
    return true;
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
        edge->set_entry((flags & 1) != 0);
        edge->set_exit((flags & 2) != 0);
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
