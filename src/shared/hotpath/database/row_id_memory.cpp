#include "shared/hotpath/database/row_id_memory.h"

#include "diag/decimal_text.h"

namespace hotpath {

bool tables_count_as_created(const DatabaseHandle& db) {
    TextTable objects;
    if (!objects.read(db,
                      "SELECT sql FROM sqlite_master WHERE type = 'trigger' "
                      "OR tbl_name IN ('sf_filenames', 'sf_functions') ORDER BY tbl_name"))
        return false;
    return objects.row_count() == 2 && objects.cell(0, 0) == create_table_sql(filenames_table) &&
           objects.cell(1, 0) == create_table_sql(functions_table);
}

bool FileIdMemory::read(const DatabaseHandle& db) {
    // A name that isn't stored as text, or that holds a NUL, reads like another name, but a search
    // for that one doesn't find it.
    TextTable rows;
    if (!rows.read(db,
                   "SELECT sf_id, sf_filename, "
                   "typeof(sf_filename) = 'text' AND instr(sf_filename, char(0)) = 0 "
                   "FROM sf_filenames"))
        return false;
    for (int row = 0; row < rows.row_count(); ++row) {
        if (rows.cell(row, 2) != "1") return false;
        const auto id = static_cast<std::uint32_t>(diag::decimal_prefix_32(rows.cell(row, 0)));
        remember(rows.cell(row, 1), id);
    }
    return true;
}

OptionalId FileIdMemory::find(std::string_view name) const {
    const std::uint32_t number = m_names.find(name);
    if (number == TextPool::none) return {};
    return {m_ids[number], true};
}

void FileIdMemory::remember(std::string_view name, std::uint32_t id) {
    if (m_names.number_of(name) == m_ids.size()) m_ids.push_back(id);
}

}  // namespace hotpath
