// What the tests of the database room share: files crafted and inspected past the code under test,
// refusals that make chosen steps fail, and traces as texts.
#pragma once

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <cstdint>
#include <cstdlib>
#include <regex>
#include <string>

#include "diag/reporter.h"
#include "shared/hotpath/database/sample_db.h"
#include "shared/hotpath/model/function_record_set.h"
#include "support/captured_stderr.h"
#include "support/environment.h"
#include "support/profile_text.h"
#include "support/scratch_directory.h"
#include "support/tracking_allocator.h"

namespace test_support {

// The schema as its readers know it, and the rows that mark a file as a sample database.
inline constexpr const char* version_tables_sql =
    "CREATE TABLE sf_version (sf_key TEXT, sf_value TEXT);"
    "CREATE TABLE sf_run_info (sf_key TEXT, sf_value TEXT);"
    "INSERT INTO sf_version VALUES ('schema_version', '1'), ('filename_columns', '2'),"
    " ('functions_columns', '5'), ('edges_columns', '14'), ('calls_columns', '5');";
inline constexpr const char* filenames_sql =
    "CREATE TABLE sf_filenames (sf_id INTEGER PRIMARY KEY, sf_filename TEXT);";
inline constexpr const char* functions_sql =
    "CREATE TABLE sf_functions (sf_id INTEGER PRIMARY KEY, sf_func_name TEXT, sf_file_id INTEGER,"
    " sf_exec_count INTEGER, sf_flags INTEGER);";
inline constexpr const char* edges_sql =
    "CREATE TABLE sf_edges (sf_from_func_id INTEGER, sf_from_address INTEGER,"
    " sf_from_abs_line INTEGER, sf_from_rel_line INTEGER, sf_from_column INTEGER,"
    " sf_from_discr INTEGER, sf_to_func_id INTEGER, sf_to_bb_end_address INTEGER,"
    " sf_to_abs_line INTEGER, sf_to_rel_line INTEGER, sf_to_column INTEGER, sf_to_discr INTEGER,"
    " sf_exec_count INTEGER, sf_flags INTEGER);"
    "CREATE INDEX idx1 ON sf_edges(sf_from_func_id);";
inline constexpr const char* calls_sql =
    "CREATE TABLE sf_calls (sf_from_func_id INTEGER, sf_from_abs_line INTEGER,"
    " sf_from_rel_line INTEGER, sf_to_func_name TEXT, sf_exec_count INTEGER);"
    "CREATE INDEX idx2 ON sf_calls(sf_from_func_id);";

// A connection beside the code under test. A failure of its own fails the test.
class RawDatabase {
public:
    explicit RawDatabase(const std::string& path) {
        EXPECT_EQ(sqlite3_open(path.c_str(), &connection_), SQLITE_OK);
        sqlite3_exec(connection_, "PRAGMA synchronous = OFF", nullptr, nullptr, nullptr);
    }
    RawDatabase(const RawDatabase&) = delete;
    RawDatabase& operator=(const RawDatabase&) = delete;
    ~RawDatabase() { sqlite3_close(connection_); }

    void run(const std::string& sql) const {
        const int rc = sqlite3_exec(connection_, sql.c_str(), nullptr, nullptr, nullptr);
        EXPECT_EQ(rc, SQLITE_OK) << sqlite3_errmsg(connection_) << "\n" << sql;
    }

    // The rows of a query, a line each: the cells with "|" between them, "NULL" for NULL.
    std::string rows(const std::string& sql) const {
        sqlite3_stmt* statement = nullptr;
        EXPECT_EQ(sqlite3_prepare_v2(connection_, sql.c_str(), -1, &statement, nullptr), SQLITE_OK)
            << sqlite3_errmsg(connection_);
        std::string text;
        while (sqlite3_step(statement) == SQLITE_ROW) {
            for (int column = 0; column < sqlite3_column_count(statement); ++column)
                text += (column == 0 ? "" : "|") + cell(statement, column);
            text += "\n";
        }
        sqlite3_finalize(statement);
        return text;
    }

private:
    static std::string cell(sqlite3_stmt* statement, int column) {
        if (sqlite3_column_type(statement, column) == SQLITE_NULL) return "NULL";
        const unsigned char* const text = sqlite3_column_text(statement, column);
        const int size = sqlite3_column_bytes(statement, column);
        return {reinterpret_cast<const char*>(text), static_cast<std::size_t>(size)};
    }

