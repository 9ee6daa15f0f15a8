#include "diag/safety.h"

#include <cstdarg>

#include "diag/platform.h"

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

void checked_strncpy(char* destination, const char* source, std::size_t size) {
    if (destination == nullptr) {
        trace_print("FATAL ERROR: checked_strncpy invalid parameters\n");
        end_program(1);
    }
    std::size_t i = 0;
    for (; i < size && source[i] != '\0'; ++i) destination[i] = source[i];
    for (; i < size; ++i) destination[i] = '\0';
}

std::optional<std::string> environment_value(const char* name) {
    return platform::environment_value(name);
}

int file_access(const char* path, AccessMode /*mode*/) { return platform::can_read(path) ? 0 : -1; }

}  // namespace diag
