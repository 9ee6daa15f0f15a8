// The way out for all messages of the catalogue: numbered diagnostics and plain texts. What a
// message says stands in the catalogue; when it is said is for the caller to decide.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <span>

#include "diag/end_program.h"
#include "diag/fill_in.h"
#include "diag/message_catalogue.h"
#include "diag/severity.h"

namespace diag {

// Number of diagnostics of an error severity printed so far. Nothing decides anything by it.
std::int32_t error_count();

// A copy of the row. An index at or beyond the row count ends the program with
// `DIAG_diag_id_not_found` and the index, status 1.
MessageRow get_row(std::size_t index);

// A text in the reporter's own memory.
struct FreeText {
    void operator()(char* text) const { std::free(text); }
};
using ReporterText = std::unique_ptr<char, FreeText>;

// A copy of a row's text, unformatted.
[[nodiscard]] ReporterText message_text(MessagePosition position);

// What the operations below do, with their fill-ins as a list.
void report_with(Severity severity, MessagePosition position, std::span<const FillIn> fill_ins);
void print_message_with(std::FILE* stream, MessagePosition position,
                        std::span<const FillIn> fill_ins);

// The fill-ins of all that follows are texts (`const char*`, `std::string_view`) and numbers
// (`std::int32_t`), one for each conversion of the row's text.

// Prints one diagnostic line, "<word> #<id>: <text>", on the standard error stream and flushes it.
// Returns, except at `error_catastrophic`, which ends the program with status 1.
template <class... FillIns>
void report_message(Severity severity, MessagePosition position, const FillIns&... fill_ins) {
    report_with(severity, position, std::array<FillIn, sizeof...(fill_ins)>{FillIn(fill_ins)...});
}

// Prints the message as an error, whatever the row says, and ends the program with status 1.
template <class... FillIns>
[[noreturn]] void report_fatal(MessagePosition position, const FillIns&... fill_ins) {
    report_message(Severity::error, position, fill_ins...);
    end_program(1);
}

// Prints the message as an error, calls `usage(program_name)`, ends the program.
template <class... FillIns>
[[noreturn]] void report_usage_error(int exit_status, MessagePosition position,
                                     void (*usage)(const char* program_name),
                                     const char* program_name, const FillIns&... fill_ins) {
    report_message(Severity::error, position, fill_ins...);
    usage(program_name);
    end_program(exit_status);
}

// Print the message as a warning or a remark, and return.
template <class... FillIns>
void report_warning(MessagePosition position, const FillIns&... fill_ins) {
    report_message(Severity::warning, position, fill_ins...);
}
template <class... FillIns>
void report_remark(MessagePosition position, const FillIns&... fill_ins) {
    report_message(Severity::remark, position, fill_ins...);
}

// Prints a catalogue text and a newline on `stream`: no severity word, no number.
template <class... FillIns>
void print_message(std::FILE* stream, MessagePosition position, const FillIns&... fill_ins) {
    print_message_with(stream, position,
                       std::array<FillIn, sizeof...(fill_ins)>{FillIn(fill_ins)...});
}

// The reporter's own memory: on failure the program ends with "catastrophic error: out of memory".
// The caller frees the block with `std::free`.
[[nodiscard]] void* reporter_malloc(std::size_t size);

}  // namespace diag
