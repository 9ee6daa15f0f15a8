// How far a function's counts contradict each other: what enters a block must leave it.
#pragma once

#include <cstdint>

#include "edgescope/profile.h"

namespace edgescope {

struct Imbalance {
    std::uint64_t judged = 0;   // what enters the blocks whose flow is known
    std::uint64_t missing = 0;  // what doesn't balance there
    std::uint64_t noise = 0;    // the part of it that sampling explains
};

// The imbalance of one function. Calls and returns are no edges, or, where a function calls
// itself, edges like others; so a block that ends with a call,
// or that a return leads to, is judged only as far as that leaves no doubt. `runs` is the number of
// recordings that the counts come from, each of which rounds.
Imbalance imbalance_of(const Function& function, std::uint64_t runs);

}  // namespace edgescope
