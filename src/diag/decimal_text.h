// Decimal numbers as the C library's text-to-integer conversions read them, on every platform
// alike: a long of 64 bits that saturates. What a number means, and how many of its bits count, is
// for the caller to know.
#pragma once

#include <cstdint>
#include <limits>
#include <string_view>

#include "diag/ascii.h"

namespace diag {

// The number that `text` begins with: white space, a sign and digits, up to the first other
// character. 0 without digits; saturates at the range's ends.
constexpr std::int64_t decimal_prefix(std::string_view text) {
    std::size_t i = 0;
    while (i < text.size() && is_space(text[i])) ++i;
    const bool negative = i < text.size() && text[i] == '-';
    if (i < text.size() && (text[i] == '-' || text[i] == '+')) ++i;
    constexpr auto largest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    const std::uint64_t limit = largest + (negative ? 1 : 0);
    std::uint64_t value = 0;
    for (; i < text.size() && is_digit(text[i]); ++i) {
        const auto digit = static_cast<std::uint64_t>(text[i] - '0');
        value = value > (limit - digit) / 10 ? limit : value * 10 + digit;
    }
    return static_cast<std::int64_t>(negative ? 0 - value : value);
}

// The same number as the C library's int conversion gives it: its low 32 bits.
constexpr std::int32_t decimal_prefix_32(std::string_view text) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(decimal_prefix(text)));
}

}  // namespace diag
