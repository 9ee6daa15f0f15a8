// One line of what `perf script` prints: a stack of branches, an event that says where code lies,
// or neither. Which process a stack is of, and whose code it is, is for others to tell.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace perf {

// One taken branch, in addresses of the run.
struct Branch {
    std::uint64_t source;
    std::uint64_t destination;
};

// Both ends of an entry that can't be read.
inline constexpr std::uint64_t unreadable = 0xFFFFFFFFFFFFFFFF;

// A part of a file that a process was given at an address. The texts are parts of the line.
struct Mapping {
    std::int64_t process = 0;
    std::uint64_t address = 0;
    std::uint64_t size = 0;
    std::uint64_t offset = 0;   // in the file
    std::uint64_t inode = 0;    // of the file; 0 if the line has none
    std::string_view build_id;  // lower-case hexadecimal digits; empty if the line has none
    std::string_view path;
};

// A process, or a thread where the process is the parent's.
struct Fork {
    std::int64_t process = 0;
    std::int64_t thread = 0;
    std::int64_t parent = 0;
};

struct StackLine {
    enum class Kind { other, stack, mapping, fork, exec };

    Kind kind = Kind::other;
    // Numbers in front of a stack, or of a line of its own above one, that may name its process or
    // thread: the likeliest first.
    std::vector<std::int64_t> processes;
    std::vector<Branch> branches;  // of a stack, the newest first
    std::size_t damaged = 0;       // of these, how many can't be read
    Mapping mapping;
    Fork fork;
    std::int64_t executing = 0;  // the process that began another program
};

// Reads lines one by one into one object, so that a line of a usual length takes no memory.
class StackText {
public:
    // What the line says, valid until the next call.
    const StackLine& read(std::string_view line);

private:
    void read_head_word(std::string_view word);
    void read_event(std::string_view name, std::string_view rest);

    StackLine line_;
};

}  // namespace perf
