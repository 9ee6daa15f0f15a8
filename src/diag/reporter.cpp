#include "diag/reporter.h"

#include <cstdarg>
#include <cstdlib>
#include <cstring>

#include "diag/message_catalogue.h"
#include "diag/safety.h"

namespace diag {

std::uint32_t trace_flags = 0;
std::uint32_t reader_trace_flags = 0;

namespace {

std::int32_t errors = 0;

// The words of the severities, from `error` on.
constexpr std::int32_t severity_words[] = {
    DIAG_severity_error,
    DIAG_severity_error_non_discretion,
    DIAG_severity_error_cmdline,
    DIAG_severity_error_internal,
    DIAG_severity_error_catastrophic,
    DIAG_severity_warning,
    DIAG_severity_warning_cmdline,
    DIAG_severity_remark,
    DIAG_severity_remark_cmdline,
    DIAG_severity_text,
};

// A position that the catalogue doesn't have must not print another row: the caller's fill-ins
// don't match its conversions.
MessageRow row_at(std::int32_t position) {
    if (!has_row(position)) report_fatal(DIAG_diag_id_not_found, position);
    return get_row(find_row(position));
}

const char* word_of(Severity severity) {
    return row_at(severity_words[static_cast<int>(severity) - 1]).text;
}

bool is_error(Severity severity) {
    return severity >= Severity::error && severity <= Severity::error_catastrophic;
}

// Only `error` among the errors shows its number.
bool shows_number(Severity severity) { return severity == Severity::error || !is_error(severity); }

// The formatted text, sized by measuring. The system's code page is UTF-8 everywhere, so the text
// passes as it stands.
ReporterText format_text(const char* format, std::va_list fill_ins) {
    std::va_list again;
    va_copy(again, fill_ins);
    const int length = std::vsnprintf(nullptr, 0, format, again);
    va_end(again);
    const std::size_t size = length < 0 ? 0 : static_cast<std::size_t>(length);
    ReporterText text(static_cast<char*>(reporter_malloc(size + 1)));
    text.get()[0] = '\0';
    std::vsnprintf(text.get(), size + 1, format, fill_ins);
    return text;
}

// The whole line at once, so that lines of processes that share the stream don't mix.
ReporterText compose_line(Severity severity, const MessageRow& row, const char* text) {
    char number[32] = "";
    if (shows_number(severity)) std::snprintf(number, sizeof(number), " #%d", row.id);
    const char* const word = word_of(severity);
    const std::size_t size = std::strlen(word) + std::strlen(number) + std::strlen(text) + 4;
    ReporterText line(static_cast<char*>(reporter_malloc(size)));
    std::snprintf(line.get(), size, "%s%s: %s\n", word, number, text);
    return line;
}

void report(Severity given, std::int32_t position, std::va_list fill_ins) {
    const MessageRow row = row_at(position);
    const Severity severity =
        given == Severity::from_row ? static_cast<Severity>(row.severity) : given;
    if (is_error(severity)) ++errors;
    const ReporterText text = format_text(row.text, fill_ins);
    std::fputs(compose_line(severity, row, text.get()).get(), stderr);
    std::fflush(stderr);
    if (severity == Severity::error_catastrophic) end_program(1);
}

// Needs no memory, since there is none.
[[noreturn]] void report_no_memory() {
    ++errors;
    std::fprintf(stderr, "%s: %s\n", word_of(Severity::error_catastrophic),
                 row_at(DIAG_out_of_memory).text);
    end_program(1);
}

// The message shows the low part of the size alone.
[[noreturn]] void report_no_block(std::size_t size) {
    report_fatal(PT_out_of_memory, static_cast<std::int32_t>(static_cast<std::uint32_t>(size)));
}

// The C library may answer a request for nothing with nothing, which is no failure.
std::size_t at_least_one(std::size_t size) { return size == 0 ? 1 : size; }

}  // namespace

std::int32_t error_count() { return errors; }

void report_message(Severity severity, std::int32_t position, ...) {
    std::va_list fill_ins;
    va_start(fill_ins, position);
    report(severity, position, fill_ins);
    va_end(fill_ins);
}

void report_fatal(std::int32_t position, ...) {
    std::va_list fill_ins;
    va_start(fill_ins, position);
    report(Severity::error, position, fill_ins);
    va_end(fill_ins);
    end_program(1);
}

void report_usage_error(int exit_status, std::int32_t position,
                        void (*usage)(const char* program_name), const char* program_name, ...) {
    std::va_list fill_ins;
    va_start(fill_ins, program_name);
    report(Severity::error, position, fill_ins);
    va_end(fill_ins);
    usage(program_name);
    end_program(exit_status);
}

void report_warning(std::int32_t position, ...) {
    std::va_list fill_ins;
    va_start(fill_ins, position);
    report(Severity::warning, position, fill_ins);
    va_end(fill_ins);
}

void report_remark(std::int32_t position, ...) {
    std::va_list fill_ins;
    va_start(fill_ins, position);
    report(Severity::remark, position, fill_ins);
    va_end(fill_ins);
}

void print_message(std::FILE* stream, std::int32_t position, ...) {
    const MessageRow row = row_at(position);
    std::va_list fill_ins;
    va_start(fill_ins, position);
    const ReporterText text = format_text(row.text, fill_ins);
    va_end(fill_ins);
    std::fputs(text.get(), stream);
    std::fputc('\n', stream);
}

ReporterText message_text(std::int32_t position) {
    const MessageRow row = row_at(position);
    const std::size_t size = std::strlen(row.text) + 1;
    ReporterText copy(static_cast<char*>(reporter_malloc(size)));
    std::memcpy(copy.get(), row.text, size);
    return copy;
}

void trace_print(const char* format, ...) {
    std::va_list fill_ins;
    va_start(fill_ins, format);
    std::vfprintf(stderr, format, fill_ins);
    va_end(fill_ins);
}

void* checked_malloc(std::size_t size) {
    void* const block = std::malloc(at_least_one(size));
    if (block == nullptr) report_no_block(size);
    return block;
}

void* checked_realloc(void* block, std::size_t size) {
    void* const resized = std::realloc(block, at_least_one(size));
    if (resized == nullptr) report_no_block(size);
    return resized;
}

void* reporter_malloc(std::size_t size) {
    void* const block = std::malloc(at_least_one(size));
    if (block == nullptr) report_no_memory();
    return block;
}

}  // namespace diag
