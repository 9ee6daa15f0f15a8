// What the command-line tests share on top of their fixture: short ways to run the program and to
// look into its databases, and the texts that many of them expect. What a run should give stands in
// the tests.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/file_path.h"
#include "support/profile_lines.h"
#include "support/program_fixture.h"
#include "support/run_program.h"
#include "support/schema_text.h"

namespace cli {

// How one run ended: its exit status and both streams.
struct Outcome {
    int status = 0;
    std::string out{};
    std::string err{};

    bool operator==(const Outcome&) const = default;
};

inline void PrintTo(const Outcome& outcome, std::ostream* stream) {
    *stream << "status " << outcome.status << "\n--- out\n"
            << outcome.out << "--- err\n"
            << outcome.err << "---";
}

using Row = std::vector<std::string>;

// The position whose four numbers stand at this place of a row, as the file has them.
inline std::string position_text(const Row& row, std::size_t first) {
    return test_support::position_text(row[first], row[first + 1], row[first + 2], row[first + 3]);
}

// The line of a whole row of the edge table.
inline std::string edge_text(const Row& row) {
    const unsigned long flags = std::stoul(row[13]);
    const auto address = [](const std::string& text) {
        return static_cast<std::uint64_t>(std::stoll(text));
    };
    std::string line = test_support::edge_line({address(row[1]), position_text(row, 2),
                                                address(row[7]), position_text(row, 8), row[12],
                                                (flags & 1U) != 0, (flags & 2U) != 0});
    if (flags > 3) line.insert(line.size() - 1, " flags " + row[13]);  // the tool writes no others
    return line;
}

class CliTest : public test_support::ProgramTest {
protected:
    // Runs the program in the test's directory.
    Outcome run(const std::vector<std::string>& arguments) const { return start(arguments, false); }

    // The same without the banner.
    Outcome run_plain(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), "-nologo");
        return run(arguments);
    }

    // Runs the program without the banner and with both streams going into one place, and gives
    // what arrived there.
    std::string run_mixed(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), "-nologo");
        return start(arguments, true).out;
    }

    // Merges the list into the database by `option`, "-out" or "-append", and expects silence.
    void merge(const std::string& list, const std::string& option,
               const std::string& database) const {
        EXPECT_EQ(run_plain({"-quiet", "-file", list, option, database}), (Outcome{0, "", ""}));
    }

    // Makes a sample database without the program, and runs the statements on it. Nothing waits
    // for the disk here, which makes it far quicker than a run with "-out".
    void make_database(const std::string& name, const std::string& statements = "") const {
        execute(name, "BEGIN;" + test_support::schema_sql() + "COMMIT;" + statements);
    }

    // The rows of a query, one line per row, with "|" between the cells.
    std::string rows(const std::string& database, const std::string& sql) const {
        std::string text;
        for (const Row& row : query(database, sql)) {
            for (std::size_t i = 0; i < row.size(); ++i) text += (i == 0 ? "" : "|") + row[i];
            text += "\n";
        }
        return text;
    }

    // All functions in the order of their ids, each with its edges and calls in their order:
    // "f in A.C x7 flags 0", "  edge 1a 10:0.0.0 > 2b 11:0.0.0 x5 entry", "  call g 12:1 x3".
    std::string profile(const std::string& database) const {
        std::string text;
        for (const Row& row :
             query(database,
                   "SELECT f.sf_id, sf_func_name, IFNULL(sf_filename, 'NO FILE'), f.sf_exec_count, "
                   "sf_flags FROM sf_functions f LEFT JOIN sf_filenames n ON n.sf_id = sf_file_id "
                   "ORDER BY f.sf_id")) {
            text += test_support::function_line(row[1] + " in " + row[2], row[3], row[4]);
            for (const Row& edge : query(database, "SELECT * FROM sf_edges WHERE sf_from_func_id=" +
                                                       row[0] + " ORDER BY rowid"))
                text += edge_text(edge);
            for (const Row& call : query(database, "SELECT * FROM sf_calls WHERE sf_from_func_id=" +
                                                       row[0] + " ORDER BY rowid"))
                text += test_support::call_line(call[3], call[1], call[2], call[4]);
        }
        return text;
    }

    // The profile that this edge file gives when it is merged into a database without functions.
    std::string profile_of(std::string_view edge_file) const {
        write("profile_of.csv", edge_file);
        std::filesystem::remove(path("profile_of.db"));
        make_database("profile_of.db");
        merge("profile_of.csv", "-append", "profile_of.db");
        return profile("profile_of.db");
    }

    std::string runs(const std::string& database) const {
        return rows(database, "SELECT sf_key, sf_value FROM sf_run_info");
    }

    // Puts a copy of the program at this place in the directory; later runs use it.
    void install_program(const std::string& name) {
        const std::filesystem::path copy = test_support::file_path(path(name));
        std::filesystem::create_directories(copy.parent_path());
        std::filesystem::copy_file(test_support::file_path(program_), copy);
        program_ = path(name);
    }

    std::vector<std::pair<std::string, std::string>> environment_;  // beside what is there anyway
    std::string program_ = test_support::program_path();
    std::string name_;         // the name that the program is given, if that isn't its path
    std::string preparation_;  // shell commands run before the program in its process, if any

