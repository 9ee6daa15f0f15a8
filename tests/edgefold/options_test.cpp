#include "edgefold/options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

namespace tool {
namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::ExitedWithCode;
using testing::HasSubstr;
using testing::StartsWith;

// A table like the tool's, whose values belong to one test.
struct TestOptions {
    char* text = nullptr;
    std::uint8_t flag = 0;
    std::uint32_t number = 0;
    std::array<OptionRow, 3> table = {{
        {"flag", OptionKind::flag, &flag, set_flag},
        {"number", OptionKind::integer, &number, store_integer},
        {"text", OptionKind::string, &text, store_string},
    }};

    // Parses the words after the program's name; gives the index of the first that wasn't read.
    int parse(std::vector<std::string> words) {
        words_ = std::move(words);
        words_.insert(words_.begin(), "edgefold");
        std::vector<char*> arguments;
        for (std::string& word : words_) arguments.push_back(word.data());
        arguments.push_back(nullptr);
        int next_index = -1;
        parse_options(static_cast<int>(words_.size()), arguments.data(), table, next_index);
        return next_index;
    }

private:
    std::vector<std::string> words_;
};

// What an unknown word, or a missing value, prints in front of banner and usage text.
auto error_then_usage(const std::string& error_line) {
    return AllOf(StartsWith(error_line + "\nVelmora(R) Quillon sampling merge tool "),
                 HasSubstr("\n\nUsage: edgefold\n           [-nologo]\n"),
                 EndsWith("           [-sort <order_code>[-]]\n\n"));
}

TEST(OptionTable, holds_nine_rows_in_their_order) {
    struct Expected {
        const char* name;
        OptionKind kind;
        void* target;
        OptionHandler handler;
    };
    const std::array<Expected, 9> expected = {{
        {"append", OptionKind::string, &opt_append, store_string},
        {"dump", OptionKind::flag, &opt_dump, set_flag},
        {"file", OptionKind::string, &opt_file, store_string},
        {"help", OptionKind::flag, &opt_help, set_flag},
        {"nologo", OptionKind::flag, &opt_nologo, set_flag},
        {"out", OptionKind::string, &opt_out, store_string},
        {"quiet", OptionKind::flag, &opt_quiet, set_flag},
        {"sort", OptionKind::string, &opt_sort, store_string},
        {"trace", OptionKind::integer, &opt_trace, store_integer},
    }};
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_STREQ(option_table[i].name, expected[i].name);
        EXPECT_EQ(option_table[i].kind, expected[i].kind) << expected[i].name;
        EXPECT_EQ(option_table[i].target, expected[i].target) << expected[i].name;
        EXPECT_EQ(option_table[i].handler, expected[i].handler) << expected[i].name;
    }
}

TEST(OptionTable, values_start_absent_or_zero_and_sort_as_line) {
    EXPECT_EQ(opt_file, nullptr);
    EXPECT_EQ(opt_out, nullptr);
    EXPECT_EQ(opt_append, nullptr);
    EXPECT_STREQ(opt_sort, "L");
    EXPECT_EQ(opt_trace, 0U);
    EXPECT_EQ(opt_dump, 0);
    EXPECT_EQ(opt_help, 0);
    EXPECT_EQ(opt_nologo, 0);
    EXPECT_EQ(opt_quiet, 0);
}

TEST(OptionKinds, have_their_numbers) {
    EXPECT_EQ(static_cast<int>(OptionKind::flag), 0);
    EXPECT_EQ(static_cast<int>(OptionKind::integer), 1);
    EXPECT_EQ(static_cast<int>(OptionKind::string), 2);
}

TEST(OptionWord, is_the_text_behind_a_dash) {
    EXPECT_STREQ(option_word("-out"), "out");
    EXPECT_STREQ(option_word("-"), "");
    EXPECT_STREQ(option_word("--out"), "-out");
    EXPECT_STREQ(option_word("-/out"), "/out");
}

TEST(OptionWord, is_the_text_behind_a_single_slash) {
    EXPECT_STREQ(option_word("/out"), "out");
    EXPECT_STREQ(option_word("/"), "");
    EXPECT_STREQ(option_word("/-out"), "-out");
}

TEST(OptionWord, is_absent_for_any_other_argument) {
    EXPECT_EQ(option_word("//server/share"), nullptr);
    EXPECT_EQ(option_word("//"), nullptr);
    EXPECT_EQ(option_word("a.txt"), nullptr);
    EXPECT_EQ(option_word(""), nullptr);
    EXPECT_EQ(option_word(" -out"), nullptr);
    EXPECT_EQ(option_word(nullptr), nullptr);
}

TEST(FindOption, gives_the_row_of_a_whole_word) {
    EXPECT_EQ(find_option(option_table, "append"), 0);
    EXPECT_EQ(find_option(option_table, "out"), 5);
    EXPECT_EQ(find_option(option_table, "trace"), 8);
}

