#pragma once
// Decodes x86 machine code, one instruction after the other. What an instruction computes doesn't
// matter here, only where control goes behind it.

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "program/elf_file.h"

struct cs_insn;

namespace program {

enum class Kind : std::uint8_t {
    other,             // goes on to the next instruction
    repeat_string,     // a string operation with a repeat prefix; goes on to the next
    conditional_jump,  // with `target`
    jump,              // with `target`
    indirect_jump,
    call,  // with `target`
    indirect_call,
    return_,
    stop,  // goes nowhere (ud2, hlt, int3)
};

// Whether control may come to the instruction behind without a jump there. After a call it comes
// back.
constexpr bool goes_on(Kind kind) {
    return kind == Kind::other || kind == Kind::repeat_string || kind == Kind::conditional_jump ||
           kind == Kind::call || kind == Kind::indirect_call;
}

// Whether a block ends with it, whatever comes behind.
constexpr bool ends_block(Kind kind) { return kind != Kind::other && kind != Kind::repeat_string; }

struct Instruction {
    Address address = 0;
    std::uint8_t size = 0;  // bytes
    Kind kind = Kind::other;
    Address target = 0;  // of a direct jump or call, else 0

    Address following() const { return address + size; }
};

class InstructionDecoder {
public:
    explicit InstructionDecoder(bool is_64_bit);
    ~InstructionDecoder();
    InstructionDecoder(const InstructionDecoder&) = delete;
    InstructionDecoder& operator=(const InstructionDecoder&) = delete;

    // The instruction at the front of the bytes, which lie at the address. One that isn't known is
    // of the kind `other`, with its true size if it is a vector instruction, else with size 1.
    // `bytes` isn't empty.
    Instruction decode(std::string_view bytes, Address address);

private:
    bool is_64_bit_;
    std::size_t decoder_ = 0;
    cs_insn* instruction_ = nullptr;
};

}  // namespace program
