// What the program asks of a terminal. One source file per system stands behind it.
#pragma once

#include <cstdio>

namespace edgescope {

// True if the stream's output is read by a person at a terminal.
bool is_terminal(std::FILE* stream);

// Lets the terminal understand colours; false if it can't.
bool enable_colour(std::FILE* stream);

// Lets the program write bytes as they stand, and text in UTF-8.
void prepare_streams();

}  // namespace edgescope