    sqlite3* connection_ = nullptr;
};

// While it lives, connections that are opened refuse to prepare what does this to this object.
class Refusal {
public:
    // `action` is SQLite's authorizer code, `object` the first name that comes with it.
    Refusal(int action, std::string object) {
        wanted() = {action, std::move(object)};
        sqlite3_auto_extension(reinterpret_cast<void (*)()>(&attach));
    }
    Refusal(const Refusal&) = delete;
    Refusal& operator=(const Refusal&) = delete;
    ~Refusal() { sqlite3_cancel_auto_extension(reinterpret_cast<void (*)()>(&attach)); }

private:
    struct Wanted {
        int action;
        std::string object;
    };
    static Wanted& wanted() {
        static Wanted the_wanted;
        return the_wanted;
    }
    static int attach(sqlite3* connection, char**, const void*) {
        return sqlite3_set_authorizer(connection, &decide, nullptr);
    }
    static int decide(void*, int action, const char* object, const char*, const char*,
                      const char*) {
        const bool refused =
            action == wanted().action && object != nullptr && object == wanted().object;
        return refused ? SQLITE_DENY : SQLITE_OK;
    }
};

// While it lives, the statements that connections opened in its life run are noted, a line each.
class StatementLog {
public:
    StatementLog() {
        text().clear();
        sqlite3_auto_extension(reinterpret_cast<void (*)()>(&attach));
    }
    StatementLog(const StatementLog&) = delete;
    StatementLog& operator=(const StatementLog&) = delete;
    ~StatementLog() { sqlite3_cancel_auto_extension(reinterpret_cast<void (*)()>(&attach)); }

    static std::string& text() {
        static std::string the_text;
        return the_text;
    }

private:
    static int attach(sqlite3* connection, char**, const void*) {
        return sqlite3_trace_v2(connection, SQLITE_TRACE_STMT, &note, nullptr);
    }
    static int note(unsigned, void*, void* statement, void*) {
        text() += std::string(sqlite3_sql(static_cast<sqlite3_stmt*>(statement))) + "\n";
        return 0;
    }
};

// While it lives, SQLite gets no memory from the heap.
class NoSqliteMemory {
public:
    NoSqliteMemory() { sqlite3_hard_heap_limit64(1); }
    NoSqliteMemory(const NoSqliteMemory&) = delete;
    NoSqliteMemory& operator=(const NoSqliteMemory&) = delete;
    ~NoSqliteMemory() { sqlite3_hard_heap_limit64(0); }
};

// Runs the operation with these bits of `trace_flags`, and gives what it wrote on the standard
// error stream.
template <class Operation>
std::string traced(std::uint32_t bits, Operation operation) {
    diag::trace_flags = bits;
    const std::string text = captured_stderr(operation);
    diag::trace_flags = 0;
    return text;
}

inline constexpr std::uint32_t all_trace_bits = 0xFFFFFFFF;

// The text with "PTR" for each address of an object, in either of the forms that "%p" has.
inline std::string without_pointers(const std::string& text) {
    return std::regex_replace(text, std::regex("0x[0-9a-f]+|[0-9A-Fa-f]{16}"), "PTR");
}

// A database file of its own for each test, and a factory.
class DatabaseTest : public testing::Test {
protected:
    DatabaseTest() {
        test_support::unset_environment("HOTPATH_DB_MODE");
        diag::trace_flags = 0;
    }
    ~DatabaseTest() override {
        test_support::unset_environment("HOTPATH_DB_MODE");
        diag::trace_flags = 0;
    }

    // Makes the file with the six tables, the two indexes and the version rows, then runs `sql`.
    void create(const std::string& sql = "") const {
        create_with(std::string(filenames_sql) + functions_sql + edges_sql + calls_sql + sql);
    }

    // Makes the file with the version rows and whatever else `sql` makes.
    void create_with(const std::string& sql) const {
        RawDatabase(path).run("BEGIN;" + std::string(version_tables_sql) + sql + ";COMMIT");
    }

    void run(const std::string& sql) const { RawDatabase(path).run(sql); }
    std::string rows(const std::string& sql) const { return RawDatabase(path).rows(sql); }

    ScratchDirectory directory;
    std::string path = directory.path("samples.db");
    HeapFactory factory;
};

}  // namespace test_support
