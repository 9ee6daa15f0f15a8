#include "diag/decimal_text.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <limits>
#include <string>

#include "support/random_text.h"

namespace diag {
namespace {

constexpr std::int64_t largest = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t smallest = std::numeric_limits<std::int64_t>::min();

TEST(DecimalText, is_space_is_true_for_the_six_characters_of_the_c_locale) {
    std::string spaces;
    for (int byte = 0; byte < 256; ++byte)
        if (is_space(static_cast<char>(byte))) spaces += static_cast<char>(byte);
    EXPECT_EQ(spaces, "\t\n\v\f\r ");
}

TEST(DecimalText, is_digit_is_true_for_ten_characters) {
    std::string digits;
    for (int byte = 0; byte < 256; ++byte)
        if (is_digit(static_cast<char>(byte))) digits += static_cast<char>(byte);
    EXPECT_EQ(digits, "0123456789");
}

TEST(DecimalText, a_number_ends_at_the_first_other_character) {
    EXPECT_EQ(decimal_prefix("12"), 12);
    EXPECT_EQ(decimal_prefix("12abc"), 12);
    EXPECT_EQ(decimal_prefix("12 3"), 12);
    EXPECT_EQ(decimal_prefix("1,2"), 1);
    EXPECT_EQ(decimal_prefix("1.9"), 1);
    EXPECT_EQ(decimal_prefix("0x10"), 0);
    EXPECT_EQ(decimal_prefix(std::string_view("1\0"
                                              "2",
                                              3)),
              1);
}

TEST(DecimalText, a_text_without_digits_is_0) {
    for (const char* text : {"", " ", "-", "+", "abc", "--7", "+-7", "-+7", "- 7", ",7", ".5"})
        EXPECT_EQ(decimal_prefix(text), 0) << text;
}

TEST(DecimalText, white_space_in_front_is_skipped) {
    EXPECT_EQ(decimal_prefix(" 7"), 7);
    EXPECT_EQ(decimal_prefix("\t\n\v\f\r -7"), -7);
}

TEST(DecimalText, one_sign_counts) {
    EXPECT_EQ(decimal_prefix("+7"), 7);
    EXPECT_EQ(decimal_prefix("-7"), -7);
}

TEST(DecimalText, leading_zeros_cost_no_room) {
    EXPECT_EQ(decimal_prefix("00000000000000000000000000000012"), 12);
}

TEST(DecimalText, a_number_saturates_at_the_signed_64_bit_range) {
    EXPECT_EQ(decimal_prefix("9223372036854775806"), largest - 1);
    EXPECT_EQ(decimal_prefix("9223372036854775807"), largest);
    EXPECT_EQ(decimal_prefix("9223372036854775808"), largest);
    EXPECT_EQ(decimal_prefix("99999999999999999999999999"), largest);
    EXPECT_EQ(decimal_prefix("-9223372036854775807"), -largest);
    EXPECT_EQ(decimal_prefix("-9223372036854775808"), smallest);
    EXPECT_EQ(decimal_prefix("-9223372036854775809"), smallest);
    EXPECT_EQ(decimal_prefix("-99999999999999999999999999"), smallest);
}

TEST(DecimalText, the_32_bit_form_keeps_the_low_half) {
    EXPECT_EQ(decimal_prefix_32("2147483647"), 2147483647);
    EXPECT_EQ(decimal_prefix_32("2147483648"), std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(decimal_prefix_32("4294967295"), -1);
    EXPECT_EQ(decimal_prefix_32("4294967296"), 0);
    EXPECT_EQ(decimal_prefix_32("4294967298"), 2);
    EXPECT_EQ(decimal_prefix_32("-1"), -1);
    EXPECT_EQ(decimal_prefix_32("-2147483649"), 2147483647);
}

TEST(DecimalText, the_32_bit_form_saturates_at_64_bits_first) {
    EXPECT_EQ(decimal_prefix_32("9223372036854775808"), -1);
    EXPECT_EQ(decimal_prefix_32("-9223372036854775809"), 0);
}

TEST(DecimalText, random_texts_read_as_the_c_library_reads_them) {
    test_support::RandomText random(1);
    for (int i = 0; i < 200000; ++i) {
        const std::string text =
            random.of(" \t+-", 2) + random.of("0123456789", 21) + random.of("09aA,. -", 3);
        ASSERT_EQ(decimal_prefix(text), std::strtoll(text.c_str(), nullptr, 10)) << text;
    }
}

}  // namespace
}  // namespace diag
