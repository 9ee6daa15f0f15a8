#include "diag/reporter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "diag/trace.h"
#include "support/address_sanitizer.h"
#include "support/captured_stderr.h"

// A request that is too large is to fail as it does in a plain build. The sanitizer asks for this
// function by name.
// NOLINTNEXTLINE(bugprone-reserved-identifier)
extern "C" const char* __asan_default_options();
// NOLINTNEXTLINE(bugprone-reserved-identifier)
extern "C" const char* __asan_default_options() { return "allocator_may_return_null=1"; }

namespace diag {
namespace {

using test_support::captured_stderr;
using testing::Eq;
using testing::ExitedWithCode;

// What a program that ran out of memory printed. The sanitizer puts a warning of its own in front.
testing::Matcher<const std::string&> last_words(const std::string& line) {
    if (UNDER_ADDRESS_SANITIZER) return testing::EndsWith(line);
    return Eq(line);
}

std::string captured_stdout(void (*operation)()) {
    testing::internal::CaptureStdout();
    operation();
    return testing::internal::GetCapturedStdout();
}

void print_usage_for_test(const char* program_name) {
    std::fprintf(stderr, "usage of %s\n", program_name);
}

std::string line_of(Severity severity) {
    return captured_stderr([=] { report_message(severity, PT_edgefold_no_files); });
}

std::int32_t errors_counted_for(Severity severity) {
    const std::int32_t before = error_count();
    line_of(severity);
    return error_count() - before;
}

TEST(Severity, values_are_fixed) {
    EXPECT_EQ(static_cast<int>(Severity::error), 1);
    EXPECT_EQ(static_cast<int>(Severity::error_non_discretion), 2);
    EXPECT_EQ(static_cast<int>(Severity::error_cmdline), 3);
    EXPECT_EQ(static_cast<int>(Severity::error_internal), 4);
    EXPECT_EQ(static_cast<int>(Severity::error_catastrophic), 5);
    EXPECT_EQ(static_cast<int>(Severity::warning), 6);
    EXPECT_EQ(static_cast<int>(Severity::warning_cmdline), 7);
    EXPECT_EQ(static_cast<int>(Severity::remark), 8);
    EXPECT_EQ(static_cast<int>(Severity::remark_cmdline), 9);
    EXPECT_EQ(static_cast<int>(Severity::text), 10);
}

TEST(ReportMessage, error_shows_its_number) {
    EXPECT_EQ(line_of(Severity::error),
              "error #30097: No input files specified. Use -file option.\n");
}

TEST(ReportMessage, other_errors_show_no_number) {
    EXPECT_EQ(line_of(Severity::error_non_discretion),
              "error: No input files specified. Use -file option.\n");
    EXPECT_EQ(line_of(Severity::error_cmdline),
              "command line error: No input files specified. Use -file option.\n");
    EXPECT_EQ(line_of(Severity::error_internal),
              "internal error: No input files specified. Use -file option.\n");
}

TEST(ReportMessageDeathTest, catastrophic_error_shows_no_number_and_ends_the_program) {
    EXPECT_EXIT(report_message(Severity::error_catastrophic, DIAG_out_of_memory), ExitedWithCode(1),
                Eq("catastrophic error: out of memory\n"));
    EXPECT_EXIT(report_message(Severity::error_catastrophic, PT_cannot_open_file, "a"),
                ExitedWithCode(1), Eq("catastrophic error: Failed to open a for reading.\n"));
}

TEST(ReportMessage, warnings_show_their_number) {
    EXPECT_EQ(line_of(Severity::warning),
              "warning #30097: No input files specified. Use -file option.\n");
    EXPECT_EQ(line_of(Severity::warning_cmdline),
              "command line warning #30097: No input files specified. Use -file option.\n");
}

TEST(ReportMessage, remarks_show_their_number) {
    EXPECT_EQ(line_of(Severity::remark),
              "remark #30097: No input files specified. Use -file option.\n");
    EXPECT_EQ(line_of(Severity::remark_cmdline),
              "command line remark #30097: No input files specified. Use -file option.\n");
}

TEST(ReportMessage, text_shows_its_number) {
    EXPECT_EQ(line_of(Severity::text),
              "text #30097: No input files specified. Use -file option.\n");
}

TEST(ReportMessage, no_given_severity_takes_the_one_of_the_row) {
    const std::int32_t before = error_count();
    EXPECT_EQ(captured_stderr([] { report_message(Severity::from_row, PT_cannot_open_file, "a"); }),
              "error #30000: Failed to open a for reading.\n");
    EXPECT_EQ(error_count(), before + 1);
    EXPECT_EQ(line_of(Severity::from_row),
              "warning #30097: No input files specified. Use -file option.\n");
    EXPECT_EQ(
        captured_stderr([] { report_message(Severity::from_row, PT_edgefold_merged_files, 2); }),
        "remark #30101: Merged 2 files to output file.\n");
    EXPECT_EQ(captured_stderr([] { report_message(Severity::from_row, PT_edgefold_header, 3); }),
              "text #30396: Sampling merge header:Input file count: 3\n");
    EXPECT_EQ(error_count(), before + 1);
}

TEST(ReportMessage, number_is_the_id_and_not_the_position) {
    EXPECT_EQ(captured_stderr([] { report_message(Severity::error, DIAG_diag_id_not_found, 7); }),
              "error #13005: diagnostic with id #7 not found\n");
    EXPECT_EQ(
        captured_stderr([] { report_message(Severity::remark, PT_edgefold_dump_separator_tag); }),
        "remark #30449: "
        "-----------------------------------------------------------------------\n");
}

TEST(ReportMessage, command_line_warning_joins_lead_and_name_of_the_option) {
    EXPECT_EQ(captured_stderr([] {
                  report_message(Severity::warning_cmdline,
                                 CLI_ignore_option_integer_value_required, "/", "trace");
              }),
              "command line warning #32502: ignoring option '/trace'; argument must be integer\n");
}

TEST(ReportMessage, error_severities_alone_are_counted) {
    EXPECT_EQ(errors_counted_for(Severity::error), 1);
    EXPECT_EQ(errors_counted_for(Severity::error_non_discretion), 1);
    EXPECT_EQ(errors_counted_for(Severity::error_cmdline), 1);
    EXPECT_EQ(errors_counted_for(Severity::error_internal), 1);
    EXPECT_EQ(errors_counted_for(Severity::warning), 0);
    EXPECT_EQ(errors_counted_for(Severity::warning_cmdline), 0);
    EXPECT_EQ(errors_counted_for(Severity::remark), 0);
    EXPECT_EQ(errors_counted_for(Severity::remark_cmdline), 0);
    EXPECT_EQ(errors_counted_for(Severity::text), 0);
}

TEST(ReportMessage, same_message_twice_is_printed_twice) {
    EXPECT_EQ(captured_stderr([] {
                  report_warning(PT_cannot_open_file, "a");
                  report_warning(PT_cannot_open_file, "a");
              }),
              "warning #30000: Failed to open a for reading.\n"
              "warning #30000: Failed to open a for reading.\n");
}

TEST(ReportMessage, percent_sign_in_a_fill_in_is_printed_as_it_stands) {
    EXPECT_EQ(captured_stderr([] { report_warning(PT_cannot_open_file, "100%s%n%%"); }),
              "warning #30000: Failed to open 100%s%n%% for reading.\n");
}

TEST(ReportMessage, fill_in_that_is_not_utf_8_passes_unchanged) {
    EXPECT_EQ(captured_stderr([] { report_warning(PT_cannot_open_file, "\xff\xc3\xa4\x80"); }),
              "warning #30000: Failed to open \xff\xc3\xa4\x80 for reading.\n");
}

TEST(ReportMessage, very_long_fill_in_is_printed_whole) {
    const std::string path(100000, 'p');
    EXPECT_EQ(captured_stderr([&] { report_warning(PT_cannot_open_file, path.c_str()); }),
              "warning #30000: Failed to open " + path + " for reading.\n");
}

TEST(ReportMessage, goes_to_the_standard_error_stream_alone) {
    std::string error_text;
    const auto report = [] { report_warning(PT_cannot_open_file, "a"); };
    testing::internal::CaptureStdout();
    error_text = captured_stderr(report);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(error_text, "warning #30000: Failed to open a for reading.\n");
}

TEST(ReportMessage, trace_bits_change_nothing) {
    trace_flags = 0xFFFFFFFF;
    const std::string line = line_of(Severity::warning);
    trace_flags = 0;
    EXPECT_EQ(line, "warning #30097: No input files specified. Use -file option.\n");
}

TEST(ReportMessageDeathTest, unknown_position_ends_the_program) {
    for (const std::int32_t position : {-1, 0, 12999, 13000, 13001, 13004, 30002, 32503}) {
        const std::string line =
            "error #13005: diagnostic with id #" + std::to_string(position) + " not found\n";
        EXPECT_EXIT(report_message(Severity::warning, static_cast<MessagePosition>(position)),
                    ExitedWithCode(1), Eq(line));
    }
}

TEST(ReportMessageDeathTest, line_is_flushed_at_once) {
    const auto report_and_stop = [] {
        std::setvbuf(stderr, nullptr, _IOFBF, BUFSIZ);
        report_remark(PT_edgefold_merged_files, 2);
        std::_Exit(0);
    };
    EXPECT_EXIT(report_and_stop(), ExitedWithCode(0),
                Eq("remark #30101: Merged 2 files to output file.\n"));
}

TEST(ReportFatalDeathTest, prints_an_error_and_ends_with_status_1) {
    EXPECT_EXIT(report_fatal(PT_cannot_open_output_file, "out.db"), ExitedWithCode(1),
                Eq("error #30001: Failed to open out.db for writing.\n"));
}

TEST(ReportFatalDeathTest, row_of_a_warning_is_printed_as_an_error) {
    EXPECT_EXIT(report_fatal(PT_edgefold_no_files), ExitedWithCode(1),
                Eq("error #30097: No input files specified. Use -file option.\n"));
    EXPECT_EXIT(report_fatal(PT_edgefold_output_exists, "a.db"), ExitedWithCode(1),
                Eq("error #30094: File, a.db, already exists. Use -append option to update it.\n"));
    EXPECT_EXIT(report_fatal(PT_edgefold_incompatible_file_format, "a.db"), ExitedWithCode(1),
                Eq("error #30096: File, a.db, already exists, but is not compatible with this "
                   "version. Delete and regenerate.\n"));
    EXPECT_EXIT(report_fatal(PT_edgefold_no_action), ExitedWithCode(1),
                Eq("error #30098: No action specified, Use -out, -append or -dump.\n"));
    EXPECT_EXIT(report_fatal(PT_edgefold_cannot_out_and_append), ExitedWithCode(1),
                Eq("error #30099: Cannot use -out and -append options simultaneously.\n"));
    EXPECT_EXIT(report_fatal(PT_edgefold_internal_error), ExitedWithCode(1),
                Eq("error #30100: Internal error.\n"));
}

TEST(ReportUsageErrorDeathTest, prints_the_error_then_the_usage_and_ends_with_the_status) {
    EXPECT_EXIT(
        report_usage_error(1, CLI_unknown_option, print_usage_for_test, "/bin/fold", "-", "bogus"),
        ExitedWithCode(1), Eq("error #32500: unknown option '-bogus'\nusage of /bin/fold\n"));
    EXPECT_EXIT(
        report_usage_error(7, CLI_option_missing_value, print_usage_for_test, "fold", "/", "out"),
        ExitedWithCode(7),
        Eq("error #32501: missing or unexpected option value for '/out'\n"
           "usage of fold\n"));
}

TEST(ReportWarning, prints_a_warning_and_counts_nothing) {
    const std::int32_t before = error_count();
    EXPECT_EQ(captured_stderr([] { report_warning(PT_cannot_read_samples, "run1.txt"); }),
              "warning #30095: Unable to read hardware sampling data from 'run1.txt'\n");
    EXPECT_EQ(error_count(), before);
}

TEST(ReportRemark, prints_a_remark_and_counts_nothing) {
    const std::int32_t before = error_count();
    EXPECT_EQ(captured_stderr([] { report_remark(PT_edgefold_merged_files, 2); }),
              "remark #30101: Merged 2 files to output file.\n");
    EXPECT_EQ(error_count(), before);
}

TEST(PrintMessage, prints_text_and_newline_alone_and_counts_nothing) {
    const std::int32_t before = error_count();
    EXPECT_EQ(captured_stderr([] { print_message(stderr, PT_tool_usage, "/bin/fold"); }),
              "Usage: /bin/fold\n");
    EXPECT_EQ(captured_stderr([] { print_message(stderr, PT_cannot_open_file, "a"); }),
              "Failed to open a for reading.\n");
    EXPECT_EQ(error_count(), before);
}

TEST(PrintMessage, prints_on_the_stream_that_was_given) {
    std::string out;
    const std::string err = captured_stderr(
        [&out] { out = captured_stdout([] { print_message(stdout, PT_edgefold_header, 12); }); });
    EXPECT_EQ(out, "Sampling merge header:Input file count: 12\n");
    EXPECT_EQ(err, "");
}

TEST(PrintMessage, adds_its_newline_to_a_text_that_ends_in_one) {
    EXPECT_EQ(captured_stderr([] { print_message(stderr, PT_edgefold_usage_opts); }),
              "           [-nologo]\n"
              "           [-append <file>]\n"
              "           [-dump]\n"
              "           [-file <file>[;<file>*]]\n"
              "           [-help]\n"
              "           [-out <file>]\n"
              "           [-sort <order_code>[-]]\n"
              "\n");
}

TEST(PrintMessage, percent_sign_in_a_fill_in_is_printed_as_it_stands) {
    EXPECT_EQ(captured_stdout([] { print_message(stdout, PT_edgefold_func_tag, "%s%n%%d"); }),
              "ENTRY:        %s%n%%d\n");
}

TEST(PrintMessage, very_long_fill_in_is_printed_whole) {
    static const std::string name(100000, 'n');
    EXPECT_EQ(captured_stdout([] { print_message(stdout, PT_edgefold_file_tag, name.c_str()); }),
              "FILE:         " + name + "\n");
}

TEST(PrintMessageDeathTest, unknown_position_ends_the_program) {
    EXPECT_EXIT(print_message(stderr, static_cast<MessagePosition>(30002)), ExitedWithCode(1),
                Eq("error #13005: diagnostic with id #30002 not found\n"));
}

TEST(MessageText, is_the_unformatted_text_of_the_row) {
    EXPECT_STREQ(message_text(VER_PLAIN_TEMPLATE).get(),
                 "%s %s for applications running on %s%s, Version %s Build %s");
    EXPECT_STREQ(message_text(DIAG_severity_error_catastrophic).get(), "catastrophic error");
}

TEST(MessageTextDeathTest, unknown_position_ends_the_program) {
    EXPECT_EXIT((void)message_text(static_cast<MessagePosition>(28008)), ExitedWithCode(1),
                Eq("error #13005: diagnostic with id #28008 not found\n"));
}

TEST(ReporterMalloc, gives_a_block_of_the_size) {
    void* const block = reporter_malloc(100);
    ASSERT_NE(block, nullptr);
    std::memset(block, 'x', 100);
    std::free(block);
}

TEST(ReporterMalloc, gives_a_block_for_nothing_too) {
    void* const block = reporter_malloc(0);
    EXPECT_NE(block, nullptr);
    std::free(block);
}

TEST(ReporterMallocDeathTest, size_that_cannot_be_had_is_catastrophic) {
    EXPECT_EXIT((void)reporter_malloc(0x4000000000000000), ExitedWithCode(1),
                last_words("catastrophic error: out of memory\n"));
}

}  // namespace
}  // namespace diag
