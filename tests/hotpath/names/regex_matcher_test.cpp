#include "hotpath/names/regex_matcher.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <new>
#include <stdexcept>
#include <string>

#include "hotpath/names/backtrack_stack.h"
#include "support/text_matchers.h"

namespace {

bool no_memory = false;  // while set, requests that may fail do
int array_requests = 0;  // for arrays that may fail, which are the stack's alone

}  // namespace

// The program asks in this form where it has its own answer to exhausted memory.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    if (no_memory) return nullptr;
    try {
        return ::operator new(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    ++array_requests;
    if (no_memory) return nullptr;
    try {
        return ::operator new[](size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

namespace {

using hotpath::BacktrackStack;
using hotpath::RegexMatcher;

TEST(RegexMatcher, match_is_told_by_zero) {
    RegexMatcher matcher;
    matcher.compile("b");
    EXPECT_EQ(0, matcher.match("abc"));
    EXPECT_EQ(1, matcher.match("ac"));
}

TEST(RegexMatcher, absent_text_does_not_match) {
    RegexMatcher matcher;
    matcher.compile("a*");
    EXPECT_EQ(1, matcher.match(nullptr));
}

TEST(RegexMatcher, matcher_without_a_pattern_does_not_match) {
    RegexMatcher matcher;
    EXPECT_EQ(1, matcher.match(""));
}

TEST(RegexMatcher, pattern_with_an_error_is_dropped_in_silence) {
    RegexMatcher matcher;
    testing::internal::CaptureStderr();
    matcher.compile("(a*)*");
    EXPECT_EQ("", testing::internal::GetCapturedStderr());
    EXPECT_EQ(1, matcher.match("a"));
}

TEST(RegexMatcher, failed_compile_drops_the_pattern_before) {
    RegexMatcher matcher;
    matcher.compile("a");
    matcher.compile("[");
    EXPECT_EQ(1, matcher.match("a"));
    matcher.compile("a");
    EXPECT_EQ(0, matcher.match("a"));
}

TEST(RegexMatcher, options_have_no_effect) {
    RegexMatcher matcher;
    matcher.compile("a", 0xFFFFFFFFU);
    EXPECT_EQ(0, matcher.match("a"));
    EXPECT_EQ(1, matcher.match("A"));
}

TEST(RegexMatcher, group_points_into_the_matched_text) {
    RegexMatcher matcher;
    matcher.compile("x{a*}");
    const char text[] = "bxaab";
    ASSERT_EQ(0, matcher.match(text));
    const char* start = nullptr;
    const char* end = nullptr;
    EXPECT_EQ(2, matcher.group(0, start, end));
    EXPECT_EQ(text + 2, start);
    EXPECT_EQ(text + 4, end);
}

TEST(RegexMatcher, group_zero_is_given_whatever_the_index) {
    RegexMatcher matcher;
    matcher.compile("{a}{bc}");
    ASSERT_EQ(0, matcher.match("abc"));
    const char* start = nullptr;
    const char* end = nullptr;
    EXPECT_EQ(1, matcher.group(1, start, end));
    EXPECT_EQ(1, matcher.group(99, start, end));
}

TEST(RegexMatcher, group_that_the_path_did_not_pass_has_length_zero) {
    RegexMatcher matcher;
    matcher.compile("{a}|b");
    ASSERT_EQ(0, matcher.match("b"));
    const char* start = "";
    const char* end = "";
    EXPECT_EQ(0, matcher.group(0, start, end));
    EXPECT_EQ(nullptr, start);
    EXPECT_EQ(nullptr, end);
}

TEST(RegexMatcher, group_without_a_pattern_leaves_the_outputs) {
    RegexMatcher matcher;
    const char here[] = "xy";
    const char* start = here;
    const char* end = here + 1;
    EXPECT_EQ(0, matcher.group(0, start, end));
    EXPECT_EQ(here, start);
    EXPECT_EQ(here + 1, end);
}

TEST(RegexMatcher, group_of_a_pattern_without_captures_throws) {
    RegexMatcher matcher;
    matcher.compile("a");
    ASSERT_EQ(0, matcher.match("a"));
    const char* start = nullptr;
    const char* end = nullptr;
    EXPECT_THROW(matcher.group(0, start, end), std::out_of_range);
}

TEST(RegexMatcher, compile_without_memory_for_the_engine_ends_the_program) {
    RegexMatcher matcher;
    const auto compile_without_memory = [&matcher] {
        no_memory = true;
        matcher.compile("a");
    };
    EXPECT_EXIT(compile_without_memory(), testing::ExitedWithCode(1),
                test_support::matches_whole(
                    "hotpath/names/regex_matcher\\.cpp:[0-9]+ "
                    "ASSERTX\\(m_impl != \\(\\(uintptr_t\\)0\\)\\): Memory allocation failed\n"));
}

TEST(RegexMatcher, match_goes_on_where_the_stack_cannot_grow) {
    RegexMatcher matcher;
    matcher.compile("{a*}b");
    const std::string text = std::string(1000, 'a') + "b";
    no_memory = true;
    const int result = matcher.match(text.c_str());
    no_memory = false;
    EXPECT_EQ(0, result);
}

TEST(RegexMatcher, further_matches_of_a_text_take_no_more_memory) {
    RegexMatcher matcher;
    matcher.compile("{a*}b");
    const std::string text = std::string(1000, 'a') + "b";
    ASSERT_EQ(0, matcher.match(text.c_str()));
    array_requests = 0;
    for (int i = 0; i < 100; ++i) ASSERT_EQ(0, matcher.match(text.c_str()));
    EXPECT_EQ(0, array_requests);
}

TEST(BacktrackStack, value_without_room_is_dropped) {
    BacktrackStack stack;
    for (std::uint64_t value = 1; value <= 256; ++value) stack.push(value);
    no_memory = true;
    stack.push(257);
    no_memory = false;
    EXPECT_EQ(256U, stack.height());
    EXPECT_EQ(256U, stack.pop());
}

}  // namespace
