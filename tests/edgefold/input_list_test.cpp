#include "edgefold/input_list.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "hotpath/model/function_record_factory_impl.h"
#include "hotpath/model/hotpath_allocator.h"
#include "scratch.h"

namespace tool {
namespace {

using testing::ElementsAre;
using testing::ExitedWithCode;
using testing::IsEmpty;

std::vector<std::string> tokens_of(std::string list, const char* delimiters = ";") {
    ListTokenizer tokenizer(list.data(), delimiters);
    std::vector<std::string> tokens;
    while (const char* const token = tokenizer.next_token()) tokens.push_back(token);
    return tokens;
}

// The paths that stand in a list: its tokens, stripped.
std::vector<std::string> paths_in(std::string list) {
    ListTokenizer tokenizer(list.data(), ";");
    std::vector<std::string> paths;
    while (const char* const path = strip_token(tokenizer.next_token())) paths.push_back(path);
    return paths;
}

TEST(ListTokenizer, cuts_at_delimiters_and_skips_runs_in_front_of_a_token) {
    EXPECT_THAT(tokens_of("a;b"), ElementsAre("a", "b"));
    EXPECT_THAT(tokens_of(";a;;b;"), ElementsAre("a", "b"));
}

TEST(ListTokenizer, gives_an_empty_token_behind_two_delimiters_at_the_end) {
    EXPECT_THAT(tokens_of("a;b;;"), ElementsAre("a", "b", ""));
    EXPECT_THAT(tokens_of("a;;;;"), ElementsAre("a", ""));
}

TEST(ListTokenizer, gives_one_empty_token_for_delimiters_alone) {
    EXPECT_THAT(tokens_of(";"), ElementsAre(""));
    EXPECT_THAT(tokens_of(";;;"), ElementsAre(""));
}

TEST(ListTokenizer, gives_no_token_for_the_empty_text) { EXPECT_THAT(tokens_of(""), IsEmpty()); }

TEST(ListTokenizer, keeps_blanks) { EXPECT_THAT(tokens_of(" a ; b"), ElementsAre(" a ", " b")); }

TEST(ListTokenizer, keeps_quotes_and_backslashes_in_the_token) {
    EXPECT_THAT(tokens_of("\"a;b\";c"), ElementsAre("\"a;b\"", "c"));
    EXPECT_THAT(tokens_of("'a;b';c"), ElementsAre("'a;b'", "c"));
    EXPECT_THAT(tokens_of("\"a\\\"b\";c"), ElementsAre("\"a\\\"b\"", "c"));
}

TEST(ListTokenizer, quotes_in_the_middle_of_a_token_protect_too) {
    EXPECT_THAT(tokens_of("a\"b;c\"d;e"), ElementsAre("a\"b;c\"d", "e"));
}

TEST(ListTokenizer, a_quote_inside_the_other_kind_is_a_plain_character) {
    EXPECT_THAT(tokens_of("\"a'b\";c"), ElementsAre("\"a'b\"", "c"));
    EXPECT_THAT(tokens_of("'a\"b';c"), ElementsAre("'a\"b'", "c"));
}

TEST(ListTokenizer, an_escaped_quote_neither_opens_nor_closes) {
    EXPECT_THAT(tokens_of("\\\"a;b"), ElementsAre("\\\"a", "b"));
    EXPECT_THAT(tokens_of("\\'a;b"), ElementsAre("\\'a", "b"));
    EXPECT_THAT(tokens_of("\"a\\\";b\";c"), ElementsAre("\"a\\\";b\"", "c"));
}

TEST(ListTokenizer, two_backslashes_leave_the_next_quote_alone) {
    EXPECT_THAT(tokens_of("\"a\\\\\";b"), ElementsAre("\"a\\\\\"", "b"));
}

TEST(ListTokenizer, outside_quotes_a_backslash_protects_no_delimiter) {
    EXPECT_THAT(tokens_of("a\\;b"), ElementsAre("a\\", "b"));
}

TEST(ListTokenizer, a_delimiter_inside_quotes_ends_an_escape) {
    EXPECT_THAT(tokens_of("\"a\\;\";b"), ElementsAre("\"a\\;\"", "b"));
}

TEST(ListTokenizer, cuts_an_unterminated_quote_at_its_first_delimiter) {
    EXPECT_THAT(tokens_of("\"a;b"), ElementsAre("\"a", "b"));
    EXPECT_THAT(tokens_of("\"a;b;c"), ElementsAre("\"a", "b", "c"));
    EXPECT_THAT(tokens_of("'a;b"), ElementsAre("'a", "b"));
}

TEST(ListTokenizer, an_unterminated_quote_without_delimiter_runs_to_the_end) {
    EXPECT_THAT(tokens_of("\"ab"), ElementsAre("\"ab"));
}

TEST(ListTokenizer, remembers_the_first_inner_delimiter_of_a_quote_that_closed) {
    EXPECT_THAT(tokens_of("\"a;b\"c\"d;e"), ElementsAre("\"a", "b\"c\"d", "e"));
}

TEST(ListTokenizer, a_quote_that_closed_keeps_its_delimiter) {
    EXPECT_THAT(tokens_of("\"a;b\"c"), ElementsAre("\"a;b\"c"));
}

TEST(ListTokenizer, without_delimiters_the_whole_text_is_one_token) {
    EXPECT_THAT(tokens_of("a;b", nullptr), ElementsAre("a;b"));
    EXPECT_THAT(tokens_of("a;b", ""), ElementsAre("a;b"));
}

TEST(ListTokenizer, every_one_of_nine_delimiters_cuts_and_a_tenth_does_not) {
    EXPECT_THAT(tokens_of("a1b9c0d", "1234567890"), ElementsAre("a", "b", "c0d"));
}

TEST(ListTokenizer, a_backslash_as_delimiter_inside_quotes_still_escapes) {
    EXPECT_THAT(tokens_of("\"a\\\"b\"\\c", "\\"), ElementsAre("\"a\\\"b\"", "c"));
    EXPECT_THAT(tokens_of("\"a\\\\\"\\c", "\\"), ElementsAre("\"a\\\\\"", "c"));
}

TEST(ListTokenizer, a_quote_as_delimiter_cuts) {
    EXPECT_THAT(tokens_of("a\"b", "\""), ElementsAre("a", "b"));
}

// Where a quote stays open the list is read to its end, and again from after the first delimiter:
// how often that can happen must not grow with the list, or these would run for minutes.
TEST(ListTokenizer, cuts_lists_of_a_megabyte_that_are_made_of_quotes) {
    for (const char* const unit :
         {"';", "\";", "\"';", "'\"';", "'\";", "\\\";", "'\\\";\"", "a\"b'c;"}) {
        std::string list;
        while (list.size() < 1000000) list += unit;
        std::size_t size = 0;
        for (const std::string& token : tokens_of("'" + list + "\"")) size += token.size() + 1;
        EXPECT_EQ(size, list.size() + 3) << unit;
    }
}

TEST(StripToken, gives_nothing_for_nothing) { EXPECT_EQ(strip_token(nullptr), nullptr); }

TEST(StripToken, takes_enclosing_double_quotes_away) {
    EXPECT_THAT(paths_in("\"a;b\";c"), ElementsAre("a;b", "c"));
    EXPECT_THAT(paths_in("\"\""), ElementsAre(""));
}

TEST(StripToken, leaves_other_quotes) {
    EXPECT_THAT(paths_in("'a;b';c"), ElementsAre("'a;b'", "c"));
    EXPECT_THAT(paths_in("a\"b\"c"), ElementsAre("a\"b\"c"));
    EXPECT_THAT(paths_in("\"a\"b"), ElementsAre("\"a\"b"));
    EXPECT_THAT(paths_in("a\"b\""), ElementsAre("a\"b\""));
    EXPECT_THAT(paths_in("\""), ElementsAre("\""));
    EXPECT_THAT(paths_in("\"a;b"), ElementsAre("\"a", "b"));
}

TEST(StripToken, resolves_escapes_of_backslash_and_quotes) {
    EXPECT_THAT(paths_in("\"a\\\"b\""), ElementsAre("a\"b"));
    EXPECT_THAT(paths_in("\"a\\\\b\""), ElementsAre("a\\b"));
    EXPECT_THAT(paths_in("\"a\\'b\""), ElementsAre("a'b"));
    EXPECT_THAT(paths_in("\"\\\\\\\"\""), ElementsAre("\\\""));
}

TEST(StripToken, keeps_a_backslash_before_anything_else) {
    EXPECT_THAT(paths_in("\"C:\\dir\\f\""), ElementsAre("C:\\dir\\f"));
}

TEST(StripToken, leaves_escapes_without_enclosing_quotes) {
    EXPECT_THAT(paths_in("a\\\\b"), ElementsAre("a\\\\b"));
}

TEST(StripToken, takes_quotes_away_though_the_last_one_was_escaped) {
    EXPECT_THAT(paths_in("\"C:\\dir\\\""), ElementsAre("C:\\dir\\"));
}

TEST(StripToken, keeps_a_quote_in_the_middle) {
    EXPECT_THAT(paths_in("\"a\"b\""), ElementsAre("a\"b"));
}

class ReadInputList : public testing::Test {
protected:
    // Reads the list; what was said stands in `said_` afterwards.
    std::uint32_t read(std::string list) {
        testing::internal::CaptureStderr();
        const std::uint32_t count = read_input_list(list.data(), records_);
        said_ = testing::internal::GetCapturedStderr();
        return count;
    }

