// Counts a recording's branches and the straight ways between them. Memory follows the distinct
// branches, however many stacks there are: ways aren't kept as pairs, but as how often one began
// behind a branch and how often one ended at a branch.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "edgefile/place.h"
#include "hotpath/model/index_table.h"

namespace perf {

using edgefile::Place;

// A branch taken `count` times, and the straight ways at its two ends.
struct CountedBranch {
    Place source = edgefile::foreign;
    Place destination = edgefile::foreign;
    std::uint64_t count = 0;
    std::uint64_t ways_from_destination = 0;
    std::uint64_t ways_to_source = 0;
    bool is_astray = false;  // the code can't have taken it, and no way begins or ends at it
    // The last place that control reaches from the destination without a branch.
    Place reach = 0;
};

class BranchCounts {
public:
    // Fills in `is_astray` and `reach`. It is asked once for each distinct branch.
    using Look = std::function<void(CountedBranch&)>;

    explicit BranchCounts(Look look) : look_(std::move(look)) {}

    // Adds one branch of a stack, whose newest comes first; `begin_stack` goes before its first.
    void begin_stack() { newer_ = hotpath::IndexTable::none; }
    void add(Place source, Place destination);

    std::span<const CountedBranch> branches() const { return branches_; }
    // Branches from foreign code to foreign code, which aren't kept.
    std::uint64_t foreign_count() const { return foreign_count_; }

private:
    std::uint32_t place_for(Place source, Place destination);

    Look look_;
    std::vector<CountedBranch> branches_;
    hotpath::IndexTable index_;
    std::uint32_t newer_ = hotpath::IndexTable::none;
    std::uint64_t foreign_count_ = 0;
};

}  // namespace perf
