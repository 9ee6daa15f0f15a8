#include "hotpath/database/file_table.h"

#include <algorithm>

#include "diag/decimal_text.h"

namespace hotpath {

bool FileTable::read(DatabaseHandle& db) {
    if (!m_cells.read(db, "SELECT * FROM sf_filenames")) return false;
    m_by_id.reserve(static_cast<std::size_t>(m_cells.row_count()));
    for (int row = 0; row < m_cells.row_count(); ++row) m_by_id.push_back({id_of_row(row), row});
    const auto less = [](const Entry& a, const Entry& b) { return a.id < b.id; };
    if (!std::is_sorted(m_by_id.begin(), m_by_id.end(), less))
        std::stable_sort(m_by_id.begin(), m_by_id.end(), less);
    return true;
}

std::string_view FileTable::operator[](std::uint32_t id) const {
    // The files that this tool writes have the ids 1, 2, 3 and so on.
    if (id - 1 < m_by_id.size() && m_by_id[id - 1].id == id &&
        (id == m_by_id.size() || m_by_id[id].id != id))
        return name_of_row(m_by_id[id - 1].row);
    // Of several rows with one id the last counts.
    const auto behind = std::upper_bound(
        m_by_id.begin(), m_by_id.end(), id,
        [](std::uint32_t wanted, const Entry& entry) { return wanted < entry.id; });
    if (behind == m_by_id.begin() || std::prev(behind)->id != id) return "";
    return name_of_row(std::prev(behind)->row);
}

std::uint32_t FileTable::id_of_row(int row) const {
    return static_cast<std::uint32_t>(
        diag::decimal_prefix_32(m_cells.cell(row, filenames_column::id)));
}

std::string_view FileTable::name_of_row(int row) const {
    return m_cells.cell(row, filenames_column::filename);
}

}  // namespace hotpath
