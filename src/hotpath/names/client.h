// Small pieces of the profile library that stand under the name stages and the traces: a growing
// text, the key name of a function in an unnamed namespace, and the normal form of a path. None of
// it opens a file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "diag/printf_like.h"

namespace hotpath {

// A text that grows at its end and is always terminated. Owned by whoever builds it up; exhausted
// memory ends the program.
class TextBuffer {
public:
    TextBuffer() = default;
    ~TextBuffer();
    TextBuffer(const TextBuffer&) = delete;
    TextBuffer& operator=(const TextBuffer&) = delete;

    // Room for `count` further bytes and a terminator.
    void reserve(std::int64_t count);

    // Appends `src_len` bytes. Nothing happens for none, or for an absent source; a negative count
    // ends the program.
    void append_bytes(const char* source, std::int64_t src_len);

    // Appends a zero-terminated text. Nothing happens for an absent one.
    void append(const char* text);

    const char* text() const { return text_; }  // null until something was appended
    std::int64_t length() const { return length_; }
    std::int64_t capacity() const { return capacity_; }

private:
    static constexpr std::int64_t increment = 512;

    char* text_ = nullptr;
    std::int64_t capacity_ = 0;
    std::int64_t length_ = 0;
};

// The name under which a function's profile is kept, if it differs from the mangled `name`: each
// encoded path of an unnamed namespace, "__N_<length>_<path>", becomes "(anon ns)". Nothing if the
// name has no such path or one of them is malformed.
[[nodiscard]] std::optional<std::string> key_name_for(const char* name);

// The normal form of a path: absolute, upper case, `\` between the components, `.` and `..`
// resolved. An absent path stands for the working directory. A path that would climb above its root
// comes back unresolved. The text lives until this thread's next call. Ends the program if the
// working directory can't be found, or if it and a relative path are too long together.
const char* hotpath_Create_Full_Path(const char* path);

// A formatted print that writes at most `size` bytes, the last of them a terminator.
void bounded_print(char* target, std::size_t size, const char* format, ...) DIAG_PRINTF_LIKE(3, 4);

}  // namespace hotpath
