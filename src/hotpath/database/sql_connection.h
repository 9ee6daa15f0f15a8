// The thin layer over SQLite: a connection, its prepared statements, and the builders of their
// texts from table descriptors. What the tables are and what their rows mean stands in other rooms.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "hotpath/database/tables.h"
#include "hotpath/model/hotpath_allocator.h"

struct sqlite3;
struct sqlite3_stmt;

namespace hotpath {

// How the opening of a database went.
enum DbOpenResult : std::int32_t {
    DbOpenOk = 0,            // open, statements ready
    DbOpenCannotOpen = 1,    // SQLite could not open the file
    DbOpenIncompatible = 2,  // no database of this format and version
    DbOpenSchemaError = 3,   // creating the schema, or preparing statements, failed
};

enum class OpenMode { ReadOnly = 0, ReadWrite = 1, ReadWriteCreate = 2 };

// Result codes of a statement's step that callers compare with.
inline constexpr int step_row = 100;
inline constexpr int step_done = 101;

// An id that may be absent; the value means nothing without the flag.
struct OptionalId {
    std::uint32_t value = 0;
    bool has_value = false;
};

// Owns one SQLite connection, or none, and knows whether its transaction can be relied on.
class DatabaseHandle {
public:
    DatabaseHandle() = default;
    DatabaseHandle(const DatabaseHandle&) = delete;
    DatabaseHandle& operator=(const DatabaseHandle&) = delete;
    ~DatabaseHandle();

    // Opens the database at `path` (UTF-8). False if SQLite can't; what it left is closed later.
    bool open(const char* path, OpenMode mode);

    // Closes the connection. A second call does nothing, and is silent.
    void close();

    // The connection; null when closed.
    sqlite3* connection() const { return m_connection; }

    // True inside of a transaction in which nothing failed yet. What was read in it then still
    // holds: no other connection can have written, and SQLite hasn't taken anything back.
    bool in_sound_transaction() const { return m_in_sound_transaction; }

    // For those who step statements: a transaction began; it ended, or something in it failed.
    void begin_sound_transaction() { m_in_sound_transaction = true; }
    void doubt_transaction() { m_in_sound_transaction = false; }

private:
    sqlite3* m_connection = nullptr;
    bool m_closed = false;
    bool m_in_sound_transaction = false;
};

// One prepared statement, or none. It must go before its connection.
class SqlStatement {
public:
    SqlStatement() = default;
    SqlStatement(const SqlStatement&) = delete;
    SqlStatement& operator=(const SqlStatement&) = delete;
    ~SqlStatement() { finalize(); }

    // Prepares `sql`; false if SQLite can't.
    bool init_sql_statement(DatabaseHandle& db, const char* sql);

    // Prepares `sql` without a trace; false if SQLite can't.
    bool prepare(DatabaseHandle& db, const char* sql);

    // SQLite's own code; `step_row` and `step_done` are the good ones, any other puts the
    // connection's transaction in doubt. Without a statement it is an error code.
    int step() const;

    // Makes the statement ready for its next use, without bound values.
    void reset() const;

    // Steps once and resets: for a statement that gives no rows.
    [[nodiscard]] int run() const;

    void finalize();

    // Bind a value to the column of this index, which is the parameter's number less one. A failure
    // ends the program. A text is borrowed until the statement was reset.
    void bind_text(std::uint32_t index, std::string_view value) const;
    void bind_uint64(std::uint32_t index, std::uint64_t value) const;
    void bind_uint32(std::uint32_t index, std::uint32_t value) const;
    void bind_uint16(std::uint32_t index, std::uint16_t value) const;

    // Cells of the current row, by SQLite's zero-based column; null for a text that is NULL. A text
    // is valid until the next step.
    const char* column_text(int column) const;
    std::int64_t column_int64(int column) const;
    std::int32_t column_int(int column) const;

private:
    DatabaseHandle* m_db = nullptr;
    sqlite3_stmt* m_statement = nullptr;
};

// Places of columns in a table's descriptor.
using ColumnList = std::span<const std::uint32_t>;

// The four kinds of statements that are built from a table's descriptor. `init` gives what
// `init_sql_statement` gives.
class SelectStatement : public SqlStatement {
public:
    bool init(DatabaseHandle& db, const TableSpec& table, ColumnList conditions);
};
class InsertStatement : public SqlStatement {
public:
    bool init(DatabaseHandle& db, const TableSpec& table, ColumnList columns);
};
class DeleteStatement : public SqlStatement {
public:
    bool init(DatabaseHandle& db, const TableSpec& table, std::uint32_t condition);
};
class UpdateStatement : public SqlStatement {
public:
    bool init(DatabaseHandle& db, const TableSpec& table, std::uint32_t set_column,
              std::uint32_t condition);
};

// A row of text cells that a query gives, for the call that gets it.
class TextRow {
public:
    explicit TextRow(std::span<const char* const> cells) : m_cells(cells) {}

