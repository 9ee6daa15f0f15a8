// A bounded copy of a text that refuses to write nowhere.
#pragma once

#include <cstddef>

namespace diag {

// Copies at most `size` bytes as a bounded string copy does: stops after the source's end, pads
// with zeros, and writes no terminator if the source doesn't fit. An absent destination ends the
// program with status 1.
void checked_strncpy(char* destination, const char* source, std::size_t size);

}  // namespace diag
