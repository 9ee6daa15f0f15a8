#include "hotpath/readers/edge_numbers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <string>
#include <vector>

#include "support/random_text.h"

namespace hotpath {
namespace {

using test_support::RandomText;

constexpr std::uint64_t two_to_63 = 0x8000000000000000;
constexpr std::uint64_t all_ones = 0xFFFFFFFFFFFFFFFF;

// The text in a block of its own that ends where the padded forms may read at last. What stands
// behind the text must not matter.
class PaddedText {
public:
    explicit PaddedText(std::string_view text, char behind = '7')
        : block_(std::max(text.size(), number_overrun), behind), size_(text.size()) {
        std::copy(text.begin(), text.end(), block_.begin());
    }
    std::string_view view() const { return {block_.data(), size_}; }

private:
    std::vector<char> block_;
    std::size_t size_;
};

// Both forms of a conversion, which must agree.
std::uint64_t hex_of(std::string_view text) {
    EXPECT_EQ(parse_hex_u64_padded(PaddedText(text).view()), parse_hex_u64(text)) << text;
    return parse_hex_u64(text);
}

std::uint32_t int_of(std::string_view text) {
    EXPECT_EQ(parse_int_field_padded(PaddedText(text).view()), parse_int_field(text)) << text;
    return parse_int_field(text);
}

std::uint64_t count_of(std::string_view text) {
    EXPECT_EQ(parse_count_padded(PaddedText(text).view()), parse_count(text)) << text;
    return parse_count(text);
}

TEST(ParseHexU64, reads_digits_of_both_cases) {
    EXPECT_EQ(hex_of("0"), 0U);
    EXPECT_EQ(hex_of("1a"), 0x1AU);
    EXPECT_EQ(hex_of("1A"), 0x1AU);
    EXPECT_EQ(hex_of("0123456789"), 0x0123456789U);
    EXPECT_EQ(hex_of("abcdef"), 0xABCDEFU);
    EXPECT_EQ(hex_of("ABCDEF"), 0xABCDEFU);
    EXPECT_EQ(hex_of("ffffffffffffffff"), all_ones);
}

TEST(ParseHexU64, skips_a_prefix_of_both_cases) {
    EXPECT_EQ(hex_of("0x1a"), 0x1AU);
    EXPECT_EQ(hex_of("0X1A"), 0x1AU);
    EXPECT_EQ(hex_of("0xffffffffffffffff"), all_ones);
}

TEST(ParseHexU64, a_prefix_without_a_digit_is_a_0_and_other_text) {
    EXPECT_EQ(hex_of("0x"), 0U);
    EXPECT_EQ(hex_of("0xg"), 0U);
    EXPECT_EQ(hex_of("0x 1"), 0U);
    EXPECT_EQ(hex_of("0x0x1"), 0U);
    EXPECT_EQ(hex_of("00x5"), 0U);
    EXPECT_EQ(hex_of("x5"), 0U);
}

TEST(ParseHexU64, text_without_digits_is_0) {
    for (const char* text : {"", " ", "g", "-", "+", "--1", "+-1", "- 1", "[1,2]", ",1", ".1"})
        EXPECT_EQ(hex_of(text), 0U) << text;
}

TEST(ParseHexU64, text_behind_the_digits_is_ignored) {
    EXPECT_EQ(hex_of("1ag"), 0x1AU);
    EXPECT_EQ(hex_of("1a 2"), 0x1AU);
    EXPECT_EQ(hex_of("1,2"), 1U);
    EXPECT_EQ(hex_of("1.5"), 1U);
    EXPECT_EQ(hex_of(std::string_view("1\0"
                                      "2",
                                      3)),
              1U);
}

// The neighbours of the digits and letters in the order of the characters.
TEST(ParseHexU64, a_character_next_to_the_digits_is_none) {
    for (const char c : std::string_view("/:@G`g\x10\x19\x80\xb1\xc1\xff"))
        EXPECT_EQ(hex_of(std::string("1") + c + "2"), 1U) << c;
}

TEST(ParseHexU64, white_space_and_a_sign_can_stand_in_front) {
    EXPECT_EQ(hex_of(" 1a"), 0x1AU);
    EXPECT_EQ(hex_of("\t\n\v\f\r 0x1a"), 0x1AU);
    EXPECT_EQ(hex_of("+1a"), 0x1AU);
    EXPECT_EQ(hex_of("+0x1a"), 0x1AU);
}

TEST(ParseHexU64, a_minus_negates_in_64_bits) {
    EXPECT_EQ(hex_of("-1"), all_ones);
    EXPECT_EQ(hex_of(" -0x10"), 0xFFFFFFFFFFFFFFF0U);
    EXPECT_EQ(hex_of("-ffffffffffffffff"), 1U);
    EXPECT_EQ(hex_of("-0"), 0U);
}

TEST(ParseHexU64, saturates_beyond_64_bits) {
    EXPECT_EQ(hex_of("10000000000000000"), all_ones);
    EXPECT_EQ(hex_of("0x10000000000000000"), all_ones);
    EXPECT_EQ(hex_of("-10000000000000000"), all_ones);
    EXPECT_EQ(hex_of("123456789abcdef0123456789abcdef"), all_ones);
}

TEST(ParseHexU64, leading_zeros_cost_no_room) {
    EXPECT_EQ(hex_of("0000000000000000000000001a"), 0x1AU);
    EXPECT_EQ(hex_of("0x0000000000000000000000001a"), 0x1AU);
}

TEST(ParseIntField, reads_decimal_digits) {
    EXPECT_EQ(int_of("0"), 0U);
    EXPECT_EQ(int_of("12"), 12U);
    EXPECT_EQ(int_of("999999999"), 999999999U);
    EXPECT_EQ(int_of("1000000000"), 1000000000U);
    EXPECT_EQ(int_of("000000000000000000000000000012"), 12U);
}

TEST(ParseIntField, text_without_digits_is_0) {
    for (const char* text :
         {"", " ", "abc", "-", "+", "--7", "+-7", "- 7", ",", ",,,", "[1,2]", ".5", "?"})
        EXPECT_EQ(int_of(text), 0U) << text;
}

TEST(ParseIntField, every_comma_is_removed_first) {
    EXPECT_EQ(int_of("1,234"), 1234U);
    EXPECT_EQ(int_of("1,2,3"), 123U);
    EXPECT_EQ(int_of(",7,"), 7U);
    EXPECT_EQ(int_of("-,5"), 0xFFFFFFFBU);
    EXPECT_EQ(int_of(",-5"), 0xFFFFFFFBU);
    EXPECT_EQ(int_of(" , 7"), 7U);
}

TEST(ParseIntField, stops_at_the_first_other_character) {
    EXPECT_EQ(int_of("12.9"), 12U);
    EXPECT_EQ(int_of("1e3"), 1U);
    EXPECT_EQ(int_of("0x10"), 0U);
    EXPECT_EQ(int_of("12 3"), 12U);
    EXPECT_EQ(int_of("7]"), 7U);
    EXPECT_EQ(int_of(std::string_view("1\0"
                                      ",2",
                                      4)),
              1U);
}

TEST(ParseIntField, white_space_and_a_sign_can_stand_in_front) {
    EXPECT_EQ(int_of(" 7"), 7U);
    EXPECT_EQ(int_of("\t\n\v\f\r 7"), 7U);
    EXPECT_EQ(int_of("+7"), 7U);
    EXPECT_EQ(int_of("-1"), 0xFFFFFFFFU);
    EXPECT_EQ(int_of("-2147483648"), 0x80000000U);
}

TEST(ParseIntField, keeps_the_low_32_bits) {
    EXPECT_EQ(int_of("2147483648"), 0x80000000U);
    EXPECT_EQ(int_of("4294967295"), 0xFFFFFFFFU);
    EXPECT_EQ(int_of("4294967296"), 0U);
    EXPECT_EQ(int_of("4294967303"), 7U);
    EXPECT_EQ(int_of("-4294967297"), 0xFFFFFFFFU);
}

TEST(ParseIntField, saturates_at_the_signed_64_bit_range_first) {
    EXPECT_EQ(int_of("9223372036854775807"), 0xFFFFFFFFU);
    EXPECT_EQ(int_of("9223372036854775808"), 0xFFFFFFFFU);
    EXPECT_EQ(int_of("18446744073709551616"), 0xFFFFFFFFU);
    EXPECT_EQ(int_of("-9223372036854775808"), 0U);
    EXPECT_EQ(int_of("-9223372036854775809"), 0U);
}

TEST(ParseCount, reads_decimal_digits) {
    EXPECT_EQ(count_of("0"), 0U);
    EXPECT_EQ(count_of("7"), 7U);
    EXPECT_EQ(count_of("16777215"), 16777215U);
}

TEST(ParseCount, rounds_to_24_significant_bits_with_ties_to_even) {
    EXPECT_EQ(count_of("16777216"), 16777216U);
    EXPECT_EQ(count_of("16777217"), 16777216U);
    EXPECT_EQ(count_of("16777218"), 16777218U);
    EXPECT_EQ(count_of("16777219"), 16777220U);
    EXPECT_EQ(count_of("999999999"), 1000000000U);
    EXPECT_EQ(count_of("4294967295"), 4294967296U);
}

TEST(ParseCount, rounds_once) {
    EXPECT_EQ(count_of("16777217.0000000000000000000000000000000001"), 16777218U);
    EXPECT_EQ(count_of("16777216.9999999999999999999999999999999999"), 16777216U);
    EXPECT_EQ(count_of("0x1.000001p24"), 16777216U);
    EXPECT_EQ(count_of("0x1.0000010000000000000000000000000000000p24"), 16777216U);
    EXPECT_EQ(count_of("0x1.0000010000000000000000000000000000001p24"), 16777218U);
    EXPECT_EQ(count_of("0x1.000000ffffffffffffffffffffffffffffffp24"), 16777216U);
    EXPECT_EQ(count_of("0x1.ffffffp23"), 16777216U);
    EXPECT_EQ(count_of("0x1.fffffep23"), 16777215U);
}

TEST(ParseCount, truncates_toward_zero) {
    EXPECT_EQ(count_of("12.9"), 12U);
    EXPECT_EQ(count_of("0.999"), 0U);
    EXPECT_EQ(count_of("-0.5"), 0U);
    EXPECT_EQ(count_of("-5.9"), all_ones - 4);
}

TEST(ParseCount, reads_exponents) {
    EXPECT_EQ(count_of("1e3"), 1000U);
    EXPECT_EQ(count_of("1E3"), 1000U);
    EXPECT_EQ(count_of("1.5e+2"), 150U);
    EXPECT_EQ(count_of("1500e-2"), 15U);
    EXPECT_EQ(count_of(".5e1"), 5U);
    EXPECT_EQ(count_of("5.e1"), 50U);
}

TEST(ParseCount, an_exponent_without_digits_is_other_text) {
    EXPECT_EQ(count_of("7e"), 7U);
    EXPECT_EQ(count_of("7e+"), 7U);
    EXPECT_EQ(count_of("7ex"), 7U);
    EXPECT_EQ(count_of("0x7p"), 7U);
    EXPECT_EQ(count_of("0x7p-"), 7U);
}

TEST(ParseCount, text_without_a_number_is_0) {
    for (const char* text : {"", " ", ".", "-", "+", "e5", ".e5", "abc", "--7", "+-7", "- 7",
                             "[1,2]", ",7", "in", "na", "x10", "-x"})
        EXPECT_EQ(count_of(text), 0U) << text;
}

TEST(ParseCount, stops_at_the_first_other_character) {
    EXPECT_EQ(count_of("7abc"), 7U);
    EXPECT_EQ(count_of("1,234"), 1U);
    EXPECT_EQ(count_of("1.2.3"), 1U);
    EXPECT_EQ(count_of("7 8"), 7U);
    EXPECT_EQ(count_of("1e3e3"), 1000U);
    EXPECT_EQ(count_of(std::string_view("1\0"
                                        "2",
                                        3)),
              1U);
}

TEST(ParseCount, white_space_and_a_sign_can_stand_in_front) {
    EXPECT_EQ(count_of(" 7"), 7U);
    EXPECT_EQ(count_of("\t\n\v\f\r 7"), 7U);
    EXPECT_EQ(count_of("+7"), 7U);
}

TEST(ParseCount, a_negative_number_keeps_the_bits_of_its_signed_value) {
    EXPECT_EQ(count_of("-5"), 18446744073709551611U);
    EXPECT_EQ(count_of("-1"), all_ones);
    EXPECT_EQ(count_of("-0"), 0U);
    EXPECT_EQ(count_of("-9223372036854775808"), two_to_63);
}

TEST(ParseCount, numbers_below_the_signed_range_give_2_to_the_63rd) {
    EXPECT_EQ(count_of("-9223373136366403584"), two_to_63);
    EXPECT_EQ(count_of("-1e20"), two_to_63);
    EXPECT_EQ(count_of("-1e50"), two_to_63);
    EXPECT_EQ(count_of("-inf"), two_to_63);
}

TEST(ParseCount, not_a_number_gives_2_to_the_63rd) {
    for (const char* text : {"nan", "NaN", "-nan", "+nan", " nan", "nan(1)", "nan(", "nanx"})
        EXPECT_EQ(count_of(text), two_to_63) << text;
}

TEST(ParseCount, the_upper_half_of_the_unsigned_range_is_read) {
    EXPECT_EQ(count_of("9223371487098961920"), 9223371487098961920U);
    EXPECT_EQ(count_of("9223372036854775807"), two_to_63);
    EXPECT_EQ(count_of("9223372036854775808"), two_to_63);
    EXPECT_EQ(count_of("9223373136366403584"), 9223373136366403584U);
    EXPECT_EQ(count_of("18446742974197923840"), 18446742974197923840U);
}

TEST(ParseCount, from_2_to_the_64th_on_a_count_is_0) {
    EXPECT_EQ(count_of("18446744073709551615"), 0U);
    EXPECT_EQ(count_of("18446744073709551616"), 0U);
    EXPECT_EQ(count_of("1e20"), 0U);
    EXPECT_EQ(count_of("3.4e38"), 0U);
    for (const char* text : {"inf", "INF", "+inf", " infinity", "InFiNiTy", "infx", "infinit"})
        EXPECT_EQ(count_of(text), 0U) << text;
}

TEST(ParseCount, what_a_float_cannot_hold_is_infinite_or_0) {
    EXPECT_EQ(count_of("1e50"), 0U);
    EXPECT_EQ(count_of("1e99999999999999999999"), 0U);
    EXPECT_EQ(count_of("-1e99999999999999999999"), two_to_63);
    EXPECT_EQ(count_of("1e-50"), 0U);
    EXPECT_EQ(count_of("-1e-50"), 0U);
    EXPECT_EQ(count_of("-1e-99999999999999999999"), 0U);
    EXPECT_EQ(count_of("-0x1p-99999999999999999999"), 0U);
    EXPECT_EQ(count_of("-0x1p99999999999999999999"), two_to_63);
}

TEST(ParseCount, many_digits_and_an_exponent_make_a_number_together) {
    const std::string zeros(100, '0');
    EXPECT_EQ(count_of("7" + zeros + "e-100"), 7U);
    EXPECT_EQ(count_of("0." + zeros + "7e101"), 7U);
    EXPECT_EQ(count_of("-0." + zeros + "7e-10"), 0U);
    EXPECT_EQ(count_of("-7" + zeros + "e10"), two_to_63);
    EXPECT_EQ(count_of("0x7" + zeros + "p-400"), 7U);
    EXPECT_EQ(count_of("0x0." + zeros + "7p404"), 7U);
}

TEST(ParseCount, reads_hexadecimal_floats) {
    EXPECT_EQ(count_of("0x10"), 16U);
    EXPECT_EQ(count_of("0X1F"), 31U);
    EXPECT_EQ(count_of("0x1.8p1"), 3U);
    EXPECT_EQ(count_of("0x.8p4"), 8U);
    EXPECT_EQ(count_of("0x8.p1"), 16U);
    EXPECT_EQ(count_of("0x10P-2"), 4U);
    EXPECT_EQ(count_of("0x1e3"), 0x1E3U);
    EXPECT_EQ(count_of("-0x10"), 18446744073709551600U);
    EXPECT_EQ(count_of("0x1p62"), 0x4000000000000000U);
    EXPECT_EQ(count_of("0x1p63"), two_to_63);
    EXPECT_EQ(count_of("0x1p64"), 0U);
    EXPECT_EQ(count_of("0x1p70"), 0U);
    EXPECT_EQ(count_of("0x1p127"), 0U);
    EXPECT_EQ(count_of("0x1p128"), 0U);
}

TEST(ParseCount, a_hexadecimal_prefix_without_a_digit_is_a_0_and_other_text) {
    EXPECT_EQ(count_of("0x"), 0U);
    EXPECT_EQ(count_of("0x."), 0U);
    EXPECT_EQ(count_of("0xg"), 0U);
    EXPECT_EQ(count_of("0x.g"), 0U);
    EXPECT_EQ(count_of("0xp5"), 0U);
}

TEST(ParseCount, a_character_next_to_the_hexadecimal_digits_is_none) {
    for (const char c : std::string_view("/:@G`g\x10\x19\x80\xb1\xc1\xff"))
        EXPECT_EQ(count_of(std::string("0x1") + c + "2"), 1U) << c;
}

// A decimal or hexadecimal number with its usual and its unusual parts.
std::string number_text(RandomText& random, std::string_view digits, const char* prefix,
                        const char* exponent_mark) {
    std::string text = random.of(" \t+-", random.below(3));
    text += prefix;
    text += random.of(digits, random.below(4) == 0 ? 45 : 11);
    if (random.below(3) == 0) text += "." + random.of(digits, random.below(4) == 0 ? 45 : 4);
    if (random.below(3) == 0) {
        text += exponent_mark;
        text += random.of("+-", 1) + random.of("0123456789", 3);
    }
    return text + random.of("aAxX.,e+ 0", random.below(3));
}

std::string number_or_other_text(RandomText& random) {
    switch (random.below(8)) {
        case 0: return random.of("0123456789", 12);
        case 1: return random.of("0123456789abcdefABCDEF", 20);
        case 2: return random.of("0x1", 5) + random.of("0123456789abcdefp.-+", 8);
        case 3: return random.of("+- \t", 1) + random.of("naifty()NAIFTY", 9);
        case 4: return random.of("019.,eExXpP+- \tnaifF[]/:@G`g", 10);
        case 5: return number_text(random, "0123456789abcdefABCDEF", "0x", "p");
        default: return number_text(random, "0123456789", "", "e");
    }
}

TEST(EdgeNumbers, padded_forms_agree_with_the_exact_rules) {
    RandomText random(12);
    for (int i = 0; i < 400000; ++i) {
        const std::string text = number_or_other_text(random);
        const PaddedText padded(text, random.one_of("0123456789abcdefABCDEF,.xX +-"));
        ASSERT_EQ(parse_hex_u64_padded(padded.view()), parse_hex_u64(text)) << text;
        ASSERT_EQ(parse_int_field_padded(padded.view()), parse_int_field(text)) << text;
        ASSERT_EQ(parse_count_padded(padded.view()), parse_count(text)) << text;
    }
}

TEST(EdgeNumbers, padded_forms_take_digits_of_any_number) {
    const std::string digits = "98765432101234567890";
    const std::string hex_digits = "fEdCbA98765432100123";
    for (std::size_t size = 0; size <= digits.size(); ++size) {
        int_of(digits.substr(0, size));
        count_of(digits.substr(0, size));
        hex_of(hex_digits.substr(0, size));
        hex_of("0x" + hex_digits.substr(0, size));
    }
}

// Each character in turn between digits, at each place of a short number.
TEST(EdgeNumbers, padded_forms_see_every_other_character) {
    for (std::size_t size = 1; size <= 17; ++size) {
        for (std::size_t place = 0; place < size; ++place) {
            std::string text(size, '1');
            for (int byte = 0; byte < 256; ++byte) {
                text[place] = static_cast<char>(byte);
                hex_of(text);
                int_of(text);
                count_of(text);
            }
        }
    }
}

// Other C libraries differ from the required reading: in hexadecimal floats, in rounding, in texts
// that only begin like a number.
#ifdef __GLIBC__

// The cut to 64 bits in whole numbers: 24 bits of fraction and a power of two.
std::uint64_t cut(float value) {
    if (std::isnan(value)) return two_to_63;
    if (std::isinf(value)) return value > 0 ? 0 : two_to_63;
    int exponent = 0;
    const auto fraction =
        static_cast<std::int32_t>(std::ldexp(std::frexp(std::fabs(value), &exponent), 24));
    auto magnitude = static_cast<std::uint64_t>(fraction);
    exponent -= 24;
    if (exponent > 40) return value > 0 ? 0 : two_to_63;
    magnitude = exponent >= 0 ? magnitude << exponent : magnitude >> std::min(-exponent, 63);
    if (value > 0) return magnitude;
    return magnitude > two_to_63 ? two_to_63 : 0 - magnitude;
}

TEST(EdgeNumbers, counts_agree_with_the_c_librarys_float) {
    RandomText random(13);
    for (int i = 0; i < 400000; ++i) {
        const std::string text = number_or_other_text(random);
        ASSERT_EQ(parse_count(text), cut(std::strtof(text.c_str(), nullptr))) << text;
    }
}

TEST(EdgeNumbers, counts_next_to_a_rounding_tie_agree_with_the_c_librarys_float) {
    RandomText random(14);
    for (int i = 0; i < 100000; ++i) {
        // 25 significant bits, the last of them set: half way between two floats.
        const std::uint64_t tie = (random.bits() >> 40 | 1U << 23) * 2 + 1;
        const std::size_t shift = random.below(39);
        const std::string text = std::to_string((tie << shift) + random.below(3) - 1) +
                                 random.of(".", 1) + random.of("0000000001", 20);
        ASSERT_EQ(parse_count(text), cut(std::strtof(text.c_str(), nullptr))) << text;
    }
}

TEST(EdgeNumbers, addresses_agree_with_the_c_librarys_unsigned_number) {
    RandomText random(15);
    for (int i = 0; i < 400000; ++i) {
        const std::string text = number_or_other_text(random);
        ASSERT_EQ(parse_hex_u64(text), std::strtoull(text.c_str(), nullptr, 16)) << text;
    }
}

TEST(EdgeNumbers, decimal_fields_agree_with_the_c_librarys_number_without_commas) {
    RandomText random(16);
    for (int i = 0; i < 400000; ++i) {
        const std::string text = random.below(2) == 0
                                     ? number_or_other_text(random)
                                     : random.of("+-, ", 2) + random.of("0123456789,", 24);
        std::string plain = text;
        plain.erase(std::remove(plain.begin(), plain.end(), ','), plain.end());
        ASSERT_EQ(parse_int_field(text),
                  static_cast<std::uint32_t>(std::strtoll(plain.c_str(), nullptr, 10)))
            << text;
    }
}

#endif

}  // namespace
}  // namespace hotpath
