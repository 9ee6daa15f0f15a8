// The regular expression engine against a naive matcher: the same error, outcome, place and groups.
#include <algorithm>
#include <string>

#include "fuzz_input.h"
#include "hotpath/names/naive_matcher.h"
#include "hotpath/names/regex_engine.h"

namespace {

using hotpath::RegexEngine;
using hotpath_test::NaiveMatcher;

// The search has no bound but these: what takes the naive matcher longer isn't tried on the engine.
constexpr std::size_t longest_pattern = 64;
constexpr std::size_t longest_text = 32;
constexpr std::size_t most_steps = 5000;
// Each one doubles what it repeats.
constexpr int most_pluses = 8;

std::string show(std::size_t start, std::size_t end) {
    return std::to_string(start) + "-" + std::to_string(end);
}

std::string outcome(const NaiveMatcher& matcher, bool matched) {
    if (!matched) return "no match";
    std::string shown = show(matcher.start(), matcher.end());
    for (const auto& group : matcher.groups())
        shown += group.end == NaiveMatcher::nothing ? " unset" : " " + show(group.start, group.end);
    return shown;
}

std::string outcome(const RegexEngine& engine, const std::string& text, bool matched) {
    if (!matched) return "no match";
    std::string shown = show(engine.match_start(), engine.match_end());
    for (std::uint32_t number = 0; number < engine.group_count(); ++number) {
        const std::string_view group = engine.group(number);
        const auto start = static_cast<std::size_t>(group.data() - text.c_str());
        shown += group.data() == nullptr ? " unset" : " " + show(start, start + group.size());
    }
    return shown;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::FuzzInput input(data, size);
    const std::string_view first_line = input.text_until('\n');
    const std::string pattern(
        first_line.substr(0, std::min(longest_pattern, first_line.find('\0'))));
    const std::string_view rest = input.text(longest_text);
    const std::string text(rest.substr(0, rest.find('\0')));
    if (std::count(pattern.begin(), pattern.end(), '+') > most_pluses) return 0;

    NaiveMatcher naive(pattern);
    RegexEngine engine;
    const int error = engine.compile(pattern.c_str());
    fuzz::require(error == naive.error() || error == hotpath::RegexOutOfMemory,
                  "the error of a pattern");
    if (error != 0 || naive.may_run_for_ever()) return 0;
    const bool expected = naive.match(text, most_steps);
    if (naive.gave_up()) return 0;
    fuzz::require_equal(outcome(naive, expected), outcome(engine, text, engine.match(text.c_str())),
                        "a match");
    return 0;
}
