// Matchers for texts of which a part may vary. GoogleTest's own patterns differ from system to
// system.
#pragma once

#include <gmock/gmock.h>

#include <regex>
#include <string>

namespace test_support {

// The whole text is as the regular expression has it.
inline testing::Matcher<const std::string&> matches_whole(const std::string& pattern) {
    return testing::ResultOf(
        "text that matches " + pattern,
        [whole = std::regex(pattern)](const std::string& text) {
            return std::regex_match(text, whole);
        },
        true);
}

}  // namespace test_support