TEST(FindOption, knows_no_abbreviation_and_no_other_case) {
    EXPECT_EQ(find_option(option_table, "ou"), -1);
    EXPECT_EQ(find_option(option_table, "Out"), -1);
    EXPECT_EQ(find_option(option_table, "outt"), -1);
    EXPECT_EQ(find_option(option_table, ""), -1);
}

TEST(FindOption, refuses_every_word_that_begins_with_a_question_mark) {
    const std::array<OptionRow, 1> table = {{{"?", OptionKind::flag, nullptr, set_flag}}};
    EXPECT_EQ(find_option(table, "?"), -1);
    EXPECT_EQ(find_option(table, "?out"), -1);
}

TEST(FindOption, takes_the_first_row_that_matches) {
    const std::array<OptionRow, 2> table = {{{"a-b", OptionKind::flag, nullptr, set_flag},
                                             {"a_b", OptionKind::flag, nullptr, set_flag}}};
    EXPECT_EQ(find_option(table, "a_b"), 0);
}

TEST(NamesMatch, compares_byte_by_byte_and_takes_dash_and_underscore_for_one) {
    EXPECT_TRUE(names_match("out", "out"));
    EXPECT_TRUE(names_match("no-logo", "no_logo"));
    EXPECT_TRUE(names_match("no_logo", "no-logo"));
    EXPECT_FALSE(names_match("no-logo", "no logo"));
    EXPECT_FALSE(names_match("out", "Out"));
    EXPECT_FALSE(names_match("out", "ou"));
    EXPECT_FALSE(names_match("ou", "out"));
}

TEST(ParseOptions, reads_nothing_without_arguments) {
    TestOptions options;
    EXPECT_EQ(options.parse({}), 1);
}

TEST(ParseOptions, stores_values_and_flags) {
    TestOptions options;
    EXPECT_EQ(options.parse({"-flag", "/text", "a", "-number", "12"}), 6);
    EXPECT_EQ(options.flag, 1);
    EXPECT_STREQ(options.text, "a");
    EXPECT_EQ(options.number, 12U);
}

TEST(ParseOptions, the_later_value_of_an_option_stands) {
    TestOptions options;
    options.parse({"-text", "a", "-text", "b"});
    EXPECT_STREQ(options.text, "b");
}

TEST(ParseOptions, ends_silently_at_the_first_argument_that_is_no_option_word) {
    TestOptions options;
    EXPECT_EQ(options.parse({"a.txt", "-text", "b"}), 1);
    EXPECT_EQ(options.text, nullptr);
    EXPECT_EQ(options.parse({"-flag", "//server/share", "-bogus"}), 2);
    EXPECT_EQ(options.flag, 1);
}

TEST(ParseOptions, takes_a_value_that_begins_with_two_slashes) {
    TestOptions options;
    options.parse({"-text", "//server/share/a.txt"});
    EXPECT_STREQ(options.text, "//server/share/a.txt");
}

TEST(ParseOptions, takes_an_empty_value_and_one_that_ends_in_a_dash) {
    TestOptions options;
    options.parse({"-text", ""});
    EXPECT_STREQ(options.text, "");
    options.parse({"-text", "L-"});
    EXPECT_STREQ(options.text, "L-");
}

TEST(ParseOptions, a_handler_that_gives_false_ends_the_parse_quietly) {
    TestOptions options;
    options.table[1].handler = [](void*, const char*, char*) { return false; };
    EXPECT_EQ(options.parse({"-flag", "-number", "1", "-text", "a"}), 2);
    EXPECT_EQ(options.text, nullptr);
}

TEST(ParseOptions, a_handler_gets_the_word_as_typed) {
    static std::string seen;
    TestOptions options;
    options.table[2] = {"a-b", OptionKind::string, nullptr,
                        [](void*, const char* word, char* value) {
                            seen = std::string(word) + "=" + value;
                            return true;
                        }};
    options.parse({"-a_b", "c"});
    EXPECT_EQ(seen, "a_b=c");
}

TEST(ParseOptionsDeathTest, an_unknown_word_ends_with_the_usage_text) {
    TestOptions options;
    EXPECT_EXIT(options.parse({"-bogus"}), ExitedWithCode(1),
                error_then_usage("error #32500: unknown option '/bogus'"));
}

TEST(ParseOptionsDeathTest, every_prefix_shows_as_a_slash) {
    TestOptions options;
    EXPECT_EXIT(options.parse({"/bogus"}), ExitedWithCode(1),
                error_then_usage("error #32500: unknown option '/bogus'"));
    EXPECT_EXIT(options.parse({"--text", "a"}), ExitedWithCode(1),
                error_then_usage("error #32500: unknown option '/-text'"));
}

