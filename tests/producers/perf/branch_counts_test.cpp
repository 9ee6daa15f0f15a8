#include "perf/branch_counts.h"

#include <gtest/gtest.h>

namespace {

using edgefile::foreign;

// Code in which control goes straight on up to the next multiple of 0x100; what ends in 7 is no
// branch.
class BranchCountsTest : public testing::Test {
protected:
    // A stack, the newest branch first.
    void add(std::initializer_list<std::pair<perf::Place, perf::Place>> stack) {
        counts_.begin_stack();
        for (const auto& [source, destination] : stack) counts_.add(source, destination);
    }
    perf::CountedBranch branch(perf::Place source, perf::Place destination) {
        for (const perf::CountedBranch& branch : counts_.branches())
            if (branch.source == source && branch.destination == destination) return branch;
        return {};
    }

    int asked_ = 0;
    perf::BranchCounts counts_{[this](perf::CountedBranch& branch) {
        ++asked_;
        branch.is_astray = branch.source % 16 == 7;
        branch.reach = branch.destination == foreign ? 0 : branch.destination | 0xFF;
    }};
};

TEST_F(BranchCountsTest, equal_branches_add_up_over_stacks) {
    add({{0x150, 0x120}, {0x150, 0x120}});
    add({{0x150, 0x120}});
    EXPECT_EQ(branch(0x150, 0x120).count, 3U);
    EXPECT_EQ(counts_.branches().size(), 1U);
    EXPECT_EQ(asked_, 1);
}

TEST_F(BranchCountsTest, way_leads_from_the_older_branch_to_the_newer_one) {
    add({{0x250, 0x300}, {0x150, 0x210}});
    EXPECT_EQ(branch(0x150, 0x210).ways_from_destination, 1U);
    EXPECT_EQ(branch(0x150, 0x210).ways_to_source, 0U);
    EXPECT_EQ(branch(0x250, 0x300).ways_to_source, 1U);
    EXPECT_EQ(branch(0x250, 0x300).ways_from_destination, 0U);
}

TEST_F(BranchCountsTest, way_may_be_one_instruction_long_or_reach_the_last_place) {
    add({{0x2FF, 0x300}, {0x210, 0x200}, {0x150, 0x210}});
    EXPECT_EQ(branch(0x150, 0x210).ways_from_destination, 1U);
    EXPECT_EQ(branch(0x210, 0x200).ways_from_destination, 1U);
}

TEST_F(BranchCountsTest, way_back_or_over_a_branch_is_a_gap) {
    add({{0x310, 0x100}, {0x20F, 0x210}, {0x150, 0x210}});
    EXPECT_EQ(branch(0x150, 0x210).ways_from_destination, 0U);
    EXPECT_EQ(branch(0x20F, 0x210).ways_from_destination, 0U);
}

TEST_F(BranchCountsTest, no_way_leads_from_one_stack_to_the_next) {
    add({{0x150, 0x210}});
    add({{0x250, 0x300}});
    add({{0x150, 0x210}});
    EXPECT_EQ(branch(0x150, 0x210).ways_from_destination, 0U);
}

TEST_F(BranchCountsTest, branches_of_foreign_code_are_counted_and_not_kept) {
    add({{0x250, 0x300}, {foreign, foreign}, {0x150, 0x210}});
    EXPECT_EQ(counts_.foreign_count(), 1U);
    EXPECT_EQ(counts_.branches().size(), 2U);
    EXPECT_EQ(branch(0x150, 0x210).ways_from_destination, 0U);
}

TEST_F(BranchCountsTest, way_behind_the_return_of_foreign_code_counts) {
    add({{0x250, 0x300}, {foreign, 0x210}, {0x150, foreign}});
    EXPECT_EQ(branch(foreign, 0x210).ways_from_destination, 1U);
    EXPECT_EQ(branch(0x250, 0x300).ways_to_source, 1U);
    EXPECT_EQ(branch(0x150, foreign).ways_from_destination, 0U);
}

TEST_F(BranchCountsTest, branches_astray_are_counted_and_no_way_begins_or_ends_there) {
    add({{0x250, 0x300}, {0x217, 0x210}, {0x150, 0x210}});
    EXPECT_EQ(branch(0x217, 0x210).count, 1U);
    EXPECT_TRUE(branch(0x217, 0x210).is_astray);
    EXPECT_EQ(branch(0x217, 0x210).ways_from_destination, 0U);
    EXPECT_EQ(branch(0x150, 0x210).ways_from_destination, 0U);
    EXPECT_EQ(branch(0x250, 0x300).ways_to_source, 0U);
}

TEST_F(BranchCountsTest, thousands_of_distinct_branches_are_kept_apart) {
    for (int round = 0; round < 2; ++round)
        for (perf::Place i = 0; i < 5000; ++i) add({{i * 0x100, i * 0x1000}});
    EXPECT_EQ(counts_.branches().size(), 5000U);
    for (perf::Place i = 0; i < 5000; ++i) EXPECT_EQ(branch(i * 0x100, i * 0x1000).count, 2U);
}

}  // namespace
