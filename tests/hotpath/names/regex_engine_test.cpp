#include "hotpath/names/regex_engine.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <string_view>

namespace {

using namespace hotpath;

RegexError error_of(const char* pattern) {
    RegexEngine engine;
    return engine.compile(pattern);
}

// "<start>-<end>" of the match, "no" without one.
std::string found(const char* pattern, const char* text) {
    RegexEngine engine;
    if (engine.compile(pattern) != RegexOk) return "error";
    if (!engine.match(text)) return "no";
    return std::to_string(engine.match_start()) + "-" + std::to_string(engine.match_end());
}

// The text of a capture group, "unset" if the path didn't pass it.
std::string group(const char* pattern, const char* text, std::uint32_t number = 0) {
    RegexEngine engine;
    if (engine.compile(pattern) != RegexOk || !engine.match(text)) return "no";
    const std::string_view captured = engine.group(number);
    return captured.data() == nullptr ? "unset" : std::string(captured);
}

std::uint32_t group_count(const char* pattern) {
    RegexEngine engine;
    EXPECT_EQ(RegexOk, engine.compile(pattern));
    return engine.group_count();
}

// Errors

TEST(RegexEngine, error_values_are_fixed) {
    EXPECT_EQ(0, RegexOk);
    EXPECT_EQ(1, RegexOutOfMemory);
    EXPECT_EQ(2, RegexBraceExpected);
    EXPECT_EQ(3, RegexParenExpected);
    EXPECT_EQ(4, RegexBracketExpected);
    EXPECT_EQ(5, RegexUnexpected);
    EXPECT_EQ(6, RegexEmptyClass);
    EXPECT_EQ(7, RegexInvalidGroup);
    EXPECT_EQ(8, RegexInvalidRange);
    EXPECT_EQ(9, RegexEmptyRepeat);
    EXPECT_EQ(10, RegexNoPattern);
}

TEST(RegexEngine, absent_pattern_is_an_error) { EXPECT_EQ(RegexNoPattern, error_of(nullptr)); }

TEST(RegexEngine, program_that_cannot_grow_is_an_error) {
    // Each `+` doubles the code below it.
    std::string pattern = "a";
    for (int i = 0; i < 40; ++i) pattern = "(" + pattern + ")+";
    EXPECT_EQ(RegexOutOfMemory, error_of(pattern.c_str()));
}

TEST(RegexEngine, open_brace_is_an_error) {
    EXPECT_EQ(RegexBraceExpected, error_of("{a"));
    EXPECT_EQ(RegexBraceExpected, error_of("{"));
    EXPECT_EQ(RegexBraceExpected, error_of("{a)"));
}

TEST(RegexEngine, open_parenthesis_is_an_error) {
    EXPECT_EQ(RegexParenExpected, error_of("(a"));
    EXPECT_EQ(RegexParenExpected, error_of("("));
    EXPECT_EQ(RegexParenExpected, error_of("(a}"));
    EXPECT_EQ(RegexParenExpected, error_of("(a]"));
}

TEST(RegexEngine, open_class_is_an_error) {
    EXPECT_EQ(RegexBracketExpected, error_of("["));
    EXPECT_EQ(RegexBracketExpected, error_of("[a"));
    EXPECT_EQ(RegexBracketExpected, error_of("[^"));
    EXPECT_EQ(RegexBracketExpected, error_of("[a\\"));
    EXPECT_EQ(RegexBracketExpected, error_of("[a\\]"));
}

TEST(RegexEngine, range_without_end_is_an_error) {
    EXPECT_EQ(RegexBracketExpected, error_of("[a-]"));
    EXPECT_EQ(RegexBracketExpected, error_of("[a-"));
}

TEST(RegexEngine, dash_directly_before_the_closing_bracket_is_an_error) {
    EXPECT_EQ(RegexBracketExpected, error_of("[-]"));
    EXPECT_EQ(RegexBracketExpected, error_of("[--]"));
    EXPECT_EQ(RegexBracketExpected, error_of("[^-]"));
    EXPECT_EQ(RegexBracketExpected, error_of("[a-z-]"));
}

TEST(RegexEngine, empty_class_is_an_error) {
    EXPECT_EQ(RegexEmptyClass, error_of("[]"));
    EXPECT_EQ(RegexEmptyClass, error_of("[^]"));
    EXPECT_EQ(RegexEmptyClass, error_of("[]a]"));
}

TEST(RegexEngine, falling_range_is_an_error) { EXPECT_EQ(RegexInvalidRange, error_of("[b-a]")); }

TEST(RegexEngine, back_reference_to_a_group_not_opened_is_an_error) {
    EXPECT_EQ(RegexInvalidGroup, error_of("\\1"));
    EXPECT_EQ(RegexInvalidGroup, error_of("\\0"));
    EXPECT_EQ(RegexInvalidGroup, error_of("{\\1}"));
    EXPECT_EQ(RegexInvalidGroup, error_of("\\0{a}"));
    EXPECT_EQ(RegexInvalidGroup, error_of("{a}\\10"));
    EXPECT_EQ(RegexInvalidGroup, error_of("{a}\\18446744073709551616"));
}

TEST(RegexEngine, repetition_of_what_can_be_empty_is_an_error) {
    EXPECT_EQ(RegexEmptyRepeat, error_of("(a*)*"));
    EXPECT_EQ(RegexEmptyRepeat, error_of("(a*)+"));
    EXPECT_EQ(RegexEmptyRepeat, error_of("(a*)*?"));
    EXPECT_EQ(RegexEmptyRepeat, error_of("(a*)+?"));
    EXPECT_EQ(RegexEmptyRepeat, error_of("(a?)*"));
    EXPECT_EQ(RegexEmptyRepeat, error_of("(a?\?)*"));
    EXPECT_EQ(RegexEmptyRepeat, error_of("(a*?)*"));
    EXPECT_EQ(RegexEmptyRepeat, error_of("()*"));
    EXPECT_EQ(RegexEmptyRepeat, error_of("{}+"));
    EXPECT_EQ(RegexEmptyRepeat, error_of("{a*}*"));
    EXPECT_EQ(RegexEmptyRepeat, error_of("(a|b*)*"));
    EXPECT_EQ(RegexEmptyRepeat, error_of("(a|)*"));
}

TEST(RegexEngine, option_of_what_can_be_empty_compiles) {
    EXPECT_EQ(RegexOk, error_of("(a*)?"));
    EXPECT_EQ(RegexOk, error_of("(a*)?\?"));
    EXPECT_EQ("0-0", found("(a*)?", ""));
    EXPECT_EQ("0-2", found("(a*)?", "aa"));
}

TEST(RegexEngine, repetition_of_what_has_to_match_something_compiles) {
    EXPECT_EQ(RegexOk, error_of("(a+)*"));
    EXPECT_EQ(RegexOk, error_of("(a+?)*"));
    EXPECT_EQ(RegexOk, error_of("(ab*)*"));
    EXPECT_EQ(RegexOk, error_of("(a|b)*"));
}

TEST(RegexEngine, negation_and_back_reference_count_as_not_empty) {
    EXPECT_EQ(RegexOk, error_of("(!a)*"));
    EXPECT_EQ(RegexOk, error_of("{a}(\\0)*"));
    EXPECT_EQ("0-1", found("(!a)*b", "b"));
}

TEST(RegexEngine, first_error_of_the_pattern_is_the_one_told) {
    EXPECT_EQ(RegexEmptyRepeat, error_of("(a*)*[]"));
    EXPECT_EQ(RegexEmptyClass, error_of("[](a*)*"));
}

// Search

TEST(RegexEngine, absent_text_does_not_match) { EXPECT_EQ("no", found("a*", nullptr)); }

TEST(RegexEngine, empty_pattern_matches_at_the_beginning) {
    EXPECT_EQ("0-0", found("", ""));
    EXPECT_EQ("0-0", found("", "a"));
}

TEST(RegexEngine, leftmost_start_counts) {
    EXPECT_EQ("1-2", found("a|b", "xb"));
    EXPECT_EQ("1-2", found("b", "abb"));
}

TEST(RegexEngine, empty_text_is_tried_as_a_start) {
    EXPECT_EQ("0-0", found("a*", ""));
    EXPECT_EQ("no", found("a", ""));
}

TEST(RegexEngine, end_of_a_text_is_not_tried_as_a_start) {
    EXPECT_EQ("0-0", found("$", ""));
    EXPECT_EQ("no", found("$", "a"));
    EXPECT_EQ("no", found("!a", "a"));
}

TEST(RegexEngine, engine_can_match_again) {
    RegexEngine engine;
    ASSERT_EQ(RegexOk, engine.compile("{a}|b"));
    ASSERT_TRUE(engine.match("a"));
    EXPECT_EQ("a", engine.group(0));
    ASSERT_TRUE(engine.match("b"));
    EXPECT_EQ(nullptr, engine.group(0).data());
    EXPECT_FALSE(engine.match("c"));
    EXPECT_TRUE(engine.match("a"));
}

TEST(RegexEngine, match_deeper_than_the_first_room_of_the_stack_succeeds) {
    const std::string text(10000, 'a');
    EXPECT_EQ("0-10000", found("a*a", text.c_str()));
    EXPECT_EQ("0-10001", found("a*b", (text + "b").c_str()));
}

TEST(RegexEngine, matching_is_case_sensitive) {
    EXPECT_EQ("no", found("a", "A"));
    EXPECT_EQ("no", found("[a]", "A"));
}

// Atoms

TEST(RegexEngine, ordinary_character_matches_itself) {
    EXPECT_EQ("0-3", found("abc", "abc"));
    EXPECT_EQ("no", found("abc", "abd"));
}

TEST(RegexEngine, bytes_above_127_are_characters) {
    EXPECT_EQ("0-2", found("\xC3\xA9", "\xC3\xA9"));
    EXPECT_EQ("0-1", found("[\x80-\xFF]", "\xA9"));
    EXPECT_EQ("0-1", found(".", "\xFF"));
    EXPECT_EQ("no", found("\xC3", "\xA9"));
}

TEST(RegexEngine, dot_matches_any_character_but_the_end) {
    EXPECT_EQ("0-3", found("a.b", "a\nb"));
    EXPECT_EQ("no", found("a.", "a"));
}

TEST(RegexEngine, dollar_as_last_character_is_the_end_of_the_text) {
    EXPECT_EQ("1-2", found("x$", "ax"));
    EXPECT_EQ("no", found("x$", "xa"));
    EXPECT_EQ("0-1", found("a|$", "a"));
    EXPECT_EQ("0-0", found("a|$", ""));
    EXPECT_EQ("0-1", found("x!$", "xa"));
    EXPECT_EQ("no", found("x!$", "x"));
}

TEST(RegexEngine, dollar_elsewhere_is_literal) {
    EXPECT_EQ("0-3", found("x$y", "x$y"));
    EXPECT_EQ("0-2", found("(x$)", "x$"));
    EXPECT_EQ("0-2", found("x\\$", "x$"));
    EXPECT_EQ("no", found("(x$)", "x"));
}

TEST(RegexEngine, caret_as_first_character_anchors) {
    EXPECT_EQ("0-1", found("^a", "ab"));
    EXPECT_EQ("no", found("^a", "ba"));
    EXPECT_EQ("0-0", found("^", "a"));
}

TEST(RegexEngine, caret_elsewhere_is_literal) {
    EXPECT_EQ("0-2", found("a^", "a^"));
    EXPECT_EQ("1-2", found("(^)", "a^"));
    EXPECT_EQ("1-2", found("\\^", "a^"));
    EXPECT_EQ("0-1", found("^^", "^"));
}

TEST(RegexEngine, group_without_capture_has_no_number) {
    EXPECT_EQ("0-2", found("(ab)", "ab"));
    EXPECT_EQ(0U, group_count("(ab)"));
    EXPECT_EQ(1U, group_count("({a}b)"));
}

TEST(RegexEngine, bodies_may_be_empty) {
    EXPECT_EQ("0-2", found("a()b", "ab"));
    EXPECT_EQ("0-2", found("a{}b", "ab"));
    EXPECT_EQ("", group("a{}b", "ab"));
}

TEST(RegexEngine, stray_closers_end_the_pattern) {
    EXPECT_EQ("0-3", found("abc)def", "abcxyz"));
    EXPECT_EQ("0-3", found("abc}def", "abcxyz"));
    EXPECT_EQ("0-3", found("abc]def", "abcxyz"));
    EXPECT_EQ("0-1", found("a)(", "a"));
    EXPECT_EQ("0-0", found(")a", "b"));
}

TEST(RegexEngine, escaped_character_is_literal) {
    EXPECT_EQ("0-1", found("\\.", "."));
    EXPECT_EQ("no", found("\\.", "a"));
    EXPECT_EQ("0-1", found("\\t", "t"));
    EXPECT_EQ("0-2", found("\\(\\{", "({"));
    EXPECT_EQ("0-1", found("\\\\", "\\"));
}

TEST(RegexEngine, lone_backslash_at_the_end_is_literal) { EXPECT_EQ("0-2", found("a\\", "a\\")); }

TEST(RegexEngine, quantifier_without_an_atom_is_literal) {
    EXPECT_EQ("0-2", found("*a", "*a"));
    EXPECT_EQ("0-1", found("+", "+"));
    EXPECT_EQ("0-1", found("(?)", "?"));
    EXPECT_EQ("0-3", found("a**", "aa*"));
    EXPECT_EQ("0-3", found("a+?+", "aa+"));
    EXPECT_EQ("0-1", found("a|*", "*"));
}

TEST(RegexEngine, bar_without_an_atom_is_literal) {
    EXPECT_EQ("0-2", found("|a", "|a"));
    EXPECT_EQ("0-1", found("(|)", "|"));
    EXPECT_EQ("0-2", found("a||b", "|b"));
    EXPECT_EQ("0-2", found("a||b", "ab"));
}

TEST(RegexEngine, back_reference_matches_the_same_text_again) {
    EXPECT_EQ("0-2", found("{a}\\0", "aa"));
    EXPECT_EQ("no", found("{a}\\0", "ab"));
    EXPECT_EQ("0-5", found("{a*}b\\0", "aabaa"));
    EXPECT_EQ("0-3", found("{a}{b}\\1", "abb"));
}

TEST(RegexEngine, back_reference_reads_several_digits) {
    EXPECT_EQ("0-12", found("{a}{b}{c}{d}{e}{f}{g}{h}{i}{j}{k}\\10", "abcdefghijkk"));
    EXPECT_EQ("0-2", found("{a}\\00", "aa"));
}

TEST(RegexEngine, back_reference_to_a_group_without_text_matches_the_empty_text) {
    EXPECT_EQ("0-2", found("({a}|b)\\0c", "bc"));
    EXPECT_EQ("0-1", found("{a\\0}", "aa"));
}

TEST(RegexEngine, negation_tests_and_consumes_nothing) {
    EXPECT_EQ("1-2", found("!ab", "cb"));
    EXPECT_EQ("0-1", found("!a.", "cb"));
    EXPECT_EQ("1-2", found("!ab", "ab"));
    EXPECT_EQ("no", found("^!ab", "ab"));
}

TEST(RegexEngine, negation_takes_one_atom) {
    EXPECT_EQ("0-2", found("!(ab)a.", "ac"));
    EXPECT_EQ("no", found("^!(ab)a.", "ab"));
    EXPECT_EQ("0-1", found("!!a.", "a"));
    EXPECT_EQ("no", found("!!a.", "b"));
}

TEST(RegexEngine, negation_at_the_end_takes_an_empty_term_and_never_holds) {
    EXPECT_EQ("no", found("a!", "a"));
    EXPECT_EQ("no", found("(!)a", "a"));
}

TEST(RegexEngine, negated_operand_that_matches_leaves_its_captures) {
    EXPECT_EQ("a", group("(!{a})|a", "a"));
}

// Classes

TEST(RegexEngine, class_takes_characters_and_ranges) {
    EXPECT_EQ("0-3", found("[xa-c]+", "xac"));
    EXPECT_EQ("no", found("[xa-c]", "d"));
    EXPECT_EQ("0-1", found("[a-a]", "a"));
}

TEST(RegexEngine, negated_class_takes_the_others_but_not_the_end) {
    EXPECT_EQ("0-1", found("[^ab]", "c"));
    EXPECT_EQ("no", found("[^ab]", "ab"));
    EXPECT_EQ("no", found("a[^b]", "a"));
    EXPECT_EQ("0-1", found("[^^]", "a"));
}

TEST(RegexEngine, special_characters_stand_for_themselves_in_a_class) {
    EXPECT_EQ("0-7", found("[.*({[$^]+", ".*({[$^"));
}

TEST(RegexEngine, escape_in_a_class_takes_the_next_character_literally) {
    EXPECT_EQ("0-1", found("[\\]]", "]"));
    EXPECT_EQ("0-1", found("[\\\\]", "\\"));
    EXPECT_EQ("0-1", found("[\\d]", "d"));
    EXPECT_EQ("0-1", found("[\\-]", "-"));
    EXPECT_EQ("0-1", found("[\\^]", "^"));
}

TEST(RegexEngine, escaped_t_in_a_class_is_the_tab) {
    EXPECT_EQ("0-1", found("[\\t]", "\t"));
    EXPECT_EQ("no", found("[\\t]", "t"));
    EXPECT_EQ("0-1", found("[\\t-a]", "A"));
}

TEST(RegexEngine, end_of_a_range_knows_no_escape) {
    EXPECT_EQ("0-1", found("[A-\\]", "\\"));
    EXPECT_EQ("0-2", found("[A-\\t]+", "Bt"));
    EXPECT_EQ("no", found("[A-\\]", "]"));
}

TEST(RegexEngine, dash_can_begin_an_item) {
    EXPECT_EQ("0-1", found("[-a]", "-"));
    EXPECT_EQ("0-1", found("[--a]", "A"));
}

// Alternation

TEST(RegexEngine, alternation_joins_single_terms_only) {
    EXPECT_EQ("0-3", found("ab|cd", "abd"));
    EXPECT_EQ("0-3", found("ab|cd", "acd"));
    EXPECT_EQ("no", found("ab|cd", "ab"));
    EXPECT_EQ("no", found("ab|cd", "cd"));
}

TEST(RegexEngine, alternation_chains) {
    EXPECT_EQ("0-2", found("x(a)|(b)|(c)", "xc"));
    EXPECT_EQ("0-8", found("(crewloop)|(loop)", "crewloop"));
}

TEST(RegexEngine, alternatives_are_tried_from_left_to_right) {
    EXPECT_EQ("0-1", found("a|(ab)", "ab"));
    EXPECT_EQ("0-2", found("(ab)|a", "ab"));
    EXPECT_EQ("0-3", found("a|(ab)c", "abc"));
}

TEST(RegexEngine, alternation_takes_quantified_terms) {
    EXPECT_EQ("0-2", found("a+|b+", "bb"));
    EXPECT_EQ("0-3", found("a|b*c", "bbc"));
}

TEST(RegexEngine, alternation_may_end_in_an_empty_term) {
    EXPECT_EQ("0-1", found("a|", "a"));
    EXPECT_EQ("0-0", found("a|", "b"));
    EXPECT_EQ("0-2", found("x(a|)y", "xy"));
}

// Captures

TEST(RegexEngine, groups_are_numbered_by_their_opening_braces) {
    EXPECT_EQ(2U, group_count("{a}|{b}"));
    EXPECT_EQ("unset", group("{a}|{b}", "b", 0));
    EXPECT_EQ("b", group("{a}|{b}", "b", 1));
    EXPECT_EQ("ab", group("{{a}b}", "ab", 0));
    EXPECT_EQ("a", group("{{a}b}", "ab", 1));
}

TEST(RegexEngine, group_number_out_of_range_throws) {
    RegexEngine engine;
    ASSERT_EQ(RegexOk, engine.compile("{a}"));
    ASSERT_TRUE(engine.match("a"));
    EXPECT_EQ("a", engine.group(0));
    EXPECT_THROW(engine.group(1), std::out_of_range);
}

TEST(RegexEngine, greedy_and_lazy_captures_both_have_to_reach_what_follows) {
    EXPECT_EQ("aa", group("{a*}b", "aab"));
    EXPECT_EQ("aa", group("{a*?}b", "aab"));
}

TEST(RegexEngine, repeated_group_holds_its_last_round) {
    EXPECT_EQ(1U, group_count("{a}+"));
    EXPECT_EQ("0-3", found("{a}+", "aaa"));
    RegexEngine engine;
    ASSERT_EQ(RegexOk, engine.compile("{a}+"));
    const char text[] = "aaa";
    ASSERT_TRUE(engine.match(text));
    EXPECT_EQ(text + 2, engine.group(0).data());
    EXPECT_EQ(1U, engine.group(0).size());
    EXPECT_EQ(1U, group_count("{a}*"));
    EXPECT_EQ("b", group("{a|b}*", "ab"));
}

TEST(RegexEngine, group_behind_a_repeated_one_takes_the_next_number) {
    EXPECT_EQ(2U, group_count("{a}+{b}"));
    EXPECT_EQ("b", group("{a}+{b}", "aab", 1));
    EXPECT_EQ("b", group("{a}?{b}", "b", 1));
}

TEST(RegexEngine, failed_path_gives_a_group_back_what_it_held) {
    EXPECT_EQ("unset", group("({a}b)|(ac)", "ac"));
    EXPECT_EQ("a", group("({.}c)*ab", "acab"));
}

TEST(RegexEngine, optional_group_not_taken_is_unset) { EXPECT_EQ("unset", group("{a}?b", "b")); }

// Quantifiers

TEST(RegexEngine, star_takes_as_many_as_it_can) {
    EXPECT_EQ("0-3", found("a*", "aaab"));
    EXPECT_EQ("0-0", found("a*", "b"));
    EXPECT_EQ("0-4", found("(ab)*", "ababa"));
}

TEST(RegexEngine, plus_needs_one) {
    EXPECT_EQ("1-4", found("a+", "baaab"));
    EXPECT_EQ("no", found("a+", "b"));
}

TEST(RegexEngine, question_mark_takes_one_if_it_can) {
    EXPECT_EQ("0-1", found("a?", "aa"));
    EXPECT_EQ("0-0", found("a?", "b"));
    EXPECT_EQ("0-2", found("a?b", "ab"));
}

TEST(RegexEngine, greedy_forms_give_back) {
    EXPECT_EQ("0-3", found("a*a", "aaa"));
    EXPECT_EQ("0-3", found("a+a", "aaa"));
    EXPECT_EQ("0-1", found("a?a", "a"));
}

TEST(RegexEngine, lazy_star_takes_as_few_as_it_can) {
    EXPECT_EQ("0-0", found("a*?", "aaa"));
    EXPECT_EQ("0-3", found("a*?b", "aab"));
}

TEST(RegexEngine, lazy_plus_takes_one_and_as_few_more_as_it_can) {
    EXPECT_EQ("0-1", found("a+?", "aaa"));
    EXPECT_EQ("0-3", found("a+?b", "aab"));
    EXPECT_EQ("no", found("^a+?b", "b"));
}

TEST(RegexEngine, lazy_question_mark_takes_none_if_it_can) {
    EXPECT_EQ("0-0", found("a?\?", "a"));
    EXPECT_EQ("0-2", found("a?\?b", "ab"));
    EXPECT_EQ("0-1", found("a?\?b", "b"));
    EXPECT_EQ("0-2", found(".?\?b", "ab"));
}

TEST(RegexEngine, lazy_forms_go_on_where_the_failed_attempt_stopped) {
    // From 0 the `a` is taken before the `b` fails, so the `.` is tried at 1, not at 0.
    EXPECT_EQ("1-3", found(".*?ab", "aab"));
    EXPECT_EQ("1-3", found("a?\?ab", "aab"));
}

TEST(RegexEngine, nested_repetition_ends) { EXPECT_EQ("0-3", found("(a+)*", "aaab")); }

// Abbreviations

TEST(RegexEngine, abbreviation_a_is_a_letter_or_digit) {
    EXPECT_EQ("0-3", found("\\a\\a\\a", "aZ9"));
    EXPECT_EQ("no", found("\\a", "_"));
}

TEST(RegexEngine, abbreviation_b_is_a_blank_or_tab) {
    EXPECT_EQ("0-2", found("\\b\\b", " \t"));
    EXPECT_EQ("no", found("\\b", "\\t\n"));
}

TEST(RegexEngine, abbreviation_c_is_a_letter) {
    EXPECT_EQ("0-2", found("\\c\\c", "aZ"));
    EXPECT_EQ("no", found("\\c", "1"));
}

TEST(RegexEngine, abbreviation_d_is_a_digit) {
    EXPECT_EQ("0-2", found("\\d\\d", "09"));
    EXPECT_EQ("no", found("\\d", "a"));
}

TEST(RegexEngine, abbreviation_h_is_a_hexadecimal_digit) {
    EXPECT_EQ("0-6", found("\\h+", "09afAF"));
    EXPECT_EQ("no", found("\\h", "gG"));
}

TEST(RegexEngine, abbreviation_n_is_a_line_end) {
    EXPECT_EQ("0-1", found("\\n", "\n"));
    EXPECT_EQ("0-1", found("\\n", "\r"));
    EXPECT_EQ("0-1", found("\\n", "\r\n"));
    EXPECT_EQ("0-3", found("\\na", "\r\na"));
    EXPECT_EQ("no", found("\\n", "n"));
}

TEST(RegexEngine, abbreviation_q_takes_double_quoted_text_only) {
    EXPECT_EQ("0-3", found("\\q", "\"x\""));
    EXPECT_EQ("0-2", found("\\q", "\"\""));
    EXPECT_EQ("no", found("\\q", "'x'"));
}

TEST(RegexEngine, abbreviation_w_is_a_word) {
    EXPECT_EQ("1-3", found("\\w", "1aZ2"));
    EXPECT_EQ("no", found("\\w", "12"));
}

TEST(RegexEngine, abbreviation_z_is_a_number) {
    EXPECT_EQ("1-3", found("\\z", "a12b"));
    EXPECT_EQ("no", found("\\z", "ab"));
}

TEST(RegexEngine, abbreviation_is_one_term_for_quantifiers_and_bars) {
    EXPECT_EQ("0-3", found("\\d+", "123"));
    EXPECT_EQ("0-2", found("x\\d|\\c", "xa"));
    EXPECT_EQ(1U, group_count("{\\w}"));
}

}  // namespace
