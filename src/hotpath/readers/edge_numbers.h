// The three number conversions of edge files. Each takes one field's text, reads the number that
// the text begins with, and never fails: text without a number is 0.
//
// There are two readings of each. The exact rule stands in the source file and covers white space,
// signs, exponents, saturation and what else the format allows. Nearly all fields are a few plain
// digits, though, and millions of them are read, so the `..._padded` forms below read these at
// once: eight decimal digits as the eight bytes of one number, sixteen hexadecimal ones in a
// register of 16 bytes. A shorter field is moved to the end of its eight bytes and zeros are put in
// front, so that there is one way for all lengths. All bytes are tested together for being digits;
// where one isn't, or the field is longer, the exact rule reads the field. So the quick reading
// needn't know the odd forms, and where both apply they agree. It loads whole words, hence the
// bytes that must be readable behind a field.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "hotpath/readers/sse2.h"

namespace hotpath {

// An address: white space, a sign, "0x", hexadecimal digits. A minus negates in 64 bits; beyond 64
// bits the value saturates.
std::uint64_t parse_hex_u64(std::string_view field);

// A decimal field: every "," is dropped, then white space, a sign and digits count. Saturates at 64
// bits, then keeps the low 32.
std::uint32_t parse_int_field(std::string_view field);

// A hit count: read as the C library's `strtof` does, rounded once to a 32-bit float, then cut to
// an unsigned integer. Counts above 2 to the 24th therefore lose their low bits; the format's
// consumers count on it.
std::uint64_t parse_count(std::string_view field);

// The same conversions for the fields of millions of rows. They read up to `number_overrun` bytes
// behind the field's beginning, which must be there.
inline constexpr std::size_t number_overrun = 18;

namespace detail {

inline constexpr std::uint32_t no_value = 0xFFFFFFFF;

// The value of eight decimal digits, the first in the lowest byte, each as a number from 0 to 9:
// neighbours are joined to pairs, pairs to fours, fours to the whole.
inline std::uint32_t join_digits(std::uint64_t digits) {
    const std::uint64_t pairs = digits * 10 + (digits >> 8);
    const std::uint64_t fours =
        (pairs & 0x000000FF000000FF) * (100 + (std::uint64_t{1000000} << 32)) +
        ((pairs >> 16) & 0x000000FF000000FF) * (1 + (std::uint64_t{10000} << 32));
    return static_cast<std::uint32_t>(fours >> 32);
}

// The decimal value of one to eight digits; `no_value` for any other text.
inline std::uint32_t short_decimal(std::string_view field) {
    if constexpr (std::endian::native != std::endian::little) return no_value;
    if (field.size() - 1 > 7) return no_value;
    std::uint64_t text = 0;
    std::memcpy(&text, field.data(), 8);
    // Zeros in front, digits behind, and what isn't the field's pushed out.
    const auto missing = static_cast<unsigned>(8 - field.size()) * 8;
    const std::uint64_t zeros = 0x3030303030303030;
    text = missing == 0 ? text : (text << missing) | (zeros >> (64 - missing));
    const std::uint64_t digits = text ^ zeros;
    // A byte above 9 carries into its high bit, or has it.
    if ((((digits + 0x7676767676767676) | digits) & 0x8080808080808080) != 0) return no_value;
    return join_digits(digits);
}

#ifdef HOTPATH_HAS_SSE2

constexpr std::uint64_t reverse_bytes(std::uint64_t v) {
    v = (v & 0x00FF00FF00FF00FF) << 8 | (v >> 8 & 0x00FF00FF00FF00FF);
    v = (v & 0x0000FFFF0000FFFF) << 16 | (v >> 16 & 0x0000FFFF0000FFFF);
    return v << 32 | v >> 32;
}

// Reads `size` hexadecimal digits, 1 to 16, from 16 readable bytes. False if another character is
// among them.
inline bool short_hex(const char* text, unsigned size, std::uint64_t& value) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text));
    const __m128i digit = _mm_sub_epi8(bytes, _mm_set1_epi8('0'));
    const __m128i letter =
        _mm_sub_epi8(_mm_or_si128(bytes, _mm_set1_epi8(0x20)), _mm_set1_epi8('a'));
    const __m128i is_digit = _mm_cmpeq_epi8(_mm_min_epu8(digit, _mm_set1_epi8(9)), digit);
    const __m128i is_letter = _mm_cmpeq_epi8(_mm_min_epu8(letter, _mm_set1_epi8(5)), letter);
    const auto valid = static_cast<unsigned>(_mm_movemask_epi8(_mm_or_si128(is_digit, is_letter)));
    const unsigned wanted = 0xFFFFU >> (16 - size);
    if ((valid & wanted) != wanted) return false;
    const __m128i nibbles =
        _mm_or_si128(_mm_and_si128(is_digit, digit),
                     _mm_and_si128(is_letter, _mm_add_epi8(letter, _mm_set1_epi8(10))));
    // Two neighbours make a byte; the bytes stand in the order of the text.
    const __m128i high = _mm_slli_epi16(_mm_and_si128(nibbles, _mm_set1_epi16(0xFF)), 4);
    const __m128i pairs = _mm_or_si128(high, _mm_srli_epi16(nibbles, 8));
    const __m128i packed = _mm_packus_epi16(pairs, pairs);
    std::uint64_t reversed = 0;
    _mm_storel_epi64(reinterpret_cast<__m128i*>(&reversed), packed);
    value = reverse_bytes(reversed) >> (4 * (16 - size));
    return true;
}

#else

inline bool short_hex(const char* text, unsigned size, std::uint64_t& value) {
    value = 0;
    for (unsigned i = 0; i < size; ++i) {
        const auto byte = static_cast<unsigned>(static_cast<unsigned char>(text[i]));
        const unsigned digit = byte - '0';
        const unsigned letter = (byte | 0x20) - 'a';
        if (digit > 9 && letter > 5) return false;
        value = value << 4 | (digit <= 9 ? digit : letter + 10);
    }
    return true;
}

#endif

}  // namespace detail

inline std::uint64_t parse_hex_u64_padded(std::string_view field) {
    std::string_view digits = field;
    if (digits.size() > 2 && digits[0] == '0' && (digits[1] | 0x20) == 'x') digits.remove_prefix(2);
    std::uint64_t value = 0;
    if (digits.size() - 1 > 15 ||
        !detail::short_hex(digits.data(), static_cast<unsigned>(digits.size()), value))
        return parse_hex_u64(field);
    return value;
}

inline std::uint32_t parse_int_field_padded(std::string_view field) {
    const std::uint32_t value = detail::short_decimal(field);
    return value != detail::no_value ? value : parse_int_field(field);
}

inline std::uint64_t parse_count_padded(std::string_view field) {
    const std::uint32_t value = detail::short_decimal(field);
    if (value == detail::no_value) return parse_count(field);
    return static_cast<std::uint64_t>(static_cast<float>(value));
}

}  // namespace hotpath
