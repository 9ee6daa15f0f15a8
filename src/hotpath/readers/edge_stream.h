// The lines of one edge file, as views into one large read buffer. The reader decides
// what a line means.
#pragma once

#include <cstdio>
#include <memory>
#include <span>
#include <string_view>

namespace hotpath {

// Reads one open file from where it stands to its end. It owns the stream and its buffer.
class EdgeStream {
public:
    // Bytes that may be read behind each line.
    static constexpr std::size_t overrun = 64;

    // Takes over `file`. Exhausted memory ends the program.
    explicit EdgeStream(std::FILE* file);

    // Hands the rest of the line that is under way to `take`, in pieces of any size that are valid
    // during the call: a line of any length takes no more memory than the buffer. The line's end is
    // taken off as in `next_line`.
    template <class Take>
    void take_line(Take take) {
        std::string_view piece;
        while (!line_in_buffer(piece)) {
            take(all_but_cr());
            if (read_more()) continue;
            take(rest());
            return;
        }
        take(piece);
    }

    // Gives the next line, valid until the next call; false at the file's end. The LF and a CR
    // directly before it are taken off. A last line without LF counts, and keeps its CR.
    bool next_line(std::string_view& line);

    // Gives the next lines, at most as many as the span holds and at least one but at the file's
    // end; their number. All are valid until the next call.
    std::size_t next_lines(std::span<std::string_view> lines);

    // True once the device behind the file gave an error in place of bytes.
    bool failed() const { return failed_; }

private:
    struct CloseFile {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    struct FreeBuffer {
        void operator()(char* buffer) const;
    };

    std::string_view rest();
    std::string_view all_but_cr();
    bool line_in_buffer(std::string_view& line);
    bool read_more();

    std::unique_ptr<std::FILE, CloseFile> file_;
    std::unique_ptr<char, FreeBuffer> buffer_;
    std::size_t capacity_;
    std::size_t begin_ = 0;    // the next line's first byte
    std::size_t scanned_ = 0;  // no LF between `begin_` and here
    std::size_t end_ = 0;
    bool at_end_ = false;
    bool failed_ = false;
};

}  // namespace hotpath
