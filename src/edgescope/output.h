// The program's output: collected in memory, then written in one piece to a file or the standard
// output stream, so that a run that fails leaves nothing half done.
#pragma once

#include <fmt/compile.h>
#include <fmt/format.h>

#include <string>
#include <utility>

namespace edgescope {

class Output {
public:
    // `path` (UTF-8) names the file; empty stands for the standard output stream.
    explicit Output(std::string path) : path_(std::move(path)) {}

    // True if the output goes to a terminal that shows colours.
    bool is_coloured() const;

    template <typename... Arguments>
    void print(fmt::format_string<Arguments...> format, Arguments&&... arguments) {
        fmt::format_to(fmt::appender(text_), format, std::forward<Arguments>(arguments)...);
    }
    // The same with a format made by FMT_COMPILE, for what is written very often.
    template <typename Format, typename... Arguments,
              std::enable_if_t<fmt::detail::is_compiled_string<Format>::value, int> = 0>
    void print(const Format& format, Arguments&&... arguments) {
        fmt::format_to(fmt::appender(text_), format, std::forward<Arguments>(arguments)...);
    }
    void append(std::string_view text) { text_.append(text); }

    // Writes what was collected. A file appears, or is replaced, only once all of it is on the
    // disk. False, with a message, if that isn't possible.
    [[nodiscard]] bool write() const;

private:
    bool write_file() const;

    std::string path_;
    fmt::memory_buffer text_;
};

}  // namespace edgescope
