// Turns a pattern into a program: writes its instructions and numbers its slots. The parser knows
// the grammar, and the engine what an instruction does.
#pragma once

#include "hotpath/names/regex_program.h"

namespace hotpath {

// Compiles the zero-terminated `pattern` into `program`, which must be fresh. After an error the
// program is worth nothing.
[[nodiscard]] RegexError compile_regex(const char* pattern, RegexProgram& program);

}  // namespace hotpath
