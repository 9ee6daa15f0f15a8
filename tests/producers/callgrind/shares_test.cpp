#include "callgrind/shares.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace callgrind {
namespace {

using testing::ElementsAre;

std::vector<std::uint64_t> shares(std::uint64_t count, std::vector<std::uint64_t> supplies) {
    return shares_of(count, supplies);
}

TEST(SharesOf, are_in_proportion) { EXPECT_THAT(shares(10, {20, 60, 20}), ElementsAre(2, 6, 2)); }

TEST(SharesOf, are_all_that_there_is_where_more_is_asked_for) {
    EXPECT_THAT(shares(100, {3, 0, 4}), ElementsAre(3, 0, 4));
}

TEST(SharesOf, that_dont_divide_go_to_the_largest_remainders) {
    EXPECT_THAT(shares(4, {1, 2, 4}), ElementsAre(1, 1, 2));
}

TEST(SharesOf, of_equal_supplies_go_to_the_first) {
    EXPECT_THAT(shares(2, {1, 1, 1}), ElementsAre(1, 1, 0));
}

TEST(SharesOf, of_nothing_are_nothing) {
    EXPECT_THAT(shares(5, {0, 0}), ElementsAre(0, 0));
    EXPECT_THAT(shares(0, {1, 2}), ElementsAre(0, 0));
    EXPECT_THAT(shares(5, {}), ElementsAre());
}

TEST(SharesOf, of_the_largest_numbers_add_up) {
    const std::uint64_t most = 0xFFFFFFFFFFFFFFFF;
    EXPECT_THAT(shares(most, {most, most}), ElementsAre(most / 2 + 1, most / 2));
}

}  // namespace
}  // namespace callgrind
