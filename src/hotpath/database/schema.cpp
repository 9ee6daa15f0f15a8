#include "hotpath/database/schema.h"

#include <array>

#include "diag/trace.h"
#include "hotpath/database/key_values.h"

namespace hotpath {
namespace {

// The version rows in the order in which they are written and read.
constexpr const char* schema_version_key = "schema_version";
constexpr const char* filename_columns_key = "filename_columns";
constexpr const char* functions_columns_key = "functions_columns";
constexpr const char* edges_columns_key = "edges_columns";
constexpr const char* calls_columns_key = "calls_columns";

constexpr std::uint8_t supported_schema_version = 1;
constexpr std::uint8_t filename_columns = filenames_column::column_count;
constexpr std::uint8_t functions_columns = functions_column::column_count;
constexpr std::uint8_t edges_columns = edges_column::column_count;
constexpr std::uint8_t calls_columns = calls_column::column_count;

}  // namespace

// Each step commits by itself: a creation that is cut short leaves what it made, and without all
// version rows no later run takes the file for a sample database.
bool Schema::create_schema() {
    if (!create_tables()) return false;
    m_schema_version = supported_schema_version;
    m_filenames_tbl_col_cnt = filename_columns;
    m_functions_tbl_col_cnt = functions_columns;
    m_edges_tbl_col_cnt = edges_columns;
    m_calls_tbl_col_cnt = calls_columns;
    write_version_rows();
    return create_indexes();
}

bool Schema::create_tables() const {
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
        if (m_connection.exec_sql(create_table_sql(step.table).c_str())) continue;
        if (diag::traces(diag::TRACE_DB_ERRORS)) diag::trace_print("%s", step.failure);
        return false;
    }
    return true;
}

void Schema::write_version_rows() const {
    add_value(m_connection, version_table, schema_version_key, m_schema_version);
    add_value(m_connection, version_table, filename_columns_key, m_filenames_tbl_col_cnt);
    add_value(m_connection, version_table, functions_columns_key, m_functions_tbl_col_cnt);
    add_value(m_connection, version_table, edges_columns_key, m_edges_tbl_col_cnt);
    add_value(m_connection, version_table, calls_columns_key, m_calls_tbl_col_cnt);
}

bool Schema::create_indexes() const {
    if (!m_connection.exec_sql(
            create_index_sql("idx1", edges_table, edges_column::from_func_id).c_str())) {
        if (diag::traces(diag::TRACE_DB_ERRORS))
            diag::trace_print("Failed to create 'edges' index on 'func_id'.\n");
        return false;
    }
    if (!m_connection.exec_sql(
            create_index_sql("idx2", calls_table, calls_column::from_func_id).c_str())) {
        if (diag::traces(diag::TRACE_DB_ERRORS))
            diag::trace_print("Failed to create 'calls' index on 'func_id'.\n");
        return false;
    }
    return true;
}

void Schema::read_db_version() {
    const auto read = [this](const char* key) {
        return static_cast<std::uint8_t>(get_int_value(m_connection, version_table, key));
    };
    m_schema_version = read(schema_version_key);
    m_filenames_tbl_col_cnt = read(filename_columns_key);
    m_functions_tbl_col_cnt = read(functions_columns_key);
    m_edges_tbl_col_cnt = read(edges_columns_key);
    m_calls_tbl_col_cnt = read(calls_columns_key);
    if (!diag::traces(diag::TRACE_DB_CALLS)) return;
    diag::trace_print("read_db_version()\n");
    diag::trace_print("  m_schema_version: %u\n", m_schema_version);
    diag::trace_print("  m_filenames_tbl_col_cnt: %u\n", m_filenames_tbl_col_cnt);
    diag::trace_print("  m_functions_tbl_col_cnt: %u\n", m_functions_tbl_col_cnt);
    diag::trace_print("  m_edges_tbl_col_cnt: %u\n", m_edges_tbl_col_cnt);
    diag::trace_print("  m_calls_tbl_col_cnt: %u\n", m_calls_tbl_col_cnt);
}

bool Schema::is_compatible() const {
    return m_schema_version == supported_schema_version &&
           m_filenames_tbl_col_cnt == filename_columns &&
           m_functions_tbl_col_cnt == functions_columns && m_edges_tbl_col_cnt == edges_columns &&
           m_calls_tbl_col_cnt == calls_columns;
}

}  // namespace hotpath
