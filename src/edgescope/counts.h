// Arithmetic with counts that never wraps.
#pragma once

#include <cstdint>
#include <limits>

namespace edgescope {

// The largest count stands for itself and for all that is larger.
inline constexpr std::uint64_t largest_count = std::numeric_limits<std::uint64_t>::max();

// What all counts of a profile may add up to at most, so that no sum or comparison made of them,
// each count taken four times at most, leaves 64 bits.
inline constexpr std::uint64_t largest_sum = (std::uint64_t{1} << 62) - 1;

inline void add_count(std::uint64_t& sum, std::uint64_t more) {
    sum = more > largest_count - sum ? largest_count : sum + more;
}

// The count next below the number: 0 for one below 1 and for what is no number.
inline std::uint64_t count_of(double number) {
    constexpr double first_beyond = 18446744073709551616.0;
    if (!(number >= 1)) return 0;
    return number >= first_beyond ? largest_count : static_cast<std::uint64_t>(number);
}

}  // namespace edgescope
