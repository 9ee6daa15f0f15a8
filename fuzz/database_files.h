// Sample databases for fuzzers: files in memory where the system has such a place, and limits for
// what a hostile one may take of SQLite. The tool itself sets no limits.
#pragma once

#include <sqlite3.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

#include "fuzz_input.h"
#include "hotpath/database/sample_db.h"
#include "hotpath/model/function_record_factory_impl.h"
#include "hotpath/model/function_record_set.h"
#include "hotpath/model/hotpath_allocator.h"
#include "support/scratch_directory.h"

namespace fuzz {

using Factory = hotpath::FunctionRecordFactoryImpl<hotpath::AllocatorOnHeap>;

// The directory of this process's databases, below TMPDIR.
inline const test_support::ScratchDirectory& database_directory() {
    static const test_support::ScratchDirectory directory;
    return directory;
}

// The path of a database that isn't there yet, nor anything that SQLite would put beside it.
inline std::string fresh_database(const char* name) {
    const std::string path = database_directory().path(name);
    for (const char* ending : {"", "-journal", "-wal", "-shm"})
        std::filesystem::remove(path + ending);
    return path;
}

// The path of a sample database without samples. Making one again each time would cost more than
// all else that a fuzzer does with it.
inline std::string empty_sample_database(const char* name) {
    static const std::string made_once = [] {
        const std::string path = fresh_database("empty.db");
        Factory factory;
        hotpath::SampleDB database;
        hotpath::FunctionRecordSet set(factory);
        require(database.open_writable(&set, path.c_str()) == hotpath::DbOpenOk, "a new database");
        return path;
    }();
    const std::string path = fresh_database(name);
    // The fuzzer's own timer interrupts a copy now and then.
    std::error_code failure;
    do {
        std::filesystem::copy_file(made_once, path,
                                   std::filesystem::copy_options::overwrite_existing, failure);
    } while (failure == std::errc::interrupted);
    if (failure) std::abort();
    return path;
}

// From its making on, SQLite gets so much memory, and each connection that is opened so many steps
// until `begin_again`.
class SqliteLimits {
public:
    SqliteLimits() {
        sqlite3_hard_heap_limit64(64 << 20);
        sqlite3_auto_extension(reinterpret_cast<void (*)()>(&attach));
    }
    SqliteLimits(const SqliteLimits&) = delete;
    SqliteLimits& operator=(const SqliteLimits&) = delete;

    static void begin_again() { steps() = 0; }

private:
    static constexpr int steps_at_once = 1000;
    static constexpr int most_steps = 2000000;

    static int& steps() {
        static int the_steps = 0;
        return the_steps;
    }
    static int attach(sqlite3* connection, char**, const void*) {
        sqlite3_progress_handler(connection, steps_at_once, &is_over, nullptr);
        return SQLITE_OK;
    }
    static int is_over(void*) {
        steps() += steps_at_once;
        return steps() > most_steps ? 1 : 0;
    }
};

}  // namespace fuzz
