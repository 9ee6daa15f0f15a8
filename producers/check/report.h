// What check_edges says of the files that it read.
#pragma once

#include <string>

#include "check/file_check.h"

namespace check {

// Some lines, the first of which begins with `name`.
std::string report_text(const std::string& name, const FileTally& tally);

}  // namespace check
