// One conversion from beginning to end: it opens what the command line names, and either writes
// the edge file or reports what is wrong with the recording. It never writes rows of a recording
// that doesn't fit.
#pragma once

#include <string>
#include <vector>

#include "edgefile/command_line.h"

namespace perf {

inline constexpr const char* command = "perf2edges";

struct Options {
    edgefile::CommonOptions common;
    std::string stacks;                 // "-" is standard input
    std::vector<std::string> cut_like;  // further recordings, whose branches cut blocks
};

// Writes the edge file to standard output, and a summary behind it, with warnings, to standard
// error. False behind a message there.
[[nodiscard]] bool convert(const Options& options);

}  // namespace perf
