// The names of one function and the text that they join to, which is the function's place in a set.
#pragma once

#include <cstdint>
#include <string_view>

namespace hotpath {

// Function name, "/", file name: one borrowed text, with a terminator behind it, and the place of
// the cut. The factory keeps the text.
class FunctionKey {
public:
    FunctionKey() = default;
    FunctionKey(const char* joined, std::uint32_t function_size, std::uint32_t file_size)
        : joined_(joined), function_size_(function_size), file_size_(file_size) {}

    std::string_view joined() const {
        return {joined_, function_size_ + std::size_t{1} + file_size_};
    }
    std::string_view function_name() const { return {joined_, function_size_}; }
    std::string_view file_name() const { return {joined_ + function_size_ + 1, file_size_}; }

private:
    const char* joined_ = nullptr;
    std::uint32_t function_size_ = 0;
    std::uint32_t file_size_ = 0;
};

}  // namespace hotpath
