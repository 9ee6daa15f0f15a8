#include "edgefile/edge_table.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>

namespace edgefile {
namespace {

using testing::ElementsAre;

TEST(Field, is_the_text_as_it_stands) {
    EXPECT_EQ(field("src/a b.c"), "src/a b.c");
    EXPECT_EQ(field(""), "");
    EXPECT_EQ(field("a[1]"), "a[1]");
}

TEST(Field, stands_in_brackets_if_it_holds_the_separator_or_begins_like_one_that_does) {
    EXPECT_EQ(field("f<a,b>"), "[f<a,b>]");
    EXPECT_EQ(field("[x"), "[[x]");
}

TEST(Field, has_another_character_for_each_that_no_field_can_hold) {
    EXPECT_EQ(field("a\nb\rc"), "a?b?c");
    EXPECT_EQ(field(std::string_view("a\0b", 3)), "a?b");
    EXPECT_EQ(field("a,b]"), "a;b]");
    EXPECT_EQ(field("[a,b]"), "(a;b]");
}

TEST(ExactParts, of_a_count_of_24_bits_is_the_count) {
    EXPECT_THAT(exact_parts(0xFFFFFF), ElementsAre(0xFFFFFF));
    EXPECT_THAT(exact_parts(0x1000000), ElementsAre(0x1000000));
    EXPECT_THAT(exact_parts(0), ElementsAre());
}

TEST(ExactParts, of_a_larger_count_add_up_to_it) {
    EXPECT_THAT(exact_parts(0x1000001), ElementsAre(0x1000000, 1));
    for (const std::uint64_t count :
         {0x6EDCBA98ULL, 0xFFFFFFFFFFFFFFFFULL, 0x8000008000000001ULL}) {
        const std::vector<std::uint64_t> parts = exact_parts(count);
        EXPECT_EQ(std::accumulate(parts.begin(), parts.end(), std::uint64_t{0}), count);
        for (const std::uint64_t part : parts)
            EXPECT_EQ(
                static_cast<std::uint64_t>(static_cast<long double>(static_cast<float>(part))),
                part);
    }
}

TEST(OtherSpelling, has_a_second_dot_where_the_first_one_is_or_one_at_the_end) {
    EXPECT_EQ(other_spelling("helper"), "helper.");
    EXPECT_EQ(other_spelling("helper.isra.0"), "helper..isra.0");
    EXPECT_EQ(other_spelling("helper.12"), "helper..12");
}

TEST(OtherSpelling, is_empty_if_the_second_dot_would_stay) {
    EXPECT_EQ(other_spelling("helper.a.12"), "");
}

TEST(Place, keeps_program_and_address_apart) {
    const Place place = place_of(3, 0xFFFFFFFFFFFF);
    EXPECT_EQ(program_of(place), 3U);
    EXPECT_EQ(address_of(place), 0xFFFFFFFFFFFFU);
    EXPECT_FALSE(is_foreign(place));
    EXPECT_TRUE(is_foreign(foreign + 7));
    EXPECT_LT(place_of(0, 0xFFFFFFFFFFFF), place_of(1, 0));
}

}  // namespace
}  // namespace edgefile
