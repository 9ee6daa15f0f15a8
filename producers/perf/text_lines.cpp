#include "perf/text_lines.h"

#include <cstring>

namespace perf {

namespace {

constexpr std::size_t first_size = 64 * 1024;  // fits the cache together with what a stack touches

}  // namespace

TextLines::TextLines(std::FILE* file) : file_(file), buffer_(first_size) {
    // This buffer serves alone; a second one behind the stream would copy every byte once more.
    std::setvbuf(file, nullptr, _IONBF, 0);
}

bool TextLines::next(std::string_view& line) {
    for (;;) {
        const char* const first = buffer_.data() + begin_;
        const void* const lf = std::memchr(buffer_.data() + scanned_, '\n', end_ - scanned_);
        if (lf != nullptr) {
            line = {first, static_cast<std::size_t>(static_cast<const char*>(lf) - first)};
            begin_ = scanned_ = begin_ + line.size() + 1;
            return true;
        }
        scanned_ = end_;
        if (end_ - begin_ < longest_line && read_more()) continue;
        line = {buffer_.data() + begin_, end_ - begin_};
        begin_ = end_;
        return !line.empty();
    }
}

// Moves the unread bytes to the front and reads behind them. False at the end.
bool TextLines::read_more() {
    std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
    end_ -= begin_;
    scanned_ -= begin_;
    begin_ = 0;
    if (end_ == buffer_.size()) buffer_.resize(2 * end_);
    const std::size_t got = std::fread(buffer_.data() + end_, 1, buffer_.size() - end_, file_);
    end_ += got;
    return got != 0;
}

}  // namespace perf
