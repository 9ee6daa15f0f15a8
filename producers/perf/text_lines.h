// The lines of a text of any size, as views into one read buffer. What a line says is for others.
#pragma once

#include <cstdio>
#include <string_view>
#include <vector>

namespace perf {

// Reads an open stream from where it stands to its end. The stream stays the caller's.
class TextLines {
public:
    // A longer line comes in pieces of this size, so that no text takes more memory.
    static constexpr std::size_t longest_line = 1 << 20;

    explicit TextLines(std::FILE* file);

    // Gives the next line without its LF, valid until the next call; false at the end. A last line
    // without LF counts.
    bool next(std::string_view& line);

    // True if reading failed rather than came to the end.
    bool failed() const { return std::ferror(file_) != 0; }

private:
    bool read_more();

    std::FILE* file_;
    std::vector<char> buffer_;
    std::size_t begin_ = 0;    // the next line's first byte
    std::size_t scanned_ = 0;  // no LF between `begin_` and here
    std::size_t end_ = 0;
};

}  // namespace perf
