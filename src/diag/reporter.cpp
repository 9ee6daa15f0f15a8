#include "diag/reporter.h"

#include <cstring>
#include <string_view>

namespace diag {
namespace {

std::int32_t errors = 0;

// The words of the severities, from `error` on.
constexpr MessagePosition severity_words[] = {
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
MessageRow row_at(MessagePosition position) {
    if (!has_row(position))
        report_fatal(DIAG_diag_id_not_found, static_cast<std::int32_t>(position));
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

// Joins the pieces that `give_pieces` hands to the operation it is given. It is called twice: once
// to measure, once to copy.
template <class GivePieces>
ReporterText join(GivePieces give_pieces) {
    std::size_t size = 0;
    give_pieces([&size](std::string_view piece) { size += piece.size(); });
    ReporterText text(static_cast<char*>(reporter_malloc(size + 1)));
    char* out = text.get();
    give_pieces([&out](std::string_view piece) { out += piece.copy(out, piece.size()); });
    *out = '\0';
    return text;
}

// The whole line at once, so that lines of processes that share the stream don't mix.
ReporterText compose_line(Severity severity, const MessageRow& row,
                          std::span<const FillIn> fill_ins) {
    const FillIn number(row.id);
    return join([&](auto put) {
        put(word_of(severity));
        if (shows_number(severity)) {
            put(" #");
            put(number.text());
        }
        put(": ");
        fill_in(row.text, fill_ins, put);
        put("\n");
    });
}

// Needs no memory, since there is none.
[[noreturn]] void report_no_memory() {
    ++errors;
    std::fprintf(stderr, "%s: %s\n", word_of(Severity::error_catastrophic),
                 row_at(DIAG_out_of_memory).text);
    end_program(1);
}

}  // namespace

std::int32_t error_count() { return errors; }

MessageRow get_row(std::size_t index) {
    if (const MessageRow* const row = row_of_index(index)) return *row;
    report_fatal(DIAG_diag_id_not_found, static_cast<std::int32_t>(index));
}

ReporterText message_text(MessagePosition position) {
    const MessageRow row = row_at(position);
    return join([&](auto put) { put(row.text); });
}

void report_with(Severity given, MessagePosition position, std::span<const FillIn> fill_ins) {
    const MessageRow row = row_at(position);
    const Severity severity =
        given == Severity::from_row ? static_cast<Severity>(row.severity) : given;
    if (is_error(severity)) ++errors;
    std::fputs(compose_line(severity, row, fill_ins).get(), stderr);
    std::fflush(stderr);
    if (severity == Severity::error_catastrophic) end_program(1);
}

void print_message_with(std::FILE* stream, MessagePosition position,
                        std::span<const FillIn> fill_ins) {
    const MessageRow row = row_at(position);
    const ReporterText text = join([&](auto put) {
        fill_in(row.text, fill_ins, put);
        put("\n");
    });
    std::fputs(text.get(), stream);
}

void* reporter_malloc(std::size_t size) {
    // The C library may answer a request for nothing with nothing, which is no failure.
    void* const block = std::malloc(size == 0 ? 1 : size);
    if (block == nullptr) report_no_memory();
    return block;
}

}  // namespace diag
