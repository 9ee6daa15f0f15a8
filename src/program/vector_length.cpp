#include "program/vector_length.h"

#include <cstddef>

namespace program {

namespace {

// How an instruction begins: the bytes up to its opcode, and the table of opcodes that it is from.
struct Prefix {
    std::size_t size = 0;
    unsigned map = 0;
};

unsigned byte_at(std::string_view bytes, std::size_t index) {
    return index < bytes.size() ? static_cast<unsigned char>(bytes[index]) : 0;
}

// In 32-bit code the same first bytes stand for older instructions, unless two bits are set that
// those can't have.
Prefix prefix_of(std::string_view bytes, bool is_64_bit) {
    const unsigned second = byte_at(bytes, 1);
    if (!is_64_bit && (second & 0xC0) != 0xC0) return {};
    switch (byte_at(bytes, 0)) {
        case 0xC5: return {2, 1};
        case 0xC4: return {3, second & 0x1F};
        case 0x62: return {4, second & 0x07};
        default: return {};
    }
}

// Of the first table, those that shuffle and compare by a constant; of the third all.
bool has_constant(unsigned map, unsigned opcode) {
    if (map == 3) return true;
    return map == 1 && ((opcode >= 0x70 && opcode <= 0x73) || opcode == 0xC2 ||
                        (opcode >= 0xC4 && opcode <= 0xC6));
}

// Bytes of the operand that stands behind the opcode: its form, scale and displacement.
std::size_t operand_size(std::string_view bytes, std::size_t at) {
    const unsigned form = byte_at(bytes, at);
    const unsigned mode = form >> 6;
    const unsigned base = form & 7;
    if (mode == 3) return 1;
    const bool scaled = base == 4;
    const bool absolute = mode == 0 && (scaled ? (byte_at(bytes, at + 1) & 7) == 5 : base == 5);
    const std::size_t displacement = mode == 1 ? 1 : mode == 2 || absolute ? 4 : 0;
    return 1 + (scaled ? 1 : 0) + displacement;
}

}  // namespace

std::uint8_t vector_length(std::string_view bytes, bool is_64_bit) {
    const Prefix prefix = prefix_of(bytes, is_64_bit);
    if (prefix.size == 0 || prefix.map == 0) return 0;
    const unsigned opcode = byte_at(bytes, prefix.size);
    std::size_t size = prefix.size + 1;
    if (prefix.map != 1 || opcode != 0x77) size += operand_size(bytes, size);
    if (has_constant(prefix.map, opcode)) ++size;
    return size <= bytes.size() ? static_cast<std::uint8_t>(size) : std::uint8_t{0};
}

}  // namespace program
