// What sample databases hold, summed in 64 bits: functions with their edges and calls. The rules of
// what is one function, one edge or one call, and of which sighting's position stays, are the merge
// tool's.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "hotpath/facade/row_reader.h"

namespace edgescope {

using Position = hotpath::rows::Position;

inline constexpr std::uint32_t unknown_line = 0xFFFFFFFF;

// True if the two are one place in the source; relative lines aren't compared.
inline bool same_location(const Position& a, const Position& b) {
    return a.line == b.line && a.column == b.column && a.discriminator == b.discriminator;
}

struct Edge {
    std::uint64_t from_address;
    std::uint64_t to_address;
    std::uint64_t count;
    Position from;
    Position to;
    bool is_entry;
    bool is_exit;
};

struct Call {
    std::string callee;
    std::uint32_t line;
    std::uint32_t relative_line;
    std::uint64_t count;
};

struct Function {
    std::string name;
    std::string file;  // in upper case; empty if unknown
    std::uint64_t count = 0;
    bool uses_discriminators = false;
    bool uses_columns = false;
    std::vector<Edge> edges;  // by the line that they leave
    std::vector<Call> calls;  // by callee and line
};

struct Profile {
    std::uint64_t runs = 0;
    std::vector<Function> functions;  // by name, "/", file
};

// False for a function of which no source file is known.
bool has_file(const Function& function);

// All counts of a function; the largest number if they add up to more.
std::uint64_t sum_of_counts(const Function& function);

// False if the counts are so large that sums of them may not fit into 64 bits. All that follows is
// for profiles of which it is true, as those of `read_profile` are.
bool can_be_summed(const Profile& profile);

// Sums of counts, for shares.
std::uint64_t total_entries(const Profile& profile);
std::uint64_t total_edge_count(const Function& function);
std::uint64_t total_edge_count(const Profile& profile);
std::uint64_t total_call_count(const Profile& profile);

}  // namespace edgescope
