#define NOMINMAX
#define WIN32_LEAN_AND_MEAN
#include <io.h>
#include <windows.h>

#include <array>
#include <cstring>
#include <limits>
#include <new>
#include <stdexcept>

#include "diag/platform.h"

namespace diag::platform {
namespace {

// The system has no longer path and no longer value of a variable.
using LongText = std::array<wchar_t, 32768>;

// The size as the system's conversions take it; 0, which they refuse, if it is beyond their range.
int conversion_size(std::size_t size) {
    constexpr std::size_t largest = std::numeric_limits<int>::max();
    return size > largest ? 0 : static_cast<int>(size);
}

// Gives the text this size; false if there is no memory for it.
template <class Text>
bool set_size(Text& text, int size) {
    try {
        text.resize(static_cast<std::size_t>(size));
    } catch (const std::bad_alloc&) {
        return false;
    } catch (const std::length_error&) {
        return false;
    }
    return true;
}

// The text that the system put into the buffer; nothing if it reported no length, or one that
// doesn't fit.
std::optional<std::string> text_of(const LongText& buffer, DWORD length) {
    if (length == 0 || length >= buffer.size()) return std::nullopt;
    return wide_to_utf8({buffer.data(), length});
}

std::FILE* open_in_mode(const char* path, const char* mode) {
    const std::optional<std::wstring> wide = utf8_to_wide(path);
    if (!wide) return std::fopen(path, mode);
    return _wfopen(wide->c_str(), std::wstring(mode, mode + std::strlen(mode)).c_str());
}

}  // namespace

const char path_list_separator = ';';
const std::string_view executable_suffix = ".exe";

std::optional<std::wstring> utf8_to_wide(std::string_view text) {
    std::wstring wide;
    if (text.empty()) return wide;
    const int size = conversion_size(text.size());
    const int wide_size = MultiByteToWideChar(CP_UTF8, 0, text.data(), size, nullptr, 0);
    if (wide_size == 0 || !set_size(wide, wide_size)) return std::nullopt;
    MultiByteToWideChar(CP_UTF8, 0, text.data(), size, wide.data(), wide_size);
    return wide;
}

std::optional<std::string> wide_to_utf8(std::wstring_view text) {
    std::string narrow;
    if (text.empty()) return narrow;
    const int size = conversion_size(text.size());
    const int narrow_size =
        WideCharToMultiByte(CP_UTF8, 0, text.data(), size, nullptr, 0, nullptr, nullptr);
    if (narrow_size == 0 || !set_size(narrow, narrow_size)) return std::nullopt;
    WideCharToMultiByte(CP_UTF8, 0, text.data(), size, narrow.data(), narrow_size, nullptr,
                        nullptr);
    return narrow;
}

bool can_read(const char* path) {
    constexpr int read_mode = 4;
    const std::optional<std::wstring> wide = utf8_to_wide(path);
    return (wide ? _waccess(wide->c_str(), read_mode) : _access(path, read_mode)) == 0;
}

FileKind kind_of_file(const char* path) {
    const std::optional<std::wstring> wide = utf8_to_wide(path);
    if (!wide) return FileKind::ordinary;
    constexpr DWORD share = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    const HANDLE file = CreateFileW(wide->c_str(), FILE_READ_ATTRIBUTES, share, nullptr,
                                    OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (file == INVALID_HANDLE_VALUE) return FileKind::ordinary;
    const DWORD type = GetFileType(file);
    CloseHandle(file);
    if (type == FILE_TYPE_PIPE) return FileKind::stream;
    return type == FILE_TYPE_CHAR ? FileKind::device : FileKind::ordinary;
}

std::FILE* open_for_reading(const char* path) { return open_in_mode(path, "rb"); }

std::FILE* open_text_for_reading(const char* path) { return open_in_mode(path, "r"); }

std::optional<std::string> environment_value(const char* name) {
    const std::optional<std::wstring> wide = utf8_to_wide(name);
    if (!wide) return std::nullopt;
    // The room that the value needs, its terminator included: only an absent one needs none.
    const DWORD room = GetEnvironmentVariableW(wide->c_str(), nullptr, 0);
    if (room == 0) return std::nullopt;
    if (room == 1) return "";
    LongText value;
    return text_of(value, GetEnvironmentVariableW(wide->c_str(), value.data(), value.size()));
}

std::optional<std::string> working_directory() {
    LongText path;
    return text_of(path, GetCurrentDirectoryW(path.size(), path.data()));
}

std::optional<std::string> module_path() {
    LongText path;
    return text_of(path, GetModuleFileNameW(nullptr, path.data(), path.size()));
}

// A closed pipe and a full disk are ordinary failures here; a drive without a disk would ask the
// user for one.
void let_writes_fail() { SetErrorMode(GetErrorMode() | SEM_FAILCRITICALERRORS); }

// The system sets no limit on what a process may open.
void raise_open_file_limit() {}

// The stack's size stands in the program's file.
void raise_stack_limit() {}

}  // namespace diag::platform
