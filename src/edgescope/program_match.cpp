#include "edgescope/program_match.h"

#include <fmt/format.h>

#include <algorithm>
#include <vector>

#include "edgescope/message.h"

namespace edgescope {
namespace {

// Whether the profile's edges stand at the lines that the program has at their addresses. Those of
// another build, or of another program, don't.
class Match {
public:
    Match(const program::Program& program, const Profile& profile) : program_(&program) {
        for (const Function& function : profile.functions)
            for (const Edge& edge : function.edges) look_at(edge);
    }

    // False, with a message, if the profile is of another program.
    bool holds() const {
        if (outside_ + elsewhere_ == 0) return true;
        const std::string share = fmt::format("{} of {}", outside_ + elsewhere_, edges_);
        if (2 * (outside_ + elsewhere_) > edges_) {
            print_error(
                program_->path(),
                "isn't the program that ran, or was built anew: edges that don't fit it: " + share);
            return false;
        }
        print_warning(program_->path(),
                      "edges of the profile that don't fit the program: " + share);
        return true;
    }

private:
    void look_at(const Edge& edge) {
        ++edges_;
        if (program_->function_at(edge.from_address) == nullptr)
            ++outside_;
        else if (!has_line(edge.from_address, edge.from.line))
            ++elsewhere_;
    }

    // True if a function at the address is at that line, or nothing speaks against it.
    bool has_line(program::Address address, std::uint32_t line) {
        const program::Position position = program_->position_at(address);
        if (position.line == 0 || line == unknown_line || position.line == line) return true;
        program_->frames_at(address, frames_);
        return std::any_of(frames_.begin(), frames_.end(),
                           [&](const program::Frame& frame) { return frame.call.line == line; });
    }

    const program::Program* program_;
    std::vector<program::Frame> frames_;  // of the current address
    std::uint64_t edges_ = 0;
    std::uint64_t outside_ = 0;    // of all functions
    std::uint64_t elsewhere_ = 0;  // at another line
};

}  // namespace

std::unique_ptr<program::Program> open_program_of(const Profile& profile, const std::string& path) {
    std::string problem;
    auto program = program::Program::open(path, {}, problem);
    if (program && !program->has_debug_information())
        problem = "has no debug information";
    else if (program && !program->missing_debug_part().empty())
        problem = "lacks the part of its debug information that is in " +
                  std::string(program->missing_debug_part());
    if (!problem.empty()) {
        print_error(path, problem);
        return nullptr;
    }
    return Match(*program, profile).holds() ? std::move(program) : nullptr;
}

}  // namespace edgescope
