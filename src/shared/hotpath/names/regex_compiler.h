// Turns a pattern into a program. It writes instructions and gives numbers to slots; the grammar is
// the parser's, and what an instruction does is the engine's.
#pragma once

#include "shared/hotpath/names/regex_program.h"

namespace hotpath {

// Compiles the zero-terminated `pattern` into `program`, which must be fresh. After an error the
// program is worth nothing.
RegexError compile_regex(const char* pattern, RegexProgram& program);

}  // namespace hotpath
