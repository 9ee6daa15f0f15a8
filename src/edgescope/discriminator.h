// Discriminators as LLVM puts them into debug information.
#pragma once

#include <cstdint>

namespace edgescope {

// The base discriminator, which tells apart what the source has on one line. It stands in the
// lowest bits: a 1 there says that there is none; otherwise 5 bits follow, and if the next one is
// 1, another 7.
constexpr std::uint32_t base_discriminator(std::uint32_t discriminator) {
    if ((discriminator & 1) != 0) return 0;
    const std::uint32_t bits = discriminator >> 1;
    const std::uint32_t low = bits & 0x1F;
    return (bits & 0x20) == 0 ? low : (bits >> 6 & 0x7F) << 5 | low;
}

}  // namespace edgescope
