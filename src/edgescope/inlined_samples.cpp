#include "edgescope/inlined_samples.h"

#include <algorithm>
#include <string>

#include "edgescope/counts.h"
#include "edgescope/discriminator.h"
#include "hotpath/facade/function_name.h"

namespace edgescope {
namespace {

using program::Address;
using program::Kind;

constexpr std::uint32_t line_mask = 0xFFFF;

LineOffset offset_of(const program::Position& position, const program::Declaration& function) {
    return {(position.line - function.line) & line_mask,
            base_discriminator(position.discriminator)};
}

// A compiler that makes a function local to it global, or splits it, adds to its name.
std::string_view source_name(std::string_view name) {
    for (const std::string_view suffix : {".llvm.", ".part."})
        if (const std::size_t at = name.rfind(suffix); at != std::string_view::npos && at != 0)
            name = name.substr(0, at);
    return name;
}

}  // namespace

std::uint64_t InlinedSamples::total() const {
    std::uint64_t sum = 0;
    for (const auto& [offset, line] : lines) add_count(sum, line.count);
    for (const auto& [place, samples] : inlined) add_count(sum, samples->total());
    return sum;
}

SampleTree::SampleTree(const program::Program& program) : program_(&program) {
    for (const program::Function& function : program.functions()) {
        const std::string_view name = source_name(function.name);
        const auto [place, is_new] =
            by_normalised_name_.emplace(hotpath::normalised_function_name(std::string(name)), name);
        if (!is_new && place->second != name) place->second = {};
    }
}

void SampleTree::add(const CountedFunction& function) {
    indirect_.clear();
    direct_.clear();
    for (const CountedInstruction& counted : function.instructions) {
        Place place;
        if (!find_place(*function.function, counted.instruction.address, place)) continue;
        std::uint64_t& count = place.samples->lines[place.offset].count;
        count = std::max(count, counted.count);
        if (counted.count == 0) continue;
        const Kind kind = counted.instruction.kind;
        if (kind == Kind::call || kind == Kind::jump) add_direct_call(place, function, counted);
        if (kind == Kind::indirect_call)
            indirect_[place.outermost_line].emplace_back(place, counted.count);
    }
    if (!indirect_.empty()) add_indirect_calls(function);
    if (function.entries != 0)
        add_count(functions_[source_name(function.function->name)].entries, function.entries);
}

bool SampleTree::find_place(const program::Function& function, Address address, Place& place) {
    // Line 0, code that no line has made, is a place too: the compiler asks for it by that number.
    const program::Position position = program_->position_at(address);
    program_->frames_at(address, frames_);
    if (frames_.empty() || frames_.front().declaration.line == 0) return false;
    InlinedSamples* samples = &functions_[source_name(function.name)];
    for (std::size_t i = frames_.size() - 1; i > 0; --i) {
        const program::Frame& inlined = frames_[i - 1];
        std::unique_ptr<InlinedSamples>& nested =
            samples->inlined[{offset_of(inlined.call, frames_[i].declaration), inlined.name}];
        if (!nested) nested = std::make_unique<InlinedSamples>();
        samples = nested.get();
    }
    const bool is_inlined = frames_.size() > 1;
    place = {samples, offset_of(position, frames_.front().declaration),
             is_inlined ? frames_[frames_.size() - 2].call.line : position.line};
    return true;
}

// A jump to the front of another function is a call as well: the last thing that its function does.
void SampleTree::add_direct_call(const Place& place, const CountedFunction& function,
                                 const CountedInstruction& counted) {
    const Address target = counted.instruction.target;
    const program::Function* const callee = program_->function_at(target);
    if (callee == nullptr || callee->range.start != target) return;
    if (counted.instruction.kind == Kind::jump && callee == function.function) return;
    const std::string_view name = source_name(callee->name);
    add_count(place.samples->lines[place.offset].callees[name], counted.count);
    direct_.emplace(place.outermost_line, name);
}

// Of an indirect call the profile knows the callees by the line of the outermost function. Several
// such calls on one line share them in proportion to their counts.
void SampleTree::add_indirect_calls(const CountedFunction& function) {
    for (const Call& call : function.samples->calls) {
        const auto sites = indirect_.find(call.line);
        const std::string_view callee = function_named(call.callee);
        if (sites == indirect_.end() || callee.empty() || direct_.count({call.line, callee}) != 0)
            continue;
        std::uint64_t all = 0;
        for (const auto& [place, count] : sites->second) add_count(all, count);
        for (const auto& [place, count] : sites->second) {
            const double share = static_cast<double>(count) / static_cast<double>(all);
            const std::uint64_t calls =
                count_of(share * static_cast<double>(std::min(call.count, all)));
            auto& callees = place.samples->lines[place.offset].callees;
            if (calls != 0) callees.emplace(callee, calls);
        }
    }
}

std::string_view SampleTree::function_named(const std::string& name) const {
    const auto found = by_normalised_name_.find(name);
    return found == by_normalised_name_.end() ? std::string_view{} : found->second;
}

}  // namespace edgescope
