// The three number conversions of edge files. Each takes one field's text, reads the number that
// the text begins with, and never fails: text without a number is 0. The common short forms are
// read in place; everything else goes by the exact rule.
#pragma once

#include <cstdint>
#include <string_view>

namespace hotpath {

// The exact rules, whatever the text.
std::uint64_t parse_hex_u64_by_rule(std::string_view field);
std::uint32_t parse_int_field_by_rule(std::string_view field);
std::uint64_t parse_count_by_rule(std::string_view field);

namespace detail {

// The decimal value of one to nine digits; `no_value` for any other text.
inline constexpr std::uint32_t no_value = 0xFFFFFFFF;
inline std::uint32_t short_decimal(std::string_view field) {
    if (field.empty() || field.size() > 9) return no_value;
    std::uint32_t value = 0;
    for (const char c : field) {
        const auto digit = static_cast<std::uint32_t>(static_cast<unsigned char>(c)) - '0';
        if (digit > 9) return no_value;
        value = value * 10 + digit;
    }
    return value;
}

// The value of a hexadecimal digit, 0xFF for any other character.
inline std::uint32_t hex_digit(char c) {
    const auto byte = static_cast<std::uint32_t>(static_cast<unsigned char>(c));
    const std::uint32_t digit = byte - '0';
    if (digit <= 9) return digit;
    const std::uint32_t letter = (byte | 0x20) - 'a';
    return letter <= 5 ? letter + 10 : 0xFF;
}

}  // namespace detail

// An address: white space, a sign, "0x", hexadecimal digits. A minus negates in 64 bits; beyond 64
// bits the value saturates.
inline std::uint64_t parse_hex_u64(std::string_view field) {
    std::string_view digits = field;
    if (digits.size() > 2 && digits[0] == '0' && (digits[1] | 0x20) == 'x') digits.remove_prefix(2);
    if (digits.empty() || digits.size() > 16) return parse_hex_u64_by_rule(field);
    std::uint64_t value = 0;
    for (const char c : digits) {
        const std::uint32_t digit = detail::hex_digit(c);
        if (digit > 15) return parse_hex_u64_by_rule(field);
        value = value << 4 | digit;
    }
    return value;
}

// A decimal field: every "," is dropped, then white space, a sign and digits count. Saturates at 64
// bits, then keeps the low 32.
inline std::uint32_t parse_int_field(std::string_view field) {
    const std::uint32_t value = detail::short_decimal(field);
    return value != detail::no_value ? value : parse_int_field_by_rule(field);
}

// A hit count: read as the C library's `strtof` does, rounded once to a 32-bit float, then cut to
// an unsigned integer. Counts above 2 to the 24th therefore lose their low bits; the format's
// consumers count on it.
inline std::uint64_t parse_count(std::string_view field) {
    const std::uint32_t value = detail::short_decimal(field);
    if (value == detail::no_value) return parse_count_by_rule(field);
    return static_cast<std::uint64_t>(static_cast<float>(value));
}

}  // namespace hotpath
