// A sample profile in LLVM's text format, with the program that ran: each block's count goes to all
// of its instructions, and from there to the lines that they come from, those of inlined functions
// too, as nested profiles. Lines of these functions that didn't run get a count of 0, so that the
// compiler knows that they are cold.
#include <algorithm>
#include <string>
#include <vector>

#include "edgescope/export.h"
#include "edgescope/inlined_samples.h"
#include "edgescope/message.h"

namespace edgescope {
namespace {

void write_offset(const LineOffset& offset, std::size_t indent, Output& output) {
    output.print("{:{}}{}", "", indent, offset.line);
    if (offset.discriminator != 0) output.print(".{}", offset.discriminator);
    output.append(": ");
}

void write_callees(const InlinedSamples::Line& line, Output& output) {
    std::vector<std::pair<std::string_view, std::uint64_t>> callees(line.callees.begin(),
                                                                    line.callees.end());
    std::stable_sort(callees.begin(), callees.end(),
                     [](const auto& a, const auto& b) { return a.second > b.second; });
    for (const auto& [name, count] : callees) output.print(" {}:{}", name, count);
}

void write_samples(const InlinedSamples& samples, std::size_t indent, Output& output) {
    for (const auto& [offset, line] : samples.lines) {
        write_offset(offset, indent, output);
        output.print("{}", line.count);
        write_callees(line, output);
        output.append("\n");
    }
    for (const auto& [place, inlined] : samples.inlined) {
        write_offset(place.first, indent, output);
        output.print("{}:{}\n", place.second, inlined->total());
        write_samples(*inlined, indent + 1, output);
    }
}

void write_tree(const SampleTree& tree, Output& output) {
    struct Item {
        std::string_view name;
        const InlinedSamples* samples;
        std::uint64_t total;
    };
    std::vector<Item> items;
    for (const auto& [name, samples] : tree.functions())
        items.push_back({name, &samples, samples.total()});
    std::stable_sort(items.begin(), items.end(),
                     [](const Item& a, const Item& b) { return a.total > b.total; });
    for (const Item& item : items) {
        output.print("{}:{}:{}\n", item.name, item.total, item.samples->entries);
        write_samples(*item.samples, 1, output);
    }
}

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

bool export_llvm_of_program(const Profile& profile, const std::string& path, Output& output) {
    std::string problem;
    const auto program = program::Program::open(path, {}, problem);
    if (!program) {
        print_error(path, problem);
        return false;
    }
    if (!program->has_debug_information()) {
        print_error(path, "has no debug information");
        return false;
    }
    if (!program->missing_debug_part().empty()) {
        print_error(path, "lacks the part of its debug information that is in " +
                              std::string(program->missing_debug_part()));
        return false;
    }
    if (!Match(*program, profile).holds()) return false;
    SampleTree tree(*program);
    for_each_counted_function(*program, profile,
                              [&](const CountedFunction& function) { tree.add(function); });
    write_tree(tree, output);
    return true;
}

}  // namespace edgescope
