// The fixture of the command-line tests: a fresh directory, files in it, the built program run
// there, and its databases read and changed behind its back.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/edge_file.h"
#include "support/run_program.h"
#include "support/scratch_directory.h"

namespace test_support {

// The rows of a query, each cell as text; NULL is "NULL", a blob its bytes.
using Rows = std::vector<std::vector<std::string>>;

// What a run may have besides its arguments.
struct RunSettings {
    std::vector<std::pair<std::string, std::string>> environment{};  // replaces or adds
    std::string standard_input{};
    bool one_stream = false;  // both streams in the order of writing, as `standard_output`
};

// Each test works in a directory of its own, which is gone after it, so that tests may run beside
// each other. All names are relative to that directory; the program runs there too, since it takes
// no value that begins with a single slash.
class ProgramTest : public testing::Test {
protected:
    // Runs the program under test with the arguments after its name. The streams' line ends are
    // plain ones.
    ProgramRun run(const std::vector<std::string>& arguments,
                   const RunSettings& settings = {}) const;

    // Writes the bytes as they stand; directories on the way are made.
    void write(const std::string& name, std::string_view bytes) const;

    // The file's bytes; the test fails where it can't be read.
    std::string read(const std::string& name) const;

    bool exists(const std::string& name) const;

    // The absolute path of a name, for what is done besides running the program.
    std::string path(const std::string& name = "") const;

    // Runs one SQL query. The database must exist; the test fails where SQLite reports an error.
    Rows query(const std::string& database, const std::string& sql) const;

    // Runs any number of SQL statements on the database, which is made if it isn't there.
    void execute(const std::string& database, const std::string& sql) const;

private:
    ScratchDirectory directory_;
};

// The program's own path, which its usage text repeats.
std::string program_path();

// The path of one of the recordings in examples/.
std::string example_path(const std::string& name);

}  // namespace test_support
