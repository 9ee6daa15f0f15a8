#include "perf/text_lines.h"

#include <gmock/gmock.h>

#include <cstring>

namespace {

using testing::ElementsAre;

std::vector<std::string> lines_of(std::string text) {
    std::FILE* const file = fmemopen(text.data(), text.size(), "r");
    perf::TextLines lines(file);
    std::vector<std::string> result;
    std::string_view line;
    while (lines.next(line)) result.emplace_back(line);
    EXPECT_FALSE(lines.failed());
    std::fclose(file);
    return result;
}

TEST(TextLines, lines_come_without_their_ends_and_empty_ones_count) {
    EXPECT_THAT(lines_of("one\n\ntwo\n"), ElementsAre("one", "", "two"));
}

TEST(TextLines, last_line_needs_no_end) {
    EXPECT_THAT(lines_of("one\ntwo"), ElementsAre("one", "two"));
}

TEST(TextLines, text_of_many_buffers_comes_whole) {
    std::string text;
    std::vector<std::string> expected;
    for (std::size_t i = 0; text.size() < 3 * perf::TextLines::longest_line; ++i) {
        expected.push_back(std::string(i % 5000, 'x') + std::to_string(i));
        text += expected.back() + "\n";
    }
    EXPECT_EQ(lines_of(text), expected);
}

TEST(TextLines, longer_line_comes_in_pieces) {
    const std::size_t longest = perf::TextLines::longest_line;
    const std::vector<std::string> lines = lines_of(std::string(2 * longest + 5, 'x') + "\nend\n");
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_EQ(lines[0].size(), longest);
    EXPECT_EQ(lines[1].size(), longest);
    EXPECT_EQ(lines[2].size(), 5U);
    EXPECT_EQ(lines[3], "end");
}

TEST(TextLines, failure_to_read_is_reported) {
    std::FILE* const directory = std::fopen("/", "r");
    ASSERT_NE(directory, nullptr);
    perf::TextLines lines(directory);
    std::string_view line;
    EXPECT_FALSE(lines.next(line));
    EXPECT_TRUE(lines.failed());
    std::fclose(directory);
}

}  // namespace
