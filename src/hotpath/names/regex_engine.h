// The in-house regular expression engine: a backtracking machine over a compiled program. The
// result is the leftmost start at which the depth-first search, alternatives from left to right,
// finds a path. There is no limit on its steps: a pattern can cost exponential time, and one that
// repeats something that consumes nothing, such as `(!a)*?b`, can run for ever.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "hotpath/names/backtrack_stack.h"
#include "hotpath/names/regex_program.h"

namespace hotpath {

// One compiled pattern and the outcome of its last match. Owned by a RegexMatcher.
class RegexEngine {
public:
    // Compiles a zero-terminated pattern. To be called once; without `RegexOk` the engine must not
    // match.
    [[nodiscard]] RegexError compile(const char* pattern);

    // True if the pattern matches somewhere in the zero-terminated text; false too if it's absent.
    // Groups are views of the text, so it must outlive their use.
    [[nodiscard]] bool match(const char* text);

    std::uint32_t group_count() const { return program_.group_count; }

    // After a successful match: the match's first and one-past-last position in the text.
    std::size_t match_start() const { return match_start_; }
    std::size_t match_end() const { return match_end_; }

    // After a successful match: the text of a capture group, empty with null data if the path
    // didn't pass it. Throws std::out_of_range for a number that isn't below `group_count`.
    std::string_view group(std::uint32_t number) const;

private:
    static constexpr std::size_t no_position = std::string_view::npos;

    struct Group {
        std::size_t start = no_position;
        std::size_t end = no_position;
    };

    bool run();
    bool execute(RegexInstruction instruction);
    void keep_books(RegexInstruction instruction);
    bool advance();
    void fail();
    void restart();
    bool step_if(bool matches);
    bool step_over(std::string_view text);

    bool at_end() const { return position_ >= text_.size(); }
    bool in_class(std::uint64_t index) const;
    std::string_view text_of(const Group& group) const;

    RegexProgram program_;
    std::vector<std::size_t> slots_;
    std::vector<Group> groups_;
    BacktrackStack stack_;
    std::string_view text_;
    std::size_t start_ = 0;        // where the present attempt began
    std::size_t position_ = 0;     // in the text
    std::size_t instruction_ = 0;  // the next one to run
    std::size_t match_start_ = 0;
    std::size_t match_end_ = 0;
};

}  // namespace hotpath
