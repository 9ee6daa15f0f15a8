// What the tool prints about itself, on the standard error stream: the banner at the start of a
// run, the usage text after a bad option, the help text.
#pragma once

#include <string>

namespace tool {

// Prints the version line, the rights line and an empty line.
void print_banner();

// The banner with another first line, of which at most 319 characters are printed.
void print_banner_lines(const char* first_line);

// Prints the banner, the usage line and the options, and ends the program with status 1.
// `program_name` is the first argument as it was given.
[[noreturn]] void print_usage(const char* program_name);

// Prints the help line and the explained options, and ends the program with status 1.
[[noreturn]] void print_help(const char* program_name);

// Product, tool, platform, version and build, and a newline. Built at the first call.
const std::string& version_line();

}  // namespace tool
