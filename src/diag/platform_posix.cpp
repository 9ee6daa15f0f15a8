#include <stdlib.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <new>
#include <stdexcept>

#include "diag/platform.h"

namespace diag::platform {
namespace {

constexpr char32_t replacement = 0xFFFD;

void append_utf8(std::string& text, char32_t c) {
    if (c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) c = replacement;
    const auto tail = [&](int shift) { text += static_cast<char>(0x80 | ((c >> shift) & 0x3F)); };
    if (c < 0x80) {
        text += static_cast<char>(c);
    } else if (c < 0x800) {
        text += static_cast<char>(0xC0 | (c >> 6));
        tail(0);
    } else if (c < 0x10000) {
        text += static_cast<char>(0xE0 | (c >> 12));
        tail(6);
        tail(0);
    } else {
        text += static_cast<char>(0xF0 | (c >> 18));
        tail(12);
        tail(6);
        tail(0);
    }
}

bool is_tail(char byte) { return (static_cast<std::uint8_t>(byte) & 0xC0) == 0x80; }

// The number of bytes of the character that begins with `lead`; 0 if none does.
std::size_t sequence_length(std::uint8_t lead) {
    if (lead < 0x80) return 1;
    if (lead < 0xC2) return 0;  // a tail byte, or a lead of ASCII in two bytes
    if (lead < 0xE0) return 2;
    if (lead < 0xF0) return 3;
    return lead < 0xF5 ? 4 : 0;
}

bool is_character(char32_t c, std::size_t length) {
    if (length == 3) return c >= 0x800 && (c < 0xD800 || c > 0xDFFF);
    return length != 4 || (c >= 0x10000 && c <= 0x10FFFF);
}

// Takes the first character off a text that isn't empty; a byte that begins none gives the
// replacement.
char32_t take_character(std::string_view& text) {
    const auto lead = static_cast<std::uint8_t>(text.front());
    const std::size_t length = sequence_length(lead);
    const std::string_view tail = text.substr(1, length < 2 ? 0 : length - 1);
    text.remove_prefix(1);
    if (length == 1) return lead;
    if (length == 0 || tail.size() + 1 != length || !std::all_of(tail.begin(), tail.end(), is_tail))
        return replacement;
    char32_t c = lead & (0x7FU >> length);
    for (const char byte : tail) c = (c << 6) | (static_cast<std::uint8_t>(byte) & 0x3F);
    if (!is_character(c, length)) return replacement;
    text.remove_prefix(tail.size());
    return c;
}

// Makes room for `size` characters; false if there is no memory for them.
template <class Text>
bool make_room(Text& text, std::size_t size) {
    try {
        text.reserve(size);
    } catch (const std::bad_alloc&) {
        return false;
    } catch (const std::length_error&) {
        return false;
    }
    return true;
}

}  // namespace

const char path_list_separator = ':';
const std::string_view executable_suffix;

std::optional<std::wstring> utf8_to_wide(std::string_view text) {
    std::wstring wide;
    if (!make_room(wide, text.size())) return std::nullopt;
    while (!text.empty()) wide += static_cast<wchar_t>(take_character(text));
    return wide;
}

std::optional<std::string> wide_to_utf8(std::wstring_view text) {
    constexpr std::size_t longest_sequence = 4;
    std::string narrow;
    if (!make_room(narrow, text.size() * longest_sequence)) return std::nullopt;
    for (const wchar_t c : text) append_utf8(narrow, static_cast<char32_t>(c));
    return narrow;
}

bool can_read(const char* path) { return access(path, R_OK) == 0; }

FileKind kind_of_file(const char* path) {
    struct stat status {};
    if (stat(path, &status) != 0) return FileKind::ordinary;
    if (S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode)) return FileKind::stream;
    if (S_ISCHR(status.st_mode) || S_ISBLK(status.st_mode)) return FileKind::device;
    return FileKind::ordinary;
}

std::FILE* open_for_reading(const char* path) { return std::fopen(path, "rb"); }

std::FILE* open_text_for_reading(const char* path) { return std::fopen(path, "r"); }

std::optional<std::string> environment_value(const char* name) {
    const char* const value = getenv(name);
    if (value == nullptr) return std::nullopt;
    return value;
}

std::optional<std::string> working_directory() {
    std::string path(256, '\0');
    while (getcwd(path.data(), path.size()) == nullptr) {
        if (errno != ERANGE) return std::nullopt;
        path.resize(path.size() * 2);
    }
    path.resize(path.find('\0'));
    return path;
}

std::optional<std::string> module_path() {
    std::array<char, 4096> path;
    const ssize_t size = readlink("/proc/self/exe", path.data(), path.size());
    if (size <= 0 || static_cast<std::size_t>(size) == path.size()) return std::nullopt;
    return std::string(path.data(), static_cast<std::size_t>(size));
}

void let_writes_fail() {
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
}

void raise_open_file_limit() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

void raise_stack_limit() {
    // The system keeps so much room below the stack, however small its limit was at the start.
    constexpr rlim_t wanted = 128 * 1024 * 1024;
    rlimit limit{};
    if (getrlimit(RLIMIT_STACK, &limit) != 0 || limit.rlim_cur >= wanted) return;
    limit.rlim_cur = std::min(wanted, limit.rlim_max);
    setrlimit(RLIMIT_STACK, &limit);
}

}  // namespace diag::platform
