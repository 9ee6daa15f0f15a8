// Tells the ids of file and function rows without a search. The two tables have no index to find a
// row by its texts, so each search reads a table whole; a function would cost more the larger the
// file is. Who writes the rows, and who searches where this can't tell, stands in other rooms.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "hotpath/database/sql_connection.h"
#include "hotpath/model/function_key.h"
#include "hotpath/model/index_table.h"
#include "hotpath/model/text_pool.h"

namespace hotpath {

// What is known of the row that a search would give.
struct RowIdAnswer {
    enum Kind : std::uint8_t {
        found,        // the row has this id
        absent,       // there is no such row
        must_search,  // only a search can tell
    };
    Kind kind = must_search;
    std::uint32_t id = 0;  // the low 32 bits, as a search gives them
};

// What is known, when a function row is added, of older rows with its name and the text of its
// file.
enum class OlderRow : std::uint8_t { none, possible };

// The row ids of one open database, for the one transaction that writes to it. Outside of a sound
// transaction each answer is `must_search`. The connection must outlive it.
class RowIds {
public:
    explicit RowIds(const SqlConnection& connection) : m_connection(connection) {}

    // The file row with this text exactly as stored. The first call in the transaction reads what
    // the file holds, so it must come before any row is added. The names must stay where they are:
    // long ones are known by their addresses.
    RowIdAnswer find_file(const FileName& name);

    // The file row that was just added for a text that no row had; never `absent`.
    RowIdAnswer added_file(const FileName& name);

    // The first function row with these texts, one of which was just added; never `absent`.
    RowIdAnswer added_function(std::string_view name, std::uint32_t file_id, OlderRow older);

private:
    struct Function {
        std::uint32_t name;  // its number in `m_function_names`
        std::uint32_t file_id;
        std::uint32_t id;
    };

    struct File {
        const FileName* name;
        std::uint32_t id;
    };

    bool can_tell() const { return m_is_plain && m_connection.in_sound_transaction(); }
    bool read_file();
    bool read_next_ids();
    bool read_file_rows();
    bool read_function_rows();
    bool texts_tell_functions_apart() const;
    std::string_view as_stored(std::string_view name);
    RowIdAnswer given_id(const FileName& name) const;
    RowIdAnswer give_id(const FileName& name, std::uint32_t id);
    std::uint32_t first_function(std::string_view stored_name, std::uint32_t file_id,
                                 std::uint32_t id);

    const SqlConnection& m_connection;
    bool m_was_read = false;
    bool m_is_plain = false;    // the file was read, and ids follow from it
    bool m_keeps_bytes = true;  // it stores each text as it is given
    bool m_functions_are_read = false;
    std::int64_t m_smallest_file_id = 1;
    std::int64_t m_next_file_id = 1;
    std::int64_t m_next_function_id = 1;
    TextPool m_file_names;
    std::vector<std::uint32_t> m_file_ids;  // by the name's number in `m_file_names`
    std::vector<File> m_given_files;        // those with long names
    IndexTable m_given_index;               // over `m_given_files`, by the names' addresses
    TextPool m_function_names;
    std::vector<Function> m_functions;  // the first of each name and file id
    IndexTable m_function_index;        // over `m_functions`
    std::string m_stored;               // the last answer of `as_stored`
};

}  // namespace hotpath
