#include "edgescope/scope_fixture.h"

namespace {

using test_support::ProgramRun;
using test_support::small_profile;
using testing::HasSubstr;
using testing::Not;

class Terminal : public test_support::ScopeTest {
protected:
    // What the command prints at a terminal.
    std::string at_terminal(const std::string& arguments, const std::string& environment) const {
        const std::string command = environment + " " EDGESCOPE_PROGRAM " " + arguments;
        const ProgramRun run = system("/usr/bin/script", {"-qec", command, "/dev/null"});
        EXPECT_EQ(run.exit_status, 0) << run;
        return run.standard_output;
    }
};

TEST_F(Terminal, hot_lines_are_coloured) {
    database("a.db", small_profile);
    EXPECT_THAT(at_terminal("top a.db", "TERM=xterm"), HasSubstr("\x1b[31m 75.00%"));
}

TEST_F(Terminal, findings_are_coloured_by_their_severity) {
    database("a.db",
             std::string(small_profile) + "; DELETE FROM sf_edges WHERE sf_from_func_id = 2");
    EXPECT_THAT(at_terminal("check a.db", "TERM=xterm"), HasSubstr("\x1b[36mnote\x1b[0m"));
}

TEST_F(Terminal, no_colour_is_shown_to_whom_wants_none) {
    database("a.db", small_profile);
    EXPECT_THAT(at_terminal("top a.db", "TERM=xterm NO_COLOR=1"), Not(HasSubstr("\x1b")));
    EXPECT_THAT(at_terminal("top a.db", "TERM=dumb"), Not(HasSubstr("\x1b")));
}

}  // namespace
