// The statements that make a fresh sample database, spelled out once for the tests. The schema's
// own tests spell it out a second time.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

namespace test_support {

// In the order in which the tool runs them: six tables, five version rows, two indexes.
inline constexpr std::array<std::string_view, 13> schema = {
    "CREATE TABLE sf_version (sf_key TEXT, sf_value TEXT)",
    "CREATE TABLE sf_run_info (sf_key TEXT, sf_value TEXT)",
    "CREATE TABLE sf_filenames (sf_id INTEGER PRIMARY KEY, sf_filename TEXT)",
    "CREATE TABLE sf_functions (sf_id INTEGER PRIMARY KEY, sf_func_name TEXT, sf_file_id INTEGER, "
    "sf_exec_count INTEGER, sf_flags INTEGER)",
    "CREATE TABLE sf_edges (sf_from_func_id INTEGER, sf_from_address INTEGER, sf_from_abs_line "
    "INTEGER, sf_from_rel_line INTEGER, sf_from_column INTEGER, sf_from_discr INTEGER, "
    "sf_to_func_id INTEGER, sf_to_bb_end_address INTEGER, sf_to_abs_line INTEGER, sf_to_rel_line "
    "INTEGER, sf_to_column INTEGER, sf_to_discr INTEGER, sf_exec_count INTEGER, sf_flags INTEGER)",
    "CREATE TABLE sf_calls (sf_from_func_id INTEGER, sf_from_abs_line INTEGER, sf_from_rel_line "
    "INTEGER, sf_to_func_name TEXT, sf_exec_count INTEGER)",
    "INSERT INTO sf_version (sf_key, sf_value) VALUES('schema_version', '1')",
    "INSERT INTO sf_version (sf_key, sf_value) VALUES('filename_columns', '2')",
    "INSERT INTO sf_version (sf_key, sf_value) VALUES('functions_columns', '5')",
    "INSERT INTO sf_version (sf_key, sf_value) VALUES('edges_columns', '14')",
    "INSERT INTO sf_version (sf_key, sf_value) VALUES('calls_columns', '5')",
    "CREATE INDEX idx1 ON sf_edges(sf_from_func_id)",
    "CREATE INDEX idx2 ON sf_calls(sf_from_func_id)"};

// Some of the statements, by their numbers, as one text of SQL.
template <class... Numbers>
std::string schema_sql(Numbers... numbers) {
    std::string sql;
    ((sql.append(schema[static_cast<std::size_t>(numbers)]).append(";")), ...);
    return sql;
}

// All of them.
inline std::string schema_sql() {
    std::string sql;
    for (const std::string_view statement : schema) sql.append(statement).append(";");
    return sql;
}

}  // namespace test_support
