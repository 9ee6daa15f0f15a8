// The safety net under the whole tool: assertions, internal errors, the guarded copy, and the reads
// of the environment and of a path's access. A failure here has no recovery: one line on the
// standard error stream, then the end of the program with status 1.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "diag/reporter.h"

namespace diag {

// Flushes the C streams and ends the process at once: no destructor runs, nothing is closed.
[[noreturn]] void end_program(int status);

// Print "<source>:<line> ASSERTX(<expression>)", the second one with ": <text>" behind it.
[[noreturn]] void assert_failed(const char* source, int line, const char* expression);
[[noreturn]] void assert_failed_text(const char* source, int line, const char* expression,
                                     const char* text);

// Prints "INTERNAL ERROR: " and the formatted text.
[[noreturn]] void internal_error(const char* format, ...) DIAG_PRINTF_LIKE(1, 2);

// Copies at most `size` bytes as a bounded string copy does: stops behind the source's end, pads
// with zeros, and writes no terminator if the source doesn't fit. An absent destination is fatal.
void checked_strncpy(char* destination, const char* source, std::size_t size);

// The value of an environment variable as UTF-8; nothing if it isn't set.
std::optional<std::string> environment_value(const char* name);

// What `file_access` asks for.
enum class AccessMode { read };

// 0 if `path` (UTF-8) can be accessed in this mode, another value if not.
int file_access(const char* path, AccessMode mode);

// The part of a source file's path behind the source root, as assertions print it.
constexpr const char* path_in_source_root(const char* path) {
    const char* result = path;
    for (const char* p = path; *p != '\0'; ++p) {
        if (p[0] == 's' && p[1] == 'r' && p[2] == 'c' && (p[3] == '/' || p[3] == '\\'))
            result = p + 4;
    }
    return result;
}

}  // namespace diag

// Ends the program unless the expression holds; the second form adds a text.
#define ASSERTX(expression) \
    ((expression)           \
         ? void(0)          \
         : ::diag::assert_failed(::diag::path_in_source_root(__FILE__), __LINE__, #expression))
#define ASSERTX_TEXT(expression, text)                                                          \
    ((expression) ? void(0)                                                                     \
                  : ::diag::assert_failed_text(::diag::path_in_source_root(__FILE__), __LINE__, \
                                               #expression, text))
