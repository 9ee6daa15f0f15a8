#include "edgescope/message.h"

#include <fmt/color.h>
#include <fmt/core.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "edgescope/terminal.h"

namespace edgescope {

// Such a terminal shows the codes for colours and the like as text.
static bool terminal_is_dumb() {
    const char* const terminal = std::getenv("TERM");
    return terminal != nullptr && std::string_view(terminal) == "dumb";
}

bool colours_are_unwanted() {
    const char* const no_colour = std::getenv("NO_COLOR");
    return (no_colour != nullptr && *no_colour != '\0') || terminal_is_dumb();
}

std::string printable(std::string_view text) {
    std::string result(text);
    for (char& c : result)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) c = '?';
    return result;
}

static void print(std::string_view word, fmt::terminal_color colour, std::string_view subject,
                  std::string_view what) {
    std::string line = "edgescope: ";
    if (!subject.empty()) line += printable(subject) + ": ";
    const bool coloured = !word.empty() && !colours_are_unwanted() && enable_colour(stderr);
    if (!word.empty())
        line += coloured ? fmt::format(fmt::fg(colour), "{}: ", word) : fmt::format("{}: ", word);
    fmt::print(stderr, "{}{}\n", line, printable(what));
}

void print_error(std::string_view subject, std::string_view what) {
    print("", fmt::terminal_color::red, subject, what);
}

void print_warning(std::string_view subject, std::string_view what) {
    print("warning", fmt::terminal_color::magenta, subject, what);
}

ProgressBar::ProgressBar(std::size_t file_count, std::chrono::milliseconds delay)
    : file_count_(file_count),
      next_(std::chrono::steady_clock::now() + delay),
      is_wanted_(!terminal_is_dumb() && enable_colour(stderr)) {}

ProgressBar::~ProgressBar() {
    if (is_shown_) fmt::print(stderr, "\r\x1b[K");
}

void ProgressBar::begin(const std::string& path) {
    path_ = printable(path);
    std::error_code failure;
    file_size_ = std::filesystem::file_size(
        std::filesystem::path(std::u8string(path.begin(), path.end())), failure);
    if (failure) file_size_ = 0;
    bytes_read_ = 0;
    ++files_begun_;
    show();
}

void ProgressBar::show() {
    const auto now = std::chrono::steady_clock::now();
    if (!is_wanted_ || now < next_) return;
    next_ = now + std::chrono::milliseconds(100);
    is_shown_ = true;
    constexpr std::size_t width = 30;
    const double part =
        file_size_ == 0
            ? 0.0
            : std::min(1.0, static_cast<double>(bytes_read_) / static_cast<double>(file_size_));
    const double done = (static_cast<double>(files_begun_ - 1) + part) /
                        static_cast<double>(std::max<std::size_t>(file_count_, 1));
    const auto filled = static_cast<std::size_t>(done * width);
    fmt::print(stderr, "\r\x1b[K[{}{}] {:3.0f} %  {:.38}", std::string(filled, '#'),
               std::string(width - filled, '.'), 100 * done, path_);
    std::fflush(stderr);
}

}  // namespace edgescope
