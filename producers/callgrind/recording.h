#pragma once
// What recordings of valgrind's callgrind tool say: how often each instruction ran, each jump was
// taken and each call made, by object (program or library) and address. Several recordings are
// taken for threads or parts of one run.

#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <string_view>
#include <tuple>
#include <unordered_map>
#include <utility>
#include <vector>

namespace callgrind {

using Address = std::uint64_t;  // as the object's file has it
using Count = std::uint64_t;    // sums stay at the largest number

// Counts of one object.
struct Object {
    std::string name;  // its path, as valgrind saw it
    std::unordered_map<Address, Count> executed;
    std::map<std::pair<Address, Address>, Count> jumps;  // taken, by source and destination
};

// A place in an object.
struct Site {
    std::uint32_t object = 0;
    Address address = 0;

    auto operator<=>(const Site&) const = default;
};

class Recording {
public:
    // Adds the recording in the stream. False where it can't be used: `problem` then says why,
    // without the name. One without any costs (of a thread that never ran) adds nothing.
    bool read(std::FILE* stream, std::string& problem);

    const std::vector<Object>& objects() const { return objects_; }
    // (source, destination, name of the function called) -> calls
    const std::map<std::tuple<Site, Site, std::uint32_t>, Count>& calls() const { return calls_; }
    const std::string& function_name(std::uint32_t id) const { return function_names_[id]; }
    // Instructions executed in all.
    Count instructions() const { return instructions_; }
    // Whether a program was recorded from its start to an end that it didn't make itself: by a
    // signal.
    bool was_killed() const;

private:
    friend class Parser;

    std::uint32_t object_id(const std::string& name);
    std::uint32_t function_id(const std::string& name);

    std::vector<Object> objects_;
    std::unordered_map<std::string, std::uint32_t> object_ids_;
    std::vector<std::string> function_names_;
    std::unordered_map<std::string, std::uint32_t> function_ids_;
    std::map<std::tuple<Site, Site, std::uint32_t>, Count> calls_;
    Count instructions_ = 0;
    Count all_counts_ = 0;    // jumps and calls too; the largest number stands for more
    bool has_start_ = false;  // of a program by the C library
    bool has_exit_ = false;
    bool has_end_ = false;  // rather than a dump in between
};

}  // namespace callgrind
