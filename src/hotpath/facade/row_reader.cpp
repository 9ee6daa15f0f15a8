#include "hotpath/facade/row_reader.h"

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <system_error>

#include "diag/platform.h"
#include "hotpath/database/tables.h"
#include "hotpath/facade/interrupter.h"

namespace hotpath {
namespace {

using Clock = std::chrono::steady_clock;

// Steps of SQLite's machine between two looks at the clock.
constexpr int steps_between_looks = 10000;

// What a guarded connection allows. The largest row of a sample database is a function's name.
constexpr std::array<std::pair<int, int>, 11> guarded_limits = {{
    {SQLITE_LIMIT_LENGTH, 64 << 20},
    {SQLITE_LIMIT_SQL_LENGTH, 64 << 10},
    {SQLITE_LIMIT_COLUMN, 64},
    {SQLITE_LIMIT_EXPR_DEPTH, 20},
    {SQLITE_LIMIT_COMPOUND_SELECT, 2},
    {SQLITE_LIMIT_FUNCTION_ARG, 4},
    {SQLITE_LIMIT_ATTACHED, 0},
    {SQLITE_LIMIT_LIKE_PATTERN_LENGTH, 64},
    {SQLITE_LIMIT_VARIABLE_NUMBER, 2},
    {SQLITE_LIMIT_TRIGGER_DEPTH, 1},
    {SQLITE_LIMIT_WORKER_THREADS, 0},
}};

// The text without white space, which says nothing in the texts that make up a schema.
std::string without_blanks(std::string_view text) {
    std::string result;
    std::copy_if(text.begin(), text.end(), std::back_inserter(result),
                 [](char c) { return c != ' ' && c != '\n' && c != '\t' && c != '\r'; });
    return result;
}

// What the catalogue of a sample database holds, in any order.
std::multiset<std::string> expected_schema() {
    std::multiset<std::string> texts;
    for (const TableSpec* const table : {&version_table, &run_info_table, &filenames_table,
                                         &functions_table, &edges_table, &calls_table})
        texts.insert(without_blanks(create_table_sql(*table)));
    texts.insert(without_blanks(create_index_sql("idx1", edges_table, edges_column::from_func_id)));
    texts.insert(without_blanks(create_index_sql("idx2", calls_table, calls_column::from_func_id)));
    return texts;
}

// The version rows, and the values that this library reads.
constexpr std::array<std::pair<std::string_view, long>, 5> version_values = {{
    {"schema_version", 1},
    {"filename_columns", filenames_column::column_count},
    {"functions_columns", functions_column::column_count},
    {"edges_columns", edges_column::column_count},
    {"calls_columns", calls_column::column_count},
}};

// A path that SQLite can't take for a URI.
std::string plain_path(const std::string& path) {
    return path.starts_with("file:") ? "./" + path : path;
}

// What SQLite writes at a file's beginning; two bytes tell whether it is to keep a log beside it.
constexpr std::string_view file_mark("SQLite format 3\0", 16);
constexpr std::size_t write_version_place = 18;
constexpr std::size_t read_version_place = 19;
constexpr char log_version = 2;

// Why SQLite shouldn't even see the file; empty if it may.
std::string fault_of_header(const std::string& path) {
    std::FILE* const file = diag::platform::open_for_reading(path.c_str());
    if (file == nullptr) return std::generic_category().message(errno);
    std::array<char, 20> header{};
    const std::size_t count = std::fread(header.data(), 1, header.size(), file);
    std::fclose(file);
    if (count < header.size() || !std::string_view(header.data(), count).starts_with(file_mark))
        return "is no database";
    if (header[write_version_place] == log_version || header[read_version_place] == log_version)
        return "keeps a write-ahead log, which reading would write to";
    return "";
}

// The same, of what stands beside the file: another process has left it, or is at work.
std::string fault_of_neighbours(const std::filesystem::path& path) {
    std::error_code failure;
    for (const char* const ending : {"-journal", "-wal"}) {
        std::filesystem::path neighbour = path;
        neighbour += ending;
        if (std::filesystem::exists(neighbour, failure))
            return std::string("a file ") + ending +
                   " stands beside it: its writer is at work or has died";
    }
    return "";
}

std::string fault_of_file(const std::string& path) {
    std::error_code failure;
    const std::filesystem::path real =
        std::filesystem::canonical(std::u8string(path.begin(), path.end()), failure);
    if (failure) return failure.message();
    if (!std::filesystem::is_regular_file(real, failure)) return "is no file";
    const std::string fault = fault_of_header(path);
    return fault.empty() ? fault_of_neighbours(real) : fault;
}

}  // namespace

// The connection, its time limit and its last error.
class RowReader::Connection {
public:
    Connection() = default;
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection() { sqlite3_close(handle_); }

