// SQLite by itself, beside the code under test.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <string>

#include "fuzz_input.h"

namespace fuzz {

class RawConnection {
public:
    explicit RawConnection(const std::string& path) {
        require(sqlite3_open(path.c_str(), &connection_) == SQLITE_OK, "an open connection");
    }
    RawConnection(const RawConnection&) = delete;
    RawConnection& operator=(const RawConnection&) = delete;
    ~RawConnection() { sqlite3_close(connection_); }

    // True if the whole text ran.
    bool run(const std::string& sql) const {
        return sqlite3_exec(connection_, sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
    }

    sqlite3* get() const { return connection_; }

private:
    sqlite3* connection_ = nullptr;
};

// One statement; one that can't be prepared has no rows.
class RawStatement {
public:
    RawStatement(const RawConnection& connection, const std::string& sql) {
        sqlite3_prepare_v2(connection.get(), sql.c_str(), -1, &statement_, nullptr);
    }
    RawStatement(const RawStatement&) = delete;
    RawStatement& operator=(const RawStatement&) = delete;
    ~RawStatement() { sqlite3_finalize(statement_); }

    bool is_prepared() const { return statement_ != nullptr; }
    void bind(int number, int value) const { sqlite3_bind_int(statement_, number, value); }
    int step() const { return sqlite3_step(statement_); }
    bool next_row() const { return step() == SQLITE_ROW; }

    bool is_null(int column) const {
        return sqlite3_column_type(statement_, column) == SQLITE_NULL;
    }
    // A NULL is the empty text, and a NUL ends a text.
    std::string text(int column) const {
        const auto* const bytes = sqlite3_column_text(statement_, column);
        return bytes == nullptr ? "" : reinterpret_cast<const char*>(bytes);
    }
    std::int32_t int32(int column) const { return sqlite3_column_int(statement_, column); }
    std::uint64_t uint64(int column) const {
        return static_cast<std::uint64_t>(sqlite3_column_int64(statement_, column));
    }
    std::uint32_t uint32(int column) const { return static_cast<std::uint32_t>(int32(column)); }

    sqlite3_stmt* get() const { return statement_; }

private:
    sqlite3_stmt* statement_ = nullptr;
};

}  // namespace fuzz
