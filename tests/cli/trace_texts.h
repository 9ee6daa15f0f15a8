// The trace texts that tell of one step each, for tests that spell out what a whole run traces.
#pragma once

#include <string>

#include "cli_support.h"

namespace cli {

inline std::string opened(const std::string& path) {
    return "DatabaseHandle::open(" + path + ") : @ Result = SUCCESS\n";
}
inline std::string not_opened(const std::string& path) {
    return "DatabaseHandle::open(" + path + ") : @ Result = FAILED\n";
}
inline const std::string closed = "DatabaseHandle::close @";

inline std::string prepared(const std::string& sql) {
    return "init_sql_statement: " + sql + "\n\n";
}
inline std::string executed(const std::string& sql) { return "Executing DB CMD: " + sql + "\n"; }

inline const std::string transaction_prepared =
    "init_sql_statement: BEGIN TRANSACTION\n\ninit_sql_statement: END TRANSACTION\n\n";

inline const std::string version_read =
    "read_db_version()\n"
    "  m_schema_version: 1\n"
    "  m_filenames_tbl_col_cnt: 2\n"
    "  m_functions_tbl_col_cnt: 5\n"
    "  m_edges_tbl_col_cnt: 14\n"
    "  m_calls_tbl_col_cnt: 5\n";

inline const std::string no_version_read =
    "read_db_version()\n"
    "  m_schema_version: 255\n"
    "  m_filenames_tbl_col_cnt: 255\n"
    "  m_functions_tbl_col_cnt: 255\n"
    "  m_edges_tbl_col_cnt: 255\n"
    "  m_calls_tbl_col_cnt: 255\n";

inline std::string schema_executed() {
    std::string text;
    for (const std::string_view statement : test_support::schema)
        text += executed(std::string(statement));
    return text;
}

inline const std::string pragmas_executed =
    executed("PRAGMA synchronous = OFF") + executed("PRAGMA journal_mode = MEMORY");

// The eleven statements, in the order in which they are prepared.
inline const std::vector<std::string> statements = {
    "SELECT * FROM sf_filenames WHERE sf_filename=?002",
    "SELECT * FROM sf_functions WHERE sf_func_name=?002 AND sf_file_id=?003",
    "SELECT * FROM sf_edges WHERE sf_from_func_id=?001",
    "DELETE FROM sf_edges WHERE sf_from_func_id=?001",
    "SELECT * FROM sf_calls WHERE sf_from_func_id=?001",
    "DELETE FROM sf_calls WHERE sf_from_func_id=?001",
    "INSERT INTO  sf_filenames (sf_filename) VALUES (?002)",
    "INSERT INTO  sf_functions (sf_func_name, sf_file_id, sf_file_id, sf_exec_count, sf_flags) "
    "VALUES (?002, ?003, ?003, ?004, ?005)",
    "INSERT INTO  sf_edges (sf_from_func_id, sf_from_address, sf_from_abs_line, sf_from_rel_line, "
    "sf_from_column, sf_from_discr, sf_to_bb_end_address, sf_to_func_id, sf_to_abs_line, "
    "sf_to_rel_line, sf_to_column, sf_to_discr, sf_exec_count, sf_flags) VALUES (?001, ?002, ?003, "
    "?004, ?005, ?006, ?008, ?007, ?009, ?010, ?011, ?012, ?013, ?014)",
    "INSERT INTO  sf_calls (sf_from_func_id, sf_from_abs_line, sf_from_rel_line, sf_to_func_name, "
    "sf_exec_count) VALUES (?001, ?002, ?003, ?004, ?005)",
    "UPDATE sf_functions SET sf_exec_count=?004 WHERE sf_id=?001"};

inline std::string statements_prepared(std::size_t count = 11) {
    std::string text;
    for (std::size_t i = 0; i < count; ++i) text += prepared(statements[i]);
    return text;
}

inline std::string runs_written(const std::string& count) {
    return executed("DELETE FROM sf_run_info WHERE sf_key='num_runs'") +
           executed("INSERT INTO sf_run_info (sf_key, sf_value) VALUES('num_runs', '" + count +
                    "')");
}

}  // namespace cli
