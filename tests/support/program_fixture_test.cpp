// The net itself must hold: what the fixture says of a run is what the other tests trust.
#include "support/program_fixture.h"

#include <gtest/gtest-spi.h>
#include <signal.h>

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

TEST(RunProgram, what_can_not_be_started_fails_the_test) {
    EXPECT_NONFATAL_FAILURE(
        run_program({.program = "/no/such/program", .arguments = {}, .directory = "/"}),
        "can't start /no/such/program");
}

TEST_F(ProgramTest, files_come_back_as_written) {
    write("deep/down/a.csv", std::string_view("x\r\n\0", 4));
    EXPECT_EQ(read("deep/down/a.csv"), std::string("x\r\n\0", 4));
    EXPECT_TRUE(exists("deep/down/a.csv"));
    EXPECT_FALSE(exists("a.csv"));
}

TEST_F(ProgramTest, a_query_gives_cells_as_text) {
    execute("x.db", "CREATE TABLE t (a, b, c); INSERT INTO t VALUES (1, NULL, ''), (-2.5, 'é', 3)");
    EXPECT_EQ(query("x.db", "SELECT * FROM t"), (Rows{{"1", "NULL", ""}, {"-2.5", "é", "3"}}));
}

TEST_F(ProgramTest, the_program_runs_in_the_fresh_directory) {
    write("a.csv", edge_file({{.hits = "3"}, {.from = "0x3000", .from_line = "12"}}));
    const ProgramRun made = run({"-nologo", "-file", "a.csv", "-out", "new.db"});
    EXPECT_EQ(made.exit_status, 0) << made;
    EXPECT_EQ(query("new.db",
                    "SELECT sf_from_address, sf_from_abs_line, sf_exec_count"
                    " FROM sf_edges ORDER BY 1"),
              (Rows{{"4096", "10", "3"}, {"12288", "12", "1"}}));
}

}  // namespace
}  // namespace test_support
