#include "perf/branch_counts.h"

namespace perf {
namespace {

std::uint64_t hash_of(Place source, Place destination) {
    constexpr std::uint64_t odd = 0x9E3779B97F4A7C15;
    const std::uint64_t mixed = (source * odd) ^ destination;
    return (mixed ^ mixed >> 29) * odd;
}

}  // namespace

void BranchCounts::add(Place source, Place destination) {
    if (edgefile::is_foreign(source) && edgefile::is_foreign(destination)) {
        ++foreign_count_;
        begin_stack();
        return;
    }
    const std::uint32_t place = place_for(source, destination);
    CountedBranch& branch = branches_[place];
    ++branch.count;
    if (branch.is_astray) {
        begin_stack();
        return;
    }
    if (newer_ != hotpath::IndexTable::none) {
        CountedBranch& newer = branches_[newer_];
        if (destination <= newer.source && newer.source <= branch.reach) {
            ++branch.ways_from_destination;
            ++newer.ways_to_source;
        }
    }
    newer_ = place;
}

std::uint32_t BranchCounts::place_for(Place source, Place destination) {
    const std::uint64_t hash = hash_of(source, destination);
    const std::uint32_t known = index_.find(hash, [&](std::uint32_t place) {
        return branches_[place].source == source && branches_[place].destination == destination;
    });
    if (known != hotpath::IndexTable::none) return known;
    const auto place = static_cast<std::uint32_t>(branches_.size());
    index_.insert(hash, place);
    CountedBranch branch;
    branch.source = source;
    branch.destination = destination;
    look_(branch);
    branches_.push_back(branch);
    return place;
}

}  // namespace perf
