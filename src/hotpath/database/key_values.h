// Rows of a key and a value, as `sf_version` and `sf_run_info` hold them. Which keys there are is
// their users' knowledge. Keys and values stand in the texts of statements as they are, so neither
// may have a quote in it.
#pragma once

#include <cstdint>
#include <string>

#include "hotpath/database/sql_connection.h"

namespace hotpath {

// The value of the key's first row; empty, or -1, if there is none.
std::string get_value(const SqlConnection& connection, const TableSpec& table, const char* key);
std::int32_t get_int_value(const SqlConnection& connection, const TableSpec& table,
                           const char* key);

// Add a row, or put it in the place of all rows of the key. False if SQLite gave an error text for
// the insertion.
bool add_value(const SqlConnection& connection, const TableSpec& table, const char* key,
               const char* value);
bool add_value(const SqlConnection& connection, const TableSpec& table, const char* key,
               std::int32_t value);
bool set_value(const SqlConnection& connection, const TableSpec& table, const char* key,
               const char* value);
bool set_value(const SqlConnection& connection, const TableSpec& table, const char* key,
               std::int32_t value);

}  // namespace hotpath
