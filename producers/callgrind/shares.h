#pragma once
// Takes a count away from several supplies at once, from each in proportion.

#include <cstdint>
#include <span>
#include <vector>

namespace callgrind {

// What each supply gives of `count`, or of all that there is if that is less. Parts that don't
// divide go to the largest remainders, of equal ones to the first.
std::vector<std::uint64_t> shares_of(std::uint64_t count, std::span<const std::uint64_t> supplies);

}  // namespace callgrind
