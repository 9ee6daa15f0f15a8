// The way of the report's text to a C stream: collected in one buffer, written in large pieces.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string_view>

namespace hotpath {

// Room for the largest number with its commas.
using GroupedText = std::array<char, 28>;

// "1,234,567": decimal with a comma every three digits. The result points into `buffer`.
std::string_view grouped_text(std::uint64_t value, GroupedText& buffer);

// Appends text and numbers to a report. The stream is borrowed; the caller ends with `flush`,
// without which the last piece is lost.
class ReportStream {
public:
    explicit ReportStream(std::FILE* stream) : stream_(stream) {}
    ReportStream(const ReportStream&) = delete;
    ReportStream& operator=(const ReportStream&) = delete;

    void put(std::string_view text) {
        if (text.size() > buffer_.size() - used_) {
            put_in_pieces(text);
            return;
        }
        text.copy(buffer_.data() + used_, text.size());
        used_ += text.size();
    }

    // Right-aligned in `width` columns; a longer text is put whole.
    void put_right(std::string_view text, std::size_t width) {
        for (std::size_t column = text.size(); column < width; ++column) put(" ");
        put(text);
    }

    void put_decimal(std::uint32_t value, std::size_t width);
    void put_grouped(std::uint64_t value, std::size_t width);

    // In lower case, without a prefix or leading zeros.
    void put_hexadecimal(std::uint64_t value);

    // Writes what is left and flushes the stream.
    void flush();

private:
    void put_in_pieces(std::string_view text);
    void write_buffer();

    std::FILE* stream_;
    std::size_t used_ = 0;
    std::array<char, 64 * 1024> buffer_;
};

}  // namespace hotpath
