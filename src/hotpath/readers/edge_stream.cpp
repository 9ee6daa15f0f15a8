#include "hotpath/readers/edge_stream.h"

#include <cstdlib>
#include <cstring>

#include "diag/checked_memory.h"

namespace hotpath {
namespace {

// Fits the second level cache together with what a row touches.
constexpr std::size_t first_capacity = 256 * 1024;

}  // namespace

void EdgeStream::FreeBuffer::operator()(char* buffer) const { std::free(buffer); }

EdgeStream::EdgeStream(std::FILE* file)
    : file_(file),
      buffer_(static_cast<char*>(diag::checked_malloc(first_capacity + overrun))),
      capacity_(first_capacity) {
    // This buffer serves alone; a second one behind the stream would copy every byte once more.
    std::setvbuf(file, nullptr, _IONBF, 0);
    std::memset(buffer_.get(), 0, overrun);
}

bool EdgeStream::next_line(std::string_view& line) {
    while (!line_in_buffer(line)) {
        if (read_more()) continue;
        line = rest();
        return !line.empty();
    }
    return true;
}

std::size_t EdgeStream::next_lines(std::span<std::string_view> lines) {
    if (!next_line(lines.front())) return 0;
    // Reading more would move the lines that are given already.
    std::size_t count = 1;
    while (count < lines.size() && line_in_buffer(lines[count])) ++count;
    return count;
}

// All that is in the buffer.
std::string_view EdgeStream::rest() {
    const std::string_view bytes(buffer_.get() + begin_, end_ - begin_);
    scanned_ = begin_ = end_;
    return bytes;
}

// The same but for a CR at its end, which may belong to the line's end.
std::string_view EdgeStream::all_but_cr() {
    std::string_view bytes = rest();
    if (!bytes.ends_with('\r')) return bytes;
    bytes.remove_suffix(1);
    scanned_ = --begin_;
    return bytes;
}

bool EdgeStream::line_in_buffer(std::string_view& line) {
    const char* const from = buffer_.get() + scanned_;
    const auto* const lf = static_cast<const char*>(std::memchr(from, '\n', end_ - scanned_));
    if (lf == nullptr) {
        scanned_ = end_;
        return false;
    }
    const char* const first = buffer_.get() + begin_;
    const bool has_cr = lf != first && lf[-1] == '\r';
    line = {first, static_cast<std::size_t>(lf - first) - (has_cr ? 1 : 0)};
    scanned_ = begin_ = static_cast<std::size_t>(lf - buffer_.get()) + 1;
    return true;
}

// Moves the unread bytes to the front and reads behind them. False at the file's end.
bool EdgeStream::read_more() {
    if (at_end_) return false;
    std::memmove(buffer_.get(), buffer_.get() + begin_, end_ - begin_);
    end_ -= begin_;
    scanned_ -= begin_;
    begin_ = 0;
    if (end_ == capacity_) {
        capacity_ *= 2;
        buffer_.reset(
            static_cast<char*>(diag::checked_realloc(buffer_.release(), capacity_ + overrun)));
    }
    const std::size_t got = std::fread(buffer_.get() + end_, 1, capacity_ - end_, file_.get());
    end_ += got;
    at_end_ = got == 0;
    failed_ = at_end_ && std::ferror(file_.get()) != 0;
    std::memset(buffer_.get() + end_, 0, overrun);
    return got != 0;
}

}  // namespace hotpath
