// Reads the whole text of a recording: its events go to the address spaces, its stacks, in places
// of the given files, to the counts.
#pragma once

#include <cstdint>
#include <cstdio>

#include "perf/address_spaces.h"
#include "perf/branch_counts.h"
#include "perf/foreign_names.h"

namespace perf {

// What a text held.
struct RecordingSize {
    std::uint64_t stacks = 0;
    std::uint64_t branches = 0;
    std::uint64_t damaged = 0;  // entries and events that can't be read
    bool read_error = false;
};

// Reads to the stream's end. `names` says where branches into other files lead to.
RecordingSize read_recording(std::FILE* text, AddressSpaces& spaces, ForeignNames& names,
                             BranchCounts& counts);

}  // namespace perf
