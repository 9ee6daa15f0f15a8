#include "shared/hotpath/database/row_id_memory.h"

#include <string>

#include "diag/decimal_text.h"
#include "shared/hotpath/model/hashing.h"

namespace hotpath {
namespace {

// Ids stay below this, where 32 bits tell them apart with either sign.
constexpr std::int64_t id_limit = std::int64_t{1} << 31;

// True if the file's two tables and their texts are as the tool makes them, and no trigger changes
// rows behind its back.
bool tables_are_as_created(const DatabaseHandle& db) {
    TextTable encoding;
    if (!encoding.read(db, "PRAGMA encoding") || encoding.cell(0, 0) != "UTF-8") return false;
    TextTable objects;
    if (!objects.read(db,
                      "SELECT sql FROM sqlite_master WHERE type = 'trigger' "
                      "OR tbl_name IN ('sf_filenames', 'sf_functions') ORDER BY tbl_name"))
        return false;
    return objects.row_count() == 2 && objects.cell(0, 0) == create_table_sql(filenames_table) &&
           objects.cell(1, 0) == create_table_sql(functions_table);
}

// Reads the id that SQLite gives to the next row of the table: one more than the largest. False if
// ids are in use that 32 bits don't hold, behind which they needn't rise.
bool read_next_id(const DatabaseHandle& db, const TableSpec& table, std::uint32_t& next) {
    // Asked for one by one, both are found without reading the table.
    const std::string from = std::string(" FROM ") + table.name;
    const std::string sql = "SELECT ifnull((SELECT min(sf_id)" + from +
                            "), 1), ifnull((SELECT max(sf_id)" + from + "), 0)";
    TextTable ids;
    if (!ids.read(db, sql.c_str())) return false;
    const std::int64_t largest = diag::decimal_prefix(ids.cell(0, 1));
    next = static_cast<std::uint32_t>(largest) + 1;
    return diag::decimal_prefix(ids.cell(0, 0)) >= 0 && largest < id_limit;
}

}  // namespace

void RowIdMemory::start(const DatabaseHandle& db) {
    m_started = true;
    m_holds = tables_are_as_created(db) && read_next_ids(db) && read_files(db);
    m_had_functions = m_next_function_id != 1;
}

OptionalId RowIdMemory::find_file(std::string_view name) const {
    const std::uint32_t number = m_holds ? m_file_names.find(name) : TextPool::none;
    if (number == TextPool::none) return {};
    return {m_file_ids[number], true};
}

OptionalId RowIdMemory::added_file(std::string_view name) {
    const OptionalId id = take(m_next_file_id);
    // Of equal texts the first counts, as a search finds it.
    if (id.has_value && m_file_names.number_of(name) == m_file_ids.size())
        m_file_ids.push_back(id.value);
    return id;
}

OptionalId RowIdMemory::added_function(std::string_view name, std::uint32_t file_id) {
    const OptionalId id = take(m_next_function_id);
    const std::uint64_t hash = hash_pair(hash_text(name), file_id);
    const auto any = [](std::uint32_t) { return true; };
    if (m_added_functions.find(hash, any) != IndexTable::none) return {};
    m_added_functions.insert(hash, 0);
    return id;
}

bool RowIdMemory::read_next_ids(const DatabaseHandle& db) {
    return read_next_id(db, filenames_table, m_next_file_id) &&
           read_next_id(db, functions_table, m_next_function_id);
}

bool RowIdMemory::read_files(const DatabaseHandle& db) {
    // A name that isn't stored as text, or that holds a NUL, reads like another name, but no search
    // finds it.
    TextTable rows;
    if (!rows.read(db,
                   "SELECT sf_id, sf_filename, "
                   "typeof(sf_filename) = 'text' AND instr(sf_filename, char(0)) = 0 "
                   "FROM sf_filenames"))
        return false;
    for (int row = 0; row < rows.row_count(); ++row) {
        if (rows.cell(row, 2) != "1") continue;
        const auto id = static_cast<std::uint32_t>(diag::decimal_prefix_32(rows.cell(row, 0)));
        if (m_file_names.number_of(rows.cell(row, 1)) == m_file_ids.size())
            m_file_ids.push_back(id);
    }
    return true;
}

OptionalId RowIdMemory::take(std::uint32_t& next) {
    if (next >= id_limit) m_holds = false;
    if (!m_holds) return {};
    return {next++, true};
}

}  // namespace hotpath
