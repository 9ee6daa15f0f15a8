#include "edgefile/source_lines.h"

#include <algorithm>

namespace edgefile {

const SourceLines::Positions& SourceLines::positions_of(std::uint32_t number,
                                                        const program::Function& function) {
    const auto [place, is_new] = positions_.try_emplace(place_of(number, function.range.start));
    Positions& positions = place->second;
    if (!is_new) return positions;
    const program::Program& program = programs_[number];
    program.for_each_instruction(
        function.range.start, function.range.end, [&](const program::Instruction& instruction) {
            const auto position = program.outer_position_at(instruction.address);
            if (position.line != 0) positions.emplace_back(instruction.address, position);
        });
    return positions;
}

SourceLine SourceLines::at(Place place) {
    const program::Program& program = programs_[program_of(place)];
    const program::Function& function = *programs_.function_at(place);
    const program::Declaration declaration = program.declaration_of(function);
    const Positions& positions = positions_of(program_of(place), function);
    const auto behind =
        std::upper_bound(positions.begin(), positions.end(), address_of(place),
                         [](Address wanted, const auto& entry) { return wanted < entry.first; });
    if (behind == positions.begin()) return {declaration.file, declaration.line, 0, 0, 0};
    const program::Position& position = std::prev(behind)->second;
    const bool counts = declaration.line != 0 && position.line > declaration.line;
    return {declaration.file, position.line, counts ? position.line - declaration.line : 0,
            position.column, position.discriminator};
}

}  // namespace edgefile
