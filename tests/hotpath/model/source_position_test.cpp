#include "hotpath/model/source_position.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace hotpath {
namespace {

std::string short_text(const SourcePosition& position) {
    PositionText buffer;
    return std::string(format_short(position, buffer));
}

std::string full_text(const SourcePosition& position) {
    PositionText buffer;
    return std::string(format_full(position, buffer));
}

TEST(SourcePosition, is_all_zero_at_first) {
    const SourcePosition position;
    EXPECT_EQ(position.line, 0U);
    EXPECT_EQ(position.relative_line, 0U);
    EXPECT_EQ(position.column, 0);
    EXPECT_EQ(position.discriminator, 0);
}

TEST(SourcePosition, keeps_the_low_16_bits_of_column_and_discriminator) {
    const SourcePosition position(0xFFFFFFFF, 0x12345678, 0x10005, 0xABCD1234);
    EXPECT_EQ(position.line, 0xFFFFFFFFU);
    EXPECT_EQ(position.relative_line, 0x12345678U);
    EXPECT_EQ(position.column, 5);
    EXPECT_EQ(position.discriminator, 0x1234);
}

TEST(SourcePosition, same_location_compares_line_column_and_discriminator) {
    const SourcePosition position(7, 2, 5, 1);
    EXPECT_TRUE(same_location(position, SourcePosition(7, 2, 5, 1)));
    EXPECT_FALSE(same_location(position, SourcePosition(8, 2, 5, 1)));
    EXPECT_FALSE(same_location(position, SourcePosition(7, 2, 6, 1)));
    EXPECT_FALSE(same_location(position, SourcePosition(7, 2, 5, 0)));
}

TEST(SourcePosition, same_location_ignores_the_relative_line) {
    EXPECT_TRUE(same_location(SourcePosition(7, 2, 5, 1), SourcePosition(7, 3, 5, 1)));
}

TEST(SourcePosition, orders_by_line_then_column_then_discriminator) {
    const std::vector<SourcePosition> rising{{1, 9, 9, 9},         {2, 8, 1, 9}, {2, 7, 2, 3},
                                             {2, 6, 2, 4},         {2, 5, 3, 0}, {3, 4, 0, 0},
                                             {0xFFFFFFFF, 0, 0, 0}};
    for (std::size_t i = 0; i < rising.size(); ++i) {
        for (std::size_t j = 0; j < rising.size(); ++j) {
            EXPECT_EQ(position_less(rising[i], rising[j]), i < j) << i << " " << j;
            EXPECT_EQ(position_greater(rising[i], rising[j]), i > j) << i << " " << j;
        }
    }
}

TEST(SourcePosition, orders_are_strict_and_ignore_the_relative_line) {
    const SourcePosition a(7, 1, 5, 1);
    const SourcePosition b(7, 2, 5, 1);
    EXPECT_FALSE(position_less(a, b));
    EXPECT_FALSE(position_less(b, a));
    EXPECT_FALSE(position_greater(a, b));
    EXPECT_FALSE(position_greater(b, a));
}

TEST(SourcePosition, formats_short_without_the_relative_line) {
    EXPECT_EQ(short_text(SourcePosition(7, 2, 5, 1)), "L7.C5.D1");
    EXPECT_EQ(short_text(SourcePosition()), "L0.C0.D0");
}

TEST(SourcePosition, formats_full_with_the_relative_line) {
    EXPECT_EQ(full_text(SourcePosition(7, 2, 5, 1)), "L7(R2).C5.D1");
    EXPECT_EQ(full_text(SourcePosition()), "L0(R0).C0.D0");
}

TEST(SourcePosition, the_largest_position_fills_the_buffer_to_its_terminator) {
    PositionText buffer;
    const std::string_view text =
        format_full(SourcePosition(0xFFFFFFFF, 0xFFFFFFFF, 0xFFFF, 0xFFFF), buffer);
    EXPECT_EQ(text, "L4294967295(R4294967295).C65535.D65535");
    EXPECT_EQ(text.data(), buffer.data());
    EXPECT_EQ(text.size() + 1, buffer.size());
    EXPECT_EQ(buffer.back(), '\0');
}

TEST(SourcePosition, formatted_texts_are_terminated) {
    PositionText buffer;
    buffer.fill('x');
    format_short(SourcePosition(1, 2, 3, 4), buffer);
    EXPECT_STREQ(buffer.data(), "L1.C3.D4");
    buffer.fill('x');
    format_full(SourcePosition(1, 2, 3, 4), buffer);
    EXPECT_STREQ(buffer.data(), "L1(R2).C3.D4");
}

}  // namespace
}  // namespace hotpath
