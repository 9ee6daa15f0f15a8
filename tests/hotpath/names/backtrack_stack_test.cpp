#include "hotpath/names/backtrack_stack.h"

#include <gtest/gtest.h>

namespace {

using hotpath::BacktrackStack;

TEST(BacktrackStack, last_value_comes_first) {
    BacktrackStack stack;
    stack.push(7);
    stack.push(8);
    EXPECT_EQ(2U, stack.height());
    EXPECT_EQ(8U, stack.pop());
    EXPECT_EQ(7U, stack.pop());
}

TEST(BacktrackStack, empty_stack_yields_zero) {
    BacktrackStack stack;
    EXPECT_EQ(0U, stack.pop());
    EXPECT_EQ(0U, stack.height());
}

TEST(BacktrackStack, values_survive_growth) {
    BacktrackStack stack;
    for (std::uint64_t value = 1; value <= 2000; ++value) stack.push(value);
    for (std::uint64_t value = 2000; value >= 1; --value) ASSERT_EQ(value, stack.pop());
}

TEST(BacktrackStack, lowered_height_drops_what_stood_above) {
    BacktrackStack stack;
    stack.push(7);
    stack.push(8);
    stack.set_height(1);
    EXPECT_EQ(7U, stack.pop());
}

}  // namespace
