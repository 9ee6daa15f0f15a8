// Small sample databases for tests, spelled out in SQL.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "shared/hotpath/database/sql_connection.h"

namespace test_support {

// Runs the SQL text on the database at `path`, which is made if it isn't there. Nothing waits for
// the disk.
inline void change_sample_database(const std::string& path, const std::string& sql) {
    hotpath::SqlConnection connection;
    ASSERT_EQ(connection.open(path.c_str(), hotpath::OpenMode::ReadWriteCreate), hotpath::DbOpenOk);
    const std::string whole = "PRAGMA synchronous = OFF; BEGIN; " + sql + "; COMMIT";
    ASSERT_TRUE(connection.exec_sql(whole.c_str()));
}

// Makes a sample database without samples and runs the SQL text on it.
inline void write_sample_database(const std::string& path, const std::string& sql) {
    change_sample_database(
        path,
        "CREATE TABLE sf_version (sf_key TEXT, sf_value TEXT);"
        "CREATE TABLE sf_run_info (sf_key TEXT, sf_value TEXT);"
        "CREATE TABLE sf_filenames (sf_id INTEGER PRIMARY KEY, sf_filename TEXT);"
        "CREATE TABLE sf_functions (sf_id INTEGER PRIMARY KEY, sf_func_name TEXT,"
        " sf_file_id INTEGER, sf_exec_count INTEGER, sf_flags INTEGER);"
        "CREATE TABLE sf_edges (sf_from_func_id INTEGER, sf_from_address INTEGER,"
        " sf_from_abs_line INTEGER, sf_from_rel_line INTEGER, sf_from_column INTEGER,"
        " sf_from_discr INTEGER, sf_to_func_id INTEGER, sf_to_bb_end_address INTEGER,"
        " sf_to_abs_line INTEGER, sf_to_rel_line INTEGER, sf_to_column INTEGER,"
        " sf_to_discr INTEGER, sf_exec_count INTEGER, sf_flags INTEGER);"
        "CREATE TABLE sf_calls (sf_from_func_id INTEGER, sf_from_abs_line INTEGER,"
        " sf_from_rel_line INTEGER, sf_to_func_name TEXT, sf_exec_count INTEGER);"
        "CREATE INDEX idx1 ON sf_edges (sf_from_func_id);"
        "CREATE INDEX idx2 ON sf_calls (sf_from_func_id);"
        "INSERT INTO sf_version VALUES ('schema_version', '1'), ('filename_columns', '2'),"
        " ('functions_columns', '5'), ('edges_columns', '14'), ('calls_columns', '5');" +
            sql);
}

}  // namespace test_support
