#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdlib>

#include "edgescope/message.h"
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

// A terminal in place of the standard error stream.
class PseudoTerminal {
public:
    PseudoTerminal() : master_(posix_openpt(O_RDWR | O_NOCTTY)), old_(dup(2)) {
        EXPECT_EQ(grantpt(master_), 0);
        EXPECT_EQ(unlockpt(master_), 0);
        const int slave = open(ptsname(master_), O_RDWR | O_NOCTTY);
        EXPECT_GE(slave, 0);
        dup2(slave, 2);
        close(slave);
        fcntl(master_, F_SETFL, O_NONBLOCK);
    }
    PseudoTerminal(const PseudoTerminal&) = delete;
    PseudoTerminal& operator=(const PseudoTerminal&) = delete;
    ~PseudoTerminal() {
        dup2(old_, 2);
        close(old_);
        close(master_);
    }

    // What was written to it so far.
    std::string text() const {
        std::string result;
        std::array<char, 4096> bytes{};
        for (ssize_t size = 0; (size = read(master_, bytes.data(), bytes.size())) > 0;)
            result.append(bytes.data(), static_cast<std::size_t>(size));
        return result;
    }

private:
    int master_;
    int old_;
};

class Progress : public test_support::ScopeTest {
protected:
    // What reading half of the second of two files shows.
    std::string shown(std::chrono::milliseconds delay) const {
        write("a.db", std::string(1000000, 'x'));
        const PseudoTerminal terminal;
        {
            edgescope::ProgressBar progress(2, delay);
            progress.begin(path("a.db"));
            progress.begin(path("a.db"));
            for (int i = 0; i < 16384; ++i) progress.count_row(31);
            usleep(110000);
            for (int i = 0; i < 16384; ++i) progress.count_row(0);
        }
        return terminal.text();
    }
};

TEST_F(Progress, is_a_bar_that_is_wiped_away) {
    setenv("TERM", "xterm", 1);
    const std::string text = shown(std::chrono::milliseconds(0));
    EXPECT_THAT(text, HasSubstr("\r\x1b[K[..............................]   0 %"));
    EXPECT_THAT(text, HasSubstr("\r\x1b[K[######################........]  75 %"));
    EXPECT_TRUE(text.ends_with("\r\x1b[K")) << text;
    // It has no colours that one may not want.
    setenv("NO_COLOR", "1", 1);
    EXPECT_THAT(shown(std::chrono::milliseconds(0)), HasSubstr(" 75 %"));
    unsetenv("NO_COLOR");
}

TEST_F(Progress, is_not_shown_in_a_short_run_or_where_it_cannot_be_wiped_away) {
    setenv("TERM", "xterm", 1);
    EXPECT_EQ(shown(std::chrono::minutes(1)), "");
    setenv("TERM", "dumb", 1);
    EXPECT_EQ(shown(std::chrono::milliseconds(0)), "");
}

TEST_F(Progress, is_not_shown_where_there_is_no_terminal) {
    setenv("TERM", "xterm", 1);
    write("a.db", "x");
    testing::internal::CaptureStderr();
    {
        edgescope::ProgressBar progress(1, std::chrono::milliseconds(0));
        progress.begin(path("a.db"));
        for (int i = 0; i < 100000; ++i) progress.count_row(1);
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

}  // namespace
