// The text of `-file`: how it is cut into paths, and what becomes of inputs that can't be read.
#include "cli_support.h"

namespace cli {
namespace {

class InputList : public CliTest {
protected:
    // None of the paths exists, so that each shows in a warning, in the order of the list.
    std::string warnings(const std::string& list) const {
        const Outcome outcome = run_plain({"-file", list, "-dump"});
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.out, empty_report);
        return outcome.err;
    }
};

TEST_F(InputList, a_semicolon_cuts) {
    EXPECT_EQ(warnings("a;b"), cannot_open("a") + cannot_open("b"));
}

TEST_F(InputList, other_separators_do_not_cut) {
    EXPECT_EQ(warnings("a,b:c d"), cannot_open("a,b:c d"));
}

TEST_F(InputList, blanks_around_a_path_stay) {
    EXPECT_EQ(warnings(" a ; b"), cannot_open(" a ") + cannot_open(" b"));
}

TEST_F(InputList, runs_of_semicolons_in_front_of_a_path_are_skipped) {
    EXPECT_EQ(warnings(";a;;b;"), cannot_open("a") + cannot_open("b"));
}

TEST_F(InputList, two_semicolons_at_the_end_give_an_empty_path) {
    EXPECT_EQ(warnings("a;b;;"), cannot_open("a") + cannot_open("b") +
                                     "warning #30000: Failed to open  for reading.\n");
}

TEST_F(InputList, a_lone_semicolon_is_one_empty_path) {
    EXPECT_EQ(warnings(";"), cannot_open(""));
    EXPECT_EQ(warnings(";;;"), cannot_open(""));
}

TEST_F(InputList, quotes_around_nothing_are_the_empty_path) {
    EXPECT_EQ(warnings(R"("")"), cannot_open(""));
    EXPECT_EQ(warnings(R"("";a)"), cannot_open("") + cannot_open("a"));
}

TEST_F(InputList, the_empty_text_names_nothing) { EXPECT_EQ(warnings(""), ""); }

TEST_F(InputList, double_quotes_protect_a_semicolon_and_are_removed) {
    EXPECT_EQ(warnings(R"("a;b";c)"), cannot_open("a;b") + cannot_open("c"));
}

TEST_F(InputList, single_quotes_protect_a_semicolon_and_stay) {
    EXPECT_EQ(warnings("'a;b';c"), cannot_open("'a;b'") + cannot_open("c"));
}

TEST_F(InputList, the_other_quote_is_plain_inside_a_quote) {
    EXPECT_EQ(warnings(R"("it's;x";c)"), cannot_open("it's;x") + cannot_open("c"));
    EXPECT_EQ(warnings(R"('a"b;c';d)"), cannot_open(R"('a"b;c')") + cannot_open("d"));
}

TEST_F(InputList, quotes_in_the_middle_protect_and_stay) {
    EXPECT_EQ(warnings(R"(x"a;b"y;c)"), cannot_open(R"(x"a;b"y)") + cannot_open("c"));
}

TEST_F(InputList, an_open_quote_ends_at_its_first_semicolon) {
    EXPECT_EQ(warnings(R"("a;b)"), cannot_open("\"a") + cannot_open("b"));
    EXPECT_EQ(warnings(R"("a;b;c)"), cannot_open("\"a") + cannot_open("b") + cannot_open("c"));
    EXPECT_EQ(warnings("'a;b"), cannot_open("'a") + cannot_open("b"));
}

TEST_F(InputList, an_open_quote_without_a_semicolon_runs_to_the_end) {
    EXPECT_EQ(warnings(R"(a;"bc)"), cannot_open("a") + cannot_open("\"bc"));
}

TEST_F(InputList, the_first_protected_semicolon_is_remembered_behind_its_quote) {
    EXPECT_EQ(warnings(R"("a;b"c"d)"), cannot_open("\"a") + cannot_open(R"(b"c"d)"));
}

TEST_F(InputList, a_lone_quote_is_a_path) { EXPECT_EQ(warnings("\""), cannot_open("\"")); }

TEST_F(InputList, an_escaped_quote_inside_quotes_loses_its_backslash) {
    EXPECT_EQ(warnings(R"("a\"b")"), cannot_open("a\"b"));
    EXPECT_EQ(warnings(R"("a\'b")"), cannot_open("a'b"));
    EXPECT_EQ(warnings(R"("a\";b";c)"), cannot_open("a\";b") + cannot_open("c"));
}

TEST_F(InputList, an_escaped_backslash_inside_quotes_loses_one) {
    EXPECT_EQ(warnings(R"("a\\b")"), cannot_open(R"(a\b)"));
    EXPECT_EQ(warnings(R"("a\\";b)"), cannot_open(R"(a\)") + cannot_open("b"));
}