    bool open(const std::string& path);
    bool guard(std::chrono::milliseconds time_limit);

    // Runs a text that gives no rows.
    bool execute(const char* sql);

    bool check_schema();
    bool check_versions();
    bool check_that_nobody_writes();
    bool check_integrity();

    // One value of a table of keys and values; nothing if the key isn't there.
    bool read_value(const char* sql, std::optional<std::string>& value);

    // Runs the query, whose only parameter, if any, is `parameter`, and calls `visit` with the
    // statement at each row, until that gives false.
    template <typename Visit>
    bool for_each_row(const char* sql, const Visit& visit);

    // A cell's text up to its first NUL; empty for NULL.
    std::string_view text(sqlite3_stmt* statement, int column);

    // Keeps the reason of a failure. Always false.
    bool fail(std::string why);
    bool fail_by_sqlite();

    std::string error;

private:
    static int is_over(void* connection);
    std::string time_limit_text() const;

    sqlite3* handle_ = nullptr;
    std::chrono::milliseconds time_limit_{};
    Clock::time_point end_{};
    bool lacks_memory_ = false;
};

bool RowReader::Connection::fail(std::string why) {
    error = std::move(why);
    return false;
}

// "60 s", "0.25 s"
std::string RowReader::Connection::time_limit_text() const {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%g s",
                  static_cast<double>(time_limit_.count()) / 1000);
    return text.data();
}

bool RowReader::Connection::fail_by_sqlite() {
    switch (sqlite3_errcode(handle_)) {
        case SQLITE_INTERRUPT:
            return fail("reading it takes longer than the time limit of " + time_limit_text());
        case SQLITE_NOTADB: return fail("is no database");
        case SQLITE_BUSY: return fail("another process is writing to it");
        case SQLITE_CORRUPT: return fail(std::string("is damaged: ") + sqlite3_errmsg(handle_));
        default: return fail(sqlite3_errmsg(handle_));
    }
}

bool RowReader::Connection::open(const std::string& path) {
    constexpr int flags = SQLITE_OPEN_READONLY | SQLITE_OPEN_NOMUTEX;
    if (sqlite3_open_v2(plain_path(path).c_str(), &handle_, flags, nullptr) != SQLITE_OK)
        return handle_ == nullptr ? fail("out of memory") : fail_by_sqlite();
    return true;
}

int RowReader::Connection::is_over(void* connection) {
    return Clock::now() > static_cast<const Connection*>(connection)->end_ ? 1 : 0;
}

