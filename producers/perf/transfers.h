// Turns counted branches into counted transfers of control between blocks: the branches
// themselves, the ways from a block straight into the next one, and calls that came back.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "edgefile/edge_table.h"
#include "perf/branch_counts.h"

namespace perf {

// Finds out whether the code can have taken a branch, and how far a way leads on after it. The
// branch is astray if one of its ends is no instruction, or its source no branch to the
// destination.
void look_at(CountedBranch& branch, const edgefile::Code& code);

// Cuts the code into blocks where the branches lead to. Those that are astray cut nothing.
void cut_where_branches_lead(std::span<const CountedBranch> branches, edgefile::Code& code);

// The transfers of the branches, in order of source and destination, each once. The code is cut at
// them already. Branches that are astray give none.
std::vector<edgefile::Transfer> make_transfers(std::span<const CountedBranch> branches,
                                               const edgefile::Code& code);

}  // namespace perf
