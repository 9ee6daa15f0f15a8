// What the program says on the standard error stream: messages and, at a terminal, a bar that shows
// how far the reading is.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

namespace edgescope {

// The program's exit statuses.
enum ExitStatus : int {
    exit_fine = 0,
    exit_finding = 1,  // a finding of severity error, or a difference beyond the limit
    exit_failure = 2,  // wrong use, or unreadable input
};

// True if the environment asks for text without colours.
bool colours_are_unwanted();

// The text with each control character replaced by `?`: names come from foreign files.
std::string printable(std::string_view text);

// Prints "edgescope: SUBJECT: what", or without the subject if it is empty.
void print_error(std::string_view subject, std::string_view what);
void print_warning(std::string_view subject, std::string_view what);

// A bar on the standard error stream, if that is a terminal that can wipe a line, once a run takes
// longer than the delay. It is wiped away with the object.
class ProgressBar {
public:
    explicit ProgressBar(std::size_t file_count,
                         std::chrono::milliseconds delay = std::chrono::seconds(1));
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;
    ~ProgressBar();

    // Begins the next file.
    void begin(const std::string& path);

    // Counts one row of about this many bytes.
    void count_row(std::uint64_t bytes) {
        bytes_read_ += bytes;
        if (++rows_ % rows_between_looks == 0) show();
    }

private:
    static constexpr std::uint64_t rows_between_looks = 16384;

    void show();

    std::size_t file_count_;
    std::size_t files_begun_ = 0;
    std::uint64_t file_size_ = 0;
    std::uint64_t bytes_read_ = 0;
    std::uint64_t rows_ = 0;
    std::string path_;
    std::chrono::steady_clock::time_point next_;
    bool is_wanted_;
    bool is_shown_ = false;
};

}  // namespace edgescope
