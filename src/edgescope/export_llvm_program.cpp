// A sample profile in LLVM's text format, with the program that ran: each block's count goes to all
// of its instructions, and from there to the lines that they come from, those of inlined functions
// too, as nested profiles. Lines of these functions that didn't run get a count of 0, so that the
// compiler knows that they are cold.
#include <algorithm>
#include <string>
#include <vector>

#include "edgescope/export.h"
#include "edgescope/inlined_samples.h"
#include "edgescope/program_match.h"

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

}  // namespace

bool export_llvm_of_program(const Profile& profile, const std::string& path, Output& output) {
    const auto program = open_program_of(profile, path);
    if (!program) return false;
    SampleTree tree(*program);
    for_each_counted_function(*program, profile,
                              [&](const CountedFunction& function) { tree.add(function); });
    write_tree(tree, output);
    return true;
}

}  // namespace edgescope
