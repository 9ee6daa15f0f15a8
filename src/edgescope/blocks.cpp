#include "edgescope/blocks.h"

namespace edgescope {

static void add_to(Block& block, const Block& more) {
    block.entering += more.entering;
    block.leaving += more.leaving;
    block.edges += more.edges;
    block.is_entered |= more.is_entered;
    block.is_left |= more.is_left;
    block.is_entry |= more.is_entry;
    block.is_exit |= more.is_exit;
}

std::vector<Block> blocks_of(const Function& function) {
    std::vector<Block> ends;
    ends.reserve(2 * function.edges.size());
    for (const Edge& edge : function.edges) {
        ends.push_back({.address = edge.from_address,
                        .position = edge.from,
                        .leaving = edge.count,
                        .edges = 1,
                        .is_left = true,
                        .is_entry = edge.is_entry});
        ends.push_back({.address = edge.to_address,
                        .position = edge.to,
                        .entering = edge.count,
                        .edges = 1,
                        .is_entered = true,
                        .is_exit = edge.is_exit});
    }
    std::stable_sort(ends.begin(), ends.end(),
                     [](const Block& a, const Block& b) { return a.address < b.address; });
    std::vector<Block> blocks;
    for (const Block& end : ends) {
        if (!blocks.empty() && blocks.back().address == end.address)
            add_to(blocks.back(), end);
        else
            blocks.push_back(end);
    }
    return blocks;
}

}  // namespace edgescope
