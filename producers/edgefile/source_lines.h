#pragma once
// The source position that an edge file has for an instruction: one in the function that the
// instruction belongs to, never in one that was inlined there.

#include <string_view>
#include <unordered_map>
#include <vector>

#include "edgefile/programs.h"

namespace edgefile {

struct SourceLine {
    std::string_view file;   // of the function; empty: unknown
    std::uint32_t line = 0;  // 0: unknown
    std::uint32_t offset =
        0;  // from the function's first line; 0 where the line stands in front of it
    std::uint32_t column = 0;
    std::uint32_t discriminator = 0;
};

class SourceLines {
public:
    // The programs have to live as long as this.
    explicit SourceLines(const Programs& programs) : programs_(programs) {}

    // For inlined code, the place of the outermost call. An instruction without a line has that of
    // the nearest earlier one of its function that has one, else the function's first line. Files
    // and lines of all code of a function, moved parts included, count from the same declaration.
    // The place lies in a function.
    SourceLine at(Place place);

private:
    using Address = program::Address;

    // The position in the outermost function of the instructions that have one, in order.
    using Positions = std::vector<std::pair<Address, program::Position>>;

    const Positions& positions_of(std::uint32_t program, const program::Function& function);

    const Programs& programs_;
    std::unordered_map<Place, Positions> positions_;  // by the function's start
};

}  // namespace edgefile
