#include "hotpath/database/tables.h"

#include <array>

namespace hotpath {
namespace {

constexpr std::array<ColumnSpec, key_value_column::column_count> key_value_columns{{
    {0, "sf_key", ColumnKind::Text},
    {1, "sf_value", ColumnKind::Text},
}};

constexpr std::array<ColumnSpec, filenames_column::column_count> filenames_columns{{
    {0, "sf_id", ColumnKind::PrimaryKey},
    {1, "sf_filename", ColumnKind::Text},
}};

constexpr std::array<ColumnSpec, functions_column::column_count> functions_columns{{
    {0, "sf_id", ColumnKind::PrimaryKey},
    {1, "sf_func_name", ColumnKind::Text},
    {2, "sf_file_id", ColumnKind::Int32},
    {3, "sf_exec_count", ColumnKind::Int64},
    {4, "sf_flags", ColumnKind::Int64},
}};

constexpr std::array<ColumnSpec, edges_column::column_count> edges_columns{{
    {0, "sf_from_func_id", ColumnKind::Int32},
    {1, "sf_from_address", ColumnKind::Int64},
    {2, "sf_from_abs_line", ColumnKind::Int32},
    {3, "sf_from_rel_line", ColumnKind::Int32},
    {4, "sf_from_column", ColumnKind::Int32},
    {5, "sf_from_discr", ColumnKind::Int32},
    {6, "sf_to_func_id", ColumnKind::Int32},
    {7, "sf_to_bb_end_address", ColumnKind::Int64},
    {8, "sf_to_abs_line", ColumnKind::Int32},
    {9, "sf_to_rel_line", ColumnKind::Int32},
    {10, "sf_to_column", ColumnKind::Int32},
    {11, "sf_to_discr", ColumnKind::Int32},
    {12, "sf_exec_count", ColumnKind::Int64},
    {13, "sf_flags", ColumnKind::Int64},
}};

constexpr std::array<ColumnSpec, calls_column::column_count> calls_columns{{
    {0, "sf_from_func_id", ColumnKind::Int32},
    {1, "sf_from_abs_line", ColumnKind::Int32},
    {2, "sf_from_rel_line", ColumnKind::Int32},
    {3, "sf_to_func_name", ColumnKind::Text},
    {4, "sf_exec_count", ColumnKind::Int64},
}};

// True if each column stands at the place that it names.
constexpr bool are_in_place(std::span<const ColumnSpec> columns) {
    for (std::uint32_t place = 0; place < columns.size(); ++place)
        if (columns[place].index != place) return false;
    return true;
}
static_assert(are_in_place(key_value_columns) && are_in_place(filenames_columns) &&
              are_in_place(functions_columns) && are_in_place(edges_columns) &&
              are_in_place(calls_columns));

const char* declared_type(ColumnKind kind) {
    if (kind == ColumnKind::Text) return "TEXT";
    return kind == ColumnKind::PrimaryKey ? "INTEGER PRIMARY KEY" : "INTEGER";
}

}  // namespace

const TableSpec version_table{"sf_version", key_value_columns};
const TableSpec run_info_table{"sf_run_info", key_value_columns};
const TableSpec filenames_table{"sf_filenames", filenames_columns};
const TableSpec functions_table{"sf_functions", functions_columns};
const TableSpec edges_table{"sf_edges", edges_columns};
const TableSpec calls_table{"sf_calls", calls_columns};

std::string create_table_sql(const TableSpec& table) {
    std::string sql = std::string("CREATE TABLE ") + table.name + " (";
    for (const ColumnSpec& column : table.columns) {
        if (column.index != 0) sql += ", ";
        sql.append(column.name).append(" ").append(declared_type(column.kind));
    }
    return sql + ")";
}

std::string create_index_sql(const char* name, const TableSpec& table, std::uint32_t column) {
    return std::string("CREATE INDEX ") + name + " ON " + table.name + "(" +
           table.columns[column].name + ")";
}

}  // namespace hotpath
