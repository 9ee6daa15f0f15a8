// Holds the engine against a naive matcher: the same patterns and texts must give the same error,
// the same outcome, the same position and the same groups.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "hotpath/names/regex_engine.h"
#include "naive_matcher.h"

namespace {

using hotpath::RegexEngine;
using hotpath_test::NaiveMatcher;

using Tokens = std::vector<std::string_view>;

std::string show_naive(NaiveMatcher& matcher, const std::string& text) {
    if (!matcher.match(text)) return "no match";
    std::string shown = std::to_string(matcher.start()) + "-" + std::to_string(matcher.end());
    for (const auto& group : matcher.groups()) {
        const bool unset = group.end == NaiveMatcher::nothing;
        shown +=
            unset ? " unset" : " " + std::to_string(group.start) + "-" + std::to_string(group.end);
    }
    return shown;
}

std::string show_engine(RegexEngine& engine, const std::string& text) {
    if (!engine.match(text.c_str())) return "no match";
    std::string shown =
        std::to_string(engine.match_start()) + "-" + std::to_string(engine.match_end());
    for (std::uint32_t number = 0; number < engine.group_count(); ++number) {
        const std::string_view group = engine.group(number);
        const auto start = static_cast<std::size_t>(group.data() - text.c_str());
        shown += group.data() == nullptr
                     ? " unset"
                     : " " + std::to_string(start) + "-" + std::to_string(start + group.size());
    }
    return shown;
}

// Calls `visit` for each text of at most `longest` tokens.
template <typename Visit>
void for_each_text(const Tokens& tokens, int longest, const Visit& visit,
                   const std::string& begin = "") {
    visit(begin);
    if (longest == 0) return;
    for (const std::string_view token : tokens)
        for_each_text(tokens, longest - 1, visit, begin + std::string(token));
}

std::vector<std::string> all_texts(const Tokens& tokens, int longest) {
    std::vector<std::string> texts;
    for_each_text(tokens, longest, [&](const std::string& text) { texts.push_back(text); });
    return texts;
}

class Comparison {
public:
    explicit Comparison(std::vector<std::string> texts) : texts_(std::move(texts)) {}

    void compare(const std::string& pattern) {
        if (::testing::Test::HasFailure()) return;
        NaiveMatcher naive(pattern);
        RegexEngine engine;
        ASSERT_EQ(naive.error(), engine.compile(pattern.c_str())) << "pattern " << pattern;
        if (naive.error() != 0 || naive.may_run_for_ever()) return;
        for (const std::string& text : texts_) {
            const std::string expected = show_naive(naive, text);
            ASSERT_EQ(expected, show_engine(engine, text))
                << "pattern " << pattern << ", text " << text;
            if (expected != "no match") ++matches_;
        }
    }

    // So many outcomes were matches that agree.
    int matches() const { return matches_; }

private:
    std::vector<std::string> texts_;
    int matches_ = 0;
};

TEST(RegexComparison, engine_agrees_on_all_small_patterns) {
    Comparison comparison(all_texts({"a", "b"}, 4));
    for_each_text({"a", "b", "|", "*", "?", "(", ")", "{", "}", "!", "."}, 4,
                  [&](const std::string& pattern) { comparison.compare(pattern); });
    EXPECT_GT(comparison.matches(), 50000);
}

TEST(RegexComparison, engine_agrees_on_all_patterns_of_five_with_captures) {
    Comparison comparison(all_texts({"a", "b"}, 3));
    for_each_text({"a", "b", "|", "*", "?", "{", "}", "!"}, 5,
                  [&](const std::string& pattern) { comparison.compare(pattern); });
    EXPECT_GT(comparison.matches(), 50000);
}

TEST(RegexComparison, engine_agrees_on_all_small_patterns_with_anchors_and_back_references) {
    Comparison comparison(all_texts({"a", "b"}, 3));
    for_each_text({"a", "{", "}", "\\0", "+", "?", "|", "^", "$"}, 5,
                  [&](const std::string& pattern) { comparison.compare(pattern); });
    EXPECT_GT(comparison.matches(), 50000);
}

TEST(RegexComparison, engine_agrees_on_all_small_classes) {
    Comparison comparison({"", "a", "-", "^", "\t", "\\", "]", "t", "+"});
    for_each_text({"a", "-", "^", "\\", "t", "]", "+"}, 5,
                  [&](const std::string& pattern) { comparison.compare("[" + pattern); });
    EXPECT_GT(comparison.matches(), 1000);
}

TEST(RegexComparison, engine_agrees_on_random_longer_patterns) {
    const Tokens tokens = {"a",   "b",    "a",    "b",     "(",    ")",  "{", "}", "|",
                           "*",   "+",    "?",    "*?",    "+?",   "??", "!", ".", "\\0",
                           "\\1", "[ab]", "[^a]", "(a|b)", "{a*}", "{b", "(a"};
    Comparison comparison(all_texts({"a", "b"}, 5));
    std::uint32_t state = 404;
    const auto below = [&state](std::size_t limit) {
        state = state * 1664525U + 1013904223U;
        return (state >> 8) % limit;
    };
    for (int i = 0; i < 30000; ++i) {
        std::string pattern;
        for (std::size_t left = 5 + below(7); left > 0; --left)
            pattern += tokens[below(tokens.size())];
        comparison.compare(pattern);
    }
    EXPECT_GT(comparison.matches(), 50000);
}

}  // namespace
