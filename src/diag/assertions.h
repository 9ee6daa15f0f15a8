// Assertions and internal errors: if what must never happen does, the program prints one line on
// the standard error stream and ends with status 1. Nothing is closed or removed.
#pragma once

#include "diag/printf_like.h"

namespace diag {

// Print "<source>:<line> ASSERTX(<expression>)", the second one with ": <text>" after it.
[[noreturn]] void assert_failed(const char* source, int line, const char* expression);
[[noreturn]] void assert_failed_text(const char* source, int line, const char* expression,
                                     const char* text);

// Prints "INTERNAL ERROR: " and the formatted text.
[[noreturn]] void internal_error(const char* format, ...) DIAG_PRINTF_LIKE(1, 2);

// The part of a source file's path after the source root, as assertions print it.
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
