// The one way out for everything that the tool says on the standard error stream: numbered
// diagnostics, plain catalogue texts and developer traces. What a message says stands in the
// catalogue; when it is said is the caller's affair.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string_view>

#if defined(__GNUC__)
#define DIAG_PRINTF_LIKE(text, first) __attribute__((format(printf, text, first)))
#else
#define DIAG_PRINTF_LIKE(text, first)
#endif

namespace diag {

enum class Severity : std::int32_t {
    from_row = 0,  // the row's own severity
    error = 1,
    error_non_discretion = 2,
    error_cmdline = 3,
    error_internal = 4,
    error_catastrophic = 5,
    warning = 6,
    warning_cmdline = 7,
    remark = 8,
    remark_cmdline = 9,
    text = 10,
};

// Bits of `trace_flags`; other bits do nothing.
enum TraceBit : std::uint32_t {
    TRACE_DB_ERRORS = 1,  // why a database step failed
    TRACE_DB_CALLS = 2,   // the conversation with the database
    TRACE_DB_LOAD = 4,    // each function loaded from a database
    TRACE_DB_STORE = 8,   // each function written to a database
};

// Bits of `reader_trace_flags`.
enum ReaderTraceBit : std::uint32_t {
    READER_TRACE_CHOICE = 0x1,     // choice of reader, header parse, name rewriting
    READER_TRACE_RECORDS = 0x1000  // rows and records
};

// The value of `-trace`; set once before any input is read.
extern std::uint32_t trace_flags;

// A second word of trace bits that no option sets, so that its traces stay silent.
extern std::uint32_t reader_trace_flags;

// Number of diagnostics of an error severity printed so far. Nothing decides anything by it.
std::int32_t error_count();

// Prints one diagnostic line, "<word> #<id>: <text>", on the standard error stream and flushes it.
// The fill-ins must match the conversions of the row's text. Returns, except at
// `error_catastrophic`, which ends the program with status 1.
void report_message(Severity severity, std::int32_t position, ...);

// Prints the message as an error, whatever the row says, and ends the program with status 1.
[[noreturn]] void report_fatal(std::int32_t position, ...);

// Prints the message as an error, calls `usage(program_name)`, ends the program.
[[noreturn]] void report_usage_error(int exit_status, std::int32_t position,
                                     void (*usage)(const char* program_name),
                                     const char* program_name, ...);

// Print the message as a warning or a remark, and return.
void report_warning(std::int32_t position, ...);
void report_remark(std::int32_t position, ...);

// Prints a catalogue text and a newline on `stream`: no severity word, no number.
void print_message(std::FILE* stream, std::int32_t position, ...);

// A text in the reporter's own memory.
struct FreeText {
    void operator()(char* text) const { std::free(text); }
};
using ReporterText = std::unique_ptr<char, FreeText>;

// A copy of a row's text, unformatted.
ReporterText message_text(std::int32_t position);

// A plain formatted print on the standard error stream; adds no newline and doesn't flush. The
// caller tests the trace bit.
void trace_print(const char* format, ...) DIAG_PRINTF_LIKE(1, 2);

// The size of a text as "%.*s" takes it.
inline int printed_size(std::string_view text) { return static_cast<int>(text.size()); }

// Memory that is always there: on failure the program ends with `PT_out_of_memory` and the size.
// The caller frees the block with `std::free`.
void* checked_malloc(std::size_t size);
void* checked_realloc(void* block, std::size_t size);

// The reporter's own memory: on failure the program ends with "catastrophic error: out of memory".
void* reporter_malloc(std::size_t size);

}  // namespace diag
