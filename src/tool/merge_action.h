// The action of `-out` and `-append`: the inputs of a list go into a sample database. How records
// are read, merged and stored is the profile library's affair.
#pragma once

namespace tool {

// Reads the inputs of `file_list`, which is cut up, merges them into the database at
// `database_path`, prints the report if `-dump` asks for it, and the number of inputs read unless
// `-quiet` was given. `must_be_new` refuses a database that exists; otherwise it is created or
// updated. Without a readable input the database isn't touched. A failure ends the program with
// status 1. Runs once in a process.
void merge_action(char* file_list, const char* database_path, bool must_be_new);

}  // namespace tool
