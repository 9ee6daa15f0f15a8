#include "edgescope/line_counts.h"

#include <algorithm>

#include "edgescope/blocks.h"

namespace edgescope {

static bool is_known(std::uint32_t line) { return line != 0 && line != unknown_line; }

LineCounts line_counts(const Function& function) {
    LineCounts counts;
    for (const Block& block : blocks_of(function))
        if (is_known(block.position.line)) counts.emplace_back(block.position.line, block.count());
    for (const Call& call : function.calls)
        if (is_known(call.line)) counts.emplace_back(call.line, call.count);
    std::sort(counts.begin(), counts.end());
    LineCounts largest;
    for (const auto& [line, count] : counts) {
        if (largest.empty() || largest.back().first != line) largest.emplace_back(line, 0);
        largest.back().second = count;
    }
    return largest;
}

std::optional<std::uint32_t> first_line(const Function& function) {
    const auto begin_of = [](std::uint32_t line, std::uint32_t relative) {
        return is_known(line) && relative != 0 && relative < line ? std::optional(line - relative)
                                                                  : std::nullopt;
    };
    for (const Edge& edge : function.edges)
        for (const Position& position : {edge.from, edge.to})
            if (const auto line = begin_of(position.line, position.relative_line)) return line;
    for (const Call& call : function.calls)
        if (const auto line = begin_of(call.line, call.relative_line)) return line;
    return std::nullopt;
}

}  // namespace edgescope
