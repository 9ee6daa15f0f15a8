// Small sample databases for tests, spelled out in SQL.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "hotpath/database/sql_connection.h"
#include "support/schema_text.h"

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
    change_sample_database(path, schema_sql() + sql);
}

}  // namespace test_support
