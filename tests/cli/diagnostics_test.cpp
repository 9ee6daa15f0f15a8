// The form of what is said on the standard error stream, whatever stands in it.
#include "cli_support.h"

namespace cli {
namespace {

class Diagnostics : public CliTest {};

TEST_F(Diagnostics, a_percent_sign_in_a_path_is_printed_as_it_stands) {
    EXPECT_EQ(run_plain({"-file", "100%s%d%n.csv", "-dump"}),
              (Outcome{0, empty_report, cannot_open("100%s%d%n.csv")}));
    EXPECT_EQ(run({"-%s%n"}).err.substr(0, 38), "error #32500: unknown option '/%s%n'\nV");
}

TEST_F(Diagnostics, letters_outside_ascii_pass_unchanged) {
    write("gr\xc3\xbc\xc3\x9f\x65.txt", "no samples");
    EXPECT_EQ(run_plain({"-file", "gr\xc3\xbc\xc3\x9f\x65.txt", "-dump"}),
              (Outcome{0, empty_report, cannot_read("gr\xc3\xbc\xc3\x9f\x65.txt")}));
}

TEST_F(Diagnostics, a_path_of_many_bytes_is_printed_whole) {
    const std::string name = std::string(20'000, 'p');
    EXPECT_EQ(run_plain({"-file", name, "-dump"}), (Outcome{0, empty_report, cannot_open(name)}));
}

TEST_F(Diagnostics, the_same_warning_twice_is_printed_twice) {
    EXPECT_EQ(run_plain({"-file", "a;a", "-dump"}),
              (Outcome{0, empty_report, cannot_open("a") + cannot_open("a")}));
}

TEST_F(Diagnostics, warnings_stand_in_front_of_the_report) {
    EXPECT_EQ(run_mixed({"-file", "a", "-dump"}), cannot_open("a") + empty_report);
}

TEST_F(Diagnostics, the_number_shown_is_the_rows_id) {
    EXPECT_EQ(run_plain({}).err.substr(0, 12), "error #30097");
    EXPECT_EQ(run_plain({"-file", "a"}).err.substr(0, 12), "error #30098");
    write("x", "");
    EXPECT_EQ(run_plain({"-file", "a", "-out", "x"}).err.substr(0, 12), "error #30094");
}

TEST_F(Diagnostics, warnings_leave_the_exit_status_alone) {
    write("text", "no samples");
    EXPECT_EQ(run_plain({"-file", "gone;text", "-out", "x"}),
              (Outcome{0, "", cannot_open("gone") + cannot_read("text") + merged(0)}));
}

}  // namespace
}  // namespace cli