TEST_F(InputList, other_backslashes_inside_quotes_stay) {
    EXPECT_EQ(warnings(R"("C:\dir\f")"), cannot_open(R"(C:\dir\f)"));
    EXPECT_EQ(warnings(R"("a\;b";c)"), cannot_open(R"(a\;b)") + cannot_open("c"));
}

TEST_F(InputList, a_path_that_ends_in_a_backslash_and_a_quote_runs_to_the_end) {
    EXPECT_EQ(warnings(R"("C:\dir\")"), cannot_open(R"(C:\dir\)"));
}

TEST_F(InputList, a_backslash_outside_quotes_does_not_protect_a_semicolon) {
    EXPECT_EQ(warnings(R"(a\;b)"), cannot_open(R"(a\)") + cannot_open("b"));
    EXPECT_EQ(warnings(R"(a\\;b)"), cannot_open(R"(a\\)") + cannot_open("b"));
}

TEST_F(InputList, an_escaped_quote_outside_quotes_does_not_open_one) {
    EXPECT_EQ(warnings(R"(a\"b;c")"), cannot_open(R"(a\"b)") + cannot_open("c\""));
    EXPECT_EQ(warnings(R"(\"a;b)"), cannot_open(R"(\"a)") + cannot_open("b"));
    EXPECT_EQ(warnings(R"(a\'b;c)"), cannot_open(R"(a\'b)") + cannot_open("c"));
}

TEST_F(InputList, a_quoted_path_is_opened_without_its_quotes) {
    write("a;b.csv", one_edge);
    EXPECT_EQ(run_plain({"-file", R"("a;b.csv")", "-dump"}), (Outcome{0, one_edge_report, ""}));
}

TEST_F(InputList, the_same_path_twice_is_read_and_counted_twice) {
    write("a.csv", one_edge);
    make_database("x");
    EXPECT_EQ(run_plain({"-file", "a.csv;a.csv", "-append", "x"}), (Outcome{0, "", merged(2)}));
    EXPECT_EQ(profile("x"),
              "f in A.C x0 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x10\n");
    EXPECT_EQ(runs("x"), "num_runs|2\n");
}

TEST_F(InputList, inputs_that_fail_are_warned_of_in_their_order_and_not_counted) {
    write("a.csv", one_edge);
    write("text", "just words\n");
    make_database("x");
    EXPECT_EQ(
        run_plain({"-file", "text;gone;a.csv;text", "-append", "x"}),
        (Outcome{0, "",
                 cannot_read("text") + cannot_open("gone") + cannot_read("text") + merged(1)}));
    EXPECT_EQ(profile("x"), one_edge_profile);
}

TEST_F(InputList, what_is_no_edge_file_and_no_database_can_not_be_read) {
    std::filesystem::create_directory(path("directory"));
    write("empty", "");
    write("short", "SQLite format 3");
    write("text", "FromAddress,HitCount\n1,2\n");
    write("binary", std::string_view("\0\xff\0\n", 4));
    for (const std::string name : {"directory", "empty", "short", "text", "binary"})
        EXPECT_EQ(run_plain({"-file", name, "-dump"}),
                  (Outcome{0, empty_report, cannot_read(name)}));
}

TEST_F(InputList, a_database_of_another_version_can_not_be_read) {
    make_database("old.db", "UPDATE sf_version SET sf_value='2' WHERE sf_key='schema_version';" +
                                one_edge_rows);
    EXPECT_EQ(run_plain({"-file", "old.db", "-dump"}),
              (Outcome{0, empty_report, cannot_read("old.db")}));
}

TEST_F(InputList, a_path_through_a_missing_directory_can_not_be_opened) {
    EXPECT_EQ(warnings("gone/a.csv"), cannot_open("gone/a.csv"));
}

TEST_F(InputList, a_longer_path_than_the_system_takes_is_shown_whole) {
    const std::string name(5000, 'x');
    EXPECT_EQ(warnings(name), cannot_open(name));
}

TEST_F(InputList, a_name_plays_no_part_in_what_a_file_is) {
    write("samples.db", one_edge);
    EXPECT_EQ(run_plain({"-file", "samples.db", "-dump"}), (Outcome{0, one_edge_report, ""}));
    make_database("samples.csv", one_edge_rows);
    EXPECT_EQ(run_plain({"-file", "samples.csv", "-dump"}), (Outcome{0, one_edge_report, ""}));
}

TEST_F(InputList, thousands_of_edge_files_are_read) {
    write("a.csv", one_edge);
    make_database("x");
    std::string list;
    for (int i = 0; i < 5000; ++i) list += "a.csv;";
    EXPECT_EQ(run_plain({"-file", list, "-append", "x"}), (Outcome{0, "", merged(5000)}));
    EXPECT_EQ(profile("x"),
              "f in A.C x0 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x25000\n");
    EXPECT_EQ(runs("x"), "num_runs|5000\n");
}

}  // namespace
}  // namespace cli
