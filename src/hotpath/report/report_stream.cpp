#include "hotpath/report/report_stream.h"

#include <algorithm>
#include <charconv>

namespace hotpath {

std::string_view grouped_text(std::uint64_t value, GroupedText& buffer) {
    char* const end = buffer.data() + buffer.size();
    char* out = end;
    for (unsigned digits = 0; value != 0 || digits == 0; ++digits, value /= 10) {
        if (digits != 0 && digits % 3 == 0) *--out = ',';
        *--out = static_cast<char>('0' + value % 10);
    }
    return {out, static_cast<std::size_t>(end - out)};
}

void ReportStream::put_decimal(std::uint32_t value, std::size_t width) {
    std::array<char, 10> text;
    const char* const end = std::to_chars(text.begin(), text.end(), value).ptr;
    put_right({text.data(), static_cast<std::size_t>(end - text.data())}, width);
}

void ReportStream::put_grouped(std::uint64_t value, std::size_t width) {
    GroupedText text;
    put_right(grouped_text(value, text), width);
}

void ReportStream::put_hexadecimal(std::uint64_t value) {
    std::array<char, 16> text;
    const char* const end = std::to_chars(text.begin(), text.end(), value, 16).ptr;
    put({text.data(), static_cast<std::size_t>(end - text.data())});
}

void ReportStream::flush() {
    write_buffer();
    std::fflush(stream_);
}

void ReportStream::put_in_pieces(std::string_view text) {
    while (!text.empty()) {
        if (used_ == buffer_.size()) write_buffer();
        const std::size_t size = std::min(text.size(), buffer_.size() - used_);
        text.copy(buffer_.data() + used_, size);
        used_ += size;
        text.remove_prefix(size);
    }
}

// A failed write isn't looked at: there is no other place to report it, and the run's result
// doesn't depend on it.
void ReportStream::write_buffer() {
    std::fwrite(buffer_.data(), 1, used_, stream_);
    used_ = 0;
}

}  // namespace hotpath
