// What the program asks of a terminal. One source file per system stands behind it.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

namespace edgescope {

// True if the stream's output is read by a person at a terminal.
bool is_terminal(std::FILE* stream);

// Lets the terminal understand colours; false if it can't.
bool enable_colour(std::FILE* stream);

// The arguments of `main`, in UTF-8.
std::vector<std::string> utf8_arguments(int argument_count, const char* const* arguments);

// Lets the program write bytes as they stand, and text in UTF-8.
void prepare_streams();

}  // namespace edgescope
