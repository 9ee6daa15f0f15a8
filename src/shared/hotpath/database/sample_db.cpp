#include "shared/hotpath/database/sample_db.h"

#include <array>
#include <cstdio>

#include "diag/decimal_text.h"
#include "diag/safety.h"

namespace hotpath {
namespace {

// The version rows in the order in which they are written and read.
constexpr const char* schema_version_key = "schema_version";
constexpr const char* filename_columns_key = "filename_columns";
constexpr const char* functions_columns_key = "functions_columns";
constexpr const char* edges_columns_key = "edges_columns";
constexpr const char* calls_columns_key = "calls_columns";

constexpr std::uint8_t supported_schema_version = 1;
constexpr std::uint8_t filename_columns = 2;
constexpr std::uint8_t functions_columns = 5;
constexpr std::uint8_t edges_columns = 14;
constexpr std::uint8_t calls_columns = 5;

bool traces_errors() { return (diag::trace_flags & diag::TRACE_DB_ERRORS) != 0; }

void trace_open_failure(const char* path, const char* reason) {
    if (!traces_errors()) return;
    diag::trace_print("SampleDB::open_writable(%s)", path);
    diag::trace_print(": Error %s\n", reason);
}

std::string quoted(const char* text) { return std::string("'") + text + "'"; }

std::string key_condition(const TableSpec& table, const char* key) {
    return std::string(table.columns[key_value_column::key].name) + "=" + quoted(key);
}

}  // namespace

DbOpenResult SampleDB::open_writable(FunctionRecordSet* record_set, const char* path) {
    m_record_set = record_set;
    const DbOpenResult existing = open(path, OpenMode::ReadWrite);
    if (existing == DbOpenSchemaError) return DbOpenSchemaError;
    if (existing == DbOpenOk) {
        read_db_version();
        if (!is_compatible()) {
            trace_open_failure(path, "due to incompatible schema");
            return DbOpenIncompatible;
        }
    } else {
        const DbOpenResult created = open(path, OpenMode::ReadWriteCreate);
        if (created != DbOpenOk) return created;
        if (!create_schema()) {
            trace_open_failure(path, "while creating schema");
            return DbOpenSchemaError;
        }
    }
    apply_pragmas();
    return prepare_statements() ? DbOpenOk : DbOpenSchemaError;
}

DbOpenResult SampleDB::open_readonly(const char* path) {
    const DbOpenResult result = open(path, OpenMode::ReadOnly);
    if (result != DbOpenOk) return result;
    read_db_version();
    if (!is_compatible()) return DbOpenIncompatible;
    return prepare_statements() ? DbOpenOk : DbOpenSchemaError;
}

void SampleDB::close() {
    m_insert_call.finalize();
    m_delete_calls.finalize();
    m_select_calls.finalize();
    m_insert_edge.finalize();
    m_delete_edges.finalize();
    m_select_edges.finalize();
    m_update_function.finalize();
    m_insert_function.finalize();
    m_select_function.finalize();
    m_insert_filename.finalize();
    m_select_filename.finalize();
    m_statements_ready = false;
    SqlConnection::close();
}

std::string SampleDB::get_value(const TableSpec& table, const char* key) const {
    const std::string sql =
        std::string("SELECT * FROM ") + table.name + " WHERE " + key_condition(table, key);
    // Without a table, or in a file that is no database, there is no statement, and its step fails.
    SqlStatement statement;
    statement.prepare(db(), sql.c_str());
    if (statement.step() != step_row) return {};
    const char* const value = statement.column_text(key_value_column::value);
    return value == nullptr ? std::string() : std::string(value);
}

std::int32_t SampleDB::get_int_value(const TableSpec& table, const char* key) const {
    const std::string value = get_value(table, key);
    return value.empty() ? -1 : diag::decimal_prefix_32(value);
}

bool SampleDB::add_value(const TableSpec& table, const char* key, const char* value) const {
    const std::string sql = std::string("INSERT INTO ") + table.name + " (" +
                            table.columns[key_value_column::key].name + ", " +
                            table.columns[key_value_column::value].name + ") VALUES(" +
                            quoted(key) + ", " + quoted(value) + ")";
    return exec_sql(sql.c_str());
}

bool SampleDB::add_value(const TableSpec& table, const char* key, std::int32_t value) const {
    return add_value(table, key, std::to_string(value).c_str());
}

bool SampleDB::set_value(const TableSpec& table, const char* key, const char* value) const {
    const std::string sql =
        std::string("DELETE FROM ") + table.name + " WHERE " + key_condition(table, key);
    exec_sql(sql.c_str());
    return add_value(table, key, value);
}

bool SampleDB::set_value(const TableSpec& table, const char* key, std::int32_t value) const {
    return set_value(table, key, std::to_string(value).c_str());
}

// Each step commits by itself: a creation that is cut short leaves what it made, and without all
// version rows no later run takes the file for a sample database.
bool SampleDB::create_schema() {
    if (!create_tables()) return false;
    m_schema_version = supported_schema_version;
    m_filenames_tbl_col_cnt = filename_columns;
    m_functions_tbl_col_cnt = functions_columns;
    m_edges_tbl_col_cnt = edges_columns;
    m_calls_tbl_col_cnt = calls_columns;
    write_version_rows();
    return create_indexes();
}

bool SampleDB::create_tables() const {
    struct Step {
        const TableSpec& table;
        const char* failure;
    };
    const std::array<Step, 6> steps{{
        {version_table, "Failed to create version info table\n"},
        {run_info_table, "Failed to create run info table\n"},
        {filenames_table, "Failed to create filenames table\n"},
        {functions_table, "Failed to create functions table\n"},
        {edges_table, "Failed to create edges table\n"},
        {calls_table, "Failed to create calls table\n"},
    }};
    for (const Step& step : steps) {
        if (exec_sql(create_table_sql(step.table).c_str())) continue;
        if (traces_errors()) diag::trace_print("%s", step.failure);
        return false;
    }
    return true;
}

void SampleDB::write_version_rows() const {
    add_value(version_table, schema_version_key, m_schema_version);
    add_value(version_table, filename_columns_key, m_filenames_tbl_col_cnt);
    add_value(version_table, functions_columns_key, m_functions_tbl_col_cnt);
    add_value(version_table, edges_columns_key, m_edges_tbl_col_cnt);
    add_value(version_table, calls_columns_key, m_calls_tbl_col_cnt);
}

bool SampleDB::create_indexes() const {
    if (!exec_sql(create_index_sql("idx1", edges_table, edges_column::from_func_id).c_str())) {
        if (traces_errors()) diag::trace_print("Failed to create 'edges' index on 'func_id'.\n");
        return false;
    }
    if (!exec_sql(create_index_sql("idx2", calls_table, calls_column::from_func_id).c_str())) {
        if (traces_errors()) diag::trace_print("Failed to create 'calls' index on 'func_id'.\n");
        return false;
    }
    return true;
}

void SampleDB::read_db_version() {
    const auto read = [this](const char* key) {
        return static_cast<std::uint8_t>(get_int_value(version_table, key));
    };
    m_schema_version = read(schema_version_key);
    m_filenames_tbl_col_cnt = read(filename_columns_key);
    m_functions_tbl_col_cnt = read(functions_columns_key);
    m_edges_tbl_col_cnt = read(edges_columns_key);
    m_calls_tbl_col_cnt = read(calls_columns_key);
    if ((diag::trace_flags & diag::TRACE_DB_CALLS) == 0) return;
    diag::trace_print("read_db_version()\n");
    diag::trace_print("  m_schema_version: %u\n", m_schema_version);
    diag::trace_print("  m_filenames_tbl_col_cnt: %u\n", m_filenames_tbl_col_cnt);
    diag::trace_print("  m_functions_tbl_col_cnt: %u\n", m_functions_tbl_col_cnt);
    diag::trace_print("  m_edges_tbl_col_cnt: %u\n", m_edges_tbl_col_cnt);
    diag::trace_print("  m_calls_tbl_col_cnt: %u\n", m_calls_tbl_col_cnt);
}

bool SampleDB::is_compatible() const {
    return m_schema_version == supported_schema_version &&
           m_filenames_tbl_col_cnt == filename_columns &&
           m_functions_tbl_col_cnt == functions_columns && m_edges_tbl_col_cnt == edges_columns &&
           m_calls_tbl_col_cnt == calls_columns;
}

// Speed over safety unless the user asks for the opposite: no disk waits, no journal file.
void SampleDB::apply_pragmas() const {
    if (diag::environment_value("HOTPATH_DB_MODE") == "FAILSAFE_MODE") return;
    exec_sql("PRAGMA synchronous = OFF");
    exec_sql("PRAGMA journal_mode = MEMORY");
}

bool SampleDB::prepare_statements() {
    if (m_statements_ready) return true;
    using List = std::initializer_list<std::uint32_t>;
    const auto list = [](const List& columns) {
        return ColumnList(columns.begin(), columns.size());
    };
    namespace files = filenames_column;
    namespace functions = functions_column;
    namespace edges = edges_column;
    namespace calls = calls_column;

    if (!m_select_filename.init(db(), filenames_table, list({files::filename}))) return false;
    if (!m_select_function.init(db(), functions_table,
                                list({functions::func_name, functions::file_id})))
        return false;
    if (!m_select_edges.init(db(), edges_table, list({edges::from_func_id}))) return false;
    if (!m_delete_edges.init(db(), edges_table, edges::from_func_id)) return false;
    if (!m_select_calls.init(db(), calls_table, list({calls::from_func_id}))) return false;
    if (!m_delete_calls.init(db(), calls_table, calls::from_func_id)) return false;
    if (!m_insert_filename.init(db(), filenames_table, list({files::filename}))) return false;
    // The file id stands twice in this text, as older files' writers have it; SQLite takes the
    // first. A failure shows at the first bind.
    m_insert_function.init(db(), functions_table,
                           list({functions::func_name, functions::file_id, functions::file_id,
                                 functions::exec_count, functions::flags}));
    if (!m_insert_edge.init(db(), edges_table,
                            list({edges::from_func_id, edges::from_address, edges::from_abs_line,
                                  edges::from_rel_line, edges::from_column, edges::from_discr,
                                  edges::to_bb_end_address, edges::to_func_id, edges::to_abs_line,
                                  edges::to_rel_line, edges::to_column, edges::to_discr,
                                  edges::exec_count, edges::flags})))
        return false;
    if (!m_insert_call.init(db(), calls_table,
                            list({calls::from_func_id, calls::from_abs_line, calls::from_rel_line,
                                  calls::to_func_name, calls::exec_count})))
        return false;
    m_statements_ready =
        m_update_function.init(db(), functions_table, functions::exec_count, functions::id);
    return m_statements_ready;
}

}  // namespace hotpath
