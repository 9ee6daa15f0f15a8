#include "hotpath/names/client.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "diag/ascii.h"
#include "diag/assertions.h"
#include "diag/checked_memory.h"
#include "diag/decimal_text.h"
#include "diag/platform.h"
#include "diag/trace.h"

namespace hotpath {

TextBuffer::~TextBuffer() { std::free(text_); }

void TextBuffer::reserve(std::int64_t count) {
    if (capacity_ == 0) {
        capacity_ = increment + count + 1;
        text_ = static_cast<char*>(diag::checked_malloc(static_cast<std::size_t>(capacity_)));
        text_[0] = '\0';
    } else if (length_ + count >= capacity_) {
        capacity_ += count + increment;
        text_ =
            static_cast<char*>(diag::checked_realloc(text_, static_cast<std::size_t>(capacity_)));
    }
}

void TextBuffer::append_bytes(const char* source, std::int64_t src_len) {
    ASSERTX(src_len >= 0);
    if (src_len == 0 || source == nullptr) return;
    reserve(src_len);
    std::memcpy(text_ + length_, source, static_cast<std::size_t>(src_len));
    length_ += src_len;
    text_[length_] = '\0';
}

void TextBuffer::append(const char* text) {
    if (text == nullptr) return;
    const std::size_t length = std::strlen(text);
    reserve(static_cast<std::int64_t>(length));
    std::memcpy(text_ + length_, text, length + 1);
    length_ += static_cast<std::int64_t>(length);
}

namespace {

constexpr std::string_view path_mark = "__N_";

// For debugging the library: show each key name as it is made. Nothing sets it.
constexpr bool trace_key_names = false;

// What follows an encoded path in `text`, which begins after the path's "__N_"; nothing if the
// path is malformed.
std::optional<std::string_view> skip_encoded_path(std::string_view text) {
    const std::int32_t length = diag::decimal_prefix_32(text);
    const std::size_t underscore = text.find('_');
    if (underscore == std::string_view::npos || length < 0) return std::nullopt;
    const std::string_view path = text.substr(underscore + 1);
    const auto count = static_cast<std::size_t>(length);
    if (count > path.size()) return std::nullopt;
    return path.substr(count);
}

void append(TextBuffer& buffer, std::string_view text) {
    buffer.append_bytes(text.data(), static_cast<std::int64_t>(text.size()));
}

}  // namespace

std::optional<std::string> key_name_for(const char* name) {
    std::string_view rest = name;
    std::size_t mark = rest.find(path_mark);
    if (mark == std::string_view::npos) return std::nullopt;
    TextBuffer key_name;
    // A buffer grows by little. The shortest path has five characters and becomes nine.
    key_name.reserve(2 * static_cast<std::int64_t>(rest.size()));
    for (; mark != std::string_view::npos; mark = rest.find(path_mark)) {
        const auto after_path = skip_encoded_path(rest.substr(mark + path_mark.size()));
        if (!after_path) return std::nullopt;
        append(key_name, rest.substr(0, mark));
        key_name.append("(anon ns)");
        rest = *after_path;
    }
    append(key_name, rest);
    if (trace_key_names) {
        diag::trace_print("Unnamed namespace: Using %s as key name for %s\n", key_name.text(),
                          name);
    }
    return std::string(key_name.text(), static_cast<std::size_t>(key_name.length()));
}

namespace {

constexpr std::size_t path_limit = 260;
constexpr char separator = '\\';

// The working texts of the full-path operation. One for each thread; the results point into it.
struct FullPathState {
    std::string working_directory;
    std::string joined;
    std::string folded;
    std::string resolved;
};

thread_local FullPathState full_path_state;

bool begins_with_drive(std::string_view path) {
    return path.size() >= 2 && diag::is_letter(path[0]) && path[1] == ':';
}

bool is_absolute(std::string_view path) {
    return path.starts_with('/') || path.starts_with('\\') || begins_with_drive(path);
}

std::string ask_working_directory() {
    auto directory = diag::platform::working_directory();
    if (!directory || directory->size() >= path_limit)
        diag::internal_error("HOTPATH_Full_Path: getcwd failed");
    return *std::move(directory);
}

std::string join_path(const std::string& directory, const char* path) {
    if (directory.size() + std::strlen(path) + 2 > path_limit)
        diag::internal_error("hotpath_Create_Full_Path: buffer too small");
    char joined[path_limit];
    bounded_print(joined, sizeof joined, "%s%c%s", directory.c_str(), separator, path);
    return joined;
}

// Upper case, and one `\` for each run of separators of either kind.
std::string fold_path(std::string_view path) {
    std::string folded;
    folded.reserve(path.size());
    for (char c : path) {
        if (c == '/') c = separator;
        if (c == separator && folded.ends_with(separator)) continue;
        folded += diag::to_upper(c);
    }
    return folded;
}

// True if a component can begin at `place`.
bool begins_component(std::string_view folded, std::size_t place) {
    return place == 0 || folded[place - 1] == separator ||
           (place == 2 && begins_with_drive(folded));
}

// Cuts after the last `\`. False if there is none.
bool cut_behind_separator(std::string& path) {
    const std::size_t last = path.rfind(separator);
    if (last == std::string::npos) return false;
    path.resize(last + 1);
    return true;
}

// Removes the last component of a path that ends in `\`. False if there is none to remove.
bool remove_last_component(std::string& path) {
    if (path.size() < 2 || !path.ends_with(separator)) return false;
    path.pop_back();
    return cut_behind_separator(path) && path.size() != 2;
}

// Copies the folded path without its `.\` and `..\` components. False where `..\` can't be
// resolved.
bool resolve_inner_dots(std::string_view folded, std::string& resolved) {
    for (std::size_t i = 0; i < folded.size();) {
        const std::string_view rest = folded.substr(i);
        if (rest.starts_with(".\\") && begins_component(folded, i)) {
            i += 2;
        } else if (rest.starts_with("..\\")) {
            if (!remove_last_component(resolved)) return false;
            i += 3;
        } else {
            resolved += folded[i++];
        }
    }
    return true;
}

// The same for a `.` or `..` at the end.
bool resolve_last_dots(std::string& resolved) {
    const std::size_t last = resolved.rfind(separator);
    if (last == std::string::npos) return true;
    const std::string_view component = std::string_view(resolved).substr(last);
    if (component == "\\.") {
        resolved.pop_back();
    } else if (component == "\\.." && last != 0) {
        resolved.resize(last);
        return cut_behind_separator(resolved);
    }
    return true;
}

}  // namespace

const char* hotpath_Create_Full_Path(const char* path) {
    FullPathState& state = full_path_state;
    state.working_directory = ask_working_directory();
    if (path == nullptr) {
        path = state.working_directory.c_str();
    } else if (!is_absolute(path)) {
        state.joined = join_path(state.working_directory, path);
        path = state.joined.c_str();
    }
    state.folded = fold_path(path);
    if (state.folded.find('.') == std::string::npos) return state.folded.c_str();
    state.resolved.clear();
    const bool is_resolved =
        resolve_inner_dots(state.folded, state.resolved) && resolve_last_dots(state.resolved);
    return is_resolved ? state.resolved.c_str() : state.folded.c_str();
}

// The tool never leaves the "C" locale that a program starts in, so no user's setting reaches the
// form of a number.
void bounded_print(char* target, std::size_t size, const char* format, ...) {
    std::va_list fill_ins;
    va_start(fill_ins, format);
    std::vsnprintf(target, size, format, fill_ins);
    va_end(fill_ins);
}

}  // namespace hotpath
