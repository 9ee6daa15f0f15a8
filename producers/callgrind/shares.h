#pragma once
// Divides a count among several places in proportion to what each of them has. A recording says how
// often a function returned and how often its callers went on, but not which return went to which
// caller: each caller is taken to have got its share of each return.

#include <cstdint>
#include <span>
#include <vector>

namespace callgrind {

// What each supply gives of `count`, or of all that there is if that is less. Parts that don't
// divide go to the largest remainders, of equal ones to the first.
std::vector<std::uint64_t> shares_of(std::uint64_t count, std::span<const std::uint64_t> supplies);

}  // namespace callgrind
