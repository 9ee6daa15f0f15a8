// check_edges: tells which rows and hits of edge files the merge tool will not count, and why.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <limits>
#include <string>
#include <vector>

#include "check/file_check.h"
#include "check/report.h"
#include "diag/platform.h"

namespace {

constexpr int too_much_lost = 1;
constexpr int unreadable = 2;

constexpr const char* description =
    R"(Tells which rows and hits of edge files edgefold will not count, and why.

    check_edges run1.csv run2.csv
    check_edges --max-lost 1 run1.csv

Several files are read as edgefold reads them in one list: an edge has its position from the first
file that shows it.
)";

constexpr const char* kinds =
    R"(What is lost:
  too few fields       the row ends before the last column that is read
  unknown line         a row inside one function with line -1 at one of its ends
  position mismatch    the edge's first row has another line, column or discriminator
  unknown callee (NA)  a row between two functions, the second of which is NA
  unknown branch type  a row between two functions that is no call, jump or return
  count rounded        counts above 16777216 are kept in a 32-bit float; the difference is lost
Each kind comes with its first line in the file. Rows with odd numbers (what isn't written as a
plain number, or doesn't fit) are counted by what edgefold reads there, which may be 0.
A return counts for its function's entries, neither as an edge nor as a call.

Exit status: 0; 1 where --max-lost is exceeded; 2 where a file can't be read or the command line is
wrong.)";

struct CommandLine {
    std::vector<std::string> files;
    double max_lost = std::numeric_limits<double>::infinity();
};

// CLI11's own check lets pass what is no number.
std::string not_negative(const std::string& text) {
    double value = -1;
    return CLI::detail::lexical_cast(text, value) && value >= 0 ? "" : text + " is no share";
}

// The status to end with at once, or -1.
int read_command_line(int argument_count, char** arguments, CommandLine& line) {
    CLI::App app(description, "check_edges");
    app.set_version_flag("--version", "check_edges " EDGEFOLD_VERSION);
    app.footer(kinds);
    app.add_option("FILE", line.files, "Edge files")->option_text(" ")->required();
    app.add_option("--max-lost", line.max_lost,
                   "Exit status 1 where more of a file's rows, or of its hits, is lost")
        ->option_text("PERCENT")
        ->check(not_negative);
    try {
        app.parse(argument_count, arguments);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : unreadable;
    }
    return -1;
}

int check_files(const CommandLine& line) {
    check::FileCheck files;
    check::FileTally sum;
    int status = 0;
    for (const std::string& path : line.files) {
        check::FileTally tally;
        std::string reason;
        if (!files.read(path, tally, reason)) {
            fmt::print(stderr, "check_edges: {} {}\n", path, reason);
            status = unreadable;
            continue;
        }
        fmt::print("{}", check::report_text(path, tally));
        if (status == 0 && tally.lost_percent() > line.max_lost) status = too_much_lost;
        sum.add(tally);
    }
    if (line.files.size() > 1) fmt::print("{}", check::report_text("all files", sum));
    return status;
}

}  // namespace

int main(int argument_count, char** arguments) {
    // A reader that stops early costs no word.
    diag::platform::let_writes_fail();
    CommandLine line;
    const int status = read_command_line(argument_count, arguments, line);
    return status != -1 ? status : check_files(line);
}
