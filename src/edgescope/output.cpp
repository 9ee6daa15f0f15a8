#include "edgescope/output.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <system_error>

#include "edgescope/message.h"
#include "edgescope/terminal.h"

namespace edgescope {

namespace files = std::filesystem;

void Output::begin_chunk() {
    constexpr std::size_t most_usual_text = std::size_t{1} << 16;
    full_.push_back(std::move(last_));
    last_ = fmt::memory_buffer();
    last_.reserve(chunk_size + most_usual_text);
}

bool Output::is_coloured() const {
    return path_.empty() && !colours_are_unwanted() && enable_colour(stdout);
}

bool Output::is_shown() const { return path_.empty() && is_terminal(stdout); }

bool Output::write() const {
    if (!path_.empty()) return write_file();
    const bool written = write_chunks([](const char* text, std::size_t size) {
        return std::fwrite(text, 1, size, stdout) == size;
    });
    if (written && std::fflush(stdout) == 0) return true;
    print_error("standard output", std::generic_category().message(errno));
    return false;
}

static bool fail(const std::string& path, const std::error_code& reason) {
    print_error(path, reason ? reason.message() : "can't be written");
    return false;
}

bool Output::write_stream(const files::path& path) const {
    std::ofstream stream(path, std::ios::binary);
    write_chunks([&](const char* text, std::size_t size) {
        return !stream.write(text, static_cast<std::streamsize>(size)).fail();
    });
    stream.close();
    return !stream.fail();
}

bool Output::write_file() const {
    files::path target(std::u8string(path_.begin(), path_.end()));
    std::error_code failure;
    const files::file_status status = files::status(target, failure);
    errno = 0;
    // A device or a pipe takes the bytes as they come.
    if (files::exists(status) && !files::is_regular_file(status))
        return write_stream(target) || fail(path_, {errno, std::generic_category()});
    if (files::exists(status)) target = files::canonical(target, failure);  // behind links
    files::path unfinished = target;
    unfinished += "." + std::to_string(std::random_device()()) + ".tmp";
    if (!write_stream(unfinished)) {
        const std::error_code reason(errno, std::generic_category());
        files::remove(unfinished, failure);
        return fail(path_, reason);
    }
    files::rename(unfinished, target, failure);
    if (!failure) return true;
    std::error_code ignored;
    files::remove(unfinished, ignored);
    return fail(path_, failure);
}

}  // namespace edgescope
