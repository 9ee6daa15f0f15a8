#include "program/byte_reader.h"

#include <gtest/gtest.h>

#include <string_view>

namespace program {
namespace {

using namespace std::string_view_literals;

TEST(ByteReader, reads_numbers_with_the_lowest_byte_first) {
    ByteReader reader("\x01\x02\x03\x04\x05\x06\x07\x08\xFF\xFE"sv);
    EXPECT_EQ(reader.number(8), 0x0807060504030201U);
    EXPECT_EQ(reader.number(2), 0xFEFFU);
    EXPECT_TRUE(reader.at_end());
    EXPECT_FALSE(reader.failed());
}

TEST(ByteReader, beyond_the_end_gives_0_and_is_marked) {
    ByteReader reader("\x01\x02"sv);
    EXPECT_EQ(reader.number(4), 0U);
    EXPECT_TRUE(reader.failed());
    EXPECT_TRUE(reader.at_end());
    EXPECT_EQ(reader.number(1), 0U);
}

TEST(ByteReader, skips_as_far_as_there_are_bytes) {
    ByteReader reader("abc"sv);
    reader.skip(2);
    EXPECT_EQ(reader.position(), 2U);
    EXPECT_FALSE(reader.failed());
    reader.skip(0xFFFFFFFFFFFFFFFF);
    EXPECT_TRUE(reader.failed());
}

TEST(ByteReader, reads_unsigned_numbers_of_any_length) {
    ByteReader reader("\x7F\x80\x01\xE5\x8E\x26\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x01"sv);
    EXPECT_EQ(reader.unsigned_leb(), 127U);
    EXPECT_EQ(reader.unsigned_leb(), 128U);
    EXPECT_EQ(reader.unsigned_leb(), 624485U);
    EXPECT_EQ(reader.unsigned_leb(), 0xFFFFFFFFFFFFFFFFU);
    EXPECT_FALSE(reader.failed());
}

TEST(ByteReader, drops_bits_of_a_number_beyond_64) {
    ByteReader reader("\x81\x80\x80\x80\x80\x80\x80\x80\x80\x80\x80\x01\x05"sv);
    EXPECT_EQ(reader.unsigned_leb(), 1U);
    EXPECT_EQ(reader.number(1), 5U);
}

TEST(ByteReader, reads_signed_numbers_by_their_last_byte) {
    ByteReader reader("\x3F\x40\x7F\x80\x7F\xC0\x00\x80\x80\x80\x80\x80\x80\x80\x80\x80\x7F"sv);
    EXPECT_EQ(reader.signed_leb(), 63);
    EXPECT_EQ(reader.signed_leb(), -64);
    EXPECT_EQ(reader.signed_leb(), -1);
    EXPECT_EQ(reader.signed_leb(), -128);
    EXPECT_EQ(reader.signed_leb(), 64);
    EXPECT_EQ(reader.signed_leb(), INT64_MIN);
}

TEST(ByteReader, reads_texts_up_to_their_nul) {
    ByteReader reader("ab\0\0c"sv);
    EXPECT_EQ(reader.text(), "ab");
    EXPECT_EQ(reader.text(), "");
    EXPECT_FALSE(reader.failed());
    EXPECT_EQ(reader.text(), "");
    EXPECT_TRUE(reader.failed());
}

}  // namespace
}  // namespace program
