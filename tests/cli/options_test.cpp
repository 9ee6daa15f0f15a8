// The command line: which words it takes, which it refuses, and what a combination of them means.
#include "cli_support.h"

namespace cli {
namespace {

class Options : public CliTest {};

const std::string help_text =
    "Help: " + test_support::program_path() +
    "\n"
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
    "               in descending order.\n"
    "\n";

Outcome unknown_option(const std::string& word) {
    return {1, "",
            "error #32500: unknown option '/" + word + "'\n" + banner +
                usage(test_support::program_path())};
}

Outcome missing_value(const std::string& name) {
    return {1, "",
            "error #32501: missing or unexpected option value for '/" + name + "'\n" + banner +
                usage(test_support::program_path())};
}

TEST_F(Options, no_arguments_give_the_banner_and_miss_the_input_files) {
    EXPECT_EQ(run({}), (Outcome{1, "", banner + no_files}));
}

TEST_F(Options, nologo_leaves_the_banner_out) {
    EXPECT_EQ(run({"-nologo"}), (Outcome{1, "", no_files}));
}

TEST_F(Options, help_prints_banner_and_help_and_fails) {
    EXPECT_EQ(run({"-help"}), (Outcome{1, "", banner + help_text}));
}

TEST_F(Options, help_without_the_banner) {
    EXPECT_EQ(run({"-help", "-nologo"}), (Outcome{1, "", help_text}));
}

TEST_F(Options, help_goes_before_every_other_test) {
    write("a.csv", one_edge);
    EXPECT_EQ(run({"-help", "-file", "a.csv", "-out", "x", "-append", "y"}),
              (Outcome{1, "", banner + help_text}));
    EXPECT_FALSE(exists("x"));
}

TEST_F(Options, a_bad_word_goes_before_help) {
    EXPECT_EQ(run({"-help", "-bogus"}), unknown_option("bogus"));
}

TEST_F(Options, the_missing_file_goes_before_out_with_append) {
    EXPECT_EQ(run_plain({"-out", "a", "-append", "b"}), (Outcome{1, "", no_files}));
}

TEST_F(Options, dump_without_file_misses_the_input_files) {
    EXPECT_EQ(run_plain({"-dump"}), (Outcome{1, "", no_files}));
}

TEST_F(Options, out_and_append_exclude_each_other) {
    write("a.csv", one_edge);
    EXPECT_EQ(
        run_plain({"-file", "missing;a.csv", "-out", "x", "-append", "y", "-dump"}),
        (Outcome{1, "", "error #30099: Cannot use -out and -append options simultaneously.\n"}));
    EXPECT_FALSE(exists("x"));
    EXPECT_FALSE(exists("y"));
}

TEST_F(Options, file_alone_is_no_action) {
    EXPECT_EQ(run_plain({"-file", "missing", "-quiet", "-sort", "A"}),
              (Outcome{1, "", "error #30098: No action specified, Use -out, -append or -dump.\n"}));
}

TEST_F(Options, dump_alone_prints_the_report) {
    write("a.csv", one_edge);
    EXPECT_EQ(run({"-file", "a.csv", "-dump"}), (Outcome{0, one_edge_report, banner}));
}

TEST_F(Options, quiet_leaves_report_and_banner_alone) {
    write("a.csv", one_edge);
    EXPECT_EQ(run({"-file", "a.csv", "-quiet", "-dump"}), (Outcome{0, one_edge_report, banner}));
}

TEST_F(Options, quiet_leaves_warnings_alone) {
    EXPECT_EQ(run_plain({"-quiet", "-file", "missing", "-out", "x"}),
              (Outcome{0, "", cannot_open("missing")}));
}

TEST_F(Options, quiet_suppresses_the_count_remark_only) {
    write("a.csv", one_edge);
    EXPECT_EQ(run_plain({"-file", "a.csv", "-quiet", "-out", "x", "-dump"}),
              (Outcome{0, one_edge_report, ""}));
    EXPECT_EQ(profile("x"), one_edge_profile);
}

TEST_F(Options, out_merges_and_remarks_the_count) {
    write("a.csv", one_edge);
    EXPECT_EQ(run({"-file", "a.csv", "-out", "x"}), (Outcome{0, "", banner + merged(1)}));
    EXPECT_EQ(profile("x"), one_edge_profile);
}

TEST_F(Options, out_with_dump_merges_then_reports_then_remarks) {
    write("a.csv", one_edge);
    EXPECT_EQ(run_mixed({"-file", "a.csv", "-out", "x", "-dump"}), one_edge_report + merged(1));
    EXPECT_EQ(profile("x"), one_edge_profile);
}

TEST_F(Options, append_with_dump_merges_then_reports_then_remarks) {
    write("a.csv", one_edge);
    EXPECT_EQ(run_mixed({"-dump", "-append", "x", "-file", "a.csv"}), one_edge_report + merged(1));
    EXPECT_EQ(profile("x"), one_edge_profile);
}

TEST_F(Options, out_refuses_an_existing_file_before_any_input_is_opened) {
    write("x", "kept");
    EXPECT_EQ(run_plain({"-file", "missing", "-out", "x"}),
              (Outcome{1, "",
                       "error #30094: File, x, already exists. Use -append option to update it."
                       "\n"}));
    EXPECT_EQ(read("x"), "kept");
}

TEST_F(Options, out_refuses_a_directory_as_existing) {
    std::filesystem::create_directory(path("x"));
    EXPECT_EQ(run_plain({"-file", "missing", "-out", "x"}),
              (Outcome{1, "",
                       "error #30094: File, x, already exists. Use -append option to update it."
                       "\n"}));
}

TEST_F(Options, append_without_readable_input_makes_no_database) {
    EXPECT_EQ(run_plain({"-file", "a", "-append", "new"}),
              (Outcome{0, "", cannot_open("a") + merged(0)}));
    EXPECT_FALSE(exists("new"));
}

TEST_F(Options, out_with_dump_and_no_readable_input_prints_no_report) {
    EXPECT_EQ(run_plain({"-file", "a", "-out", "new", "-dump"}),
              (Outcome{0, "", cannot_open("a") + merged(0)}));
    EXPECT_FALSE(exists("new"));
}

TEST_F(Options, a_slash_begins_an_option_as_well) {
    write("a.csv", one_edge);
    EXPECT_EQ(run({"/nologo", "/file", "a.csv", "/dump"}), (Outcome{0, one_edge_report, ""}));
}

TEST_F(Options, an_unknown_word_is_shown_with_a_slash) {
    EXPECT_EQ(run({"-bogus"}), unknown_option("bogus"));
    EXPECT_EQ(run({"/bogus"}), unknown_option("bogus"));
}

TEST_F(Options, nologo_in_front_of_a_bad_word_does_not_hide_the_banner) {
    EXPECT_EQ(run({"-nologo", "-bogus"}), unknown_option("bogus"));
}

TEST_F(Options, a_question_mark_is_no_help_word) {
    EXPECT_EQ(run({"-?"}), unknown_option("?"));
    EXPECT_EQ(run({"/?"}), unknown_option("?"));
    EXPECT_EQ(run({"-?help"}), unknown_option("?help"));
}

TEST_F(Options, a_lone_prefix_is_the_empty_word) {
    EXPECT_EQ(run({"-"}), unknown_option(""));
    EXPECT_EQ(run({"/"}), unknown_option(""));
}

TEST_F(Options, a_second_dash_belongs_to_the_word) {
    EXPECT_EQ(run({"--out", "x"}), unknown_option("-out"));
}

TEST_F(Options, a_word_is_neither_abbreviated_nor_folded) {
    EXPECT_EQ(run({"-ou", "x"}), unknown_option("ou"));
    EXPECT_EQ(run({"-Out", "x"}), unknown_option("Out"));
    EXPECT_EQ(run({"-outs", "x"}), unknown_option("outs"));
    EXPECT_EQ(run({"-out=x"}), unknown_option("out=x"));
}

TEST_F(Options, only_the_first_bad_word_is_reported) {
    EXPECT_EQ(run({"-one", "-two"}), unknown_option("one"));
}

TEST_F(Options, the_first_other_word_ends_the_parse_silently) {
    EXPECT_EQ(run({"-nologo", "a.txt", "-file", "b"}), (Outcome{1, "", no_files}));
    EXPECT_EQ(run({"a.txt", "-nologo"}), (Outcome{1, "", banner + no_files}));
    EXPECT_EQ(run({"-nologo", "a.txt", "-bogus"}), (Outcome{1, "", no_files}));
    EXPECT_EQ(run({"-nologo", "", "-bogus"}), (Outcome{1, "", no_files}));
}

TEST_F(Options, two_slashes_at_an_options_place_end_the_parse) {
    EXPECT_EQ(run({"-nologo", "//server/share", "-bogus"}), (Outcome{1, "", no_files}));
}

TEST_F(Options, a_value_may_begin_with_two_slashes) {
    EXPECT_EQ(run_plain({"-file", "//server/share/a.txt", "-dump"}),
              (Outcome{0, empty_report, cannot_open("//server/share/a.txt")}));
}

TEST_F(Options, a_value_must_not_begin_with_one_slash) {
    EXPECT_EQ(run({"-file", "/a.txt"}), missing_value("file"));
    EXPECT_EQ(run({"-out", "/"}), missing_value("out"));
}

TEST_F(Options, a_value_must_not_begin_with_a_dash) {
    EXPECT_EQ(run({"-file", "-out", "x"}), missing_value("file"));
    EXPECT_EQ(run({"-append", "-"}), missing_value("append"));
    EXPECT_EQ(run({"-trace", "-1"}), missing_value("trace"));
}

TEST_F(Options, a_value_must_not_be_missing) {
    EXPECT_EQ(run({"-append"}), missing_value("append"));
    EXPECT_EQ(run({"-file"}), missing_value("file"));
    EXPECT_EQ(run({"/out"}), missing_value("out"));
    EXPECT_EQ(run({"-sort"}), missing_value("sort"));
    EXPECT_EQ(run({"-nologo", "-trace"}), missing_value("trace"));
}

TEST_F(Options, the_later_value_of_an_option_stands) {
    write("a.csv", one_edge);
    EXPECT_EQ(run_plain({"-file", "missing", "-out", "x", "-file", "a.csv", "-out", "y"}),
              (Outcome{0, "", merged(1)}));
    EXPECT_FALSE(exists("x"));
    EXPECT_EQ(profile("y"), one_edge_profile);
}

TEST_F(Options, an_empty_file_text_is_present_and_names_no_input) {
    EXPECT_EQ(run_plain({"-file", ""}),
              (Outcome{1, "", "error #30098: No action specified, Use -out, -append or -dump.\n"}));
    EXPECT_EQ(run_plain({"-file", "", "-dump"}), (Outcome{0, empty_report, ""}));
    EXPECT_EQ(run_plain({"-file", "", "-out", "x"}), (Outcome{0, "", merged(0)}));
    EXPECT_FALSE(exists("x"));
}

TEST_F(Options, paths_that_sqlite_takes_for_temporary_databases_are_incompatible) {
    write("a.csv", one_edge);
    EXPECT_EQ(run_plain({"-file", "a.csv", "-out", ""}), (Outcome{1, "", incompatible("")}));
    EXPECT_EQ(run_plain({"-file", "a.csv", "-append", ":memory:"}),
              (Outcome{1, "", incompatible(":memory:")}));
}

// The value of `-trace` shows in what is traced: bit 8 shows the insertion, bit 4 nothing here.
class TraceOption : public CliTest {
protected:
    std::string traced(const std::string& value) const {
        write("a.csv", one_edge);
        std::filesystem::remove(path("x"));
        make_database("x");
        return run_plain({"-quiet", "-trace", value, "-file", "a.csv", "-append", "x"}).err;
    }

