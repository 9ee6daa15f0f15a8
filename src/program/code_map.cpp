#include "program/code_map.h"

#include <algorithm>

namespace program {

namespace {

// A byte of code: 0 inside of an instruction, else the instruction's kind and these marks.
constexpr std::uint8_t begins = 0x80;
constexpr std::uint8_t leads = 0x40;  // first instruction of a block
constexpr std::uint8_t kind_bits = 0x0F;

Kind kind_of(std::uint8_t cell) { return static_cast<Kind>(cell & kind_bits); }

}  // namespace

CodeMap::CodeMap(const Program& program) : program_(program) {
    for (const Code& code : program.code())
        parts_.push_back({code.range(), std::vector<Cell>(code.bytes.size())});
    std::vector<Address> targets;
    for (Part& part : parts_) {
        bool leader = true;
        program.for_each_instruction(
            part.range.start, part.range.end, [&](const Instruction& instruction) {
                Cell& cell = part.cells[instruction.address - part.range.start];
                cell = static_cast<Cell>(begins | (leader ? leads : 0) |
                                         static_cast<Cell>(instruction.kind));
                leader = ends_block(instruction.kind);
                if (instruction.target != 0) targets.push_back(instruction.target);
            });
    }
    cut(targets);
    for (const Function& function : program.functions()) mark_leader(function.range.start);
}

const CodeMap::Part* CodeMap::part_at(Address address) const {
    for (const Part& part : parts_)
        if (part.range.contains(address)) return &part;
    return nullptr;
}

const CodeMap::Cell* CodeMap::cell(Address address) const {
    const Part* part = part_at(address);
    if (part == nullptr) return nullptr;
    const Cell& found = part->cells[address - part->range.start];
    return found == 0 ? nullptr : &found;
}

std::optional<Kind> CodeMap::kind(Address address) const {
    const Cell* found = cell(address);
    if (found == nullptr) return std::nullopt;
    return kind_of(*found);
}

std::optional<Address> CodeMap::next_instruction(Address address) const {
    const Part* part = part_at(address);
    if (part == nullptr) return std::nullopt;
    for (Address next = address + 1; next < part->range.end; ++next)
        if (part->cells[next - part->range.start] != 0) return next;
    return std::nullopt;
}

std::optional<Address> CodeMap::following(Address address) const {
    const Function* function = program_.function_at(address);
    const auto next = next_instruction(address);
    return function != nullptr && next && *next < function->range.end ? next : std::nullopt;
}

std::optional<Address> CodeMap::preceding(Address address) const {
    const Part* part = part_at(address);
    if (part == nullptr) return std::nullopt;
    for (Address next = address; next > part->range.start; --next)
        if (part->cells[next - 1 - part->range.start] != 0) return next - 1;
    return std::nullopt;
}

bool CodeMap::is_in_one_function(Address one, Address other) const {
    const Function* here = program_.function_at(one);
    const Function* there = program_.function_at(other);
    return here != nullptr && there != nullptr && here->owner == there->owner;
}

void CodeMap::cut(std::span<const Address> further_targets) {
    for (const Address target : further_targets) mark_leader(target);
}

void CodeMap::mark_leader(Address address) {
    for (Part& part : parts_) {
        if (!part.range.contains(address)) continue;
        Cell& found = part.cells[address - part.range.start];
        if (found != 0) found |= leads;
    }
}

Address CodeMap::block_end(Address address) const {
    const Part& part = *part_at(address);
    Address last = address;
    for (Address next = address + 1; next < part.range.end; ++next) {
        const Cell found = part.cells[next - part.range.start];
        if ((found & leads) != 0) break;
        if (found != 0) last = next;
    }
    return last;
}

Address CodeMap::block_start(Address address) const {
    const Part& part = *part_at(address);
    Address first = address;
    while ((part.cells[first - part.range.start] & leads) == 0) --first;
    return first;
}

}  // namespace program
