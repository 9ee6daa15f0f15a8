#include "edgescope/instruction_counts.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

#include "hotpath/facade/function_name.h"

namespace edgescope {
namespace {

using program::Address;
using program::Instruction;
using program::Kind;
using program::Program;

bool is_call(Kind kind) { return kind == Kind::call || kind == Kind::indirect_call; }

struct Arrival {
    Address from;
    std::uint64_t count;
};

// The edges of a profile by the last instructions of the blocks that they leave and reach.
class EdgesByAddress {
public:
    explicit EdgesByAddress(const Profile& profile) {
        for (const Function& function : profile.functions)
            for (const Edge& edge : function.edges) {
                leaving_[edge.from_address] += edge.count;
                arriving_[edge.to_address].push_back({edge.from_address, edge.count});
            }
    }

    // True if a block ends there.
    bool is_end(Address address) const {
        return leaving_.count(address) != 0 || arriving_.count(address) != 0;
    }
    std::uint64_t leaving(Address address) const {
        const auto found = leaving_.find(address);
        return found == leaving_.end() ? 0 : found->second;
    }
    const std::vector<Arrival>& arriving(Address address) const {
        static const std::vector<Arrival> none;
        const auto found = arriving_.find(address);
        return found == arriving_.end() ? none : found->second;
    }

private:
    std::unordered_map<Address, std::uint64_t> leaving_;
    std::unordered_map<Address, std::vector<Arrival>> arriving_;
};

// The part of a path behind its last separator, in upper case, as databases have it.
std::string last_component(std::string_view path) {
    std::string name(path.substr(path.find_last_of("/\\") + 1));
    for (char& c : name)
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    return name;
}

// What the profile has of each function of the program: found by the addresses of its edges; where
// there are none, by its name, and if that is not enough by the name of its file.
class SamplesOfFunctions {
public:
    SamplesOfFunctions(const Program& program, const Profile& profile)
        : program_(&program), samples_(program.functions().size()) {
        for (const Function& function : profile.functions) add_by_address(function);
        std::unordered_map<std::string, std::vector<std::size_t>> by_name;
        for (std::size_t i = 0; i < samples_.size(); ++i)
            if (samples_[i] == nullptr && is_whole(i))
                by_name[hotpath::normalised_function_name(std::string(name_of(i)))].push_back(i);
        for (const Function& function : profile.functions)
            if (function.edges.empty() && function.count != 0)
                add_by_name(function, by_name[function.name]);
    }

    const Function* of(std::size_t index) const { return samples_[index]; }
    // True for a function that isn't a part of another one.
    bool is_whole(std::size_t index) const { return program_->functions()[index].owner == index; }

private:
    std::string_view name_of(std::size_t index) const { return program_->functions()[index].name; }

    void add_by_address(const Function& samples) {
        for (const Edge& edge : samples.edges) {
            const program::Function* const function = program_->function_at(edge.from_address);
            if (function == nullptr) continue;
            const auto index = static_cast<std::size_t>(function - program_->functions().data());
            samples_[index] = &samples;
            if (samples_[function->owner] == nullptr) samples_[function->owner] = &samples;
        }
    }

    void add_by_name(const Function& samples, const std::vector<std::size_t>& candidates) {
        if (candidates.size() == 1) {
            samples_[candidates.front()] = &samples;
            return;
        }
        const std::string file = last_component(samples.file);
        for (const std::size_t index : candidates) {
            const auto declaration = program_->declaration_of(program_->functions()[index]);
            if (last_component(declaration.file) == file) samples_[index] = &samples;
        }
    }

    const Program* program_;
    std::vector<const Function*> samples_;
};

// The instructions of one function with their counts, block by block.
class FunctionCounter {
public:
    FunctionCounter(const Program& program, const EdgesByAddress& edges, CountedFunction& function)
        : program_(&program), edges_(&edges), function_(&function) {}

