#include "callgrind/recording.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <string>

namespace callgrind {
namespace {

using testing::ElementsAre;
using testing::Pair;

const std::string head = "positions: instr line\nevents: Ir\n";

class RecordingTest : public testing::Test {
protected:
    // Reads the text; the problem, or the empty text.
    std::string read(std::string text) {
        const std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream(
            fmemopen(text.data(), text.size(), "r"), std::fclose);
        std::string problem;
        return recording.read(stream.get(), problem) ? "" : problem;
    }

    Recording recording;
};

TEST_F(RecordingTest, counts_instructions_by_object_and_address) {
    EXPECT_EQ(read(head + "ob=(1) /bin/a\nfn=(1) main\n0x10 1 3\n+4 1 5\ntotals: 8\n"), "");
    ASSERT_EQ(recording.objects().size(), 1U);
    EXPECT_EQ(recording.objects()[0].name, "/bin/a");
    EXPECT_THAT(recording.objects()[0].executed,
                testing::UnorderedElementsAre(Pair(0x10, 3), Pair(0x14, 5)));
    EXPECT_EQ(recording.instructions(), 8U);
}

TEST_F(RecordingTest, keeps_the_jumps_of_an_object) {
    EXPECT_EQ(read(head + "ob=(1) a\nfn=(1) main\njump=7 0x10 1\n0x20 1\n0x20 1 9\ntotals: 9\n"),
              "");
    EXPECT_THAT(recording.objects()[0].jumps, ElementsAre(Pair(Pair(0x20, 0x10), 7)));
}

TEST_F(RecordingTest, adds_a_second_recording) {
    const std::string text = head + "ob=(1) a\nfn=(1) main\n0x10 1 3\ntotals: 3\n";
    EXPECT_EQ(read(text), "");
    EXPECT_EQ(read(text), "");
    EXPECT_EQ(recording.objects()[0].executed.at(0x10), 6U);
}

TEST_F(RecordingTest, refuses_totals_that_its_lines_dont_add_up_to) {
    EXPECT_EQ(read(head + "ob=(1) a\nfn=(1) main\n0x10 1 3\ntotals: 4\n"),
              "is damaged: its counts don't add up to its totals");
}

TEST_F(RecordingTest, refuses_a_text_without_its_totals) {
    EXPECT_EQ(read(head + "ob=(1) a\nfn=(1) main\n0x10 1 3\n"),
              "is cut off: its totals are missing");
}

TEST_F(RecordingTest, refuses_a_name_that_was_never_given) {
    EXPECT_EQ(read(head + "ob=(1)\n"), "is damaged: it uses a name that it never gave");
}

TEST_F(RecordingTest, refuses_lines_without_addresses) {
    EXPECT_EQ(read("positions: line\nevents: Ir\n"),
              "has no addresses: record with --dump-instr=yes");
}

TEST_F(RecordingTest, refuses_other_texts) {
    EXPECT_EQ(read("no recording\n"), "is no recording of callgrind");
}

}  // namespace
}  // namespace callgrind
