// Where a sampled code address lies in the source. A plain value: what two positions mean for an
// edge is for the edge collection to know.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace hotpath {

// One place in a source file. Copied freely, never shared.
struct SourcePosition {
    constexpr SourcePosition() = default;

    // Keeps the low 16 bits of `column_value` and `discriminator_value`.
    constexpr SourcePosition(std::uint32_t line_value, std::uint32_t relative_line_value,
                             std::uint32_t column_value, std::uint32_t discriminator_value)
        : line(line_value),
          relative_line(relative_line_value),
          column(static_cast<std::uint16_t>(column_value)),
          discriminator(static_cast<std::uint16_t>(discriminator_value)) {}

    std::uint32_t line = 0;           // absolute source line
    std::uint32_t relative_line = 0;  // line relative to the function; 0 where the input has none
    std::uint16_t column = 0;         // 0 where the input has none
    std::uint16_t discriminator = 0;  // 0 where the input has none
};

// True if line, column and discriminator agree. The relative line isn't compared: it follows from
// where the function begins, not from where the sample fell.
constexpr bool same_location(const SourcePosition& a, const SourcePosition& b) {
    return a.line == b.line && a.column == b.column && a.discriminator == b.discriminator;
}

// Strict orders by line, then column, then discriminator.
constexpr bool position_less(const SourcePosition& a, const SourcePosition& b) {
    if (a.line != b.line) return a.line < b.line;
    if (a.column != b.column) return a.column < b.column;
    return a.discriminator < b.discriminator;
}
constexpr bool position_greater(const SourcePosition& a, const SourcePosition& b) {
    return position_less(b, a);
}

// Room for the largest position in full form and its terminator.
using PositionText = std::array<char, 39>;

// "L7.C5.D1": line, column, discriminator. The result points into `buffer`, which is terminated.
std::string_view format_short(const SourcePosition& position, PositionText& buffer);

// "L7(R2).C5.D1": the same with the relative line.
std::string_view format_full(const SourcePosition& position, PositionText& buffer);

}  // namespace hotpath
