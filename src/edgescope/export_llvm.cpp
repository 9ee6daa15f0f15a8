// A sample profile in LLVM's text format, without contexts. Without the program that ran it is
// flat: each count stands at the line of the outermost function, where the database has it.
#include <map>
#include <string>

#include "edgescope/blocks.h"
#include "edgescope/discriminator.h"
#include "edgescope/export.h"
#include "edgescope/message.h"

namespace edgescope {
namespace {

// LLVM counts lines from the function's first with 16 bits.
constexpr std::uint32_t line_mask = 0xFFFF;

// What is known of one line and base discriminator.
struct LineSamples {
    std::uint64_t count = 0;
    std::map<std::string, std::uint64_t> callees;
};

using LineKey = std::pair<std::uint32_t, std::uint32_t>;  // line from the first one, discriminator

class FlatProfile {
public:
    explicit FlatProfile(const Function& function) {
        for (const Block& block : blocks_of(function)) add_block(block);
        for (const Call& call : function.calls) add_call(call);
    }

    std::uint64_t total() const {
        std::uint64_t sum = 0;
        for (const auto& [key, samples] : lines_) sum += samples.count;
        return sum;
    }

    void write(Output& output) const {
        for (const auto& [key, samples] : lines_) {
            output.print(" {}", key.first);
            if (key.second != 0) output.print(".{}", key.second);
            output.print(": {}", samples.count);
            for (const auto& [callee, count] : samples.callees)
                output.print(" {}:{}", callee, count);
            output.append("\n");
        }
    }

private:
    void add_block(const Block& block) {
        if (block.position.line == unknown_line) return;
        std::uint64_t& count = lines_[{block.position.relative_line & line_mask,
                                       base_discriminator(block.position.discriminator)}]
                                   .count;
        count = std::max(count, block.count());
    }

    // A database doesn't keep the discriminator of a call.
    void add_call(const Call& call) {
        if (call.line == unknown_line || call.count == 0) return;
        LineSamples& samples = lines_[{call.relative_line & line_mask, 0}];
        samples.callees[call.callee] += call.count;
        samples.count = std::max(samples.count, samples.callees[call.callee]);
    }

    std::map<LineKey, LineSamples> lines_;
};

// The format ends a name at a line's end.
bool can_be_written(const std::string& name) {
    return !name.empty() && name.front() != ' ' && name.find('\n') == std::string::npos;
}

bool has_relative_lines(const Function& function) {
    const auto is_relative = [](const auto& position) { return position.relative_line != 0; };
    return std::any_of(
               function.edges.begin(), function.edges.end(),
               [&](const Edge& edge) { return is_relative(edge.from) || is_relative(edge.to); }) ||
           std::any_of(function.calls.begin(), function.calls.end(), is_relative);
}

}  // namespace

bool export_llvm(const Profile& profile, const ExportOptions& options, Output& output) {
#ifdef EDGESCOPE_READS_PROGRAMS
    if (!options.program.empty()) return export_llvm_of_program(profile, options.program, output);
#else
    (void)options;  // refused on the command line
#endif
    // One function may stand in several files, and LLVM knows it by its name alone.
    std::uint64_t unwritten = 0, without_lines = 0;
    for (const Function& function : profile.functions) {
        if (!can_be_written(function.name)) {
            ++unwritten;
            continue;
        }
        if (!has_relative_lines(function)) {
            if (!function.edges.empty()) ++without_lines;
            output.print("{}:0:{}\n", function.name, function.count);
            continue;
        }
        const FlatProfile flat(function);
        output.print("{}:{}:{}\n", function.name, flat.total(), function.count);
        flat.write(output);
    }
    if (unwritten != 0)
        print_warning("", fmt::format("functions that are left out, since the format has no place "
                                      "for their names: {}",
                                      unwritten));
    if (without_lines != 0)
        print_warning("", fmt::format("functions without lines counted from their first, of which "
                                      "only the entries are written: {}",
                                      without_lines));
    return true;
}

}  // namespace edgescope