private:
    Outcome start(const std::vector<std::string>& arguments, bool one_stream) const {
        test_support::ProgramStart how{.program = program_,
                                       .arguments = arguments,
                                       .directory = path(),
                                       .name = name_,
                                       .environment = environment_,
                                       .one_stream = one_stream};
        if (!preparation_.empty()) {
            how.program = "/bin/sh";
            how.arguments.insert(how.arguments.begin(),
                                 {"-c", preparation_ + "; exec \"$0\" \"$@\"", program_});
        }
        const test_support::ProgramRun run = test_support::run_program(how);
        EXPECT_EQ(run.signal, 0) << run;
        EXPECT_FALSE(run.timed_out) << run;
        return {run.exit_status, test_support::written_text(run.standard_output),
                test_support::written_text(run.standard_error)};
    }
};

// The trace texts with "@" for each address of a connection. An address ends where its opening says
// so; where a connection is closed, any letter may follow.
inline std::string without_pointers(std::string text) {
    constexpr std::string_view before = ") : ";
    for (std::size_t i = 0; (i = text.find(before, i)) != std::string::npos;) {
        i += before.size();
        const std::string address = text.substr(i, text.find(' ', i) - i);
        for (std::size_t j = i; (j = text.find(address, j)) != std::string::npos; ++j)
            text.replace(j, address.size(), "@");
    }
    return text;
}

inline const std::string banner =
    "Velmora(R) Quillon sampling merge tool for applications running on Velmora(R) 64, "
    "Version 2021.8.0 Build 20221119_000000\n"
    "Copyright (C) 2012-2022 Velmora. All rights reserved.\n"
    "\n";

// The usage line and the options, as they follow the banner after a bad option.
inline std::string usage(const std::string& program) {
    return "Usage: " + program +
           "\n"
           "           [-nologo]\n"
           "           [-append <file>]\n"
           "           [-dump]\n"
           "           [-file <file>[;<file>*]]\n"
           "           [-help]\n"
           "           [-out <file>]\n"
           "           [-sort <order_code>[-]]\n"
           "\n";
}

inline const std::string no_files = "error #30097: No input files specified. Use -file option.\n";
inline const std::string internal_error = "error #30100: Internal error.\n";

inline std::string cannot_open(const std::string& path) {
    return "warning #30000: Failed to open " + path + " for reading.\n";
}

inline std::string cannot_read(const std::string& path) {
    return "warning #30095: Unable to read hardware sampling data from '" + path + "'\n";
}

inline std::string incompatible(const std::string& path) {
    return "error #30096: File, " + path +
           ", already exists, but is not compatible with this version. Delete and regenerate.\n";
}

inline std::string merged(int count) {
    return "remark #30101: Merged " + std::to_string(count) + " files to output file.\n";
}

// The header row with the ten required columns, in the order of the rows below.
inline const std::string ten_columns =
    "FromAddress,TypeOfBranch,FromSourceFile,FromSourceLine,FromFunctionMangled,"
    "DestinationEndOfBlockAddress,DestinationSourceFile,DestinationSourceLine,"
    "DestinationFunctionMangled,HitCount\n";

// The same with `EntryBlock` after them.
inline const std::string entry_columns =
    ten_columns.substr(0, ten_columns.size() - 1) + ",EntryBlock\n";

// The same with the three optional pairs: offset lines, columns, discriminators.
inline const std::string position_columns =
    ten_columns.substr(0, ten_columns.size() - 1) +
    ",FromSourceOffsetLine,DestinationSourceOffsetLine,FromSourceColumn,DestinationSourceColumn,"
    "FromSourceDiscriminator,DestinationSourceDiscriminator\n";

// One edge of "f" in "a.c", from 0x10 in line 1 to 0x20 in line 2, taken five times.
inline const std::string one_edge = ten_columns + "10,Cond,a.c,1,f,20,a.c,2,f,5\n";
inline const std::string one_edge_profile =
    "f in A.C x0 flags 0\n"
    "  edge 10 1:0.0.0 > 20 2:0.0.0 x5\n";

inline const std::string empty_report = "Sampling merge header:Input file count: 0\n";

inline const std::string report_line =
    "-----------------------------------------------------------------------\n";

// What the report prints for `one_edge`.
inline const std::string one_edge_report =
    "Sampling merge header:Input file count: 1\n" + report_line +
    "FILE:         A.C\n"
    "ENTRY:        f\n"
    "\n"
    "Edge data counts:\n"
    "\n"
    "    StartAddr           EndAddr         StartPosition   EndPosition          Count\n"
    "    0x0810\t0x0820\tL1.C0.D0\tL2.C0.D0\t           5\n"
    "\n"
    "Function call counts:\n"
    "\n";

// "f" in "A.C" as `one_edge` gives it, with one run.
inline const std::string one_edge_rows =
    "INSERT INTO sf_run_info VALUES('num_runs', '1');"
    "INSERT INTO sf_filenames VALUES(1, 'A.C');"
    "INSERT INTO sf_functions VALUES(1, 'f', 1, 0, 0);"
    "INSERT INTO sf_edges VALUES(1, 16, 1, 0, 0, 0, 1, 32, 2, 0, 0, 0, 5, 0);";

}  // namespace cli
