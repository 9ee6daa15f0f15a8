// Why ids are remembered, and when they are not
//
// SQLite gives a new row one id more than the largest, and the tool may call no function that tells
// it. What the format offers is a search by the row's texts: a scan of the whole table for each new
// function. So the ids are counted along instead, and an answer is given only where it is the one
// that the search would give:
// - The two tables stand as the tool creates them, and no trigger is in the file. Then ids rise,
//   rows are scanned in the order of their ids, and texts are compared byte by byte.
// - The transaction is sound. Before BEGIN and behind END others may write; behind a failed step
//   SQLite may have taken rows back. It begins once in a connection's life, so what was read in it
//   never has to be read again.
// - A text that isn't stored as text, or isn't what it reads as, is in no answer, as no search for
//   text finds it. In a file of 16-bit texts, names that differ may be stored as one: there each
//   name is first turned into its stored form.
// - A long file name is looked for once, however many functions the file has.
// - All file names are read at the first question. Functions are many, and a merge knows from the
//   rows that it read which ones are new; where that isn't known, or file ids have more than 32
//   bits, of which only the low ones are stored, the function table is read once.
#include "hotpath/database/row_ids.h"

#include <limits>

#include "diag/decimal_text.h"
#include "hotpath/model/hashing.h"

namespace hotpath {
namespace {

// From here to the largest id of all there is room for whatever a run adds.
constexpr std::int64_t id_limit = std::numeric_limits<std::int64_t>::max() / 2;

// A name of this size is looked for by its address: its text costs more.
constexpr std::size_t long_name = 256;

constexpr std::int64_t two_to_32 = std::int64_t{1} << 32;

// True if the file's two tables are as the tool makes them, and no trigger changes rows behind its
// back.
bool tables_are_as_created(DatabaseHandle& db) {
    TextTable objects;
    if (!objects.read(db,
                      "SELECT sql FROM sqlite_master WHERE type = 'trigger' "
                      "OR tbl_name IN ('sf_filenames', 'sf_functions') ORDER BY tbl_name"))
        return false;
    return objects.row_count() == 2 && objects.cell(0, 0) == create_table_sql(filenames_table) &&
           objects.cell(1, 0) == create_table_sql(functions_table);
}

struct IdRange {
    std::int64_t smallest = 1;
    std::int64_t next = 1;
};

// Reads the table's smallest id and the one that SQLite gives to its next row. False if the read
// fails or the ids come too close to the largest of all, behind which they don't rise.
bool read_ids(DatabaseHandle& db, const TableSpec& table, IdRange& ids) {
    // Asked for one by one, both are found without reading the table.
    const std::string from = std::string(" FROM ") + table.name;
    const std::string sql = "SELECT ifnull((SELECT min(sf_id)" + from +
                            "), 1), ifnull((SELECT max(sf_id)" + from + "), 0)";
    TextTable limits;
    if (!limits.read(db, sql.c_str())) return false;
    const std::int64_t largest = diag::decimal_prefix(limits.cell(0, 1));
    if (largest >= id_limit) return false;
    ids = {diag::decimal_prefix(limits.cell(0, 0)), largest + 1};
    return true;
}

std::uint32_t low_bits(std::int64_t id) { return static_cast<std::uint32_t>(id); }

RowIdAnswer found(std::uint32_t id) { return {RowIdAnswer::found, id}; }

std::uint64_t hash_address(const FileName& name) {
    return hash_number(reinterpret_cast<std::uintptr_t>(&name));
}

}  // namespace

RowIdAnswer RowIds::find_file(const FileName& name) {
    if (!m_was_read && m_connection.in_sound_transaction()) {
        m_was_read = true;
        m_is_plain = read_file();
    }
    if (!can_tell()) return {};
    if (const RowIdAnswer given = given_id(name); given.kind == RowIdAnswer::found) return given;
    const std::string_view stored = as_stored(name.text);
    if (!can_tell()) return {};
    const std::uint32_t number = m_file_names.find(stored);
    if (number == TextPool::none) return {RowIdAnswer::absent, 0};
    return give_id(name, m_file_ids[number]);
}

RowIdAnswer RowIds::added_file(const FileName& name) {
    if (!can_tell()) return {};
    const std::uint32_t id = low_bits(m_next_file_id++);
    const std::string_view stored = as_stored(name.text);
    if (!can_tell()) return {};
    m_file_names.number_of(stored);
    m_file_ids.push_back(id);
    return give_id(name, id);
}

// The id that was given for this long name before; `must_search` without one.
RowIdAnswer RowIds::given_id(const FileName& name) const {
    if (name.text.size() < long_name) return {};
    const std::uint32_t place = m_given_index.find(
        hash_address(name), [&](std::uint32_t file) { return m_given_files[file].name == &name; });
    if (place == IndexTable::none) return {};
    return found(m_given_files[place].id);
}

RowIdAnswer RowIds::give_id(const FileName& name, std::uint32_t id) {
    if (name.text.size() < long_name) return found(id);
    m_given_index.insert(hash_address(name), static_cast<std::uint32_t>(m_given_files.size()));
    m_given_files.push_back({&name, id});
    return found(id);
}

RowIdAnswer RowIds::added_function(std::string_view name, std::uint32_t file_id, OlderRow older) {
    if (!can_tell()) return {};
    const std::uint32_t id = low_bits(m_next_function_id++);
    if (older == OlderRow::none && !m_functions_are_read && texts_tell_functions_apart())
        return found(id);
    // The row that was just added is among those that are read, at its place.
    if (!m_functions_are_read) m_is_plain = read_function_rows();
    const std::string_view stored = as_stored(name);
    if (!can_tell()) return {};
    return found(first_function(stored, file_id, id));
}

bool RowIds::read_file() {
    if (!tables_are_as_created(m_connection.db())) return false;
    TextTable encoding;
    if (!encoding.read(m_connection.db(), "PRAGMA encoding")) return false;
    m_keeps_bytes = encoding.cell(0, 0) == "UTF-8";
    return read_next_ids() && read_file_rows();
}

bool RowIds::read_next_ids() {
    IdRange files;
    IdRange functions;
    if (!read_ids(m_connection.db(), filenames_table, files)) return false;
    if (!read_ids(m_connection.db(), functions_table, functions)) return false;
    m_smallest_file_id = files.smallest;
    m_next_file_id = files.next;
    m_next_function_id = functions.next;
    return true;
}

bool RowIds::read_file_rows() {
    // `printf` takes a text as its reader does, in 8 bits and up to a NUL. What isn't equal to that
    // is another text, or none.
    TextTable rows;
    if (!rows.read(m_connection.db(),
                   "SELECT sf_id, sf_filename FROM sf_filenames "
                   "WHERE printf('%s', sf_filename) = sf_filename"))
        return false;
    for (int row = 0; row < rows.row_count(); ++row) {
        // Of equal texts the first counts.
        if (m_file_names.number_of(rows.cell(row, 1)) == m_file_ids.size())
            m_file_ids.push_back(low_bits(diag::decimal_prefix(rows.cell(row, 0))));
    }
    return true;
}

bool RowIds::read_function_rows() {
    TextTable rows;
    if (!rows.read(m_connection.db(),
                   "SELECT sf_id, sf_func_name, sf_file_id FROM sf_functions "
                   "WHERE printf('%s', sf_func_name) = sf_func_name "
                   "AND sf_file_id BETWEEN -2147483648 AND 2147483647 "
                   "AND sf_file_id = CAST(sf_file_id AS INTEGER)"))
        return false;
    m_functions_are_read = true;
    for (int row = 0; row < rows.row_count(); ++row) {
        first_function(rows.cell(row, 1), low_bits(diag::decimal_prefix(rows.cell(row, 2))),
                       low_bits(diag::decimal_prefix(rows.cell(row, 0))));
    }
    return true;
}

// True if functions whose names or files have different texts have rows that differ.
bool RowIds::texts_tell_functions_apart() const {
    return m_keeps_bytes && m_smallest_file_id >= 0 && m_next_file_id <= two_to_32;
}

// The name as it comes back from the file; valid until the next call. Where SQLite can't tell, the
// transaction is in doubt.
std::string_view RowIds::as_stored(std::string_view name) {
    if (m_keeps_bytes) return name;
    SqlStatement echo;
    const char* text = nullptr;
    if (echo.prepare(m_connection.db(), "SELECT ?1")) {
        echo.bind_text(0, name);
        if (echo.step() == step_row) text = echo.column_text(0);
    }
    if (text == nullptr) {
        m_connection.db().doubt_transaction();
        return {};
    }
    m_stored = text;
    return m_stored;
}

// The id of the first row with this name and file id: the given one if there was none before it.
std::uint32_t RowIds::first_function(std::string_view stored_name, std::uint32_t file_id,
                                     std::uint32_t id) {
    const std::uint32_t name = m_function_names.number_of(stored_name);
    const std::uint64_t hash = hash_pair(name, file_id);
    const std::uint32_t known = m_function_index.find(hash, [&](std::uint32_t index) {
        return m_functions[index].name == name && m_functions[index].file_id == file_id;
    });
    if (known != IndexTable::none) return m_functions[known].id;
    m_function_index.insert(hash, static_cast<std::uint32_t>(m_functions.size()));
    m_functions.push_back({name, file_id, id});
    return id;
}

}  // namespace hotpath
