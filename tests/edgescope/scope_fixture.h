// The fixture of the tests that run `edgescope`: a fresh directory, databases in it made by
// `edgefold` or spelled out in SQL.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "support/program_fixture.h"
#include "support/sample_database.h"

namespace test_support {

class ScopeTest : public ProgramTest {
protected:
    // Runs edgescope with the arguments behind its name.
    ProgramRun scope(const std::vector<std::string>& arguments,
                     const RunSettings& settings = {}) const {
        ProgramRun run = run_program({.program = EDGESCOPE_PROGRAM,
                                      .arguments = arguments,
                                      .directory = path(),
                                      .environment = settings.environment,
                                      .one_stream = settings.one_stream});
        EXPECT_FALSE(run.timed_out) << run;
        EXPECT_EQ(run.signal, 0) << run;
        return run;
    }

    // The output of a run that must be fine and say nothing else.
    std::string output_of(const std::vector<std::string>& arguments) const {
        const ProgramRun run = scope(arguments);
        EXPECT_EQ(run.exit_status, 0) << run;
        EXPECT_EQ(run.standard_error, "");
        return run.standard_output;
    }

    // Runs another program of the system, found by its path.
    ProgramRun system(const std::string& program, const std::vector<std::string>& arguments) const {
        return run_program({.program = program, .arguments = arguments, .directory = path()});
    }

    // Makes a database of one run without samples, and runs the SQL text on it.
    void database(const std::string& name, const std::string& sql) const {
        write_sample_database(path(name),
                              "INSERT INTO sf_run_info VALUES ('num_runs', '1');" + sql);
    }

    // Makes a database of one of the recordings in examples/.
    void merge_example(const std::string& recording, const std::string& name) const {
        write(recording, read_file(example_path(recording)));
        const ProgramRun merge = run({"-nologo", "-quiet", "-file", recording, "-out", name});
        EXPECT_EQ(merge.exit_status, 0) << merge;
    }

    static std::string read_file(const std::string& file) {
        std::ifstream stream(file, std::ios::binary);
        EXPECT_TRUE(stream) << "can't read " << file;
        return {std::istreambuf_iterator<char>(stream), {}};
    }
};

// A small profile: f calls g; f has a loop.
inline constexpr const char* small_profile =
    "INSERT INTO sf_filenames VALUES (1, 'SRC/A.C'), (2, 'B.C');"
    "INSERT INTO sf_functions VALUES (1, 'f', 1, 30, 0), (2, '_Z1gi', 2, 10, 3);"
    "INSERT INTO sf_edges VALUES (1, 16, 10, 1, 0, 0, 1, 32, 11, 2, 0, 0, 30, 3),"
    " (1, 32, 11, 2, 0, 0, 1, 32, 11, 2, 0, 0, 60, 2),"
    " (2, 48, 5, 1, 7, 3, 2, 64, 6, 2, 1, 0, 10, 2);"
    "INSERT INTO sf_calls VALUES (1, 12, 3, '_Z1gi', 10)";

}  // namespace test_support
