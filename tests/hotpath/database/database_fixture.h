// What the tests of the database room share: files crafted and inspected past the code under test,
// refusals that make chosen steps fail, and traces as texts.
#pragma once

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <cstdint>
#include <cstdlib>
#include <functional>
#include <regex>
#include <string>
#include <string_view>
#include <utility>

#include "diag/trace.h"
#include "hotpath/database/sample_db.h"
#include "hotpath/model/function_record_set.h"
#include "support/captured_stderr.h"
#include "support/environment.h"
#include "support/profile_text.h"
#include "support/schema_text.h"
#include "support/scratch_directory.h"
#include "support/tracking_allocator.h"

namespace test_support {

// The schema in parts: the version and run tables with the rows that mark a file as a sample
// database, and each table of samples with its index.
inline const std::string version_tables_sql = schema_sql(0, 1, 6, 7, 8, 9, 10);
inline const std::string filenames_sql = schema_sql(2);
inline const std::string functions_sql = schema_sql(3);
inline const std::string edges_sql = schema_sql(4, 11);
inline const std::string calls_sql = schema_sql(5, 12);

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

// While it lives, connections that are opened call an operation each time a statement whose text
// begins so begins to run.
class StatementHook {
public:
    StatementHook(std::string beginning, std::function<void()> operation) {
        wanted() = {std::move(beginning), std::move(operation)};
        sqlite3_auto_extension(reinterpret_cast<void (*)()>(&attach));
    }
    StatementHook(const StatementHook&) = delete;
    StatementHook& operator=(const StatementHook&) = delete;
    ~StatementHook() {
        sqlite3_cancel_auto_extension(reinterpret_cast<void (*)()>(&attach));
        wanted() = {};
    }

private:
    struct Wanted {
        std::string beginning;
        std::function<void()> operation;
    };
    static Wanted& wanted() {
        static Wanted the_wanted;
        return the_wanted;
    }
    static int attach(sqlite3* connection, char**, const void*) {
        return sqlite3_trace_v2(connection, SQLITE_TRACE_STMT, &run, nullptr);
    }
    static int run(unsigned, void*, void* statement, void*) {
        const Wanted& hook = wanted();
        const std::string_view sql = sqlite3_sql(static_cast<sqlite3_stmt*>(statement));
        if (hook.operation && sql.starts_with(hook.beginning)) hook.operation();
        return 0;
    }
};

// While it lives, connections that are opened interrupt the first statement whose text begins so.
// SQLite then takes back the whole transaction that it writes in.
class Interruption {
public:
    explicit Interruption(std::string beginning)
        : hook_(std::move(beginning), [] { is_due() = !happened(); }) {
        is_due() = happened() = false;
        sqlite3_auto_extension(reinterpret_cast<void (*)()>(&attach));
    }
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;
    ~Interruption() {
        EXPECT_TRUE(happened());
        sqlite3_cancel_auto_extension(reinterpret_cast<void (*)()>(&attach));
    }

private:
    static bool& is_due() {
        static bool the_flag;
        return the_flag;
    }
    static bool& happened() {
        static bool the_flag;
        return the_flag;
    }
    static int attach(sqlite3* connection, char**, const void*) {
        sqlite3_progress_handler(connection, 1, &decide, nullptr);
        return SQLITE_OK;
    }
    static int decide(void*) {
        if (!is_due()) return 0;
        is_due() = false;
        happened() = true;
        return 1;
    }

    StatementHook hook_;
};

// What the limit below takes, chosen in front of SQLite's first use: all of its memory is counted,
// and no connection has some of its own.
inline const bool all_sqlite_memory_is_counted =
    sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 1) == SQLITE_OK &&
    sqlite3_config(SQLITE_CONFIG_LOOKASIDE, 0, 0) == SQLITE_OK;

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
        create_with(filenames_sql + functions_sql + edges_sql + calls_sql + sql);
    }

    // Makes the file with the version rows and whatever else `sql` makes.
    void create_with(const std::string& sql) const {
        RawDatabase(path).run("BEGIN;" + version_tables_sql + sql + ";COMMIT");
    }

    void run(const std::string& sql) const { RawDatabase(path).run(sql); }
    std::string rows(const std::string& sql) const { return RawDatabase(path).rows(sql); }

    ScratchDirectory directory;
    std::string path = directory.path("samples.db");
    HeapFactory factory;
};

}  // namespace test_support
