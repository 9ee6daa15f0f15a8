#include "diag/message_catalogue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <iterator>
#include <limits>
#include <string>
#include <type_traits>

#include "diag/reporter.h"

namespace diag {
namespace {

using testing::Eq;
using testing::ExitedWithCode;

constexpr MessagePosition position_of(std::int32_t number) {
    return static_cast<MessagePosition>(number);
}

// What the catalogue holds, spelled out a second time.
struct ExpectedRow {
    std::int32_t position;
    std::int32_t id;
    const char* name;
    std::int32_t component;
    std::int32_t severity;
    const char* text;
};

constexpr std::int32_t error = 1;
constexpr std::int32_t warning = 6;
constexpr std::int32_t remark = 8;
constexpr std::int32_t text = 10;

constexpr ExpectedRow expected_rows[] = {
    {13002, 13002, "DIAG_bad_message_arg", 5, error, "unexpected %s message argument:  %s"},
    {13003, 13003, "DIAG_message_verify_fail", 5, warning,
     "message verification failed for: %s; reverting to internal message"},
    {13005, 13005, "DIAG_diag_id_not_found", 5, error, "diagnostic with id #%d not found"},
    {13006, 13006, "DIAG_cannot_get_wchar_str_size", 5, error,
     "unable to determine wchar string size"},
    {13007, 13007, "DIAG_cannot_get_char_str_size", 5, error,
     "unable to determine char string size"},
    {13012, 13012, "DIAG_severity_error", 5, text, "error"},
    {13013, 13013, "DIAG_severity_error_non_discretion", 5, text, "error"},
    {13014, 13014, "DIAG_severity_error_cmdline", 5, text, "command line error"},
    {13015, 13015, "DIAG_severity_error_internal", 5, text, "internal error"},
    {13016, 13016, "DIAG_severity_error_catastrophic", 5, text, "catastrophic error"},
    {13017, 13017, "DIAG_severity_warning", 5, text, "warning"},
    {13018, 13018, "DIAG_severity_warning_cmdline", 5, text, "command line warning"},
    {13019, 13019, "DIAG_severity_remark", 5, text, "remark"},
    {13020, 13020, "DIAG_severity_remark_cmdline", 5, text, "command line remark"},
    {13021, 13021, "DIAG_severity_text", 5, text, "text"},
    {13043, 13043, "DIAG_out_of_memory", 5, error, "out of memory"},
    {28003, 28003, "VER_PLAIN_TEMPLATE", 19, text,
     "%s %s for applications running on %s%s, Version %s Build %s"},
    {28004, 28004, "VER_rights_claim", 19, text, "Copyright (C)"},
    {28005, 28005, "VER_rights_reserved", 19, text, "Velmora. All rights reserved."},
    {28007, 28008, "VER_VELMORA", 19, text, "Velmora(R)"},
    {28012, 28014, "VER_ARCH_VELMORA64", 19, text, "Velmora(R) 64"},
    {28029, 28031, "VER_EDGEFOLD", 19, text, "Quillon sampling merge tool"},
    {30000, 30000, "PT_cannot_open_file", 20, error, "Failed to open %s for reading."},
    {30001, 30001, "PT_cannot_open_output_file", 20, error, "Failed to open %s for writing."},
    {30070, 30072, "PT_out_of_memory", 20, error, "Out of memory, trying to allocate %d."},
    {30092, 30094, "PT_edgefold_output_exists", 20, warning,
     "File, %s, already exists. Use -append option to update it."},
    {30093, 30095, "PT_cannot_read_samples", 20, warning,
     "Unable to read hardware sampling data from '%s'"},
    {30094, 30096, "PT_edgefold_incompatible_file_format", 20, warning,
     "File, %s, already exists, but is not compatible with this version. Delete and regenerate."},
    {30095, 30097, "PT_edgefold_no_files", 20, warning,
     "No input files specified. Use -file option."},
    {30096, 30098, "PT_edgefold_no_action", 20, warning,
     "No action specified, Use -out, -append or -dump."},
    {30097, 30099, "PT_edgefold_cannot_out_and_append", 20, warning,
     "Cannot use -out and -append options simultaneously."},
    {30098, 30100, "PT_edgefold_internal_error", 20, warning, "Internal error."},
    {30099, 30101, "PT_edgefold_merged_files", 20, remark, "Merged %d files to output file."},
    {30148, 30396, "PT_edgefold_header", 20, text, "Sampling merge header:Input file count: %d"},
    {30149, 30397, "PT_edgefold_file_tag", 20, text, "FILE:         %s"},
    {30150, 30398, "PT_edgefold_func_tag", 20, text, "ENTRY:        %s"},
    {30151, 30399, "PT_edgefold_edge_collection_tag", 20, text, "Edge data counts:"},
    {30152, 30400, "PT_edgefold_edge_header_tag", 20, text,
     "    StartAddr           EndAddr         StartPosition   EndPosition          Count"},
    {30153, 30401, "PT_edgefold_call_collection_tag", 20, text, "Function call counts:"},
    {30154, 30402, "PT_edgefold_call_header_tag", 20, text,
     "    SourceLine       Count      Function"},
    {30155, 30449, "PT_edgefold_dump_separator_tag", 20, remark,
     "-----------------------------------------------------------------------"},
    {30450, 30450, "PT_tool_usage", 21, text, "Usage: %s"},
    {30451, 30451, "PT_tool_help", 21, text, "Help: %s"},
    {30456, 30456, "PT_edgefold_usage_opts", 21, text,
     "           [-nologo]\n           [-append <file>]\n           [-dump]\n"
     "           [-file <file>[;<file>*]]\n           [-help]\n           [-out <file>]\n"
     "           [-sort <order_code>[-]]\n"},
    {30457, 30457, "PT_edgefold_help_opts", 21, text,
     "           [-nologo]\n               Print version number\n"
     "           [-append <file>]\n"
     "               Update the database file with contents of merge\n"
     "           [-dump]\n"
     "               Print result records from merging files specified in -file option\n"
     "           [-file <file>[;<file>*]]\n                List of files to merge or dump\n"
     "           [-help]\n                Print this message\n"
     "           [-out <file>]\n"
     "               Create a new database file with contents of merge\n"
     "           [-sort <order_code>[-]]\n"
     "               Sort the edge data results printed with -dump.\n"
     "               <order_code> is one of:\n"
     "                   A - sort by start address\n"
     "                   C - sort by execution count\n"
     "                   L - sort by start line\n"
     "               The optional '-' suffix to the sort method can be used to sort\n"
     "               in descending order.\n"},
    {32500, 32500, "CLI_unknown_option", 26, error, "unknown option '%s%s'"},
    {32501, 32501, "CLI_option_missing_value", 26, error,
     "missing or unexpected option value for '%s%s'"},
    {32502, 32502, "CLI_ignore_option_integer_value_required", 26, warning,
     "ignoring option '%s%s'; argument must be integer"},
};

TEST(MessageCatalogue, each_position_has_its_row) {
    for (const ExpectedRow& expected : expected_rows) {
        SCOPED_TRACE(expected.name);
        ASSERT_TRUE(has_row(position_of(expected.position)));
        const MessageRow row = get_row(find_row(position_of(expected.position)));
        EXPECT_EQ(row.id, expected.id);
        EXPECT_EQ(row.name, expected.name);
        EXPECT_EQ(row.component, expected.component);
        EXPECT_EQ(row.severity, expected.severity);
        EXPECT_STREQ(row.text, expected.text);
    }
}

TEST(MessageCatalogue, rows_have_neither_kinds_level_tag_nor_log_text_and_are_enabled) {
    for (const ExpectedRow& expected : expected_rows) {
        SCOPED_TRACE(expected.name);
        const MessageRow row = get_row(find_row(position_of(expected.position)));
        EXPECT_EQ(row.kinds, 0U);
        EXPECT_EQ(row.level, 0);
        EXPECT_EQ(row.enabled, 1);
        EXPECT_EQ(row.tag, "");
        EXPECT_EQ(row.log_text, nullptr);
    }
}

TEST(MessageCatalogue, rows_stand_in_the_order_of_their_positions_without_gaps) {
    std::size_t index = 0;
    for (const ExpectedRow& expected : expected_rows)
        EXPECT_EQ(find_row(position_of(expected.position)), index++) << expected.name;
}

TEST(MessageCatalogue, no_number_is_taken_for_a_position) {
    EXPECT_FALSE((std::is_convertible_v<std::int32_t, MessagePosition>));
}

TEST(MessageCatalogue, code_names_each_row_by_its_position) {
    EXPECT_EQ(DIAG_bad_message_arg, 13002);
    EXPECT_EQ(DIAG_message_verify_fail, 13003);
    EXPECT_EQ(DIAG_diag_id_not_found, 13005);
    EXPECT_EQ(DIAG_out_of_memory, 13043);
    EXPECT_EQ(VER_PLAIN_TEMPLATE, 28003);
    EXPECT_EQ(VER_VELMORA, 28007);
    EXPECT_EQ(VER_ARCH_VELMORA64, 28012);
    EXPECT_EQ(VER_EDGEFOLD, 28029);
    EXPECT_EQ(PT_cannot_open_file, 30000);
    EXPECT_EQ(PT_cannot_open_output_file, 30001);
    EXPECT_EQ(PT_out_of_memory, 30070);
    EXPECT_EQ(PT_edgefold_output_exists, 30092);
    EXPECT_EQ(PT_cannot_read_samples, 30093);
    EXPECT_EQ(PT_edgefold_incompatible_file_format, 30094);
    EXPECT_EQ(PT_edgefold_no_files, 30095);
    EXPECT_EQ(PT_edgefold_no_action, 30096);
    EXPECT_EQ(PT_edgefold_cannot_out_and_append, 30097);
    EXPECT_EQ(PT_edgefold_internal_error, 30098);
    EXPECT_EQ(PT_edgefold_merged_files, 30099);
    EXPECT_EQ(PT_edgefold_header, 30148);
    EXPECT_EQ(PT_edgefold_file_tag, 30149);
    EXPECT_EQ(PT_edgefold_func_tag, 30150);
    EXPECT_EQ(PT_edgefold_edge_collection_tag, 30151);
    EXPECT_EQ(PT_edgefold_edge_header_tag, 30152);
    EXPECT_EQ(PT_edgefold_call_collection_tag, 30153);
    EXPECT_EQ(PT_edgefold_call_header_tag, 30154);
    EXPECT_EQ(PT_edgefold_dump_separator_tag, 30155);
    EXPECT_EQ(PT_tool_usage, 30450);
    EXPECT_EQ(PT_tool_help, 30451);
    EXPECT_EQ(PT_edgefold_usage_opts, 30456);
    EXPECT_EQ(PT_edgefold_help_opts, 30457);
    EXPECT_EQ(CLI_unknown_option, 32500);
    EXPECT_EQ(CLI_option_missing_value, 32501);
    EXPECT_EQ(CLI_ignore_option_integer_value_required, 32502);
}

TEST(MessageCatalogue, position_in_front_of_all_segments_gives_the_first_row) {
    EXPECT_EQ(find_row(position_of(12999)), 0U);
    EXPECT_EQ(find_row(position_of(0)), 0U);
    EXPECT_EQ(find_row(position_of(-1)), 0U);
    EXPECT_EQ(find_row(position_of(std::numeric_limits<std::int32_t>::min())), 0U);
}

TEST(MessageCatalogue, position_of_another_tool_has_no_row) {
    for (const std::int32_t position :
         {-1,    0,     12999, 13000, 13004, 13044, 27999, 28000, 28008, 28031, 29999,
          30002, 30072, 30100, 30156, 30396, 30449, 30452, 30458, 32499, 32503, 2147483647})
        EXPECT_FALSE(has_row(position_of(position))) << position;
}

TEST(MessageCatalogueDeathTest, index_at_or_beyond_the_row_count_ends_the_program) {
    ASSERT_EQ(std::size(expected_rows), 48U);
    EXPECT_STREQ(get_row(47).text, "ignoring option '%s%s'; argument must be integer");
    EXPECT_EXIT(get_row(48), ExitedWithCode(1),
                Eq("error #13005: diagnostic with id #48 not found\n"));
    EXPECT_EXIT(get_row(1000), ExitedWithCode(1),
                Eq("error #13005: diagnostic with id #1000 not found\n"));
}

TEST(MessageCatalogueDeathTest, index_of_an_unknown_position_is_refused) {
    for (const std::int32_t position : {13044, 29999, 30002, 32503, 2147483647})
        EXPECT_EXIT(get_row(find_row(position_of(position))), ExitedWithCode(1),
                    Eq("error #13005: diagnostic with id #48 not found\n"))
            << position;
}

}  // namespace
}  // namespace diag
