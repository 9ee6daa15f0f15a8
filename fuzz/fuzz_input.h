// What the fuzzers share: the input as a source of choices, and a check that a run can fail.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

// The entry point that each fuzzer defines.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzz {

// Where findings are printed, also while the tool's messages go elsewhere.
inline std::FILE* const findings = stderr;

// Ends the run with a finding unless `holds`.
inline void require(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(findings, "Finding: %s\n", what);
    std::abort();
}

// The same for two texts that have to be equal.
inline void require_equal(const std::string& expected, const std::string& actual,
                          const char* what) {
    if (expected == actual) return;
    std::fprintf(findings, "Finding: %s\n--- expected\n%s\n--- actual\n%s\n", what,
                 expected.c_str(), actual.c_str());
    std::abort();
}

// Takes choices from the front of one input. An input that is used up goes on with zeros.
class FuzzInput {
public:
    FuzzInput(const std::uint8_t* data, std::size_t size)
        : rest_(reinterpret_cast<const char*>(data), size) {}

    bool is_empty() const { return rest_.empty(); }

    std::uint8_t byte() {
        if (rest_.empty()) return 0;
        const auto value = static_cast<std::uint8_t>(rest_.front());
        rest_.remove_prefix(1);
        return value;
    }

    std::uint64_t bytes(int count) {
        std::uint64_t value = 0;
        for (int i = 0; i < count; ++i) value = value << 8 | byte();
        return value;
    }

    // A number below `limit`, which is at most 256.
    std::size_t below(std::size_t limit) { return byte() % limit; }

    // At most `longest` bytes.
    std::string_view text(std::size_t longest) {
        const std::string_view taken = rest_.substr(0, std::min(longest, rest_.size()));
        rest_.remove_prefix(taken.size());
        return taken;
    }

    std::string_view rest() { return text(rest_.size()); }

    // What stands before the next such byte, which is taken too.
    std::string_view text_until(char end) {
        const std::string_view taken = text(rest_.find(end));
        byte();
        return taken;
    }

private:
    std::string_view rest_;
};

}  // namespace fuzz
