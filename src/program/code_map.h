#pragma once
// A program's instructions by address, cut into blocks: runs of instructions that control enters at
// the first one and leaves at the last. A block is named by the address of its last instruction.
// Takes about one byte for each byte of machine code.

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "program/program.h"

namespace program {

class CodeMap {
public:
    // Decodes all code of the program, which has to live as long as this.
    explicit CodeMap(const Program& program);

    const Program& program() const { return program_; }
    bool is_instruction(Address address) const { return cell(address) != nullptr; }
    // Nothing where no instruction begins.
    std::optional<Kind> kind(Address address) const;
    // The next instruction, wherever it is.
    std::optional<Address> next_instruction(Address address) const;
    // The next instruction of the same function (or part of one): the next in the code, if it is in
    // that.
    std::optional<Address> following(Address address) const;
    // The instruction that ends where this one begins.
    std::optional<Address> preceding(Address address) const;
    bool is_in_one_function(Address one, Address other) const;

    // Cuts the code into blocks: behind each jump, call, return and stop, and in front of each
    // target of a direct jump or call, each function and each of these addresses. May be called
    // again for further addresses.
    void cut(std::span<const Address> further_targets);
    // The last instruction of the block that the instruction lies in; there has to be one at the
    // address, as in those below.
    Address block_end(Address address) const;
    // The first instruction of it.
    Address block_start(Address address) const;

private:
    using Cell = std::uint8_t;

    struct Part {
        AddressRange range;
        std::vector<Cell> cells;  // one for each byte of code
    };

    const Part* part_at(Address address) const;
    const Cell* cell(Address address) const;
    void mark_leader(Address address);

    const Program& program_;
    std::vector<Part> parts_;
};

}  // namespace program
