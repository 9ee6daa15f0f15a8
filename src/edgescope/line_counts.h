// How often a function's source lines ran, as its blocks and calls tell.
#pragma once

#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "edgescope/profile.h"

namespace edgescope {

using LineCounts = std::vector<std::pair<std::uint32_t, std::uint64_t>>;

// Each line and its count, by line. A line of several blocks ran as often as the one that ran most.
// Lines that aren't known are left out.
LineCounts line_counts(const Function& function);

// The line on which the function begins, if the positions tell how far they are from it.
std::optional<std::uint32_t> first_line(const Function& function);

}  // namespace edgescope