TEST(ParseOptionsDeathTest, the_empty_word_is_unknown) {
    TestOptions options;
    EXPECT_EXIT(options.parse({"-"}), ExitedWithCode(1),
                error_then_usage("error #32500: unknown option '/'"));
    EXPECT_EXIT(options.parse({"/"}), ExitedWithCode(1),
                error_then_usage("error #32500: unknown option '/'"));
}

TEST(ParseOptionsDeathTest, a_question_mark_is_no_help_word) {
    TestOptions options;
    EXPECT_EXIT(options.parse({"-?"}), ExitedWithCode(1),
                error_then_usage("error #32500: unknown option '/?'"));
    EXPECT_EXIT(options.parse({"/?"}), ExitedWithCode(1),
                error_then_usage("error #32500: unknown option '/?'"));
}

TEST(ParseOptionsDeathTest, a_value_is_missing_at_the_end_of_the_line) {
    TestOptions options;
    EXPECT_EXIT(options.parse({"-flag", "-text"}), ExitedWithCode(1),
                error_then_usage("error #32501: missing or unexpected option value for '/text'"));
}

TEST(ParseOptionsDeathTest, a_value_that_looks_like_an_option_counts_as_missing) {
    TestOptions options;
    const auto missing_text =
        error_then_usage("error #32501: missing or unexpected option value for '/text'");
    EXPECT_EXIT(options.parse({"-text", "-flag"}), ExitedWithCode(1), missing_text);
    EXPECT_EXIT(options.parse({"-text", "/a.txt"}), ExitedWithCode(1), missing_text);
    EXPECT_EXIT(options.parse({"-number", "-1"}), ExitedWithCode(1),
                error_then_usage("error #32501: missing or unexpected option value for '/number'"));
}

TEST(StoreString, keeps_the_value_itself) {
    char value[] = "a";
    char* target = nullptr;
    EXPECT_TRUE(store_string(&target, "text", value));
    EXPECT_EQ(target, value);
}

TEST(SetFlag, writes_one) {
    std::uint8_t target = 0;
    EXPECT_TRUE(set_flag(&target, "flag", nullptr));
    EXPECT_EQ(target, 1);
}

TEST(StoreInteger, stores_a_text_that_is_no_number_as_a_silent_zero) {
    char value[] = "abc";
    std::uint32_t target = 5;
    testing::internal::CaptureStderr();
    EXPECT_TRUE(store_integer(&target, "trace", value));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(target, 0U);
}

TEST(StoreInteger, keeps_a_negative_number_as_32_bits) {
    char value[] = " -1";
    std::uint32_t target = 0;
    EXPECT_TRUE(store_integer(&target, "trace", value));
    EXPECT_EQ(target, 0xFFFFFFFFU);
}

TEST(StoreInteger, warns_of_a_refused_text_and_stores_the_result_all_the_same) {
    std::uint32_t target = 5;
    testing::internal::CaptureStderr();
    store_parsed_integer(&target, "trace", "abc", [](const char*, std::int32_t& result) {
        result = 3;
        return false;
    });
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "command line warning #32502: ignoring option '/trace'; argument must be integer\n");
    EXPECT_EQ(target, 3U);
}

TEST(ParseIntegerText, reads_the_base_that_the_text_announces) {
    const struct {
        const char* text;
        std::int32_t value;
    } rows[] = {
        {"9", 9},      {"0x9", 9},    {"0X1f", 31},
        {"010", 8},    {"0", 0},      {"+7", 7},
        {"-7", -7},    {" \t\n7", 7}, {"-0x10", -16},
        {" -010", -8}, {"3x", 3},     {"3 4", 3},
        {"0x", 0},     {"0xg", 0},    {"08", 0},
        {"0b11", 0},   {"abc", 0},    {"", 0},
        {"- 7", 0},    {"+-7", 0},    {"0x7fffffff", 0x7fffffff},
    };
    for (const auto& row : rows) {
        std::int32_t result = 77;
        EXPECT_TRUE(parse_integer_text(row.text, result)) << row.text;
        EXPECT_EQ(result, row.value) << row.text;
    }
}

TEST(ParseIntegerText, saturates_at_32_bits) {
    std::int32_t result = 0;
    EXPECT_TRUE(parse_integer_text("0xFFFFFFFF", result));
    EXPECT_EQ(result, 2147483647);
    EXPECT_TRUE(parse_integer_text("2147483648", result));
    EXPECT_EQ(result, 2147483647);
    EXPECT_TRUE(parse_integer_text("-2147483649", result));
    EXPECT_EQ(result, -2147483647 - 1);
    EXPECT_TRUE(parse_integer_text("99999999999999999999", result));
    EXPECT_EQ(result, 2147483647);
}

TEST(ParseIntegerText, clears_the_error_number_and_the_conversion_leaves_it_alone) {
    std::int32_t result = 0;
    errno = EINVAL;
    EXPECT_TRUE(parse_integer_text("99999999999999999999", result));
    EXPECT_EQ(errno, 0);
}

}  // namespace
}  // namespace tool
