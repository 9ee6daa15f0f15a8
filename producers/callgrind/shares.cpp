#include "callgrind/shares.h"

#include <algorithm>
#include <numeric>

namespace callgrind {

namespace {

__extension__ using Wide = unsigned __int128;

}  // namespace

std::vector<std::uint64_t> shares_of(std::uint64_t count, std::span<const std::uint64_t> supplies) {
    std::vector<std::uint64_t> shares(supplies.size());
    const Wide total = std::accumulate(supplies.begin(), supplies.end(), Wide{0});
    if (total == 0) return shares;
    const Wide taken = std::min<Wide>(count, total);
    std::vector<Wide> remainders(supplies.size());
    Wide rest = taken;
    for (std::size_t i = 0; i < supplies.size(); ++i) {
        shares[i] = static_cast<std::uint64_t>(taken * supplies[i] / total);
        remainders[i] = taken * supplies[i] % total;
        rest -= shares[i];
    }
    std::vector<std::size_t> order(supplies.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::stable_sort(order.begin(), order.end(), [&](std::size_t one, std::size_t other) {
        return remainders[one] > remainders[other];
    });
    for (std::size_t i = 0; i < rest; ++i) ++shares[order[i]];
    return shares;
}

}  // namespace callgrind
