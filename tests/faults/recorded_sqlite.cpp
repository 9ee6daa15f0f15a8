// Each call of the tool to SQLite goes through here on its way, by the linker's doing, and its
// result is written to the log: what a run should say follows from that.
//
//     O  connection  code  flags                       opened; a failed one has a number, too
//     P  connection  code  autocommit  text            prepared
//     S  connection  code  autocommit  text            stepped, with the bound values in the text
//     X  connection  code  autocommit  error  text     executed; error is 1 if a text was given
//     back B  connection  code  text                        a bind that failed N  connection  text
//     a text that should be there but was null C  connection closed
#include <sqlite3.h>

#include <vector>

#include "fault_plan.h"

namespace {

using faults::record;

using RowCallback = int (*)(void*, int, char**, char**);

// Connections by their numbers; a closed one is null.
std::vector<sqlite3*>& connections() {
    static auto& list = *new std::vector<sqlite3*>;
    return list;
}

int number_of(sqlite3* connection) {
    for (std::size_t i = connections().size(); i-- != 0;)
        if (connection != nullptr && connections()[i] == connection) return static_cast<int>(i);
    return -1;
}

// A statement that couldn't be prepared is one of the connection that was opened last.
int number_of(sqlite3_stmt* statement) {
    if (statement == nullptr) return static_cast<int>(connections().size()) - 1;
    return number_of(sqlite3_db_handle(statement));
}

int autocommit(sqlite3* connection) {
    return connection == nullptr ? 1 : sqlite3_get_autocommit(connection);
}

const char* text_of(sqlite3_stmt* statement) {
    const char* const text = statement == nullptr ? nullptr : sqlite3_sql(statement);
    return text == nullptr ? "" : text;
}

// The statement's text with the bound values in it; freed with `sqlite3_free`.
char* filled_text_of(sqlite3_stmt* statement) {
    char* const text = sqlite3_expanded_sql(statement);
    return text == nullptr ? sqlite3_mprintf("%s", text_of(statement)) : text;
}

int bound(sqlite3_stmt* statement, int code) {
    if (code != SQLITE_OK) {
        const faults::Pause pause;
        record("B\t%d\t%d\t%s", number_of(statement), code, text_of(statement));
    }
    return code;
}

}  // namespace

extern "C" {

int __real_sqlite3_open_v2(const char* path, sqlite3** connection, int flags, const char* files);
int __wrap_sqlite3_open_v2(const char* path, sqlite3** connection, int flags, const char* files);
int __real_sqlite3_close(sqlite3* connection);
int __wrap_sqlite3_close(sqlite3* connection);
int __real_sqlite3_prepare_v2(sqlite3* connection, const char* sql, int size,
                              sqlite3_stmt** statement, const char** tail);
int __wrap_sqlite3_prepare_v2(sqlite3* connection, const char* sql, int size,
                              sqlite3_stmt** statement, const char** tail);
int __real_sqlite3_step(sqlite3_stmt* statement);
int __wrap_sqlite3_step(sqlite3_stmt* statement);
int __real_sqlite3_exec(sqlite3* connection, const char* sql, RowCallback callback, void* data,
                        char** error);
int __wrap_sqlite3_exec(sqlite3* connection, const char* sql, RowCallback callback, void* data,
                        char** error);
int __real_sqlite3_bind_text(sqlite3_stmt* statement, int index, const char* value, int size,
                             void (*destructor)(void*));
int __wrap_sqlite3_bind_text(sqlite3_stmt* statement, int index, const char* value, int size,
                             void (*destructor)(void*));
int __real_sqlite3_bind_int(sqlite3_stmt* statement, int index, int value);
int __wrap_sqlite3_bind_int(sqlite3_stmt* statement, int index, int value);
int __real_sqlite3_bind_int64(sqlite3_stmt* statement, int index, sqlite3_int64 value);
int __wrap_sqlite3_bind_int64(sqlite3_stmt* statement, int index, sqlite3_int64 value);
const unsigned char* __real_sqlite3_column_text(sqlite3_stmt* statement, int column);
const unsigned char* __wrap_sqlite3_column_text(sqlite3_stmt* statement, int column);

int __wrap_sqlite3_open_v2(const char* path, sqlite3** connection, int flags, const char* files) {
    const int code = __real_sqlite3_open_v2(path, connection, flags, files);
    const faults::Pause pause;
    connections().push_back(*connection);
    record("O\t%zu\t%d\t%d", connections().size() - 1, code, flags);
    // A small cache makes a merge write pages before its end.
    if (code == SQLITE_OK && faults::is_for_files())
        __real_sqlite3_exec(*connection, "PRAGMA cache_size = 10", nullptr, nullptr, nullptr);
    return code;
}

int __wrap_sqlite3_close(sqlite3* connection) {
    const int number = number_of(connection);
    record("C\t%d", number);
    if (number >= 0) connections()[static_cast<std::size_t>(number)] = nullptr;
    return __real_sqlite3_close(connection);
}

int __wrap_sqlite3_prepare_v2(sqlite3* connection, const char* sql, int size,
                              sqlite3_stmt** statement, const char** tail) {
    const int code = __real_sqlite3_prepare_v2(connection, sql, size, statement, tail);
    record("P\t%d\t%d\t%d\t%s", number_of(connection), code, autocommit(connection), sql);
    return code;
}

int __wrap_sqlite3_step(sqlite3_stmt* statement) {
    const int code = __real_sqlite3_step(statement);
    if (statement == nullptr) return code;
    const faults::Pause pause;
    char* const text = filled_text_of(statement);
    record("S\t%d\t%d\t%d\t%s", number_of(statement), code,
           autocommit(sqlite3_db_handle(statement)), text);
    sqlite3_free(text);
    return code;
}

int __wrap_sqlite3_exec(sqlite3* connection, const char* sql, RowCallback callback, void* data,
                        char** error) {
    const int code = __real_sqlite3_exec(connection, sql, callback, data, error);
    record("X\t%d\t%d\t%d\t%s\t%s", number_of(connection), code, autocommit(connection),
           error != nullptr && *error != nullptr ? *error : "", sql);
    return code;
}

int __wrap_sqlite3_bind_text(sqlite3_stmt* statement, int index, const char* value, int size,
                             void (*destructor)(void*)) {
    return bound(statement, __real_sqlite3_bind_text(statement, index, value, size, destructor));
}

int __wrap_sqlite3_bind_int(sqlite3_stmt* statement, int index, int value) {
    return bound(statement, __real_sqlite3_bind_int(statement, index, value));
}

int __wrap_sqlite3_bind_int64(sqlite3_stmt* statement, int index, sqlite3_int64 value) {
    return bound(statement, __real_sqlite3_bind_int64(statement, index, value));
}

const unsigned char* __wrap_sqlite3_column_text(sqlite3_stmt* statement, int column) {
    const int type = sqlite3_column_type(statement, column);
    const unsigned char* const text = __real_sqlite3_column_text(statement, column);
    if (text == nullptr && type != SQLITE_NULL) {
        const faults::Pause pause;
        char* const sql = filled_text_of(statement);
        record("N\t%d\t%s", number_of(statement), sql);
        sqlite3_free(sql);
    }
    return text;
}
}
