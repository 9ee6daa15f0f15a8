// The samples of a function as a compiler's sample profile nests them: counts by line from the
// function's first, and in the same form the functions that were inlined into it, at the line of
// their call.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "edgescope/instruction_counts.h"
#include "program/program.h"

namespace edgescope {

// A place in a function: lines from its first one, in 16 bits, and the base discriminator.
struct LineOffset {
    std::uint32_t line = 0;
    std::uint32_t discriminator = 0;
    bool operator<(const LineOffset& other) const {
        return std::tie(line, discriminator) < std::tie(other.line, other.discriminator);
    }
};

struct InlinedSamples {
    struct Line {
        std::uint64_t count = 0;                              // of the instruction that ran most
        std::map<std::string_view, std::uint64_t> callees{};  // what was called from there
    };
    std::uint64_t entries = 0;
    std::map<LineOffset, Line> lines{};
    std::map<std::pair<LineOffset, std::string_view>, std::unique_ptr<InlinedSamples>> inlined{};

    // The sum of all lines, those of inlined functions too.
    std::uint64_t total() const;
};

// Sums functions of a program, by their names. Names are borrowed from the program.
class SampleTree {
public:
    explicit SampleTree(const program::Program& program);

    // Adds a function, or a part of one. Code that the debug information doesn't know is left out.
    void add(const CountedFunction& function);

    const std::map<std::string_view, InlinedSamples>& functions() const { return functions_; }

private:
    struct Place {
        InlinedSamples* samples;
        LineOffset offset;
        std::uint32_t outermost_line;
    };

    bool find_place(const program::Function& function, program::Address address, Place& place);
    void add_direct_call(const Place& place, const CountedFunction& function,
                         const CountedInstruction& counted);
    void add_indirect_calls(const CountedFunction& function);
    std::string_view function_named(const std::string& name) const;

    const program::Program* program_;
    std::map<std::string_view, InlinedSamples> functions_;
    std::map<std::string, std::string_view> by_normalised_name_;  // empty where there are several
    std::vector<program::Frame> frames_;                          // of the current instruction
    // Of the current function, by the line of the outermost function
    std::map<std::uint32_t, std::vector<std::pair<Place, std::uint64_t>>> indirect_;
    std::set<std::pair<std::uint32_t, std::string_view>> direct_;  // with the callee
};

}  // namespace edgescope
