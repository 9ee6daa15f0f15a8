// A database whose edges take longer to read than anybody can wait: pages that share their
// children.
#pragma once

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "support/damaged_file.h"

namespace test_support {

// Writes a number of 4 bytes, the highest first.
inline void put_number(std::string& bytes, std::size_t place, std::uint32_t value) {
    for (int byte = 0; byte < 4; ++byte)
        bytes[place + static_cast<std::size_t>(byte)] =
            static_cast<char>(value >> (24 - 8 * byte) & 0xFF);
}

// An inner page of a table, all of whose children are `child`.
inline std::string page_of_one_child(std::uint32_t child) {
    constexpr std::size_t header_size = 12;
    constexpr std::size_t cell_size = 5;  // the child's number and a key
    constexpr std::size_t cell_count = 60;
    std::string page(small_page_size, '\0');
    page[0] = 5;
    page[4] = cell_count;
    put_number(page, 8, child);
    for (std::size_t cell = 0; cell < cell_count; ++cell) {
        const std::size_t place = small_page_size - (cell + 1) * cell_size;
        page[header_size + 2 * cell] = static_cast<char>(place >> 8);
        page[header_size + 2 * cell + 1] = static_cast<char>(place & 0xFF);
        put_number(page, place, child);
        page[place + 4] = 1;
    }
    page[5] = page[header_size + 2 * (cell_count - 1)];
    page[6] = page[header_size + 2 * (cell_count - 1) + 1];
    return page;
}

// The root page of a table in the database at `path`.
inline std::uint32_t root_page_of(const std::string& path, const std::string& table) {
    sqlite3* connection = nullptr;
    sqlite3_stmt* statement = nullptr;
    EXPECT_EQ(sqlite3_open(path.c_str(), &connection), SQLITE_OK);
    const std::string sql = "SELECT rootpage FROM sqlite_master WHERE name = '" + table + "'";
    EXPECT_EQ(sqlite3_prepare_v2(connection, sql.c_str(), -1, &statement, nullptr), SQLITE_OK);
    EXPECT_EQ(sqlite3_step(statement), SQLITE_ROW);
    const auto page = static_cast<std::uint32_t>(sqlite3_column_int(statement, 0));
    sqlite3_finalize(statement);
    sqlite3_close(connection);
    return page;
}

// Writes the database of `small_database_bytes`, changed so that its table of edges has 60 to the
// 7th times as many rows. Gives its path.
inline std::string write_endless_edges(const ScratchDirectory& directory) {
    std::string bytes = small_database_bytes(directory);
    const std::uint32_t root_page = root_page_of(directory.path("small.db"), "sf_edges");
    const std::size_t root = (root_page - 1) * small_page_size;
    auto last_page = static_cast<std::uint32_t>(bytes.size() / small_page_size);
    bytes += bytes.substr(root, small_page_size);  // the rows
    ++last_page;
    for (int level = 0; level < 7; ++level) bytes += page_of_one_child(last_page++);
    bytes.replace(root, small_page_size, page_of_one_child(last_page));
    put_number(bytes, 28, last_page);  // the number of pages
    return directory.write("endless.db", bytes);
}

}  // namespace test_support
