#pragma once
// Where an instruction stands in the programs of a conversion, as one number: it orders the
// instructions of a program by address, and keeps those of different programs apart.

#include <cstdint>

#include "program/elf_file.h"

namespace edgefile {

using Place = std::uint64_t;

constexpr unsigned address_bits = 48;
// Code of no given program stands from here on; foreign + n is the function n of a
// ForeignFunctions, or one unknown.
constexpr Place foreign = 0xFFFF'0000'0000'0000;

// Programs are counted from 0. The address has at most 48 bits.
constexpr Place place_of(std::uint32_t program, program::Address address) {
    return Place{program} << address_bits | address;
}
constexpr bool is_foreign(Place place) { return place >= foreign; }
constexpr std::uint32_t program_of(Place place) {
    return static_cast<std::uint32_t>(place >> address_bits);
}
constexpr program::Address address_of(Place place) {
    return place & ((Place{1} << address_bits) - 1);
}

}  // namespace edgefile
