#pragma once
// What the commands that make edge files have in common on their command lines, and how they speak:
// messages begin with the command's name, the exit status is 0, 1 after an error and 2 after a
// wrong use.

#include <CLI/CLI.hpp>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "edgefile/edge_table.h"

namespace edgefile {

struct CommonOptions {
    std::string program;
    std::vector<std::string> libraries;
    std::vector<std::string> debug_files;
    TableOptions table;
};

// Adds PROGRAM and the options that all commands have.
void add_common_options(CLI::App& app, CommonOptions& options);

// Parses; where there is nothing left to do (help, version, wrong use) the result is the exit
// status.
std::optional<int> parse(CLI::App& app, int argc, char** argv);

// "NAME: text" and a line's end on standard error.
void say(std::string_view name, std::string_view text);

// Flushes what was written. False if that failed; it then prints the reason, except where the
// reader has gone away.
bool flush_output(std::string_view name);

// What was written and what edgefold will make of it. `outside` is the share of the recording, from
// 0 to 1, that ran in none of the programs.
void say_summary(std::string_view name, const Summary& summary, double outside);

}  // namespace edgefile
