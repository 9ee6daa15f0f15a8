#include "diag/message_catalogue.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "diag/severity.h"

namespace diag {
namespace {

// Components.
constexpr std::int32_t DIAG = 5;
constexpr std::int32_t VER = 19;
constexpr std::int32_t PT = 20;
constexpr std::int32_t PT_HELP = 21;
constexpr std::int32_t CLI = 26;

struct CatalogueRow {
    MessagePosition position;
    MessageRow row;
};

constexpr CatalogueRow make_row(MessagePosition position, std::int32_t id, std::string_view name,
                                std::int32_t component, Severity severity, const char* text) {
    return {position,
            {id, name, component, 0, static_cast<std::int32_t>(severity), 0, 1, "", text, nullptr}};
}

// A row has the name of its position.
#define ROW(position, id, component, severity, text) \
    make_row(position, id, #position, component, Severity::severity, text)

constexpr const char* usage_options =
    "           [-nologo]\n"
    "           [-append <file>]\n"
    "           [-dump]\n"
    "           [-file <file>[;<file>*]]\n"
    "           [-help]\n"
    "           [-out <file>]\n"
    "           [-sort <order_code>[-]]\n";

constexpr const char* help_options =
    "           [-nologo]\n"
    "               Print version number\n"
    "           [-append <file>]\n"
    "               Update the database file with contents of merge\n"
    "           [-dump]\n"
    "               Print result records from merging files specified in -file option\n"
    "           [-file <file>[;<file>*]]\n"
    "                List of files to merge or dump\n"
    "           [-help]\n"
    "                Print this message\n"
    "           [-out <file>]\n"
    "               Create a new database file with contents of merge\n"
    "           [-sort <order_code>[-]]\n"
    "               Sort the edge data results printed with -dump.\n"
    "               <order_code> is one of:\n"
    "                   A - sort by start address\n"
    "                   C - sort by execution count\n"
    "                   L - sort by start line\n"
    "               The optional '-' suffix to the sort method can be used to sort\n"
    "               in descending order.\n";

// clang-format off
// In the order of the positions. The rows in the gaps belong to other tools; the user's numbers run
// ahead of the positions where older rows were retired.
constexpr std::array catalogue{
    ROW(DIAG_bad_message_arg, 13002, DIAG, error,
        "unexpected %s message argument:  %s"),
    ROW(DIAG_message_verify_fail, 13003, DIAG, warning,
        "message verification failed for: %s; reverting to internal message"),
    ROW(DIAG_diag_id_not_found, 13005, DIAG, error,
        "diagnostic with id #%d not found"),
    ROW(DIAG_cannot_get_wchar_str_size, 13006, DIAG, error,
        "unable to determine wchar string size"),
    ROW(DIAG_cannot_get_char_str_size, 13007, DIAG, error,
        "unable to determine char string size"),
    ROW(DIAG_severity_error, 13012, DIAG, text,
        "error"),
    ROW(DIAG_severity_error_non_discretion, 13013, DIAG, text,
        "error"),
    ROW(DIAG_severity_error_cmdline, 13014, DIAG, text,
        "command line error"),
    ROW(DIAG_severity_error_internal, 13015, DIAG, text,
        "internal error"),
    ROW(DIAG_severity_error_catastrophic, 13016, DIAG, text,
        "catastrophic error"),
    ROW(DIAG_severity_warning, 13017, DIAG, text,
        "warning"),
    ROW(DIAG_severity_warning_cmdline, 13018, DIAG, text,
        "command line warning"),
    ROW(DIAG_severity_remark, 13019, DIAG, text,
        "remark"),
    ROW(DIAG_severity_remark_cmdline, 13020, DIAG, text,
        "command line remark"),
    ROW(DIAG_severity_text, 13021, DIAG, text,
        "text"),
    ROW(DIAG_out_of_memory, 13043, DIAG, error,
        "out of memory"),

    ROW(VER_PLAIN_TEMPLATE, 28003, VER, text,
        "%s %s for applications running on %s%s, Version %s Build %s"),
    ROW(VER_rights_claim, 28004, VER, text,
        "Copyright (C)"),
    ROW(VER_rights_reserved, 28005, VER, text,
        "Velmora. All rights reserved."),
    ROW(VER_VELMORA, 28008, VER, text,
        "Velmora(R)"),
    ROW(VER_ARCH_VELMORA64, 28014, VER, text,
        "Velmora(R) 64"),
    ROW(VER_EDGEFOLD, 28031, VER, text,
        "Quillon sampling merge tool"),

    ROW(PT_cannot_open_file, 30000, PT, error,
        "Failed to open %s for reading."),
    ROW(PT_cannot_open_output_file, 30001, PT, error,
        "Failed to open %s for writing."),
    ROW(PT_out_of_memory, 30072, PT, error,
        "Out of memory, trying to allocate %d."),
    ROW(PT_edgefold_output_exists, 30094, PT, warning,
        "File, %s, already exists. Use -append option to update it."),
    ROW(PT_cannot_read_samples, 30095, PT, warning,
        "Unable to read hardware sampling data from '%s'"),
    ROW(PT_edgefold_incompatible_file_format, 30096, PT, warning,
        "File, %s, already exists, but is not compatible with this version. "
        "Delete and regenerate."),
    ROW(PT_edgefold_no_files, 30097, PT, warning,
        "No input files specified. Use -file option."),
    ROW(PT_edgefold_no_action, 30098, PT, warning,
        "No action specified, Use -out, -append or -dump."),
    ROW(PT_edgefold_cannot_out_and_append, 30099, PT, warning,
        "Cannot use -out and -append options simultaneously."),
    ROW(PT_edgefold_internal_error, 30100, PT, warning,
        "Internal error."),
    ROW(PT_edgefold_merged_files, 30101, PT, remark,
        "Merged %d files to output file."),
    ROW(PT_edgefold_header, 30396, PT, text,
        "Sampling merge header:Input file count: %d"),
    ROW(PT_edgefold_file_tag, 30397, PT, text,
        "FILE:         %s"),
    ROW(PT_edgefold_func_tag, 30398, PT, text,
        "ENTRY:        %s"),
    ROW(PT_edgefold_edge_collection_tag, 30399, PT, text,
        "Edge data counts:"),
    ROW(PT_edgefold_edge_header_tag, 30400, PT, text,
        "    StartAddr           EndAddr         StartPosition   EndPosition          Count"),
    ROW(PT_edgefold_call_collection_tag, 30401, PT, text,
        "Function call counts:"),
    ROW(PT_edgefold_call_header_tag, 30402, PT, text,
        "    SourceLine       Count      Function"),
    ROW(PT_edgefold_dump_separator_tag, 30449, PT, remark,
        "-----------------------------------------------------------------------"),

    ROW(PT_tool_usage, 30450, PT_HELP, text,
        "Usage: %s"),
    ROW(PT_tool_help, 30451, PT_HELP, text,
        "Help: %s"),
    ROW(PT_edgefold_usage_opts, 30456, PT_HELP, text,
        usage_options),
    ROW(PT_edgefold_help_opts, 30457, PT_HELP, text,
        help_options),

    ROW(CLI_unknown_option, 32500, CLI, error,
        "unknown option '%s%s'"),
    ROW(CLI_option_missing_value, 32501, CLI, error,
        "missing or unexpected option value for '%s%s'"),
    ROW(CLI_ignore_option_integer_value_required, 32502, CLI, warning,
        "ignoring option '%s%s'; argument must be integer"),
};
// clang-format on
#undef ROW

// The two conversions that `fill_in` knows.
constexpr bool has_plain_conversions(std::string_view text) {
    for (std::size_t i = text.find('%'); i != text.npos; i = text.find('%', i + 2))
        if (i + 1 == text.size() || (text[i + 1] != 's' && text[i + 1] != 'd')) return false;
    return true;
}

static_assert(std::all_of(catalogue.begin(), catalogue.end(), [](const CatalogueRow& entry) {
    return has_plain_conversions(entry.row.text);
}));

}  // namespace

std::size_t find_row(MessagePosition position) {
    if (position < catalogue.front().position) return 0;
    const auto found =
        std::find_if(catalogue.begin(), catalogue.end(),
                     [=](const CatalogueRow& entry) { return entry.position == position; });
    return static_cast<std::size_t>(found - catalogue.begin());
}

bool has_row(MessagePosition position) {
    const std::size_t index = find_row(position);
    return index < catalogue.size() && catalogue[index].position == position;
}

const MessageRow* row_of_index(std::size_t index) {
    return index < catalogue.size() ? &catalogue[index].row : nullptr;
}

}  // namespace diag
