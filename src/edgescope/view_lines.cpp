#include "edgescope/view_lines.h"

#include <algorithm>

namespace edgescope {

bool ViewLines::is_of_program(const Function& function) const {
    return program_ != nullptr && program_->of_function.count(&function) != 0;
}

LineCounts ViewLines::of_function(const Function& function) const {
    return is_of_program(function) ? program_->of_function.at(&function) : line_counts(function);
}

FileLines ViewLines::of_file(const std::string& file,
                             const std::vector<const Function*>& functions) const {
    FileLines lines;
    if (program_ != nullptr)
        if (const auto known = program_->of_file.find(file); known != program_->of_file.end())
            lines = known->second;
    for (const Function* const function : functions)
        if (!is_of_program(*function))
            for (const auto& [line, count] : line_counts(*function)) lines[line] += count;
    return lines;
}

std::optional<std::uint32_t> ViewLines::first_line_of(const Function& function) const {
    if (program_ != nullptr)
        if (const auto known = program_->first_line.find(&function);
            known != program_->first_line.end())
            return known->second;
    if (const auto line = first_line(function)) return line;
    std::uint32_t least = unknown_line;
    const auto look_at = [&](std::uint32_t line) {
        if (line != 0) least = std::min(least, line);
    };
    for (const Edge& edge : function.edges) {
        look_at(edge.from.line);
        look_at(edge.to.line);
    }
    for (const Call& call : function.calls) look_at(call.line);
    return least == unknown_line ? std::nullopt : std::optional(least);
}

}  // namespace edgescope
