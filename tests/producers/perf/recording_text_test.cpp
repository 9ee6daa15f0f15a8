#include "perf/recording_text.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using edgefile::place_of;

class RecordingTest : public testing::Test {
protected:
    void read(std::string text) {
        std::FILE* const file = fmemopen(text.data(), text.size(), "r");
        size_ = perf::read_recording(file, spaces_, names_, counts_);
        std::fclose(file);
    }
    std::uint64_t count(std::uint64_t source, std::uint64_t destination) {
        for (const perf::CountedBranch& branch : counts_.branches())
            if (branch.source == place_of(0, source) &&
                branch.destination == place_of(0, destination))
                return branch.count;
        return 0;
    }

    perf::AddressSpaces spaces_{{{"/tmp/steps", "", {{0x1000, 0x1000, 0x1000}}}}};
    perf::ForeignNames names_;
    perf::BranchCounts counts_{
        [](perf::CountedBranch& branch) { branch.reach = branch.destination | 0xFF; }};
    perf::RecordingSize size_;
};

TEST_F(RecordingTest, stacks_of_a_text_are_counted) {
    read("77 0x1010/0x1020/P/-/-/1 0x1030/0x1000/P/-/-/1\n78 0x1010/0x1020/P/-/-/1\n");
    EXPECT_EQ(count(0x1010, 0x1020), 2U);
    EXPECT_EQ(count(0x1030, 0x1000), 1U);
    EXPECT_EQ(size_.stacks, 2U);
    EXPECT_EQ(size_.branches, 3U);
    EXPECT_EQ(size_.damaged, 0U);
    EXPECT_FALSE(size_.read_error);
}

TEST_F(RecordingTest, head_above_a_call_chain_names_the_process_of_the_stack_below) {
    read(
        "PERF_RECORD_MMAP2 77/77: [0x10000(0x1000) @ 0x1000 00:00 0 0]: r-xp /tmp/steps\n"
        "PERF_RECORD_MMAP2 78/78: [0x20000(0x1000) @ 0x1000 00:00 0 0]: r-xp /tmp/steps\n"
        "steps 78 1.0:\n"
        "\t   20010\n"
        " 0x20010/0x20020/P/-/-/1\n");
    EXPECT_EQ(count(0x1010, 0x1020), 1U);
}

TEST_F(RecordingTest, mapping_holds_for_the_stacks_behind_it) {
    read(
        "77 0x1010/0x1020/P/-/-/1\n"
        "PERF_RECORD_MMAP2 77/77: [0x10000(0x1000) @ 0x1000 00:00 0 0]: r-xp /tmp/steps\n"
        "77 0x10010/0x10020/P/-/-/1\n"
        "PERF_RECORD_FORK(99:99):(77:77)\n"
        "99 0x10010/0x10020/P/-/-/1\n"
        "PERF_RECORD_COMM exec: other:77/77\n"
        "77 0x10010/0x10020/P/-/-/1\n");
    EXPECT_EQ(count(0x1010, 0x1020), 3U);
    EXPECT_EQ(counts_.foreign_count(), 1U);
}

TEST_F(RecordingTest, no_way_leads_over_a_damaged_entry) {
    read("77 0x1030/0x1000/P/-/-/1 0x10/0xzz 0x1010/0x1020/P/-/-/1\n");
    EXPECT_EQ(size_.damaged, 1U);
    EXPECT_EQ(size_.branches, 2U);
    EXPECT_EQ(counts_.branches()[0].ways_to_source, 0U);
    EXPECT_EQ(counts_.foreign_count(), 0U);
}

}  // namespace