    void count() {
        read_instructions();
        std::size_t begin = 0;
        std::uint64_t from_call = 0;  // what goes on behind the call in front of the block
        for (std::size_t i = 0; i < size(); ++i) {
            if (!is_last_of_block(i)) continue;
            const std::uint64_t count = count_of_block(begin, i, from_call);
            for (std::size_t k = begin; k <= i; ++k) at(k).count = count;
            from_call = is_call(at(i).instruction.kind) ? count : 0;
            begin = i + 1;
        }
        if (function_->entries != 0 && size() != 0)
            function_->entries = std::min(function_->entries, at(0).count);
    }

private:
    std::size_t size() const { return function_->instructions.size(); }
    CountedInstruction& at(std::size_t index) { return function_->instructions[index]; }

    void read_instructions() {
        const auto range = function_->function->range;
        program_->for_each_instruction(range.start, range.end, [&](const Instruction& instruction) {
            function_->instructions.push_back({instruction, 0});
            if (instruction.kind == Kind::jump || instruction.kind == Kind::conditional_jump)
                targets_.insert(instruction.target);
        });
    }

    bool is_last_of_block(std::size_t index) {
        const Instruction& instruction = at(index).instruction;
        return program::ends_block(instruction.kind) || index + 1 == size() ||
               edges_->is_end(instruction.address) ||
               targets_.count(at(index + 1).instruction.address) != 0;
    }

    // True if all ways out of the block are edges of the function.
    bool leaves_by_edges(const Instruction& last) const {
        const auto range = function_->function->range;
        const bool stays_inside = last.target >= range.start && last.target < range.end;
        switch (last.kind) {
            case Kind::other:
            case Kind::repeat_string: return true;
            case Kind::jump:
            case Kind::conditional_jump: return stays_inside;
            case Kind::indirect_jump: return edges_->leaving(last.address) != 0;
            default: return false;
        }
    }

    std::uint64_t count_of_block(std::size_t begin, std::size_t end, std::uint64_t from_call) {
        const Instruction& last = at(end).instruction;
        std::uint64_t entering = 0;
        for (const Arrival& arrival : edges_->arriving(last.address))
            if (comes_by_jump(arrival.from)) entering += arrival.count;
        const std::uint64_t leaving = is_call(last.kind) ? 0 : edges_->leaving(last.address);
        // What no edge tells of counts only where the ways out don't tell it better: behind a call
        // that doesn't return nothing ran.
        if (leaves_by_edges(last)) return std::max(entering, leaving);
        if (begin == 0) entering += function_->entries;
        return std::max(entering + from_call, leaving);
    }

    // A recursive call, and the return from it, are edges too, but stand for entries and for going
    // on behind a call.
    bool comes_by_jump(Address from) const {
        const auto& all = function_->instructions;
        const auto found = std::lower_bound(all.begin(), all.end(), from,
                                            [](const CountedInstruction& counted, Address address) {
                                                return counted.instruction.address < address;
                                            });
        if (found == all.end() || found->instruction.address != from) return true;
        return !is_call(found->instruction.kind) && found->instruction.kind != Kind::return_;
    }

    const Program* program_;
    const EdgesByAddress* edges_;
    CountedFunction* function_;
    std::unordered_set<Address> targets_;
};

}  // namespace

void for_each_counted_function(const Program& program, const Profile& profile,
                               const std::function<void(const CountedFunction&)>& visit) {
    const EdgesByAddress edges(profile);
    const SamplesOfFunctions samples(program, profile);
    for (std::size_t i = 0; i < program.functions().size(); ++i) {
        if (samples.of(i) == nullptr) continue;
        CountedFunction counted;
        counted.function = &program.functions()[i];
        counted.samples = samples.of(i);
        if (samples.is_whole(i)) counted.entries = counted.samples->count;
        FunctionCounter(program, edges, counted).count();
        visit(counted);
    }
}

}  // namespace edgescope
