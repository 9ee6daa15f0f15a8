#include "hotpath/database/key_values.h"

#include "diag/decimal_text.h"

namespace hotpath {
namespace {

std::string quoted(const char* text) { return std::string("'") + text + "'"; }

std::string key_condition(const TableSpec& table, const char* key) {
    return std::string(table.columns[key_value_column::key].name) + "=" + quoted(key);
}

}  // namespace

std::string get_value(const SqlConnection& connection, const TableSpec& table, const char* key) {
    const std::string sql =
        std::string("SELECT * FROM ") + table.name + " WHERE " + key_condition(table, key);
    // Without a table, or in a file that is no database, there is no statement, and its step fails.
    SqlStatement statement;
    statement.prepare(connection.db(), sql.c_str());
    if (statement.step() != step_row) return {};
    const char* const value = statement.column_text(key_value_column::value);
    return value == nullptr ? std::string() : std::string(value);
}

std::int32_t get_int_value(const SqlConnection& connection, const TableSpec& table,
                           const char* key) {
    const std::string value = get_value(connection, table, key);
    return value.empty() ? -1 : diag::decimal_prefix_32(value);
}

bool add_value(const SqlConnection& connection, const TableSpec& table, const char* key,
               const char* value) {
    const std::string sql = std::string("INSERT INTO ") + table.name + " (" +
                            table.columns[key_value_column::key].name + ", " +
                            table.columns[key_value_column::value].name + ") VALUES(" +
                            quoted(key) + ", " + quoted(value) + ")";
    return connection.exec_sql(sql.c_str());
}

bool add_value(const SqlConnection& connection, const TableSpec& table, const char* key,
               std::int32_t value) {
    return add_value(connection, table, key, std::to_string(value).c_str());
}

bool set_value(const SqlConnection& connection, const TableSpec& table, const char* key,
               const char* value) {
    const std::string sql =
        std::string("DELETE FROM ") + table.name + " WHERE " + key_condition(table, key);
    // Whether the old rows went isn't looked at: the new one is added all the same.
    (void)connection.exec_sql(sql.c_str());
    return add_value(connection, table, key, value);
}

bool set_value(const SqlConnection& connection, const TableSpec& table, const char* key,
               std::int32_t value) {
    return set_value(connection, table, key, std::to_string(value).c_str());
}

}  // namespace hotpath
