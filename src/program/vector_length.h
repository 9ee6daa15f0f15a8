#pragma once
// Lengths of vector instructions (VEX and EVEX encodings), for those that the decoder doesn't know
// by name.

#include <cstdint>
#include <string_view>

namespace program {

// Bytes of the vector instruction at the front; 0 where there is none, or not all of it.
std::uint8_t vector_length(std::string_view bytes, bool is_64_bit);

}  // namespace program
