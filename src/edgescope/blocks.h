// A function's basic blocks, as its edges show them: a block is known by the address of its last
// instruction, which edges leave and reach.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "edgescope/profile.h"

namespace edgescope {

struct Block {
    std::uint64_t address = 0;
    Position position{};
    std::uint64_t entering = 0;  // counts of the edges that reach it
    std::uint64_t leaving = 0;   // counts of the edges that leave it
    std::uint64_t edges = 0;     // edges of both kinds
    bool is_entered = false;     // by an edge
    bool is_left = false;
    bool is_entry = false;
    bool is_exit = false;

    // How often it ran. Calls and returns enter and leave blocks too, but are no edges.
    std::uint64_t count() const { return std::max(entering, leaving); }
};

// The blocks by address.
std::vector<Block> blocks_of(const Function& function);

}  // namespace edgescope
