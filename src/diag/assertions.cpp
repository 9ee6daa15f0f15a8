#include "diag/assertions.h"

#include <cstdarg>
#include <cstdio>

#include "diag/end_program.h"
#include "diag/trace.h"

namespace diag {

void assert_failed(const char* source, int line, const char* expression) {
    trace_print("%s:%d ASSERTX(%s)\n", source, line, expression);
    end_program(1);
}

void assert_failed_text(const char* source, int line, const char* expression, const char* text) {
    trace_print("%s:%d ASSERTX(%s): %s\n", source, line, expression, text);
    end_program(1);
}

void internal_error(const char* format, ...) {
    std::va_list fill_ins;
    va_start(fill_ins, format);
    std::fputs("INTERNAL ERROR: ", stderr);
    std::vfprintf(stderr, format, fill_ins);
    std::fputc('\n', stderr);
    va_end(fill_ins);
    end_program(1);
}

}  // namespace diag
