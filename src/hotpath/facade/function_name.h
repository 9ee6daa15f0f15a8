// The form of a function's name under which its samples are kept. A compiler that looks a function
// up brings its name into this form first.
#pragma once

#include <string>

namespace hotpath {

// The name that the merge tool makes of the mangled name `raw`: without suffixes of digits, the
// parent's name for an outlined parallel region, "(anon ns)" for an unnamed namespace's path.
std::string normalised_function_name(const std::string& raw);

}  // namespace hotpath
