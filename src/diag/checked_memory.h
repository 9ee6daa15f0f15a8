// Memory that is always there: without it the program ends with `PT_out_of_memory` and the size.
#pragma once

#include <cstddef>

namespace diag {

// The caller frees the block with `std::free`. A size of 0 gives a block too.
[[nodiscard]] void* checked_malloc(std::size_t size);
[[nodiscard]] void* checked_realloc(void* block, std::size_t size);

}  // namespace diag
