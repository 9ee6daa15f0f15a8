// The thin layer over SQLite: a connection, its prepared statements, and the builders of their
// texts from table descriptors. What the tables are and what their rows mean stands in other rooms.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "shared/hotpath/database/sample_db_schema.h"
#include "shared/hotpath/model/hotpath_allocator.h"

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

// Owns one SQLite connection, or none.
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

private:
    sqlite3* m_connection = nullptr;
    bool m_closed = false;
};

// One prepared statement, or none. It must go before its connection.
class SqlStatement {
public:
    SqlStatement() = default;
    SqlStatement(const SqlStatement&) = delete;
    SqlStatement& operator=(const SqlStatement&) = delete;
    ~SqlStatement() { finalize(); }

    // Prepares `sql`; false if SQLite can't.
    bool init_sql_statement(const DatabaseHandle& db, const char* sql);

    // Prepares `sql` without a trace; false if SQLite can't.
    bool prepare(const DatabaseHandle& db, const char* sql);

    // SQLite's own code; `step_row` and `step_done` are the good ones. Without a statement it is an
    // error code.
    int step() const;

    // Makes the statement ready for its next use, without bound values.
    void reset() const;

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
    sqlite3_stmt* m_statement = nullptr;
};

// Places of columns in a table's descriptor.
using ColumnList = std::span<const std::uint32_t>;

// The four kinds of statements that are built from a table's descriptor. `init` gives what
// `init_sql_statement` gives.
class SelectStatement : public SqlStatement {
public:
    bool init(const DatabaseHandle& db, const TableSpec& table, ColumnList conditions);
};
class InsertStatement : public SqlStatement {
public:
    bool init(const DatabaseHandle& db, const TableSpec& table, ColumnList columns);
};
class DeleteStatement : public SqlStatement {
public:
    bool init(const DatabaseHandle& db, const TableSpec& table, std::uint32_t condition);
};
class UpdateStatement : public SqlStatement {
public:
    bool init(const DatabaseHandle& db, const TableSpec& table, std::uint32_t set_column,
              std::uint32_t condition);
};

// A whole table of text cells, as one query gives it; owned by this object.
class TextTable {
public:
    TextTable() = default;
    TextTable(const TextTable&) = delete;
    TextTable& operator=(const TextTable&) = delete;
    ~TextTable();

    // Runs the query. False if SQLite can't, or not to its end.
    bool read(const DatabaseHandle& db, const char* sql);

    // SQLite's error text of a failed read, or "<UNKNOWN>".
    const char* error() const { return m_error != nullptr ? m_error : "<UNKNOWN>"; }

    int row_count() const { return static_cast<int>(m_rows.size()); }

    // The cell's text; the empty text for NULL and for a column that the table doesn't have. Valid
    // as long as the table.
    std::string_view cell(int row, int column) const {
        if (column >= m_column_count) return "";
        const std::uint32_t* const ends = m_rows[static_cast<std::size_t>(row)];
        const std::uint32_t begin = column == 0 ? 0 : ends[column - 1];
        return {reinterpret_cast<const char*>(ends + m_column_count) + begin, ends[column] - begin};
    }

private:
    static int add_row(void* table, int column_count, char** cells, char** names);

    AllocatorOnHeap m_storage;
    // A row is the ends of its cells, and behind them the cells' texts. It is never moved: a long
    // table costs no copy as it grows.
    std::vector<const std::uint32_t*> m_rows;
    char* m_error = nullptr;
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

    // The largest value of a column, as 32 bits; 0 for an empty table, no value if SQLite can't
    // tell.
    OptionalId max_column_value(const char* table, const char* column) const;

protected:
    const DatabaseHandle& db() const { return *m_db; }

private:
    std::unique_ptr<DatabaseHandle> m_db;
    SqlStatement m_begin_transaction;
    SqlStatement m_end_transaction;
};

}  // namespace hotpath