bool RowReader::Connection::guard(std::chrono::milliseconds time_limit) {
    time_limit_ = time_limit;
    end_ = Clock::now() + time_limit;
    sqlite3_progress_handler(handle_, steps_between_looks, &is_over, this);
    for (const auto& [category, most] : guarded_limits) sqlite3_limit(handle_, category, most);
    sqlite3_db_config(handle_, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    sqlite3_db_config(handle_, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
#ifdef SQLITE_DBCONFIG_ENABLE_VIEW
    sqlite3_db_config(handle_, SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr);
#endif
#ifdef SQLITE_DBCONFIG_TRUSTED_SCHEMA
    sqlite3_db_config(handle_, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
#endif
    return execute("PRAGMA temp_store = MEMORY") && execute("PRAGMA mmap_size = 0") &&
           execute("PRAGMA query_only = ON") && execute("PRAGMA cell_size_check = ON");
}

bool RowReader::Connection::execute(const char* sql) {
    return sqlite3_exec(handle_, sql, nullptr, nullptr, nullptr) == SQLITE_OK || fail_by_sqlite();
}

template <typename Visit>
bool RowReader::Connection::for_each_row(const char* sql, const Visit& visit) {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(handle_, sql, -1, &statement, nullptr) != SQLITE_OK)
        return fail_by_sqlite();
    const std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)> owner(statement, &sqlite3_finalize);
    lacks_memory_ = false;
    int result = SQLITE_ROW;
    while ((result = sqlite3_step(statement)) == SQLITE_ROW)
        if (!visit(statement)) return true;
    if (result != SQLITE_DONE) return fail_by_sqlite();
    return !lacks_memory_ || fail("out of memory");
}

std::string_view RowReader::Connection::text(sqlite3_stmt* statement, int column) {
    const void* const bytes = sqlite3_column_text(statement, column);
    if (bytes != nullptr) return static_cast<const char*>(bytes);
    if (sqlite3_column_type(statement, column) != SQLITE_NULL &&
        sqlite3_column_bytes(statement, column) != 0)
        lacks_memory_ = true;
    return {};
}

bool RowReader::Connection::check_schema() {
    std::multiset<std::string> missing = expected_schema();
    std::string surplus;
    const bool read =
        for_each_row("SELECT type, name, sql FROM sqlite_master", [&](sqlite3_stmt* statement) {
            const auto place = missing.find(without_blanks(text(statement, 2)));
            if (place != missing.end()) {
                missing.erase(place);
                return true;
            }
            surplus = std::string(text(statement, 0)) + " " + std::string(text(statement, 1));
            return false;
        });
    if (!read) return false;
    if (!surplus.empty()) return fail("is no sample database: its schema has another " + surplus);
    if (!missing.empty())
        return fail("is no sample database: its schema lacks " + *missing.begin());
    return true;
}

bool RowReader::Connection::check_versions() {
    for (const auto& [key, expected] : version_values) {
        const std::string sql =
            "SELECT sf_value FROM sf_version WHERE sf_key = '" + std::string(key) + "'";
        std::optional<std::string> value;
        if (!read_value(sql.c_str(), value))
            return error.starts_with("no such") ? fail("is no sample database: " + error) : false;
        if (!value) return fail("is no sample database: it has no " + std::string(key));
        if (std::strtol(value->c_str(), nullptr, 10) != expected)
            return fail("is of another version: its " + std::string(key) + " is " + *value);
    }
    return true;
}

bool RowReader::Connection::check_that_nobody_writes() {
    sqlite3_file* file = nullptr;
    if (sqlite3_file_control(handle_, "main", SQLITE_FCNTL_FILE_POINTER, &file) != SQLITE_OK ||
        file == nullptr || file->pMethods == nullptr)
        return fail("can't tell whether another process is writing to it");
    int is_reserved = 0;
    if (file->pMethods->xCheckReservedLock(file, &is_reserved) != SQLITE_OK)
        return fail("can't tell whether another process is writing to it");
    return is_reserved == 0 || fail("another process is writing to it");
}

bool RowReader::Connection::check_integrity() try {
    const Interrupter interrupter(handle_, end_);
    std::string finding;
    const bool read = for_each_row("PRAGMA integrity_check(1)", [&](sqlite3_stmt* statement) {
        finding = text(statement, 0);
        return true;
    });
    if (!read) return false;
    std::replace(finding.begin(), finding.end(), '\n', ' ');
    return finding == "ok" || fail("is damaged: " + finding);
} catch (const std::system_error& problem) {
    return fail(std::string("no thread can be started: ") + problem.what());
}

bool RowReader::Connection::read_value(const char* sql, std::optional<std::string>& value) {
    value.reset();
    return for_each_row(sql, [&](sqlite3_stmt* statement) {
        if (sqlite3_column_type(statement, 0) != SQLITE_NULL) value = text(statement, 0);
        return false;
    });
}

RowReader::RowReader() : connection_(std::make_unique<Connection>()) {}
RowReader::~RowReader() = default;

const std::string& RowReader::error() const { return connection_->error; }

bool RowReader::open(const std::string& path) {
    // The opening would wait for a pipe's writer.
    if (diag::platform::kind_of_file(path.c_str()) != diag::platform::FileKind::ordinary)
        return connection_->fail("is no file");
    return connection_->open(path) && connection_->execute("BEGIN") &&
           connection_->check_versions();
}

bool RowReader::open_guarded(const std::string& path, const ReadGuard& guard) {
    const std::string fault = fault_of_file(path);
    if (!fault.empty()) return connection_->fail(fault);
    // The catalogue's first read takes the lock that keeps writers from a commit until the end.
    return connection_->open(path) && connection_->guard(guard.time_limit) &&
           connection_->execute("BEGIN") && connection_->check_schema() &&
           connection_->check_that_nobody_writes() &&
           (!guard.check_integrity || connection_->check_integrity()) &&
           connection_->check_versions();
}

bool RowReader::read_runs(std::optional<std::uint32_t>& runs) {
    std::optional<std::string> value;
    if (!connection_->read_value("SELECT sf_value FROM sf_run_info WHERE sf_key = 'num_runs'",
                                 value))
        return false;
    runs.reset();
    if (!value || value->empty()) return true;
    const auto number = static_cast<std::uint32_t>(std::strtol(value->c_str(), nullptr, 10));
    if (number != 0xFFFFFFFF) runs = number;  // -1 is how the merge tool reads "none"
    return true;
}

bool RowReader::read_files(const std::function<void(const rows::File&)>& visit) {
    return connection_->for_each_row(
        "SELECT sf_id, sf_filename FROM sf_filenames NOT INDEXED", [&](sqlite3_stmt* row) {
            visit({.id = sqlite3_column_int64(row, 0), .name = connection_->text(row, 1)});
            return true;
        });
}

bool RowReader::read_functions(const std::function<void(const rows::Function&)>& visit) {
    return connection_->for_each_row(
        "SELECT sf_id, sf_file_id, sf_func_name, sf_exec_count, sf_flags FROM sf_functions "
        "NOT INDEXED",
        [&](sqlite3_stmt* row) {
            const std::int64_t flags = sqlite3_column_int64(row, 4);
            visit({.id = sqlite3_column_int64(row, 0),
                   .file_id = sqlite3_column_int64(row, 1),
                   .name = connection_->text(row, 2),
                   .exec_count = static_cast<std::uint64_t>(sqlite3_column_int64(row, 3)),
                   .uses_discriminators = (flags & 1) != 0,
                   .uses_columns = (flags & 2) != 0});
            return true;
        });
}

// The four columns of a position from the given one on.
static rows::Position position(sqlite3_stmt* row, int column) {
    return {.line = static_cast<std::uint32_t>(sqlite3_column_int(row, column)),
            .relative_line = static_cast<std::uint32_t>(sqlite3_column_int(row, column + 1)),
            .column = static_cast<std::uint16_t>(sqlite3_column_int(row, column + 2)),
            .discriminator = static_cast<std::uint16_t>(sqlite3_column_int(row, column + 3))};
}

bool RowReader::read_edges(const std::function<void(const rows::Edge&)>& visit) {
    return connection_->for_each_row(
        "SELECT sf_from_func_id, sf_from_address, sf_to_bb_end_address, sf_exec_count, sf_flags, "
        "sf_from_abs_line, sf_from_rel_line, sf_from_column, sf_from_discr, "
        "sf_to_abs_line, sf_to_rel_line, sf_to_column, sf_to_discr FROM sf_edges NOT INDEXED",
        [&](sqlite3_stmt* row) {
            const int flags = sqlite3_column_int(row, 4);
            visit({.function_id = sqlite3_column_int64(row, 0),
                   .from_address = static_cast<std::uint64_t>(sqlite3_column_int64(row, 1)),
                   .to_address = static_cast<std::uint64_t>(sqlite3_column_int64(row, 2)),
                   .from = position(row, 5),
                   .to = position(row, 9),
                   .exec_count = static_cast<std::uint64_t>(sqlite3_column_int64(row, 3)),
                   .is_entry = (flags & 1) != 0,
                   .is_exit = (flags & 2) != 0});
            return true;
        });
}

bool RowReader::read_calls(const std::function<void(const rows::Call&)>& visit) {
    return connection_->for_each_row(
        "SELECT sf_from_func_id, sf_from_abs_line, sf_from_rel_line, sf_to_func_name, "
        "sf_exec_count FROM sf_calls NOT INDEXED",
        [&](sqlite3_stmt* row) {
            rows::Call call{.function_id = sqlite3_column_int64(row, 0),
                            .line = static_cast<std::uint32_t>(sqlite3_column_int(row, 1)),
                            .relative_line = static_cast<std::uint32_t>(sqlite3_column_int(row, 2)),
                            .callee = std::nullopt,
                            .exec_count = static_cast<std::uint64_t>(sqlite3_column_int64(row, 4))};
            if (sqlite3_column_type(row, 3) != SQLITE_NULL) call.callee = connection_->text(row, 3);
            visit(call);
            return true;
        });
}

}  // namespace hotpath
