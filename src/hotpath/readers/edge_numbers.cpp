#include "hotpath/readers/edge_numbers.h"

#include <algorithm>
#include <charconv>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <string>

#include "diag/ascii.h"
#include "diag/decimal_text.h"

namespace hotpath {
namespace {

constexpr float two_to_63 = 9223372036854775808.0F;
constexpr std::uint64_t high_bit = 0x8000000000000000ULL;

// The value of a hexadecimal digit, 0xFF for any other character.
std::uint32_t hex_digit(char c) {
    const auto byte = static_cast<std::uint32_t>(static_cast<unsigned char>(c));
    if (byte - '0' <= 9) return byte - '0';
    const std::uint32_t letter = (byte | 0x20) - 'a';
    return letter <= 5 ? letter + 10 : 0xFF;
}

struct SignedText {
    bool negative;
    std::string_view rest;
};

// White space and a sign in front of a number.
SignedText split_sign(std::string_view text) {
    while (!text.empty() && diag::is_space(text.front())) text.remove_prefix(1);
    const bool negative = !text.empty() && text.front() == '-';
    if (!text.empty() && (text.front() == '-' || text.front() == '+')) text.remove_prefix(1);
    return {negative, text};
}

bool is_hex_digit(char c) { return hex_digit(c) <= 15; }

// True if "0x" in front belongs to a hexadecimal number; else it is a 0 with text behind it.
bool has_hex_prefix(std::string_view text, bool point_allowed) {
    if (text.size() < 3 || text[0] != '0' || (text[1] | 0x20) != 'x') return false;
    if (is_hex_digit(text[2])) return true;
    return point_allowed && text[2] == '.' && text.size() > 3 && is_hex_digit(text[3]);
}

// The exponent behind "e" or "p"; 0 if there is none. Saturates far outside of what a float holds.
int exponent_prefix(std::string_view text, char mark) {
    if (text.size() < 2 || (text[0] | 0x20) != mark) return 0;
    const bool has_sign = text[1] == '-' || text[1] == '+';
    if (text.size() < (has_sign ? 3U : 2U) || !diag::is_digit(text[has_sign ? 2 : 1])) return 0;
    const std::int64_t value = diag::decimal_prefix(text.substr(1));
    return static_cast<int>(std::clamp<std::int64_t>(value, -1000000000, 1000000000));
}

// The digits of a hexadecimal float as an integer and a power of two. What falls off the integer's
// low end leaves its lowest bit set, so that the one rounding to a float still goes the right way.
float hex_float(std::string_view text) {
    std::uint64_t digits = 0;
    std::int64_t exponent = 0;
    bool behind_point = false;
    std::size_t i = 0;
    for (; i < text.size() && (is_hex_digit(text[i]) || (text[i] == '.' && !behind_point)); ++i) {
        if (text[i] == '.') {
            behind_point = true;
            continue;
        }
        const std::uint32_t digit = hex_digit(text[i]);
        if (digits >> 48 != 0) {
            digits |= digit != 0 ? 1U : 0U;
            exponent += behind_point ? 0 : 4;
        } else {
            digits = digits << 4 | digit;
            exponent -= behind_point ? 4 : 0;
        }
    }
    exponent += exponent_prefix(text.substr(i), 'p');
    const double value =
        std::ldexp(static_cast<double>(digits),
                   static_cast<int>(std::clamp<std::int64_t>(exponent, -5000, 5000)));
    // Beyond a float's range every value counts alike; the conversion must not leave it.
    return value >= 0x1p127 ? std::numeric_limits<float>::infinity() : static_cast<float>(value);
}

#if defined(_LIBCPP_VERSION) && !defined(__cpp_lib_to_chars)
// This C++ library reads no floats by `std::from_chars` yet. The way of C takes the locale's point.
float decimal_float(std::string_view text) {
    if (diag::is_space(text.front()) || text.front() == '+') return 0;  // strtof would skip these
    const std::string_view point = std::localeconv()->decimal_point;
    std::string copy(text.substr(0, text.find('\0')));
    if (point != ".") {
        copy.resize(std::min(copy.find(point), copy.size()));
        if (const auto at = copy.find('.'); at != std::string::npos) copy.replace(at, 1, point);
    }
    return std::strtof(copy.c_str(), nullptr);
}
#else
// True if a decimal number that no float can hold is too large, false if it is too small.
bool is_overflow(std::string_view text) {
    std::int64_t magnitude = 0;  // places from the first digit that isn't 0 to the point
    bool behind_point = false;
    bool significant = false;
    std::size_t i = 0;
    for (; i < text.size() && (diag::is_digit(text[i]) || (text[i] == '.' && !behind_point)); ++i) {
        if (text[i] == '.') {
            behind_point = true;
            continue;
        }
        significant = significant || text[i] != '0';
        if (significant && !behind_point) ++magnitude;
        if (!significant && behind_point) --magnitude;
    }
    return magnitude + exponent_prefix(text.substr(i), 'e') > 0;
}

float decimal_float(std::string_view text) {
    float value = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    if (result.ec != std::errc::result_out_of_range) return value;
    return is_overflow(text) ? std::numeric_limits<float>::infinity() : 0.0F;
}
#endif

// The longest number that `strtof` accepts, in any locale of the user's; 0 without one.
float float_prefix(std::string_view text) {
    const SignedText number = split_sign(text);
    if (number.rest.empty() || number.rest.front() == '-') return 0;
    const float value = has_hex_prefix(number.rest, true) ? hex_float(number.rest.substr(2))
                                                          : decimal_float(number.rest);
    return number.negative ? -value : value;
}

// Cuts toward zero into 64 bits as the compilers for x86-64 do it. Below 2 to the 63rd that is a
// signed conversion whose bits are kept, which gives the high bit alone for what has no signed
// value; from there on the upper half is taken off first and put back as a bit.
std::uint64_t cut_to_u64(float value) {
    if (!(value >= -two_to_63)) return high_bit;
    if (value < two_to_63) return static_cast<std::uint64_t>(static_cast<std::int64_t>(value));
    const float rest = value - two_to_63;
    if (rest >= two_to_63) return 0;
    return static_cast<std::uint64_t>(rest) + high_bit;
}

}  // namespace

std::uint64_t parse_hex_u64(std::string_view field) {
    SignedText number = split_sign(field);
    if (has_hex_prefix(number.rest, false)) number.rest.remove_prefix(2);
    std::uint64_t value = 0;
    for (const char c : number.rest) {
        if (!is_hex_digit(c)) break;
        if (value >> 60 != 0) return std::numeric_limits<std::uint64_t>::max();
        value = value << 4 | hex_digit(c);
    }
    return number.negative ? 0 - value : value;
}

std::uint32_t parse_int_field(std::string_view field) {
    std::string copy(field);
    copy.erase(std::remove(copy.begin(), copy.end(), ','), copy.end());
    return static_cast<std::uint32_t>(diag::decimal_prefix_32(copy));
}

std::uint64_t parse_count(std::string_view field) { return cut_to_u64(float_prefix(field)); }

}  // namespace hotpath
