// The action of `-out` and `-append`: the inputs of a list go into a sample database. The profile
// library knows how records are read, merged and stored.
#pragma once

namespace tool {

// Whether a database that exists already is refused or updated.
enum class TargetFile { must_be_new, may_exist };

// Reads the inputs of `file_list`, which is cut up, merges them into the database at
// `database_path`, prints the report if `-dump` asks for it, and the number of inputs read unless
// `-quiet` was given. The database is created where there is none. Without a readable input it
// isn't touched. A failure ends the program with status 1. Runs once in a process.
void merge_action(char* file_list, const char* database_path, TargetFile target);

}  // namespace tool
