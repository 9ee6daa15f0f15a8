#include "hotpath/readers/edge_columns.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "diag/trace.h"
#include "support/captured_stderr.h"
#include "support/random_text.h"

namespace hotpath {
namespace {

using test_support::captured_stderr;
using test_support::captured_trace;
using Fields = std::vector<std::string>;

constexpr const char* full_header =
    "FromAddress,TypeOfBranch,EntryBlock,FromSourceFile,FromSourceLine,FromSourceOffsetLine,"
    "FromSourceColumn,FromSourceDiscriminator,FromFunctionMangled,DestinationAddress,"
    "DestinationEndOfBlockAddress,DestinationSourceFile,DestinationSourceLine,"
    "DestinationSourceOffsetLine,DestinationSourceColumn,DestinationSourceDiscriminator,"
    "DestinationFunctionMangled,HitCount";

constexpr std::array<const char*, 10> required_names{"FromAddress",
                                                     "TypeOfBranch",
                                                     "FromSourceFile",
                                                     "FromSourceLine",
                                                     "FromFunctionMangled",
                                                     "DestinationEndOfBlockAddress",
                                                     "DestinationSourceFile",
                                                     "DestinationSourceLine",
                                                     "DestinationFunctionMangled",
                                                     "HitCount"};

constexpr std::array<const char*, 8> optional_names{"EntryBlock",
                                                    "FromSourceOffsetLine",
                                                    "FromSourceColumn",
                                                    "FromSourceDiscriminator",
                                                    "DestinationAddress",
                                                    "DestinationSourceOffsetLine",
                                                    "DestinationSourceColumn",
                                                    "DestinationSourceDiscriminator"};

Fields split(std::string_view line, std::uint32_t limit = no_field_limit) {
    std::vector<std::string_view> fields;
    split_fields(line, limit, fields);
    return {fields.begin(), fields.end()};
}

// The header with one field's text exchanged.
std::string full_header_with(const std::string& name, const std::string& text) {
    std::string result;
    for (const std::string& field : split(full_header))
        result += (result.empty() ? "" : ",") + (field == name ? text : field);
    return result;
}

std::string required_header() {
    std::string result;
    for (const char* name : required_names) result += std::string(result.empty() ? "" : ",") + name;
    return result;
}

TEST(SplitFields, a_line_without_fields_gives_none) {
    EXPECT_EQ(split(""), Fields{});
    EXPECT_EQ(split(","), Fields{});
    EXPECT_EQ(split(",,,"), Fields{});
}

TEST(SplitFields, a_line_without_separators_is_one_field) {
    EXPECT_EQ(split("a"), Fields{"a"});
    EXPECT_EQ(split(" a b "), Fields{" a b "});
}

TEST(SplitFields, separators_cut) {
    EXPECT_EQ(split("a,b"), (Fields{"a", "b"}));
    EXPECT_EQ(split("a,bc,d"), (Fields{"a", "bc", "d"}));
}

TEST(SplitFields, adjacent_separators_inside_give_an_empty_field) {
    EXPECT_EQ(split("a,,b"), (Fields{"a", "", "b"}));
    EXPECT_EQ(split("a,,,b"), (Fields{"a", "", "", "b"}));
}

TEST(SplitFields, leading_separators_are_lost) {
    EXPECT_EQ(split(",a,b"), (Fields{"a", "b"}));
    EXPECT_EQ(split(",,,a"), Fields{"a"});
}

TEST(SplitFields, a_separator_at_the_end_gives_an_empty_last_field) {
    EXPECT_EQ(split("a,"), (Fields{"a", ""}));
    EXPECT_EQ(split("a,,"), (Fields{"a", "", ""}));
    EXPECT_EQ(split(",a,"), (Fields{"a", ""}));
}

TEST(SplitFields, a_bracketed_field_is_one_field_with_its_brackets) {
    EXPECT_EQ(split("x,[a,b],z"), (Fields{"x", "[a,b]", "z"}));
    EXPECT_EQ(split("x,[foo<a,b>],z"), (Fields{"x", "[foo<a,b>]", "z"}));
    EXPECT_EQ(split("x,[],z"), (Fields{"x", "[]", "z"}));
    EXPECT_EQ(split("x,[a],[b,c],z"), (Fields{"x", "[a]", "[b,c]", "z"}));
}

TEST(SplitFields, the_character_behind_a_bracket_is_skipped_whatever_it_is) {
    EXPECT_EQ(split("x,[a,b]y,z"), (Fields{"x", "[a,b]", "", "z"}));
    EXPECT_EQ(split("x,[a]yw,z"), (Fields{"x", "[a]", "w", "z"}));
    EXPECT_EQ(split("x,[a][b,c],z"), (Fields{"x", "[a]", "b", "c]", "z"}));
    EXPECT_EQ(split("x,[a]]z"), (Fields{"x", "[a]", "z"}));
}

TEST(SplitFields, a_bracket_can_open_behind_a_skipped_character) {
    EXPECT_EQ(split("x,[a]y[b,c],z"), (Fields{"x", "[a]", "[b,c]", "z"}));
}

TEST(SplitFields, a_bracket_that_isnt_closed_takes_the_rest_of_the_line) {
    EXPECT_EQ(split("x,[a,b"), (Fields{"x", "[a,b"}));
    EXPECT_EQ(split("x,["), (Fields{"x", "["}));
    EXPECT_EQ(split("x,[a,b,"), (Fields{"x", "[a,b,"}));
}

TEST(SplitFields, a_bracket_that_closes_at_the_end_is_the_last_field) {
    EXPECT_EQ(split("x,[a,b]"), (Fields{"x", "[a,b]"}));
    EXPECT_EQ(split("x,[]"), (Fields{"x", "[]"}));
}

TEST(SplitFields, a_bracketed_field_and_one_more_character_leave_an_empty_last_field) {
    EXPECT_EQ(split("x,[a],"), (Fields{"x", "[a]", ""}));
    EXPECT_EQ(split("x,[a]y"), (Fields{"x", "[a]", ""}));
}

TEST(SplitFields, the_first_field_is_never_bracketed) {
    EXPECT_EQ(split("[a,b],c"), (Fields{"[a", "b]", "c"}));
    EXPECT_EQ(split(",[a,b],c"), (Fields{"[a", "b]", "c"}));
    EXPECT_EQ(split("["), Fields{"["});
}

TEST(SplitFields, a_bracket_inside_a_field_is_a_character_like_others) {
    EXPECT_EQ(split("x,a[b,c],z"), (Fields{"x", "a[b", "c]", "z"}));
    EXPECT_EQ(split("x,],z"), (Fields{"x", "]", "z"}));
}

TEST(SplitFields, the_limit_ends_the_split) {
    EXPECT_EQ(split("a,b,c", 1), Fields{"a"});
    EXPECT_EQ(split("a,b,c", 2), (Fields{"a", "b"}));
    EXPECT_EQ(split("a,b,c", 3), (Fields{"a", "b", "c"}));
    EXPECT_EQ(split("a,b,c", 4), (Fields{"a", "b", "c"}));
    EXPECT_EQ(split("x,[a,b],z", 2), (Fields{"x", "[a,b]"}));
    EXPECT_EQ(split("a,[b", 1), Fields{"a"});
}

TEST(SplitFields, the_vectors_old_content_goes) {
    std::vector<std::string_view> fields{"old", "content"};
    split_fields("", no_field_limit, fields);
    EXPECT_TRUE(fields.empty());
}

TEST(SplitFields, fields_are_views_into_the_line) {
    const std::string line = "ab,cd";
    std::vector<std::string_view> fields;
    split_fields(line, no_field_limit, fields);
    EXPECT_EQ(fields[0].data(), line.data());
    EXPECT_EQ(fields[1].data(), line.data() + 3);
}

TEST(SplitFields, other_bytes_are_taken_as_they_stand) {
    EXPECT_EQ(split(std::string_view("\0\xFF\r,\t;\"a\"", 9)),
              (Fields{std::string("\0\xFF\r", 3), "\t;\"a\""}));
}

// Holds both splits of one line against each other. The line stands in a block of its own, with
// separators in the bytes behind it.
void expect_same_split(const std::string& line, std::uint32_t limit) {
    std::vector<char> block(line.begin(), line.end());
    block.insert(block.end(), split_overrun, ',');
    const std::string_view view(block.data(), line.size());
    std::vector<std::string_view> by_rule;
    split_fields(view, limit, by_rule);
    std::vector<std::string_view> fields(std::min<std::size_t>(limit, line.size() + 1));
    const std::uint32_t count = split_plain_fields(view, limit, fields.data());
    const bool is_plain = line.empty() || (line[0] != ',' && line.find('[') == std::string::npos);
    if (count == split_by_rule) {
        ASSERT_FALSE(is_plain) << line;
        return;
    }
    ASSERT_EQ(count, by_rule.size()) << line << " limit " << limit;
    for (std::uint32_t i = 0; i < count; ++i) {
        ASSERT_EQ(fields[i], by_rule[i]) << line << " limit " << limit;
        ASSERT_EQ(fields[i].data(), by_rule[i].data()) << line << " limit " << limit;
    }
}

void expect_same_splits(const std::string& line, std::uint32_t largest_limit) {
    for (std::uint32_t limit = 1; limit <= largest_limit; ++limit)
        ASSERT_NO_FATAL_FAILURE(expect_same_split(line, limit));
    ASSERT_NO_FATAL_FAILURE(expect_same_split(line, no_field_limit));
}

// All lines of this length over the alphabet.
void expect_same_splits_of_length(std::size_t length) {
    constexpr std::string_view alphabet = ",[]a";
    std::size_t lines = 1;
    for (std::size_t i = 0; i < length; ++i) lines *= alphabet.size();
    for (std::size_t number = 0; number < lines; ++number) {
        std::string line;
        for (std::size_t rest = number; line.size() < length; rest /= alphabet.size())
            line += alphabet[rest % alphabet.size()];
        ASSERT_NO_FATAL_FAILURE(expect_same_splits(line, static_cast<std::uint32_t>(length) + 1));
    }
}

TEST(SplitPlainFields, cuts_every_short_line_as_the_rule_does) {
    for (std::size_t length = 0; length <= 7; ++length)
        ASSERT_NO_FATAL_FAILURE(expect_same_splits_of_length(length));
}

TEST(SplitPlainFields, cuts_long_lines_as_the_rule_does) {
    test_support::RandomText random(9);
    for (int i = 0; i < 20000; ++i) {
        const std::string line = random.of(i % 2 == 0 ? "abcdef,,x" : "abcdefghijklmnop,[]", 200);
        const auto limit = static_cast<std::uint32_t>(1 + random.below(30));
        ASSERT_NO_FATAL_FAILURE(expect_same_split(line, limit));
        ASSERT_NO_FATAL_FAILURE(expect_same_split(line, no_field_limit));
    }
}

TEST(SplitPlainFields, a_separator_can_stand_at_every_place_of_a_line) {
    for (std::size_t size = 1; size < 140; ++size) {
        for (std::size_t place = 1; place < size; ++place) {
            std::string line(size, 'x');
            line[place] = ',';
            ASSERT_NO_FATAL_FAILURE(expect_same_splits(line, 3));
        }
    }
}

TEST(SplitPlainFields, an_empty_line_has_no_fields) {
    const std::string block(split_overrun, ',');
    EXPECT_EQ(split_plain_fields({block.data(), 0}, 1, nullptr), 0U);
}

TEST(SplitPlainFields, leading_separators_and_brackets_go_by_the_rule) {
    std::array<std::string_view, 3> fields;
    const auto count_of = [&](const std::string& line, std::uint32_t limit) {
        const std::string padded = line + std::string(split_overrun, ' ');
        return split_plain_fields({padded.data(), line.size()}, limit, fields.data());
    };
    EXPECT_EQ(count_of(",a", 3), split_by_rule);
    EXPECT_EQ(count_of("a,[b]", 3), split_by_rule);
    EXPECT_EQ(count_of("a,[b]", 1), 1U);
    EXPECT_EQ(count_of("[a,b]", 3), 2U);
}

TEST(EdgeHeader, the_columns_in_their_order_map_to_their_rows) {
    EdgeColumnMap columns;
    ASSERT_TRUE(parse_edge_header(full_header, columns));
    for (std::uint32_t row = 0; row < edge_column_count; ++row) EXPECT_EQ(columns[row], row);
    EXPECT_EQ(columns[FromAddress], 0U);
    EXPECT_EQ(columns[TypeOfBranch], 1U);
    EXPECT_EQ(columns[EntryBlock], 2U);
    EXPECT_EQ(columns[FromSourceFile], 3U);
    EXPECT_EQ(columns[FromSourceLine], 4U);
    EXPECT_EQ(columns[FromSourceOffsetLine], 5U);
    EXPECT_EQ(columns[FromSourceColumn], 6U);
    EXPECT_EQ(columns[FromSourceDiscriminator], 7U);
    EXPECT_EQ(columns[FromFunctionMangled], 8U);
    EXPECT_EQ(columns[DestinationAddress], 9U);
    EXPECT_EQ(columns[DestinationEndOfBlockAddress], 10U);
    EXPECT_EQ(columns[DestinationSourceFile], 11U);
    EXPECT_EQ(columns[DestinationSourceLine], 12U);
    EXPECT_EQ(columns[DestinationSourceOffsetLine], 13U);
    EXPECT_EQ(columns[DestinationSourceColumn], 14U);
    EXPECT_EQ(columns[DestinationSourceDiscriminator], 15U);
    EXPECT_EQ(columns[DestinationFunctionMangled], 16U);
    EXPECT_EQ(columns[HitCount], 17U);
}

TEST(EdgeHeader, the_required_columns_are_enough) {
    EdgeColumnMap columns;
    ASSERT_TRUE(parse_edge_header(required_header(), columns));
    EXPECT_EQ(columns[FromAddress], 0U);
    EXPECT_EQ(columns[HitCount], 9U);
    for (const EdgeColumn absent :
         {EntryBlock, FromSourceOffsetLine, FromSourceColumn, FromSourceDiscriminator,
          DestinationAddress, DestinationSourceOffsetLine, DestinationSourceColumn,
          DestinationSourceDiscriminator})
        EXPECT_EQ(columns[absent], absent_column);
}

TEST(EdgeHeader, each_required_column_is_needed) {
    EdgeColumnMap columns;
    for (const char* name : required_names)
        EXPECT_FALSE(parse_edge_header(full_header_with(name, "Other"), columns)) << name;
}

TEST(EdgeHeader, no_optional_column_is_needed) {
    EdgeColumnMap columns;
    for (const char* name : optional_names)
        EXPECT_TRUE(parse_edge_header(full_header_with(name, "Other"), columns)) << name;
}

TEST(EdgeHeader, columns_stand_in_any_order_among_unknown_ones) {
    std::string header = "Unknown";
    for (auto name = required_names.rbegin(); name != required_names.rend(); ++name)
        header += std::string(",") + *name + ",Unknown";
    EdgeColumnMap columns;
    ASSERT_TRUE(parse_edge_header(header, columns));
    EXPECT_EQ(columns[HitCount], 1U);
    EXPECT_EQ(columns[DestinationFunctionMangled], 3U);
    EXPECT_EQ(columns[FromAddress], 19U);
}

TEST(EdgeHeader, a_name_matches_as_a_whole_field_with_case) {
    EdgeColumnMap columns;
    for (const char* text : {"hitcount", "HITCOUNT", " HitCount", "HitCount ", "HitCounts",
                             "HitCoun", "[HitCount]", "\"HitCount\"", "HitCount\r", ""})
        EXPECT_FALSE(parse_edge_header(full_header_with("HitCount", text), columns)) << text;
}

TEST(EdgeHeader, a_name_with_a_zero_byte_is_another_name) {
    EdgeColumnMap columns;
    EXPECT_FALSE(
        parse_edge_header(full_header_with("HitCount", std::string("HitCount\0", 9)), columns));
}

TEST(EdgeHeader, the_later_of_two_equal_names_wins) {
    EdgeColumnMap columns;
    ASSERT_TRUE(parse_edge_header(std::string(full_header) + ",X,FromAddress,HitCount", columns));
    EXPECT_EQ(columns[FromAddress], 19U);
    EXPECT_EQ(columns[HitCount], 20U);
    EXPECT_EQ(columns[TypeOfBranch], 1U);
}

TEST(EdgeHeader, leading_separators_move_no_index) {
    EdgeColumnMap columns;
    ASSERT_TRUE(parse_edge_header(",," + std::string(full_header), columns));
    EXPECT_EQ(columns[FromAddress], 0U);
    EXPECT_EQ(columns[HitCount], 17U);
}

TEST(EdgeHeader, a_bracketed_name_can_hide_columns) {
    EdgeColumnMap columns;
    EXPECT_FALSE(parse_edge_header("A,[" + std::string(full_header) + "]", columns));
    ASSERT_TRUE(parse_edge_header("A,[B,C]," + std::string(full_header), columns));
    EXPECT_EQ(columns[FromAddress], 2U);
}

TEST(EdgeHeader, an_empty_line_is_no_header_and_maps_nothing) {
    EdgeColumnMap columns;
    columns.fill(5);
    EXPECT_FALSE(parse_edge_header("", columns));
    for (const std::uint32_t index : columns) EXPECT_EQ(index, absent_column);
}

TEST(EdgeHeader, thousands_of_unknown_columns_do_no_harm) {
    std::string header;
    for (int i = 0; i < 5000; ++i) header += "c" + std::to_string(i) + ",";
    EdgeColumnMap columns;
    ASSERT_TRUE(parse_edge_header(header + full_header, columns));
    EXPECT_EQ(columns[HitCount], 5017U);
}

TEST(EdgeHeader, is_silent_without_its_trace_bit) {
    EdgeColumnMap columns;
    EXPECT_EQ(captured_stderr([&] { parse_edge_header(full_header, columns); }), "");
    EXPECT_EQ(captured_trace(~std::uint32_t{diag::reader_trace_choice},
                             [&] { parse_edge_header("", columns); }),
              "");
}

TEST(EdgeHeader, traces_each_match_in_the_order_of_the_table) {
    EdgeColumnMap columns;
    const std::string trace = captured_trace(diag::reader_trace_choice, [&] {
        parse_edge_header("HitCount,FromAddress,X,HitCount," + required_header(), columns);
    });
    EXPECT_EQ(trace,
              "SampleFeedbackEdgeReader: Column FromAddress mapped to index 1\n"
              "SampleFeedbackEdgeReader: Column FromAddress mapped to index 4\n"
              "SampleFeedbackEdgeReader: Column TypeOfBranch mapped to index 5\n"
              "SampleFeedbackEdgeReader: Column FromSourceFile mapped to index 6\n"
              "SampleFeedbackEdgeReader: Column FromSourceLine mapped to index 7\n"
              "SampleFeedbackEdgeReader: Column FromFunctionMangled mapped to index 8\n"
              "SampleFeedbackEdgeReader: Column DestinationEndOfBlockAddress mapped to index 9\n"
              "SampleFeedbackEdgeReader: Column DestinationSourceFile mapped to index 10\n"
              "SampleFeedbackEdgeReader: Column DestinationSourceLine mapped to index 11\n"
              "SampleFeedbackEdgeReader: Column DestinationFunctionMangled mapped to index 12\n"
              "SampleFeedbackEdgeReader: Column HitCount mapped to index 0\n"
              "SampleFeedbackEdgeReader: Column HitCount mapped to index 3\n"
              "SampleFeedbackEdgeReader: Column HitCount mapped to index 13\n");
}

TEST(EdgeHeader, traces_the_first_missing_name_only) {
    EdgeColumnMap columns;
    const std::string trace = captured_trace(
        diag::reader_trace_choice, [&] { parse_edge_header("EntryBlock,FromAddress", columns); });
    EXPECT_EQ(trace,
              "SampleFeedbackEdgeReader: Column FromAddress mapped to index 1\n"
              "SampleFeedbackEdgeReader: Column EntryBlock mapped to index 0\n"
              "SampleFeedbackEdgeReader: problem: Missing required column: TypeOfBranch\n");
}

// A header in two pieces, cut at each place, against the rule for rows.
TEST(EdgeHeader, pieces_come_to_the_same_as_the_whole_line) {
    const std::string required =
        "FromAddress,TypeOfBranch,FromSourceFile,FromSourceLine,FromFunctionMangled,"
        "DestinationEndOfBlockAddress,DestinationSourceFile,DestinationSourceLine,"
        "DestinationFunctionMangled,HitCount";
    const std::string longest = "DestinationSourceDiscriminator";
    for (const std::string& line :
         {required, "," + required, ",," + required + ",", "[a,b]," + required,
          "x,[a,b]," + required, "x,[a,b]y," + required, "x,[a,b," + required, required + ",[a]",
          required + ",[a]]", required + ",[", required + ",HitCount", "[" + required,
          required + "," + longest, required + "," + longest + "x", required + "x",
          longest + longest + "," + required}) {
        std::vector<std::string_view> fields;
        split_fields(line, no_field_limit, fields);
        EdgeColumnMap expected;
        const bool whole = parse_edge_header(line, expected);
        for (std::uint32_t index = 0; index < fields.size(); ++index) {
            if (fields[index] == "HitCount") {
                EXPECT_GE(expected[HitCount], index) << line;
            } else if (fields[index] == "FromAddress") {
                EXPECT_EQ(expected[FromAddress], index) << line;
            } else if (fields[index] == longest) {
                EXPECT_EQ(expected[DestinationSourceDiscriminator], index) << line;
            }
        }
        for (std::size_t cut = 0; cut <= line.size(); ++cut) {
            EdgeHeader header;
            header.add(std::string_view(line).substr(0, cut));
            header.add(std::string_view(line).substr(cut));
            EdgeColumnMap columns;
            ASSERT_EQ(header.finish(columns), whole) << line << " cut at " << cut;
            ASSERT_EQ(columns, expected) << line << " cut at " << cut;
        }
    }
}

}  // namespace
}  // namespace hotpath
