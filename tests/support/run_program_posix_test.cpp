// What is said of a run must be so: other tests trust it.
#include <gtest/gtest.h>
#include <signal.h>

#include "support/run_program.h"

namespace test_support {
namespace {

ProgramRun run_shell(const std::string& script, const std::string& input = "") {
    return run_program({.program = "/bin/sh",
                        .arguments = {"-c", script},
                        .directory = "/",
                        .environment = {{"COLOUR", "blue green"}},
                        .standard_input = input});
}

TEST(RunProgram, status_and_both_streams_are_those_of_the_program) {
    const ProgramRun run = run_shell("printf 'a\\0b\\r\\n'; printf oops >&2; exit 7");
    EXPECT_EQ(run.exit_status, 7);
    EXPECT_EQ(run.signal, 0);
    EXPECT_EQ(run.standard_output, std::string("a\0b\r\n", 5));
    EXPECT_EQ(run.standard_error, "oops");
}

TEST(RunProgram, a_signal_is_no_exit_status) {
    const ProgramRun run = run_shell("kill -SEGV $$");
    EXPECT_EQ(run.exit_status, -1);
    EXPECT_EQ(run.signal, SIGSEGV);
    EXPECT_FALSE(run.timed_out);
}

TEST(RunProgram, a_program_that_does_not_end_is_ended) {
    const ProgramRun run = run_program({.program = "/bin/sleep",
                                        .arguments = {"600"},
                                        .directory = "/",
                                        .time_limit = std::chrono::milliseconds(20)});
    EXPECT_TRUE(run.timed_out);
    EXPECT_EQ(run.exit_status, -1);
    EXPECT_EQ(run.signal, SIGKILL);
}

TEST(RunProgram, long_streams_arrive_whole) {
    const ProgramRun run = run_shell(
        "head -c 300000 /dev/zero | tr '\\0' e >&2; head -c 300000 /dev/zero | tr '\\0' o");
    EXPECT_EQ(run.standard_output, std::string(300000, 'o'));
    EXPECT_EQ(run.standard_error, std::string(300000, 'e'));
}

TEST(RunProgram, one_stream_keeps_the_order_of_writing) {
    const ProgramRun run = run_program({.program = "/bin/sh",
                                        .arguments = {"-c", "echo 1; echo 2 >&2; echo 3"},
                                        .directory = "/",
                                        .one_stream = true});
    EXPECT_EQ(run.standard_output, "1\n2\n3\n");
    EXPECT_EQ(run.standard_error, "");
}

TEST(RunProgram, input_and_environment_reach_the_program) {
    EXPECT_EQ(run_shell("cat; printf '%s' \"$COLOUR\"", "typed\n").standard_output,
              "typed\nblue green");
}

}  // namespace
}  // namespace test_support
