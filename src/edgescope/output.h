// The program's output: collected in memory, then written in one piece to a file or the standard
// output stream, so that a run that fails leaves nothing half done.
#pragma once

#include <fmt/compile.h>
#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace edgescope {

class Output {
public:
    // `path` (UTF-8) names the file; empty stands for the standard output stream.
    explicit Output(std::string path) : path_(std::move(path)) {}

    // True if the output goes to a terminal that shows colours.
    bool is_coloured() const;

    // True if the output goes to a terminal.
    bool is_shown() const;

    template <typename... Arguments>
    void print(fmt::format_string<Arguments...> format, Arguments&&... arguments) {
        fmt::format_to(fmt::appender(last_), format, std::forward<Arguments>(arguments)...);
        end_chunk();
    }
    // The same with a format made by FMT_COMPILE, for what is written very often.
    template <typename Format, typename... Arguments,
              std::enable_if_t<fmt::detail::is_compiled_string<Format>::value, int> = 0>
    void print(const Format& format, Arguments&&... arguments) {
        fmt::format_to(fmt::appender(last_), format, std::forward<Arguments>(arguments)...);
        end_chunk();
    }
    void append(std::string_view text) {
        last_.append(text);
        end_chunk();
    }

    // Writes what was collected. A file appears, or is replaced, only once all of it is on the
    // disk. False, with a message, if that isn't possible.
    [[nodiscard]] bool write() const;

private:
    // Text stands in chunks, so that it isn't copied as it grows.
    static constexpr std::size_t chunk_size = std::size_t{1} << 20;

    void end_chunk() {
        if (last_.size() >= chunk_size) begin_chunk();
    }
    void begin_chunk();

    // Gives all of the text, piece by piece, to `write` until that gives false.
    template <typename Write>
    bool write_chunks(const Write& write) const {
        return std::all_of(full_.begin(), full_.end(),
                           [&](const auto& chunk) { return write(chunk.data(), chunk.size()); }) &&
               write(last_.data(), last_.size());
    }
    bool write_file() const;
    bool write_stream(const std::filesystem::path& path) const;

    std::string path_;
    std::vector<fmt::memory_buffer> full_;
    fmt::memory_buffer last_;
};

}  // namespace edgescope
