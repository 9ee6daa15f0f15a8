// The source file names of an open database, by file id.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "hotpath/database/sql_connection.h"

namespace hotpath {

// The rows of `sf_filenames`. It owns their texts. An id without a row has the empty name. Memory
// follows the rows, not the ids, which a damaged file may give any size.
class FileTable {
public:
    // Reads the table. False if SQLite can't; `error` tells why.
    bool read(DatabaseHandle& db);
    const char* error() const { return m_cells.error(); }

    // Sets the number of ids: one more than the largest. Counted in 64 bits, as an id may have all
    // 32.
    void set_largest_id(std::uint32_t id) { m_size = std::uint64_t{id} + 1; }
    std::uint64_t size() const { return m_size; }

    // The name of a file; `id` is below `size`.
    std::string_view operator[](std::uint32_t id) const;

private:
    struct Entry {
        std::uint32_t id;
        int row;
    };

    std::uint32_t id_of_row(int row) const;
    std::string_view name_of_row(int row) const;

    TextTable m_cells;
    std::vector<Entry> m_by_id;
    std::uint64_t m_size = 1;
};

}  // namespace hotpath
