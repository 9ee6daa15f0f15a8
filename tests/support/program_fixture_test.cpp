// The net itself must hold: what the fixture says of a run is what the other tests trust.
#include "support/program_fixture.h"

#include <gtest/gtest-spi.h>

namespace test_support {
namespace {

TEST(ProgramStart, that_can_not_be_made_fails_the_test) {
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
