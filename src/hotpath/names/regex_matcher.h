// What the name stages see of regular expressions: compile a pattern, match a text, ask for the
// captured part. The dialect stands in the parser's header; errors of a pattern stay in here.
#pragma once

#include <cstdint>
#include <memory>

namespace hotpath {

class RegexEngine;

// One pattern, ready to be matched any number of times. Owned by the stage that uses it.
class RegexMatcher {
public:
    RegexMatcher();
    ~RegexMatcher();
    RegexMatcher(const RegexMatcher&) = delete;
    RegexMatcher& operator=(const RegexMatcher&) = delete;

    // Compiles a zero-terminated pattern. One with an error is dropped in silence and matches
    // nothing. `options` has no effect. Without memory for the engine the program ends.
    void compile(const char* pattern, std::uint32_t options = 0);

    // 0 if the pattern matches somewhere in the zero-terminated text, 1 if not. Mind the sense.
    [[nodiscard]] int match(const char* text);

    // After a successful match: the first and the one-past-last position of capture group 0,
    // whatever the index, in the matched text; its length is returned. A group that the match
    // didn't pass has null positions. Without a compiled pattern: 0, and the outputs stay as they
    // are.
    std::int32_t group(std::uint32_t index, const char*& start, const char*& end) const;

private:
    std::unique_ptr<RegexEngine> m_impl;
};

}  // namespace hotpath
