// The program's own copy of its arguments, in the one text form that the rest of the tool knows.
#pragma once

namespace tool {

// A new vector of `count` + 1 entries, the last one null. Each other entry is a new UTF-8 text;
// null if there was no memory for it. Nobody frees them: option values point into them for the
// whole run. Without memory for the vector the program ends.
[[nodiscard]] char** copy_arguments(int count, const char* const* arguments);
[[nodiscard]] char** copy_arguments(int count, const wchar_t* const* arguments);

}  // namespace tool
