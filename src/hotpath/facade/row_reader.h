// Reads a sample database row by row, each count with all of its 64 bits. It is for programs that
// read such files but don't merge them; it can be told to trust nothing in a file of unknown
// origin. What rows of several files add up to is left to the caller.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace hotpath {

// The rows. Texts are borrowed until the visitor that gets the row returns. A text ends at its
// first NUL, as it does for the merge tool; a NULL is an empty text or the number 0.
namespace rows {

struct Position {
    std::uint32_t line;  // 4294967295 if unknown
    std::uint32_t relative_line;
    std::uint16_t column;
    std::uint16_t discriminator;
};

struct File {
    std::int64_t id;
    std::string_view name;
};

struct Function {
    std::int64_t id;
    std::int64_t file_id;
    std::string_view name;
    std::uint64_t exec_count;
    bool uses_discriminators;
    bool uses_columns;
};

struct Edge {
    std::int64_t function_id;
    std::uint64_t from_address;
    std::uint64_t to_address;  // of the last instruction of the block that is reached
    Position from;
    Position to;
    std::uint64_t exec_count;
    bool is_entry;
    bool is_exit;
};

struct Call {
    std::int64_t function_id;
    std::uint32_t line;
    std::uint32_t relative_line;
    std::optional<std::string_view> callee;  // nothing for NULL: the merge tool skips such a row
    std::uint64_t exec_count;
};

}  // namespace rows

// What is looked at before a file of unknown origin is read.
struct ReadGuard {
    std::chrono::milliseconds time_limit = std::chrono::seconds(60);  // of all reading together
    bool check_integrity = true;  // all pages and indexes, which takes about as long as reading
};

// One database, read in one state: what another process commits after the opening isn't seen. The
// file stays open as long as the reader. Each operation that gives a bool gives false if a step of
// it failed; `error` then tells why.
class RowReader {
public:
    RowReader();
    ~RowReader();
    RowReader(const RowReader&) = delete;
    RowReader& operator=(const RowReader&) = delete;

    // Opens the sample database at `path` (UTF-8). Called once.
    [[nodiscard]] bool open(const std::string& path);

    // Opens a file of unknown origin: neither its schema nor its sizes are trusted, and nothing is
    // written. Fails if the schema is any other than the merge tool's, if the file is damaged, or
    // if another process is writing to it or has left a journal beside it.
    [[nodiscard]] bool open_guarded(const std::string& path, const ReadGuard& guard);

    // The number of merged runs; nothing if the file has none.
    [[nodiscard]] bool read_runs(std::optional<std::uint32_t>& runs);

    // Visit all rows of a table by row id.
    [[nodiscard]] bool read_files(const std::function<void(const rows::File&)>& visit);
    [[nodiscard]] bool read_functions(const std::function<void(const rows::Function&)>& visit);
    [[nodiscard]] bool read_edges(const std::function<void(const rows::Edge&)>& visit);
    [[nodiscard]] bool read_calls(const std::function<void(const rows::Call&)>& visit);

    // Why the last operation failed, as a text that can follow "FILE: ".
    const std::string& error() const;

private:
    class Connection;
    std::unique_ptr<Connection> connection_;
};

}  // namespace hotpath