    ScratchDirectory scratch_;
    hotpath::FunctionRecordFactoryImpl<hotpath::AllocatorOnHeap> factory_;
    hotpath::FunctionRecordSet records_{factory_};
    std::string said_;
};

TEST_F(ReadInputList, reads_nothing_from_an_absent_list) {
    EXPECT_EQ(read_input_list(nullptr, records_), 0U);
}

TEST_F(ReadInputList, reads_nothing_from_the_empty_text_and_says_nothing) {
    EXPECT_EQ(read(""), 0U);
    EXPECT_EQ(said_, "");
}

TEST_F(ReadInputList, counts_list_entries_also_when_a_path_stands_twice) {
    const std::string path = scratch_.write("a.csv", one_edge_file);
    EXPECT_EQ(read(path + ";" + path), 2U);
    EXPECT_EQ(said_, "");
    EXPECT_EQ(records_.num_runs(), 2U);
}

TEST_F(ReadInputList, warns_of_an_input_that_can_not_be_opened_and_goes_on) {
    const std::string path = scratch_.write("a.csv", one_edge_file);
    const std::string missing = scratch_.path("missing.csv");
    EXPECT_EQ(read(missing + ";" + path), 1U);
    EXPECT_EQ(said_, "warning #30000: Failed to open " + missing + " for reading.\n");
}

TEST_F(ReadInputList, warns_of_an_input_without_samples_and_goes_on) {
    const std::string path = scratch_.write("a.csv", one_edge_file);
    const std::string other = scratch_.write("other.txt", "no samples\n");
    EXPECT_EQ(read(other + ";" + path), 1U);
    EXPECT_EQ(said_,
              "warning #30095: Unable to read hardware sampling data from '" + other + "'\n");
}

TEST_F(ReadInputList, warns_of_the_same_input_each_time) {
    const std::string missing = scratch_.path("missing.csv");
    EXPECT_EQ(read(missing + ";" + missing), 0U);
    const std::string line = "warning #30000: Failed to open " + missing + " for reading.\n";
    EXPECT_EQ(said_, line + line);
}

TEST_F(ReadInputList, an_empty_token_is_an_input_that_can_not_be_opened) {
    EXPECT_EQ(read(";"), 0U);
    EXPECT_EQ(said_, "warning #30000: Failed to open  for reading.\n");
    EXPECT_EQ(read("\"\""), 0U);
    EXPECT_EQ(said_, "warning #30000: Failed to open  for reading.\n");
}

TEST_F(ReadInputList, opens_a_quoted_path_with_a_semicolon) {
    const std::string path = scratch_.write("a;b.csv", one_edge_file);
    EXPECT_EQ(read("\"" + path + "\""), 1U);
    EXPECT_EQ(said_, "");
}

TEST(CheckInputDeathTest, a_status_of_no_known_value_ends_the_program) {
    EXPECT_EXIT((void)check_input(static_cast<hotpath::ReaderStatus>(3), "a"), ExitedWithCode(1),
                testing::Eq("error #30100: Internal error.\n"));
}

}  // namespace
}  // namespace tool
