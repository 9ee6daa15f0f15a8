#include "diag/trace.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

namespace diag {

std::uint32_t trace_flags = 0;
std::uint32_t reader_trace_flags = 0;

void trace_print(const char* format, ...) {
    std::va_list fill_ins;
    va_start(fill_ins, format);
    std::vfprintf(stderr, format, fill_ins);
    va_end(fill_ins);
}

void trace_texts(std::initializer_list<std::string_view> texts) {
    for (const std::string_view text : texts)
        std::fwrite(text.data(), 1, std::min(text.find('\0'), text.size()), stderr);
    // A formatted print goes out at once on every system, a block not on Windows.
    std::fflush(stderr);
}

}  // namespace diag
