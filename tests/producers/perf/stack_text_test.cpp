#include "perf/stack_text.h"

#include <gmock/gmock.h>

namespace {

using perf::StackLine;
using testing::ElementsAre;
using testing::IsEmpty;

class StackTextTest : public testing::Test {
protected:
    const StackLine& read(std::string_view line) { return text_.read(line); }

    // The line is a stack without damage; its branches as pairs.
    std::vector<std::pair<std::uint64_t, std::uint64_t>> branches(std::string_view line) {
        const StackLine& said = read(line);
        EXPECT_EQ(said.kind, StackLine::Kind::stack) << line;
        EXPECT_EQ(said.damaged, 0U) << line;
        std::vector<std::pair<std::uint64_t, std::uint64_t>> pairs;
        for (const perf::Branch& branch : said.branches)
            pairs.emplace_back(branch.source, branch.destination);
        return pairs;
    }

    perf::StackText text_;
};

using Pair = std::pair<std::uint64_t, std::uint64_t>;

TEST_F(StackTextTest, stack_of_a_process_gives_branches_in_the_order_of_the_line) {
    EXPECT_THAT(branches("   77  0x40051f/0x4004f0/P/-/-/3  0x400633/0x400516/M/-/-/1 "),
                ElementsAre(Pair(0x40051f, 0x4004f0), Pair(0x400633, 0x400516)));
    EXPECT_THAT(text_.read("   77  0x1/0x2/P/-/-/3").processes, ElementsAre(77));
}

TEST_F(StackTextTest, process_and_thread_stand_before_other_numbers) {
    EXPECT_THAT(
        read("my prog 2  1234/1235  [003] 5678.123456:  1000 cycles:u:  0x1/0x2/P/-/-/0").processes,
        ElementsAre(1234, 2, 1000));
}

TEST_F(StackTextTest, stack_may_stand_behind_an_instruction_pointer_and_its_symbol) {
    EXPECT_THAT(branches("           40051f main+0x1f (/tmp/steps) 0x40051f/0x4004f0/P/-/-/3"),
                ElementsAre(Pair(0x40051f, 0x4004f0)));
}

TEST_F(StackTextTest, names_of_files_and_further_flags_are_skipped) {
    EXPECT_THAT(branches("77 0x1f(/tmp/my steps (2)/steps)/0x20(/lib/libc.so.6)/M/-/-/12/COND/-"),
                ElementsAre(Pair(0x1f, 0x20)));
}

TEST_F(StackTextTest, addresses_may_lack_the_mark_of_hexadecimal_digits) {
    EXPECT_THAT(branches("77 40051f/4004f0/P/-/-/3 0x40051F/4004F0/P/-/-/3"),
                ElementsAre(Pair(0x40051f, 0x4004f0), Pair(0x40051f, 0x4004f0)));
}

TEST_F(StackTextTest, addresses_may_be_joined_by_a_dash_or_an_arrow) {
    EXPECT_THAT(branches("0x1-0x2 0x3->0x4 0x5->0x6/P/-/-/1"),
                ElementsAre(Pair(1, 2), Pair(3, 4), Pair(5, 6)));
}

TEST_F(StackTextTest, stack_without_a_head_of_its_own_names_no_process) {
    EXPECT_THAT(read(" 0x40051f/0x4004f0/P/-/-/3").processes, IsEmpty());
}

TEST_F(StackTextTest, head_on_a_line_of_its_own_names_the_process) {
    const StackLine& said = read("steps  1234 5678.123456: ");
    EXPECT_EQ(said.kind, StackLine::Kind::other);
    EXPECT_THAT(said.processes, ElementsAre(1234));
}

TEST_F(StackTextTest, lines_of_a_call_chain_name_no_process) {
    EXPECT_THAT(read("\t          400490").processes, IsEmpty());
}

TEST_F(StackTextTest, numbers_of_process_and_thread_are_no_branch) {
    EXPECT_EQ(read("1234/1235").kind, StackLine::Kind::other);
    EXPECT_EQ(read("1234/1235/").kind, StackLine::Kind::other);
}

TEST_F(StackTextTest, entry_that_is_cut_off_is_damaged_and_stays_as_a_gap) {
    for (const char* const entry : {"0x40051f/0x40", "0x40051f/", "0x40051f/zz/P", "0x/0x1/P/-/-/1",
                                    "0x12345678901234567/0x1/P/-/-/1", "0x1-", "0x1->x"}) {
        const StackLine& said = read(std::string("77 0x1/0x2/P/-/-/1 ") + entry);
        EXPECT_EQ(said.damaged, 1U) << entry;
        ASSERT_EQ(said.branches.size(), 2U) << entry;
        EXPECT_EQ(said.branches[1].source, perf::unreadable) << entry;
        EXPECT_EQ(said.branches[1].destination, perf::unreadable) << entry;
    }
}

TEST_F(StackTextTest, mapping_tells_process_place_and_file) {
    const StackLine& said = read(
        "steps 77 1.0: PERF_RECORD_MMAP2 77/78: [0x401000(0x2000) @ 0x1000 fe:00 110 904]: r-xp "
        "/tmp/my steps ");
    ASSERT_EQ(said.kind, StackLine::Kind::mapping);
    EXPECT_EQ(said.mapping.process, 77);
    EXPECT_EQ(said.mapping.address, 0x401000U);
    EXPECT_EQ(said.mapping.size, 0x2000U);
    EXPECT_EQ(said.mapping.offset, 0x1000U);
    EXPECT_EQ(said.mapping.path, "/tmp/my steps");
    EXPECT_EQ(said.mapping.build_id, "");
    EXPECT_EQ(said.mapping.inode, 110U);
}

TEST_F(StackTextTest, mapping_may_hold_the_build_id) {
    EXPECT_EQ(read("PERF_RECORD_MMAP2 77/77: [0x1000(0x1000) @ 0 <8b3d0f>]: r-xp /tmp/steps")
                  .mapping.build_id,
              "8b3d0f");
    EXPECT_EQ(read("PERF_RECORD_MMAP2 77/77: [0x1000(0x1000) @ 0 <8b 3d>]: r-xp /tmp/steps")
                  .mapping.inode,
              0U);
}

TEST_F(StackTextTest, mapping_of_the_older_form_and_of_the_kernel_is_understood) {
    const StackLine& said =
        read("PERF_RECORD_MMAP -1/0: [0xffffffff81000000(0x1f) @ 0xffffffff81000000]: x [kernel]");
    ASSERT_EQ(said.kind, StackLine::Kind::mapping);
    EXPECT_EQ(said.mapping.process, -1);
    EXPECT_EQ(said.mapping.path, "[kernel]");
}

TEST_F(StackTextTest, damaged_mapping_is_reported) {
    for (const char* const rest :
         {"", " 77/77: [0x401000(0x2000", " 77/77: [0x401000(0x2000) @ 0x1000]: r-xp",
          " x/77: [0x401000(0x2000) @ 0]: r-xp /a"}) {
        const StackLine& said = read(std::string("PERF_RECORD_MMAP2") + rest);
        EXPECT_EQ(said.kind, StackLine::Kind::other) << rest;
        EXPECT_EQ(said.damaged, 1U) << rest;
    }
}

TEST_F(StackTextTest, fork_tells_child_and_parent) {
    const StackLine& said = read("steps 77 1.0: PERF_RECORD_FORK(99:100):(77:78)");
    ASSERT_EQ(said.kind, StackLine::Kind::fork);
    EXPECT_EQ(said.fork.process, 99);
    EXPECT_EQ(said.fork.thread, 100);
    EXPECT_EQ(said.fork.parent, 77);
}

TEST_F(StackTextTest, program_begun_is_reported_and_a_change_of_name_is_not) {
    const StackLine& said = read("sh 77 1.0: PERF_RECORD_COMM exec: a:b:77/77");
    ASSERT_EQ(said.kind, StackLine::Kind::exec);
    EXPECT_EQ(said.executing, 77);
    EXPECT_EQ(read("sh 77 1.0: PERF_RECORD_COMM: worker:77/78").kind, StackLine::Kind::other);
}

TEST_F(StackTextTest, other_events_and_empty_lines_say_nothing) {
    EXPECT_EQ(read("").kind, StackLine::Kind::other);
    EXPECT_EQ(read("// a remark").kind, StackLine::Kind::other);
    EXPECT_EQ(read("steps 77 1.0: PERF_RECORD_EXIT(77:77):(76:76)").kind, StackLine::Kind::other);
    EXPECT_EQ(text_.read("PERF_RECORD_LOST").damaged, 0U);
}

TEST_F(StackTextTest, line_with_a_carriage_return_reads_the_same) {
    EXPECT_THAT(branches("77 0x1/0x2/P/-/-/1\r"), ElementsAre(Pair(1, 2)));
    EXPECT_EQ(read("PERF_RECORD_MMAP2 7/7: [0x1(0x2) @ 0]: r-xp /tmp/steps\r").mapping.path,
              "/tmp/steps");
}

}  // namespace
