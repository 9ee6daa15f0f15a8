// Lines by the instructions of the program that ran.
#include <algorithm>
#include <string_view>

#include "edgescope/instruction_counts.h"
#include "edgescope/program_match.h"
#include "edgescope/view_lines.h"

namespace edgescope {
namespace {

class LineCounter {
public:
    explicit LineCounter(const program::Program& program) : program_(&program) {}

    void add(const CountedFunction& function) {
        const program::Declaration declaration = program_->declaration_of(*function.function);
        if (declaration.line == 0 || declaration.file.empty()) return;
        file_names_.emplace(declaration.file, function.samples->file);
        first_lines_.emplace(function.samples, declaration.line);
        Places& places = counts_[function.samples];
        for (const CountedInstruction& counted : function.instructions) {
            const auto position = program_->position_at(counted.instruction.address);
            if (position.line == 0 || position.file.empty()) continue;
            std::uint64_t& count = places[{position.file, position.line}];
            count = std::max(count, counted.count);
        }
    }

    // A file's lines that no function of the profile begins in are left out: the database has no
    // name for such a file.
    void finish(ProgramLines& lines) {
        lines.first_line = std::move(first_lines_);
        for (const auto& [function, places] : counts_) {
            FileLines own;
            for (const auto& [place, count] : places) {
                const auto file = file_names_.find(place.first);
                if (file == file_names_.end()) continue;
                lines.of_file[file->second][place.second] += count;
                if (file->second != function->file) continue;
                std::uint64_t& largest = own[place.second];
                largest = std::max(largest, count);
            }
            lines.of_function[function].assign(own.begin(), own.end());
        }
    }

private:
    using Places = std::map<std::pair<std::string_view, std::uint32_t>, std::uint64_t>;

    const program::Program* program_;
    std::unordered_map<std::string_view, std::string> file_names_;  // of the database
    std::unordered_map<const Function*, std::uint32_t> first_lines_;
    std::unordered_map<const Function*, Places> counts_;
};

}  // namespace

bool count_program_lines(const Profile& profile, const std::string& path, ProgramLines& lines) {
    const auto program = open_program_of(profile, path);
    if (!program) return false;
    LineCounter counter(*program);
    for_each_counted_function(*program, profile,
                              [&](const CountedFunction& function) { counter.add(function); });
    counter.finish(lines);
    return true;
}

}  // namespace edgescope
