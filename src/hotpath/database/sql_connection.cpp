#include "hotpath/database/sql_connection.h"

#include <sqlite3.h>

#include <array>
#include <cinttypes>
#include <cstdio>
#include <limits>
#include <new>
#include <string>
#include <string_view>

#include "diag/assertions.h"
#include "diag/trace.h"

namespace hotpath {
namespace {

static_assert(step_row == SQLITE_ROW && step_done == SQLITE_DONE);

int open_flags(OpenMode mode) {
    if (mode == OpenMode::ReadOnly) return SQLITE_OPEN_READONLY;
    return SQLITE_OPEN_READWRITE | (mode == OpenMode::ReadWriteCreate ? SQLITE_OPEN_CREATE : 0);
}

// The path as SQLite takes it for a file's, whatever it is built for: one that may read URIs takes
// them for names of databases even where nobody asks for it.
std::string plain_path(std::string_view path) {
    return (path.starts_with("file:") ? "./" : "") + std::string(path);
}

// A parameter's text: "?" and its number in three digits.
std::string parameter(const ColumnSpec& column) {
    std::array<char, 16> text;
    std::snprintf(text.data(), text.size(), "?%03" PRIu32, column.index + 1);
    return text.data();
}

std::string condition(const ColumnSpec& column) {
    return std::string(column.name) + "=" + parameter(column);
}

// One text for each column of the list, with a text between them.
template <class Text>
std::string list_of(const TableSpec& table, ColumnList columns, const char* between, Text text) {
    std::string list;
    for (const std::uint32_t column : columns) {
        if (!list.empty()) list += between;
        list += text(table.columns[column]);
    }
    return list;
}

}  // namespace

DatabaseHandle::~DatabaseHandle() { close(); }

bool DatabaseHandle::open(const char* path, OpenMode mode) {
    m_closed = false;
    const int rc = sqlite3_open_v2(plain_path(path).c_str(), &m_connection,
                                   open_flags(mode) | SQLITE_OPEN_NOMUTEX, nullptr);
    if (diag::traces(diag::TRACE_DB_CALLS)) {
        diag::trace_print("DatabaseHandle::open(%s) : %p ", path, static_cast<void*>(m_connection));
        diag::trace_print("Result = %s\n", rc == SQLITE_OK ? "SUCCESS" : "FAILED");
    }
    return rc == SQLITE_OK;
}

void DatabaseHandle::close() {
    if (m_closed) return;
    m_closed = true;
    doubt_transaction();
    if (diag::traces(diag::TRACE_DB_CALLS))
        diag::trace_print("DatabaseHandle::close %p", static_cast<void*>(m_connection));
    if (m_connection != nullptr) sqlite3_close(m_connection);
    m_connection = nullptr;
}

bool SqlStatement::init_sql_statement(DatabaseHandle& db, const char* sql) {
    if (diag::traces(diag::TRACE_DB_CALLS)) diag::trace_print("init_sql_statement: %s\n\n", sql);
    const bool done = prepare(db, sql);
    if (!done && diag::traces(diag::TRACE_DB_ERRORS))
        diag::trace_print("FAILED in: init_sql_statement: %s\n", sql);
    return done;
}

bool SqlStatement::prepare(DatabaseHandle& db, const char* sql) {
    finalize();
    m_db = &db;
    return sqlite3_prepare_v2(db.connection(), sql, -1, &m_statement, nullptr) == SQLITE_OK;
}

int SqlStatement::step() const {
    const int code = sqlite3_step(m_statement);
    if (code != step_row && code != step_done && m_db != nullptr) m_db->doubt_transaction();
    return code;
}

void SqlStatement::reset() const {
    sqlite3_clear_bindings(m_statement);
    sqlite3_reset(m_statement);
}

int SqlStatement::run() const {
    const int code = step();
    reset();
    return code;
}

void SqlStatement::finalize() {
    if (m_statement != nullptr) sqlite3_finalize(m_statement);
    m_statement = nullptr;
}

void SqlStatement::bind_text(std::uint32_t index, std::string_view value) const {
    // SQLite takes sizes of 31 bits; of a larger one it would take the low ones for all.
    const int rc = value.size() > std::size_t{std::numeric_limits<int>::max()}
                       ? SQLITE_TOOBIG
                       : sqlite3_bind_text(m_statement, static_cast<int>(index) + 1, value.data(),
                                           static_cast<int>(value.size()), SQLITE_STATIC);
    ASSERTX_TEXT(rc == 0, "Internal error: Failed to bind data to stmt");
}

void SqlStatement::bind_uint64(std::uint32_t index, std::uint64_t value) const {
    const int rc = sqlite3_bind_int64(m_statement, static_cast<int>(index) + 1,
                                      static_cast<sqlite3_int64>(value));
    ASSERTX_TEXT(rc == 0, "Internal error: Failed to bind data to stmt");
}

void SqlStatement::bind_uint32(std::uint32_t index, std::uint32_t value) const {
    const int rc =
        sqlite3_bind_int(m_statement, static_cast<int>(index) + 1, static_cast<int>(value));
    ASSERTX_TEXT(rc == 0, "Internal error: Failed to bind data to stmt");
}

void SqlStatement::bind_uint16(std::uint32_t index, std::uint16_t value) const {
    const int rc = sqlite3_bind_int(m_statement, static_cast<int>(index) + 1, value);
    ASSERTX_TEXT(rc == 0, "Internal error: Failed to bind data to stmt");
}

const char* SqlStatement::column_text(int column) const {
    return reinterpret_cast<const char*>(sqlite3_column_text(m_statement, column));
}

std::int64_t SqlStatement::column_int64(int column) const {
    return sqlite3_column_int64(m_statement, column);
}

std::int32_t SqlStatement::column_int(int column) const {
    return sqlite3_column_int(m_statement, column);
}

bool SelectStatement::init(DatabaseHandle& db, const TableSpec& table, ColumnList conditions) {
    const std::string sql = std::string("SELECT * FROM ") + table.name + " WHERE " +
                            list_of(table, conditions, " AND ", condition);
    return init_sql_statement(db, sql.c_str());
}

bool InsertStatement::init(DatabaseHandle& db, const TableSpec& table, ColumnList columns) {
    const auto name = [](const ColumnSpec& column) { return column.name; };
    const std::string sql = std::string("INSERT INTO  ") + table.name + " (" +
                            list_of(table, columns, ", ", name) + ") VALUES (" +
                            list_of(table, columns, ", ", parameter) + ")";
    return init_sql_statement(db, sql.c_str());
}

bool DeleteStatement::init(DatabaseHandle& db, const TableSpec& table,
                           std::uint32_t condition_column) {
    const std::string sql = std::string("DELETE FROM ") + table.name + " WHERE " +
                            condition(table.columns[condition_column]);
    return init_sql_statement(db, sql.c_str());
}

bool UpdateStatement::init(DatabaseHandle& db, const TableSpec& table, std::uint32_t set_column,
                           std::uint32_t condition_column) {
    const std::string sql = std::string("UPDATE ") + table.name + " SET " +
                            condition(table.columns[set_column]) + " WHERE " +
                            condition(table.columns[condition_column]);
    return init_sql_statement(db, sql.c_str());
}

TextTable::~TextTable() { sqlite3_free(m_error); }

bool TextTable::read(DatabaseHandle& db, const char* sql, const RowTest& is_kept) {
    Reading reading{*this, is_kept};
    if (sqlite3_exec(db.connection(), sql, take_row, &reading, &m_error) == SQLITE_OK) return true;
    db.doubt_transaction();
    return false;
}

// Called by SQLite for each row.
int TextTable::take_row(void* reading, int column_count, char** cells, char** /*names*/) {
    const auto& [table, is_kept] = *static_cast<const Reading*>(reading);
    const TextRow row({cells, static_cast<std::size_t>(column_count)});
    ++table.m_read_count;
    if (!is_kept || is_kept(row)) table.add_row(row);
    return 0;
}

void TextTable::add_row(const TextRow& row) {
    m_column_count = static_cast<int>(row.size());
    std::size_t size = 0;
    for (std::size_t i = 0; i < row.size(); ++i) size += row[i].size();
    auto* const ends =
        static_cast<std::uint32_t*>(m_storage.allocate(row.size() * sizeof(std::uint32_t) + size));
    char* text = reinterpret_cast<char*>(ends + row.size());
    const char* const begin = text;
    for (std::size_t i = 0; i < row.size(); ++i) {
        text += row[i].copy(text, std::string_view::npos);
        ends[i] = static_cast<std::uint32_t>(text - begin);
    }
    m_rows.push_back(ends);
}

DbOpenResult SqlConnection::open(const char* path, OpenMode mode) {
    m_db.reset(new (std::nothrow) DatabaseHandle);
    ASSERTX_TEXT(m_db, "Memory allocation failed");
    if (!m_db->open(path, mode)) {
        m_db.reset();
        return DbOpenCannotOpen;
    }
    if (mode == OpenMode::ReadOnly) return DbOpenOk;
    if (m_begin_transaction.init_sql_statement(*m_db, "BEGIN TRANSACTION") &&
        m_end_transaction.init_sql_statement(*m_db, "END TRANSACTION"))
        return DbOpenOk;
    m_begin_transaction.finalize();
    m_db.reset();
    return DbOpenSchemaError;
}

void SqlConnection::close() {
    m_begin_transaction.finalize();
    m_end_transaction.finalize();
    if (m_db) m_db->close();
    m_db.reset();
}

bool SqlConnection::exec_sql(const char* sql) const {
    if (diag::traces(diag::TRACE_DB_CALLS)) diag::trace_print("Executing DB CMD: %s\n", sql);
    char* error = nullptr;
    const int rc = sqlite3_exec(m_db->connection(), sql, nullptr, nullptr, &error);
    if (rc != SQLITE_OK) m_db->doubt_transaction();
    // A failure for which SQLite has no text counts as success.
    if (rc == SQLITE_OK || error == nullptr) return true;
    if (diag::traces(diag::TRACE_DB_ERRORS)) diag::trace_print("SQL error: %s\n", error);
    sqlite3_free(error);
    return false;
}

void SqlConnection::begin_transaction() const {
    if (m_begin_transaction.step() == step_done) m_db->begin_sound_transaction();
}

int SqlConnection::end_transaction() const {
    const int code = m_end_transaction.step();
    if (m_db) m_db->doubt_transaction();
    return code;
}

std::string SqlConnection::data_version() const {
    TextTable version;
    if (!version.read(*m_db, "PRAGMA data_version") || version.row_count() == 0) return {};
    return std::string(version.cell(0, 0));
}

OptionalId SqlConnection::max_column_value(const char* table, const char* column) const {
    const std::string sql = std::string("SELECT MAX(") + column + ") FROM " + table;
    SqlStatement statement;
    if (!statement.prepare(*m_db, sql.c_str())) return {};
    if (statement.step() != step_row) return {};
    return {static_cast<std::uint32_t>(statement.column_int(0)), true};
}

}  // namespace hotpath
