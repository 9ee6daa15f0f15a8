#include "edgescope/imbalance.h"

#include <gtest/gtest.h>

namespace edgescope {
namespace {

Edge edge(std::uint64_t from, std::uint64_t to, std::uint64_t count, bool is_entry = false,
          bool is_exit = false) {
    return {from, to, count, {1, 0, 0, 0}, {2, 0, 0, 0}, is_entry, is_exit};
}

Imbalance of(std::uint64_t count, std::vector<Edge> edges) {
    Function function;
    function.count = count;
    function.edges = std::move(edges);
    return imbalance_of(function, 1);
}

TEST(Imbalance, is_none_where_blocks_are_left_as_often_as_entered) {
    const Imbalance result = of(100, {edge(16, 32, 100, true), edge(32, 48, 100, false, true)});
    EXPECT_GT(result.judged, 0U);
    EXPECT_EQ(result.missing, 0U);
    EXPECT_EQ(result.noise, 0U);
}

TEST(Imbalance, counts_what_the_entry_block_lacks) {
    const Imbalance result = of(1000000, {edge(16, 32, 400000, true)});
    EXPECT_EQ(result.judged, 1000000U);
    EXPECT_EQ(result.missing, 600000U);
    EXPECT_LT(result.noise, 10000U);
}

TEST(Imbalance, of_small_counts_may_be_chance) {
    const Imbalance result = of(10, {edge(16, 32, 8, true)});
    EXPECT_EQ(result.missing, 2U);
    EXPECT_EQ(result.noise, 2U);
}

// 16 decides whether to end (64) or to call (32); the call goes to 16, its return from 64 to 48.
TEST(Imbalance, is_none_where_a_function_calls_itself) {
    const Imbalance result =
        of(100001, {edge(16, 32, 100000, true), edge(16, 64, 1, true, true), edge(32, 16, 100000),
                    edge(32, 48, 100000), edge(64, 48, 100000), edge(48, 64, 100000, false, true)});
    EXPECT_GT(result.judged, 0U);
    EXPECT_EQ(result.missing, 0U);
}

// The loop's block, 32, lacks more than the jumps back to the entry block explain.
TEST(Imbalance, counts_what_recursion_cannot_explain) {
    const Imbalance result =
        of(1000, {edge(16, 32, 501000, true), edge(32, 16, 500000), edge(32, 48, 900000)});
    EXPECT_EQ(result.missing, 399000U);
}

TEST(Imbalance, judges_nothing_without_edges) {
    const Imbalance result = of(10, {});
    EXPECT_EQ(result.judged, 0U);
    EXPECT_EQ(result.missing, 0U);
}

}  // namespace
}  // namespace edgescope
