// Makes the schema of a new sample database, and recognises a file of this version by its version
// rows. The tables themselves stand in `tables`.
#pragma once

#include <cstdint>

#include "hotpath/database/sql_connection.h"

namespace hotpath {

// The schema of one open file, as far as its version rows tell it. The connection must outlive it.
class Schema {
public:
    explicit Schema(const SqlConnection& connection) : m_connection(connection) {}

    // Makes tables, version rows and indexes in an empty file. False if a table or an index can't
    // be made; what was made until then stays.
    bool create_schema();

    // Reads the version rows; `is_compatible` tells what they say.
    void read_db_version();

    // True if the version rows are those that `create_schema` writes.
    bool is_compatible() const;

private:
    bool create_tables() const;
    void write_version_rows() const;
    bool create_indexes() const;

    const SqlConnection& m_connection;
    std::uint8_t m_schema_version = 0;
    std::uint8_t m_filenames_tbl_col_cnt = 0;
    std::uint8_t m_functions_tbl_col_cnt = 0;
    std::uint8_t m_edges_tbl_col_cnt = 0;
    std::uint8_t m_calls_tbl_col_cnt = 0;
};

}  // namespace hotpath