    const std::string insertion = "Insert function: A.C(f)\n";
};

TEST_F(TraceOption, reads_decimal_octal_and_hexadecimal) {
    EXPECT_EQ(traced("8"), insertion);
    EXPECT_EQ(traced("010"), insertion);
    EXPECT_EQ(traced("0x8"), insertion);
    EXPECT_EQ(traced("0x9"), insertion);
    EXPECT_EQ(traced("0XC"), insertion);
}

TEST_F(TraceOption, takes_white_space_and_a_plus_in_front) {
    EXPECT_EQ(traced(" \t+8"), insertion);
}

TEST_F(TraceOption, ignores_what_stands_behind_the_number) {
    EXPECT_EQ(traced("8x"), insertion);
    EXPECT_EQ(traced("08"), "");
    EXPECT_EQ(traced("8 2"), insertion);
}

TEST_F(TraceOption, takes_other_text_for_zero_without_a_word) {
    EXPECT_EQ(traced("abc"), "");
    EXPECT_EQ(traced(""), "");
    EXPECT_EQ(traced("x8"), "");
}

TEST_F(TraceOption, bits_without_a_meaning_do_nothing) {
    EXPECT_EQ(traced("16"), "");
    EXPECT_EQ(traced("0x7FFFFFF0"), "");
    EXPECT_EQ(traced("0x10008"), insertion);
}

TEST_F(TraceOption, a_negative_number_behind_white_space_keeps_its_bits) {
    EXPECT_EQ(traced(" -16"), "");
    EXPECT_EQ(traced(" -8"), insertion);
}

TEST_F(TraceOption, saturates_beyond_the_signed_range) {
    const std::string all_bits = without_pointers(traced("15"));
    EXPECT_EQ(without_pointers(traced("0xFFFFFFF0")), all_bits);
    EXPECT_EQ(without_pointers(traced("4294967304")), all_bits);
    EXPECT_EQ(without_pointers(traced("99999999999999999999")), all_bits);
    EXPECT_EQ(traced(" -99999999999999999999"), "");
}

}  // namespace
}  // namespace cli
