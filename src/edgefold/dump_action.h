// The action of `-dump` alone: the inputs of a list are read and reported, and nothing is stored.
#pragma once

namespace tool {

// Reads the inputs of `file_list`, which is cut up, and prints the report of what they hold, sorted
// as `-sort` asks, also where none could be read. Runs once in a process.
void dump_action(char* file_list);

}  // namespace tool
