// The ends of lines: CR LF on the standard streams, either form in the files that are read.
#include "cli_support.h"

namespace cli {
namespace {

class TextMode : public CliTest {
protected:
    test_support::ProgramRun bytes_of_run(const std::vector<std::string>& arguments) const {
        return test_support::run_program(
            {.program = program_, .arguments = arguments, .directory = path()});
    }
};

std::string with_carriage_returns(const std::string& text) {
    std::string lines;
    for (const char c : text) lines += c == '\n' ? "\r\n" : std::string(1, c);
    return lines;
}

TEST_F(TextMode, lines_of_the_report_end_in_cr_lf) {
    write("a.csv", one_edge);
    const auto run = bytes_of_run({"-nologo", "-file", "a.csv", "-dump"});
    EXPECT_EQ(run.standard_output, with_carriage_returns(one_edge_report));
}

TEST_F(TextMode, lines_of_banner_messages_and_usage_end_in_cr_lf) {
    EXPECT_EQ(bytes_of_run({}).standard_error, with_carriage_returns(banner + no_files));
    EXPECT_EQ(bytes_of_run({"-bogus"}).standard_error,
              with_carriage_returns("error #32500: unknown option '/bogus'\n" + banner +
                                    usage(program_)));
}

TEST_F(TextMode, lines_of_traces_end_in_cr_lf) {
    write("a.csv", one_edge);
    EXPECT_EQ(bytes_of_run({"-quiet", "-nologo", "-trace", "8", "-file", "a.csv", "-out", "x"})
                  .standard_error,
              "Insert function: A.C(f)\r\n");
}

TEST_F(TextMode, a_control_z_in_an_edge_file_is_no_end) {
    write("a.csv", ten_columns + "10,Cond,a.c,1,f\x1a,20,a.c,2,f\x1a,5\n");
    EXPECT_EQ(run_plain({"-file", "a.csv", "-out", "x"}), (Outcome{0, "", merged(1)}));
    EXPECT_EQ(profile("x"),
              "f\x1a in A.C x0 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x5\n");
}

TEST_F(TextMode, a_package_id_does_not_end_in_cr) {
    install_program("suite/bin/edgefold");
    write("suite/share/edgefold/package_c.txt", "Name: x\r\nPackage ID: a.b.c\r\n");
    EXPECT_TRUE(run({}).err.find("Version 2021.8.b.c Build") != std::string::npos);
}

}  // namespace
}  // namespace cli
