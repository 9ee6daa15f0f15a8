// Starting the built program from a test. The test decides what the result means; how a process is
// started on a system stands in run_program_posix.cpp and run_program_windows.cpp.
#pragma once

#include <chrono>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace test_support {

// How one run of the program is started.
struct ProgramStart {
    std::string program;                 // path that doesn't depend on the working directory
    std::vector<std::string> arguments;  // those after the program's name
    std::string directory;               // where it runs
    std::string name{};                  // the name it is given, if that isn't its path
    std::vector<std::pair<std::string, std::string>> environment{};  // replaces or adds
    std::string standard_input{};
    bool one_stream = false;  // standard error goes where standard output goes, in its order
    std::chrono::milliseconds time_limit = std::chrono::seconds(60);
};

// What one run left behind.
struct ProgramRun {
    int exit_status = -1;    // -1 where it didn't end by itself
    int signal = 0;          // the signal that ended it, or 0
    bool timed_out = false;  // it was still running at its time limit and was ended
    std::string standard_output{};
    std::string standard_error{};
};

// Runs the program to its end. The test fails where it can't be started.
ProgramRun run_program(const ProgramStart& start);

// What the program wrote to give these bytes of a standard stream. Where the system writes a line's
// end as CR LF, the test fails if it isn't so everywhere.
std::string written_text(const std::string& stream);

// For messages of failed expectations.
inline std::ostream& operator<<(std::ostream& stream, const ProgramRun& run) {
    stream << "exit status " << run.exit_status;
    if (run.signal != 0) stream << ", signal " << run.signal;
    if (run.timed_out) stream << ", timed out";
    return stream << "\nstandard output:\n"
                  << run.standard_output << "\nstandard error:\n"
                  << run.standard_error << "\n";
}

}  // namespace test_support