    std::size_t size() const { return m_cells.size(); }

    // The cell's text; the empty text for NULL and for a column that the row doesn't have.
    std::string_view operator[](std::size_t column) const {
        if (column >= m_cells.size() || m_cells[column] == nullptr) return "";
        return m_cells[column];
    }

private:
    std::span<const char* const> m_cells;
};

// True for the rows that a table is to keep.
using RowTest = std::function<bool(const TextRow&)>;

// A table of text cells, as one query gives it: all rows, or those that pass a test as they arrive.
// Owned by this object.
class TextTable {
public:
    TextTable() = default;
    TextTable(const TextTable&) = delete;
    TextTable& operator=(const TextTable&) = delete;
    ~TextTable();

    // Runs the query; without a test each row is kept. False if SQLite can't, or not to its end.
    bool read(DatabaseHandle& db, const char* sql, const RowTest& is_kept = {});

    // SQLite's error text of a failed read, or "<UNKNOWN>".
    const char* error() const { return m_error != nullptr ? m_error : "<UNKNOWN>"; }

    // The rows that are kept, and all that the query gave.
    int row_count() const { return static_cast<int>(m_rows.size()); }
    std::uint64_t read_count() const { return m_read_count; }

    // The cell's text; the empty text for NULL and for a column that the table doesn't have. Valid
    // as long as the table.
    std::string_view cell(int row, int column) const {
        if (column >= m_column_count) return "";
        const std::uint32_t* const ends = m_rows[static_cast<std::size_t>(row)];
        const std::uint32_t begin = column == 0 ? 0 : ends[column - 1];
        return {reinterpret_cast<const char*>(ends + m_column_count) + begin, ends[column] - begin};
    }

private:
    struct Reading {
        TextTable& table;
        const RowTest& is_kept;
    };

    static int take_row(void* reading, int column_count, char** cells, char** names);
    void add_row(const TextRow& row);

    AllocatorOnHeap m_storage;
    // A row is the ends of its cells, and behind them the cells' texts. It is never moved: a long
    // table costs no copy as it grows.
    std::vector<const std::uint32_t*> m_rows;
    char* m_error = nullptr;
    std::uint64_t m_read_count = 0;
    int m_column_count = 0;
};

// An open database and its transaction.
class SqlConnection {
public:
    SqlConnection() = default;
    SqlConnection(const SqlConnection&) = delete;
    SqlConnection& operator=(const SqlConnection&) = delete;
    ~SqlConnection() { close(); }

    // Opens the database at `path`: `DbOpenOk`, `DbOpenCannotOpen` or `DbOpenSchemaError`. Only a
    // writable connection has transactions.
    DbOpenResult open(const char* path, OpenMode mode);
    void close();

    // Runs SQL text. False only if SQLite gives an error text: a failure without one counts as
    // success.
    bool exec_sql(const char* sql) const;

    // Step the transaction's statements; once each in a connection's life.
    void begin_transaction() const;
    int end_transaction() const;

    // See `DatabaseHandle`; false without an open connection.
    bool in_sound_transaction() const { return m_db && m_db->in_sound_transaction(); }

    // A text that is another one once another connection has changed the file; empty if SQLite
    // can't tell.
    std::string data_version() const;

    // The largest value of a column, as 32 bits; 0 for an empty table, no value if SQLite can't
    // tell.
    OptionalId max_column_value(const char* table, const char* column) const;

    // The open connection's handle.
    DatabaseHandle& db() const { return *m_db; }

private:
    std::unique_ptr<DatabaseHandle> m_db;
    SqlStatement m_begin_transaction;
    SqlStatement m_end_transaction;
};

}  // namespace hotpath
