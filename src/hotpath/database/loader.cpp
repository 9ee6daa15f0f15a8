#include "hotpath/database/loader.h"

#include <cinttypes>

#include "diag/decimal_text.h"
#include "diag/trace.h"
#include "hotpath/database/file_table.h"
#include "hotpath/database/key_values.h"
#include "hotpath/database/loaded_files.h"
#include "hotpath/database/statements.h"
#include "hotpath/model/function_record_factory.h"
#include "hotpath/model/function_record_proxy.h"
#include "hotpath/model/function_record_set.h"

namespace hotpath {
namespace {

std::uint32_t file_id_of(std::string_view cell) {
    return static_cast<std::uint32_t>(diag::decimal_prefix_32(cell));
}

}  // namespace

// A row of `sf_functions`. It arrives as text, of which most rows of an update need little.
class FunctionRow {
public:
    FunctionRow(const TextTable& table, int row) : table_(table), row_(row) {}

    std::uint32_t id() const { return static_cast<std::uint32_t>(number_32(functions_column::id)); }
    std::string_view name() const { return cell(functions_column::func_name); }
    std::uint32_t file_id() const { return file_id_of(cell(functions_column::file_id)); }
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
    if (!diag::traces(diag::TRACE_DB_ERRORS)) return;
    diag::trace_print("SampleDB::%s: ", operation);
    diag::trace_print("%s: %s\n", form, error);
}

// False, with its trace, if no file can have the row's file id.
bool has_valid_file(const FunctionRow& row, const FileTable& files) {
    if (row.file_id() < files.size()) return true;
    if (!diag::traces(diag::TRACE_DB_ERRORS)) return false;
    diag::trace_texts({"Database corrupt. Invalid file_id for ", row.name(), "\n"});
    diag::trace_print("Max file id expected was %" PRIu64, files.size());
    diag::trace_print(" File id was %u\n", row.file_id());
    return false;
}

// The test for rows of which something is seen: those whose function names have one of these heads,
// and damage. It borrows both; the files may be read after it.
RowTest has_head_or_damage(const NameHeads& heads, const FileTable& files) {
    return [&heads, &files](const TextRow& row) {
        return heads.may_hold_head_of(row[functions_column::func_name]) ||
               file_id_of(row[functions_column::file_id]) >= files.size();
    };
}

void trace_load(const FunctionRow& row, const FileTable& files) {
    if (!diag::traces(diag::TRACE_DB_LOAD)) return;
    diag::trace_texts({"Load function: ", files[row.file_id()], "(", row.name(), ")"});
}

void trace_loaded(const char* what) {
    if (diag::traces(diag::TRACE_DB_LOAD)) diag::trace_print(": %s created\n", what);
}

void trace_missing_callee(std::uint32_t func_id) {
    if (!diag::traces(diag::TRACE_DB_ERRORS)) return;
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

bool Loader::load_function_details(std::uint32_t func_id, FunctionRecordFactory& factory,
                                   FunctionRecord& record) {
    load_edges(func_id, factory, record);
    load_calls(func_id, factory, record);
    return true;
}

bool Loader::load_filenames_table(FileTable& names) const {
    const OptionalId largest = m_connection.max_column_value(filenames_table.name, "sf_id");
    if (!largest.has_value) return false;
    names.set_largest_id(largest.value);
    if (names.read(m_connection.db())) return true;
    trace_sql_error("load_filenames_table", "SQL error", names.error());
    return false;
}

// Adds the run count to the set, and reads the rows that its functions come from, or
// those of them that pass the test.
bool Loader::read_tables(FunctionRecordSet& set, FileTable& files, TextTable& functions,
                         const RowTest& is_kept) const {
    const std::int32_t num_runs = get_int_value(m_connection, run_info_table, "num_runs");
    if (num_runs != -1) set.add_runs(static_cast<std::uint32_t>(num_runs));
    if (!load_filenames_table(files)) return false;
    if (functions.read(m_connection.db(), "SELECT * FROM sf_functions", is_kept)) return true;
    trace_sql_error("read_function_records", "SQL error ", functions.error());
    return false;
}

std::optional<std::uint64_t> Loader::read_proxies(FunctionRecordSet& set,
                                                  const FunctionRecordSet* wanted) {
    FileTable files;
    TextTable table;
    NameHeads heads;
    RowTest is_needed;
    // Where each load is traced, each row is seen.
    if (wanted != nullptr && !diag::traces(diag::TRACE_DB_LOAD)) {
        heads = wanted->name_heads();
        is_needed = has_head_or_damage(heads, files);
    }
    if (!read_tables(set, files, table, is_needed)) return {};
    LoadedFiles loaded(set, files);
    for (int i = 0; i < table.row_count(); ++i) {
        const FunctionRow row(table, i);
        if (!has_valid_file(row, files)) return {};
        trace_load(row, files);
        add_proxy(set, row, loaded.name(row.file_id()), wanted);
    }
    return table.read_count();
}

void Loader::add_proxy(FunctionRecordSet& set, const FunctionRow& row, const FileName& file,
                       const FunctionRecordSet* wanted) {
    FunctionRecordProxy* const proxy =
        wanted == nullptr
            ? set.find_or_create_proxy(file, row.name(), this, row.id())
            : set.find_or_create_wanted_proxy(file, row.name(), this, row.id(), *wanted);
    if (proxy != nullptr) {
        proxy->set_exec_count(row.exec_count());
        proxy->set_flags(row.flags());
    }
    trace_loaded("proxy");
}

bool Loader::read_full_records(FunctionRecordSet& set, FunctionRecordFactory& factory) {
    // A statement that stands on a row holds the file's read lock, so that all is read of one state
    // of the file, and no read for a function takes the lock and gives it back. Where it fails, the
    // reads themselves say what happens.
    SqlStatement lock;
    (void)lock.prepare(m_connection.db(), "SELECT sf_id FROM sf_functions");
    (void)lock.step();
    FileTable files;
    TextTable table;
    if (!read_tables(set, files, table)) return false;
    LoadedFiles loaded(set, files);
    for (int i = 0; i < table.row_count(); ++i) {
        const FunctionRow row(table, i);
        if (!has_valid_file(row, files)) return false;
        trace_load(row, files);
        add_full_record(set, row, loaded.name(row.file_id()), factory);
    }
    return true;
}

void Loader::add_full_record(FunctionRecordSet& set, const FunctionRow& row, const FileName& file,
                             FunctionRecordFactory& factory) {
    FunctionRecord* const record = set.find_or_create_record(file, row.name());
    record->add_exec_count(row.exec_count());
    if ((row.flags() & function_uses_discriminators) != 0) record->set_uses_discriminators(true);
    if ((row.flags() & function_uses_columns) != 0) record->set_uses_columns(true);
    load_function_details(row.id(), factory, *record);
    trace_loaded("full record loaded");
}

void Loader::load_edges(std::uint32_t func_id, FunctionRecordFactory& factory,
                        FunctionRecord& record) const {
    const SqlStatement& row = m_statements.m_select_edges;
    row.bind_uint32(edges_column::from_func_id, func_id);
    while (row.step() == step_row) {
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
    row.reset();
}

void Loader::load_calls(std::uint32_t func_id, FunctionRecordFactory& factory,
                        FunctionRecord& record) const {
    const SqlStatement& row = m_statements.m_select_calls;
    row.bind_uint32(calls_column::from_func_id, func_id);
    while (row.step() == step_row) {
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
    row.reset();
}

}  // namespace hotpath
