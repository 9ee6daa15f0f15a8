// The tables of a sample database. One descriptor for each table drives its creation and the texts
// of all statements on it.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace hotpath {

enum class ColumnKind : std::uint32_t {
    PrimaryKey = 0,  // row id, given by SQLite
    Int32 = 1,
    Int64 = 2,
    Text = 3,
};

struct ColumnSpec {
    std::uint32_t index;  // zero-based place in the table; plus one, the SQL parameter's number
    const char* name;
    ColumnKind kind;
};

struct TableSpec {
    const char* name;
    std::span<const ColumnSpec> columns;
};

extern const TableSpec version_table;
extern const TableSpec run_info_table;
extern const TableSpec filenames_table;
extern const TableSpec functions_table;
extern const TableSpec edges_table;
extern const TableSpec calls_table;

// Places of the columns in their tables, and behind them how many there are.
namespace key_value_column {
enum : std::uint32_t { key, value, column_count };
}
namespace filenames_column {
enum : std::uint32_t { id, filename, column_count };
}
namespace functions_column {
enum : std::uint32_t { id, func_name, file_id, exec_count, flags, column_count };
}
namespace edges_column {
enum : std::uint32_t {
    from_func_id,
    from_address,
    from_abs_line,
    from_rel_line,
    from_column,
    from_discr,
    to_func_id,
    to_bb_end_address,
    to_abs_line,
    to_rel_line,
    to_column,
    to_discr,
    exec_count,
    flags,
    column_count,
};
}
namespace calls_column {
enum : std::uint32_t {
    from_func_id,
    from_abs_line,
    from_rel_line,
    to_func_name,
    exec_count,
    column_count
};
}

// The text that creates the table.
std::string create_table_sql(const TableSpec& table);

// The text that creates index `name` over one column.
std::string create_index_sql(const char* name, const TableSpec& table, std::uint32_t column);

}  // namespace hotpath
