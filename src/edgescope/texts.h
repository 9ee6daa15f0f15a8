// How the program writes names, positions, counts and shares.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "edgescope/profile.h"

namespace edgescope {

// The name as a programmer wrote it, if it is a mangled one; otherwise the name itself. So is one
// that would grow beyond all bounds.
std::string demangled(const std::string& name);

// True if `name` is the function's, as it is stored or demangled.
bool is_function_named(const Function& function, const std::string& name);

// A function's name for a person to read, without control characters.
std::string shown_name(const std::string& name, bool demangle);

// The last component of a file's name; "-" if there is none.
std::string shown_file(std::string_view file);

// "12:5.1": line, column, discriminator. The last two are left out where they are 0; an unknown
// line is "?".
std::string position_text(const Position& position);

// "1,234,567"
std::string with_commas(std::uint64_t count);

// "1 function", "2,000 functions"
std::string counted(std::uint64_t count, std::string_view noun);

// The share in percent; 0 of nothing.
double percent(std::uint64_t part, std::uint64_t whole);

}  // namespace edgescope
