#pragma once
// Finds the file that holds a program's debug information where the program itself has none.

#include <memory>
#include <string>

#include "program/elf_file.h"

namespace program {

// Looks, as debuggers do, by build-id below `directory` (usually /usr/lib/debug), then for the name
// in .gnu_debuglink beside the program, in .debug/ there, and below `directory`. A file of another
// build isn't taken. Null where there is none.
std::unique_ptr<ElfFile> find_debug_file(const ElfFile& program, const std::string& directory);

// Whether the two say that they are of one build, or at least don't deny it.
bool may_be_of_one_build(const ElfFile& program, const ElfFile& debug);

}  // namespace program
