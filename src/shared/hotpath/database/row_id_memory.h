// Remembers the ids of rows, so that writing a function costs the same in a large database as in a
// small one: the tables have no index to find a row by its texts, and a search reads them whole.
// Whatever can't be told for sure is searched for.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "shared/hotpath/database/sql_connection.h"
#include "shared/hotpath/model/text_pool.h"

namespace hotpath {

// True if file and function rows get rising ids and nothing but the tool's own writes changes them:
// the two tables stand as the tool creates them, without a trigger in the file.
bool tables_count_as_created(const DatabaseHandle& db);

// Tells the id that SQLite gives to the next row of such a table: one more than the last, once a
// search has found one.
class NextRowId {
public:
    // The id of the row that was just added, if the row is new beyond doubt; no value where it must
    // be searched for.
    OptionalId take(bool surely_new) {
        // The largest 32-bit id may stand for the largest of all, behind which ids don't rise.
        if (!surely_new || !m_last.has_value || m_last.value == 0xFFFFFFFF) {
            m_last.has_value = false;
            return {};
        }
        ++m_last.value;
        return m_last;
    }

    // Takes note of what the search for a row that was just added found.
    void found(const OptionalId& id) { m_last = id; }

private:
    OptionalId m_last;
};

// The ids of the file rows that were there and of those added since.
class FileIdMemory {
public:
    // Reads the table. False if SQLite can't, or if the texts can't be relied on.
    bool read(const DatabaseHandle& db);

    // The id of the file with this text exactly as stored; no value if there is none.
    OptionalId find(std::string_view name) const;

    // Takes note of one file; of equal texts the first counts, as a search would find it.
    void remember(std::string_view name, std::uint32_t id);

private:
    TextPool m_names;
    std::vector<std::uint32_t> m_ids;  // by the name's number
};

}  // namespace hotpath
