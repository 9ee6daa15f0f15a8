// The rewriting of function names, against a second chain: the pattern of outlined routines is
// matched over the whole name, without any look at it before, and the other stages are written
// again.
#include <cstdlib>
#include <string>

#include "fuzz_input.h"
#include "hotpath/names/name_normaliser.h"
#include "hotpath/names/regex_matcher.h"

namespace {

// Matching costs quadratic time, so names stay short.
constexpr std::size_t longest_name = 1024;

struct RoutineMatcher : hotpath::RegexMatcher {
    RoutineMatcher() {
        compile(
            "L_{[_a-zA-Z0-9]*}_[0-9]+__par_"
            "((crewloop)|(loop)|(section)|(taskq)|(region))[0-9]+_2\\.[0-9]+");
    }
};

std::string plain_parent(const std::string& name) {
    static RoutineMatcher matcher;
    const char* start = nullptr;
    const char* end = nullptr;
    const bool matches = matcher.match(name.c_str()) == 0;
    return matches && matcher.group(0, start, end) > 0 ? std::string(start, end) : name;
}

bool is_digit_at(const std::string& text, std::size_t place) {
    return place < text.size() && text[place] >= '0' && text[place] <= '9';
}

// Without the first suffix.
std::string plain_head_and_tail(const std::string& name) {
    const std::size_t dot = name.find('.');
    if (dot == std::string::npos) return name;
    const auto at = [&](std::size_t place) { return place < name.size() ? name[place] : '\0'; };
    const auto is_letter = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); };
    std::size_t tail = dot + 1;
    if (is_letter(at(tail)) && at(dot + 2) == '.') tail = dot + 3;
    if (at(tail) == '.') ++tail;
    while (is_digit_at(name, tail)) ++tail;
    if (at(tail) == '.') ++tail;
    return name.substr(0, dot) + name.substr(tail);
}

// With each path of an unnamed namespace replaced; unchanged where one of them is malformed.
std::string plain_key_name(const std::string& name) {
    std::string result;
    std::size_t from = 0;
    for (;;) {
        const std::size_t mark = name.find("__N_", from);
        if (mark == std::string::npos) return result + name.substr(from);
        const int length = static_cast<int>(std::strtol(name.c_str() + mark + 4, nullptr, 10));
        const std::size_t path = name.find('_', mark + 4);
        if (path == std::string::npos || length < 0) return name;
        const std::size_t behind = path + 1 + static_cast<std::size_t>(length);
        if (behind > name.size()) return name;
        result += name.substr(from, mark - from) + "(anon ns)";
        from = behind;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::FuzzInput input(data, size);
    static hotpath::NameNormaliser chain;
    const std::string_view bytes = input.text(longest_name);
    const std::string name(bytes.substr(0, bytes.find('\0')));
    const std::string expected = plain_key_name(plain_head_and_tail(plain_parent(name)));
    const char* const actual = chain.normalise(name.c_str());
    fuzz::require_equal(expected, actual, "a rewritten name");
    fuzz::require(expected != name || actual == name.c_str() || name.find("__") != name.npos ||
                      name.find('.') != name.npos,
                  "a plain name that isn't copied");
    return 0;
}
