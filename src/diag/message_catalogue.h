// The table of all prose that the tool shows to its user. The code names a row by its position; the
// user sees the row's id, which can differ from it where an older row was retired. The reporter
// prints the rows.
//
// The catalogue is the toolchain's: its other tools have the numbers that are free here, so a new
// message gets its position and id from those who keep that catalogue, never by counting on. Its
// row then goes into the table in message_catalogue.cpp, at its place in the order of positions.
// The severity in a row is a default that nothing in this tool uses: each caller chooses one by
// calling `report_fatal`, `report_warning` or another of them, so that a row that says "warning"
// may be printed as an error.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace diag {

// Names a row. It is not the number that the user sees, and no number converts to it.
enum MessagePosition : std::int32_t {
    DIAG_bad_message_arg = 13002,
    DIAG_message_verify_fail = 13003,
    DIAG_diag_id_not_found = 13005,
    DIAG_cannot_get_wchar_str_size = 13006,
    DIAG_cannot_get_char_str_size = 13007,
    DIAG_severity_error = 13012,
    DIAG_severity_error_non_discretion = 13013,
    DIAG_severity_error_cmdline = 13014,
    DIAG_severity_error_internal = 13015,
    DIAG_severity_error_catastrophic = 13016,
    DIAG_severity_warning = 13017,
    DIAG_severity_warning_cmdline = 13018,
    DIAG_severity_remark = 13019,
    DIAG_severity_remark_cmdline = 13020,
    DIAG_severity_text = 13021,
    DIAG_out_of_memory = 13043,
    VER_PLAIN_TEMPLATE = 28003,
    VER_rights_claim = 28004,
    VER_rights_reserved = 28005,
    VER_VELMORA = 28007,
    VER_ARCH_VELMORA64 = 28012,
    VER_EDGEFOLD = 28029,
    PT_cannot_open_file = 30000,
    PT_cannot_open_output_file = 30001,
    PT_out_of_memory = 30070,
    PT_edgefold_output_exists = 30092,
    PT_cannot_read_samples = 30093,
    PT_edgefold_incompatible_file_format = 30094,
    PT_edgefold_no_files = 30095,
    PT_edgefold_no_action = 30096,
    PT_edgefold_cannot_out_and_append = 30097,
    PT_edgefold_internal_error = 30098,
    PT_edgefold_merged_files = 30099,
    PT_edgefold_header = 30148,
    PT_edgefold_file_tag = 30149,
    PT_edgefold_func_tag = 30150,
    PT_edgefold_edge_collection_tag = 30151,
    PT_edgefold_edge_header_tag = 30152,
    PT_edgefold_call_collection_tag = 30153,
    PT_edgefold_call_header_tag = 30154,
    PT_edgefold_dump_separator_tag = 30155,
    PT_tool_usage = 30450,
    PT_tool_help = 30451,
    PT_edgefold_usage_opts = 30456,
    PT_edgefold_help_opts = 30457,
    CLI_unknown_option = 32500,
    CLI_option_missing_value = 32501,
    CLI_ignore_option_integer_value_required = 32502,
};

// One message. Constant data; nobody owns or changes a row.
struct MessageRow {
    std::int32_t id;         // the number that the user sees
    std::string_view name;   // symbolic name, never printed
    std::int32_t component;  // 5 diag, 19 version, 20 proftools, 21 proftools_help, 26 cli
    std::uint32_t kinds;     // 0 in every row
    std::int32_t severity;   // a value of `Severity`; `report_...` prints its own in place of it
    std::int32_t level;      // 0 in every row
    std::int32_t enabled;    // 1 in every row
    std::string_view tag;    // empty in every row
    const char* text;        // template for a formatted print; zero-terminated
    const char* log_text;    // absent in every row
};

// Index of the row that `position` means. 0, the first row, for a position in front of the first
// row's; an index beyond the last row for any other position without a row.
std::size_t find_row(MessagePosition position);

// True if the catalogue has a row at this very position.
bool has_row(MessagePosition position);

// The row; null for an index at or beyond the row count.
const MessageRow* row_of_index(std::size_t index);

}  // namespace diag
