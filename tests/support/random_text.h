// Pseudo-random texts, the same in every run of one build.
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <string_view>

namespace test_support {

class RandomText {
public:
    explicit RandomText(std::uint64_t seed) : random_(seed) {}

    // A number below `limit`.
    std::size_t below(std::size_t limit) { return static_cast<std::size_t>(random_() % limit); }

    std::uint64_t bits() { return random_(); }

    char one_of(std::string_view alphabet) { return alphabet[below(alphabet.size())]; }

    // Up to `longest` characters of the alphabet.
    std::string of(std::string_view alphabet, std::size_t longest) {
        std::string text(below(longest + 1), ' ');
        for (char& c : text) c = one_of(alphabet);
        return text;
    }

private:
    std::mt19937_64 random_;
};

}  // namespace test_support
