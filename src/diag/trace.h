// Traces for developers: the bits that switch them on, and the print. A trace isn't a message of
// the catalogue; its text stands where it is printed.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string_view>

#include "diag/printf_like.h"

namespace diag {

// Bits of `trace_flags`; other bits do nothing.
enum TraceBit : std::uint32_t {
    TRACE_DB_ERRORS = 1,  // why a database step failed
    TRACE_DB_CALLS = 2,   // the conversation with the database
    TRACE_DB_LOAD = 4,    // each function loaded from a database
    TRACE_DB_STORE = 8,   // each function written to a database
};

// Bits of `reader_trace_flags`.
enum ReaderTraceBit : std::uint32_t {
    reader_trace_choice = 0x1,     // choice of reader, header parse, name rewriting
    reader_trace_records = 0x1000  // rows and records
};

// The value of `-trace`; set once before any input is read.
extern std::uint32_t trace_flags;

// A second word of trace bits that no option sets, so that its traces stay silent.
extern std::uint32_t reader_trace_flags;

// True if the traces of this bit are on. Test it before each trace.
inline bool traces(TraceBit bit) { return (trace_flags & bit) != 0; }
inline bool traces(ReaderTraceBit bit) { return (reader_trace_flags & bit) != 0; }

// A plain formatted print on the standard error stream; adds no newline and doesn't flush.
void trace_print(const char* format, ...) DIAG_PRINTF_LIKE(1, 2);

// Prints texts of any length one behind the other in the same way, each up to its first NUL.
void trace_texts(std::initializer_list<std::string_view> texts);

}  // namespace diag
