// What is said of a run must be so: other tests trust it.
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include "support/program_fixture.h"

namespace test_support {
namespace {

class RunProgram : public ProgramTest {
protected:
    ProgramStart start_of(const std::vector<std::string>& arguments) const {
        return {.program = program_path(), .arguments = arguments, .directory = path()};
    }

    // The path that the program says it can't open.
    std::string path_as_it_arrives(const std::string& text) const {
        return run_program(start_of({"-nologo", "-file", text, "-dump"})).standard_error;
    }
};

TEST_F(RunProgram, status_and_both_streams_are_those_of_the_program) {
    const ProgramRun good = run_program(start_of({"-nologo", "-file", "a", "-dump"}));
    EXPECT_EQ(good.exit_status, 0);
    EXPECT_EQ(good.standard_output, "Sampling merge header:Input file count: 0\r\n");
    EXPECT_EQ(good.standard_error, "warning #30000: Failed to open a for reading.\r\n");
    EXPECT_EQ(run_program(start_of({"-nologo"})).exit_status, 1);
}

TEST_F(RunProgram, arguments_arrive_as_they_stand) {
    for (const std::string text : {"a b", "*.c?v", "a\\\\", "\\a\\\"", "%PATH%", "\xc3\xa4\t"})
        EXPECT_EQ(path_as_it_arrives("x;" + text + ";y"),
                  "warning #30000: Failed to open x for reading.\r\n"
                  "warning #30000: Failed to open " +
                      text +
                      " for reading.\r\n"
                      "warning #30000: Failed to open y for reading.\r\n");
}

TEST_F(RunProgram, a_program_that_does_not_end_in_time_is_ended) {
    write("a.csv", std::string(1 << 20, '\n'));
    ProgramStart start = start_of({"-file", "a.csv", "-dump"});
    start.time_limit = std::chrono::milliseconds(1);
    const ProgramRun run = run_program(start);
    EXPECT_TRUE(run.timed_out);
    EXPECT_EQ(run.exit_status, -1);
}

TEST_F(RunProgram, one_stream_has_what_both_would) {
    ProgramStart start = start_of({"-nologo", "-file", "a", "-dump"});
    start.one_stream = true;
    const ProgramRun run = run_program(start);
    EXPECT_EQ(run.standard_output,
              "warning #30000: Failed to open a for reading.\r\n"
              "Sampling merge header:Input file count: 0\r\n");
    EXPECT_EQ(run.standard_error, "");
}

TEST_F(RunProgram, a_line_without_a_carriage_return_fails_the_test) {
    EXPECT_EQ(written_text("a\r\n\rb\r\r\n"), "a\n\rb\r\n");
    EXPECT_NONFATAL_FAILURE(written_text("a\r\nb\n"), "a line that doesn't end in CR LF");
}

}  // namespace
}  // namespace test_support
