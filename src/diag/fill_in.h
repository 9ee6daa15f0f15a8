// Fills the conversions of a message's text. The catalogue knows two of them: "%s" for a text and
// "%d" for a number of 32 bits.
#pragma once

#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace diag {

// What takes the place of one conversion. A text is borrowed.
class FillIn {
public:
    FillIn(std::string_view text) : text_(text) {}
    FillIn(const std::string& text) : text_(text) {}

    // Null shows as the C library prints an absent text.
    FillIn(const char* text) : text_(text == nullptr ? "(null)" : text) {}

    FillIn(std::int32_t number)
        : text_(digits_.data(),
                static_cast<std::size_t>(std::to_chars(digits_.begin(), digits_.end(), number).ptr -
                                         digits_.data())) {}

    FillIn(const FillIn&) = delete;  // `text_` may point into the object itself
    FillIn& operator=(const FillIn&) = delete;

    std::string_view text() const { return text_; }

private:
    std::array<char, 11> digits_;  // room for a sign and ten digits
    std::string_view text_;
};

// Calls `put` with the pieces of the text in their order, each conversion replaced by the fill-in
// that belongs to it. Fill-ins beyond the last conversion are dropped.
template <class Put>
void fill_in(std::string_view text, std::span<const FillIn> fill_ins, Put put) {
    for (const FillIn& fill_in : fill_ins) {
        const std::size_t conversion = text.find('%');
        if (conversion == std::string_view::npos) break;
        put(text.substr(0, conversion));
        put(fill_in.text());
        text.remove_prefix(conversion + 2);
    }
    put(text);
}

}  // namespace diag
