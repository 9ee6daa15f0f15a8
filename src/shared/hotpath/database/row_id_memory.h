// Remembers the ids of file and function rows, so that writing a function costs the same in a large
// database as in a small one: the tables have no index to find a row by its texts, and a search
// reads them whole. Whatever the memory can't tell for sure must be searched for.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "shared/hotpath/database/sql_connection.h"
#include "shared/hotpath/model/index_table.h"
#include "shared/hotpath/model/text_pool.h"

namespace hotpath {

// The memory of one open database. Each operation gives no value where a search is needed, and
// nothing but that once the memory doesn't hold.
class RowIdMemory {
public:
    // Reads what the database has, inside of the transaction that writes. The memory holds from
    // then on if its answers are those of a search: the tables stand as the tool creates them,
    // nothing else writes to them, and their ids and texts are plain.
    void start(const DatabaseHandle& db);

    // Call where a step failed: SQLite may have taken more back than that one row.
    void forget() { m_holds = false; }

    bool is_started() const { return m_started; }
    bool holds() const { return m_holds; }

    // True if there were function rows at the start.
    bool had_functions() const { return m_had_functions; }

    // The file with this text exactly as stored.
    OptionalId find_file(std::string_view name) const;

    // The id of the file row that was just added.
    OptionalId added_file(std::string_view name);

    // The id of the function row that was just added. No value if one with the same texts was added
    // before: a search finds the older one.
    OptionalId added_function(std::string_view name, std::uint32_t file_id);

private:
    bool read_next_ids(const DatabaseHandle& db);
    bool read_files(const DatabaseHandle& db);
    OptionalId take(std::uint32_t& next);

    bool m_started = false;
    bool m_holds = false;
    bool m_had_functions = false;
    std::uint32_t m_next_file_id = 1;
    std::uint32_t m_next_function_id = 1;
    TextPool m_file_names;
    std::vector<std::uint32_t> m_file_ids;  // by the name's number in `m_file_names`
    IndexTable m_added_functions;           // by hash alone: a mistake costs a search
};

}  // namespace hotpath
