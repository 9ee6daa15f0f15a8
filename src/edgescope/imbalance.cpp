#include "edgescope/imbalance.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "edgescope/blocks.h"
#include "edgescope/counts.h"

namespace edgescope {
namespace {

// Deviations of this many standard ones are still taken for chance.
constexpr double usual_deviations = 4;

// A return leads to the instruction behind a call. So it can't lead to a block if the block before
// it ends with something else, as one that an edge leaves does.
bool may_be_returned_to(const std::vector<Block>& blocks, std::size_t index) {
    return index == 0 || !blocks[index - 1].is_left;
}

// What edges bring to a block and take from it that may be calls of the function by itself and
// returns from them: these are edges too, as both ends are in one function.
struct Recursion {
    std::uint64_t entering = 0;
    std::uint64_t leaving = 0;
};

std::vector<Recursion> recursion_in(const Function& function, const std::vector<Block>& blocks) {
    std::vector<Recursion> result(blocks.size());
    const auto place_of = [&](std::uint64_t address) {
        const auto place = std::lower_bound(
            blocks.begin(), blocks.end(), address,
            [](const Block& block, std::uint64_t value) { return block.address < value; });
        return static_cast<std::size_t>(place - blocks.begin());
    };
    const bool may_recur = std::any_of(blocks.begin(), blocks.end(), [](const Block& block) {
        return block.is_entry && block.is_entered;
    });
    if (!may_recur) return result;
    for (const Edge& edge : function.edges) {
        const std::size_t from = place_of(edge.from_address), to = place_of(edge.to_address);
        if (blocks[to].is_entry) result[from].leaving += edge.count;
        if (blocks[from].is_exit) result[to].entering += edge.count;
    }
    return result;
}

// What chance may add to, or take from, a difference of these counts.
double noise_of(std::uint64_t sum, std::uint64_t edges, std::uint64_t runs) {
    return usual_deviations * std::sqrt(static_cast<double>(sum)) +
           static_cast<double>(edges) * static_cast<double>(std::max<std::uint64_t>(runs, 1));
}

class Sum {
public:
    explicit Sum(std::uint64_t runs) : runs_(runs) {}

    // Adds a comparison of what must be equal, of this many edges.
    void compare(std::uint64_t one, std::uint64_t other, std::uint64_t edges) {
        const std::uint64_t difference = one > other ? one - other : other - one;
        const double noise = noise_of(one + other, edges, runs_);
        result_.judged += one;
        result_.missing += difference;
        result_.noise += std::min(difference, count_of(noise));
    }

    const Imbalance& result() const { return result_; }

private:
    std::uint64_t runs_;
    Imbalance result_;
};

}  // namespace

Imbalance imbalance_of(const Function& function, std::uint64_t runs) {
    const std::vector<Block> blocks = blocks_of(function);
    const std::vector<Recursion> recursion = recursion_in(function, blocks);
    Sum sum(runs);
    std::uint64_t entries = 0, entered_again = 0, entry_edges = 0, exits = 0, exit_edges = 0;
    for (std::size_t i = 0; i < blocks.size(); ++i) {
        const Block& block = blocks[i];
        if (block.is_entry) {
            entries += block.leaving;
            entered_again += block.entering;
            entry_edges += block.edges;
        }
        if (block.is_exit) {
            // Where edges leave it too, only the rest returned.
            exits += block.entering - std::min(block.entering, block.leaving);
            exit_edges += block.edges;
        }
        if (block.is_entry || block.is_exit || !block.is_entered || !block.is_left) continue;
        const std::uint64_t leaving =
            std::clamp(block.entering, block.leaving - recursion[i].leaving, block.leaving);
        const std::uint64_t entering =
            std::clamp(leaving, block.entering - recursion[i].entering, block.entering);
        if (entering >= leaving || !may_be_returned_to(blocks, i))
            sum.compare(entering, leaving, block.edges);
    }
    // The entry block is left as often as calls and jumps back enter it. Edges that enter it are
    // jumps, or calls by the function itself, which are in its count already.
    if (entry_edges != 0)
        sum.compare(std::clamp(entries, function.count, function.count + entered_again), entries,
                    entry_edges + 1);
    // A function can't return more often than it was entered. A return of it may be missing where
    // it ends with a jump to another function.
    if (exit_edges != 0 && exits > function.count)
        sum.compare(function.count, exits, exit_edges + 1);
    return sum.result();
}

}  // namespace edgescope
