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

TEST(Imbalance, judges_nothing_without_edges) {
    const Imbalance result = of(10, {});
    EXPECT_EQ(result.judged, 0U);
    EXPECT_EQ(result.missing, 0U);
}

}  // namespace
}  // namespace edgescope
