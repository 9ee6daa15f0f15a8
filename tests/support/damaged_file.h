// A small sample database and what can happen to its bytes, for tests that read damaged files.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <fstream>
#include <iterator>
#include <string>

#include "support/sample_database.h"
#include "support/scratch_directory.h"

namespace test_support {

inline constexpr std::size_t small_page_size = 512;

// The bytes of a sample database with every kind of row, in the smallest pages that SQLite has.
inline std::string small_database_bytes(const ScratchDirectory& directory) {
    const std::string path = directory.path("small.db");
    write_sample_database(
        path,
        "INSERT INTO sf_run_info VALUES ('num_runs', '3');"
        "INSERT INTO sf_filenames VALUES (1, 'A.C'), (2, 'B.C');"
        "INSERT INTO sf_functions VALUES (1, 'f', 1, 7, 1), (2, 'g', 2, 8, 2);"
        "INSERT INTO sf_edges VALUES (1, 16, 1, 2, 3, 4, 1, 32, 5, 6, 7, 8, 9, 1),"
        " (2, 48, 1, 0, 0, 0, 2, 64, 2, 0, 0, 0, 5, 2);"
        "INSERT INTO sf_calls VALUES (1, 10, 1, 'g', 8);");
    hotpath::SqlConnection connection;
    EXPECT_EQ(connection.open(path.c_str(), hotpath::OpenMode::ReadWrite), hotpath::DbOpenOk);
    EXPECT_TRUE(connection.exec_sql("PRAGMA synchronous = OFF; PRAGMA page_size = 512; VACUUM"));
    connection.close();
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

// True if nothing but zeros stands around this place: space in a page that is not in use.
inline bool is_unused(const std::string& bytes, std::size_t place) {
    constexpr std::size_t reach = 8;
    const std::size_t first = place < reach ? 0 : place - reach;
    const std::size_t used = bytes.find_first_not_of('\0', first);
    return used == std::string::npos || used > place + reach;
}

// Calls `visit` with the bytes damaged at one place, for each place and three kinds of damage: the
// highest bit turned, no bit set, all bits set. Of unused space every sixteenth place is enough.
// Gives the number of calls.
template <class Visit>
int for_each_damaged_byte(const std::string& bytes, Visit visit) {
    int count = 0;
    std::string damaged = bytes;
    for (std::size_t place = 0; place < bytes.size(); ++place) {
        if (place % 16 != 0 && is_unused(bytes, place)) continue;
        for (const int value : std::array{bytes[place] ^ 0x80, 0x00, 0xFF}) {
            damaged[place] = static_cast<char>(value);
            if (damaged[place] == bytes[place]) continue;
            visit(damaged);
            ++count;
        }
        damaged[place] = bytes[place];
    }
    return count;
}

}  // namespace test_support
