#include "perf/transfers.h"

#include <algorithm>
#include <tuple>
#include <unordered_map>

namespace perf {
namespace {

using edgefile::Code;
using edgefile::is_foreign;
using edgefile::Transfer;
using edgefile::Word;
using program::Kind;

bool is_branch(Kind kind) {
    return kind != Kind::other && kind != Kind::repeat_string && kind != Kind::stop;
}

bool is_call(Kind kind) { return kind == Kind::call || kind == Kind::indirect_call; }

// Whether a way that comes to the instruction may lead on to the next one without a branch.
bool goes_straight_on(Kind kind) { return program::goes_on(kind) && !is_call(kind); }

// Where a direct jump or call leads to; nothing for any other instruction.
std::optional<Place> target_of(Place place, const Code& code) {
    const Kind kind = *code.kind(place);
    if (kind != Kind::conditional_jump && kind != Kind::jump && kind != Kind::call)
        return std::nullopt;
    const std::uint32_t number = edgefile::program_of(place);
    const program::Address address = edgefile::address_of(place);
    std::optional<Place> target;
    code.programs()[number].for_each_instruction(
        address, address + 1, [&](const program::Instruction& instruction) {
            target = edgefile::place_of(number, instruction.target);
        });
    return target;
}

bool can_be(const CountedBranch& branch, const Code& code) {
    const bool comes = is_foreign(branch.source);
    const bool leaves = is_foreign(branch.destination);
    if (!comes && !code.is_instruction(branch.source)) return false;
    if (!leaves && !code.is_instruction(branch.destination)) return false;
    // The kernel breaks in at any instruction, and comes back to any.
    if (comes || leaves) return true;
    const std::optional<Place> target = target_of(branch.source, code);
    return is_branch(*code.kind(branch.source)) && (!target || *target == branch.destination);
}

// The last place that control reaches from an instruction without a branch, in the same function;
// the branch that ends the way is the last.
Place reach_of(Place place, const Code& code) {
    while (goes_straight_on(*code.kind(place))) {
        const std::optional<Place> next = code.following(place);
        if (!next) break;
        place = *next;
    }
    return place;
}

// The call that comes back to the place; nothing where there is none in front of it.
std::optional<Place> call_before(Place place, const Code& code) {
    if (!code.is_instruction(place)) return std::nullopt;
    const std::optional<Place> call = code.preceding(place);
    const bool found = call && is_call(*code.kind(*call)) && code.following(*call) == place;
    return found ? call : std::nullopt;
}

bool is_in_function(Place place, const Code& code) {
    return code.programs().function_at(place) != nullptr;
}

// Where the jumps of linkage stubs lead to: code of no function, that calls go through.
class LinkageStubs {
public:
    LinkageStubs(std::span<const CountedBranch> branches, const Code& code) : code_(code) {
        for (const CountedBranch& branch : branches)
            if (!branch.is_astray && code.kind(branch.source) == Kind::indirect_jump &&
                !is_in_function(branch.source, code) && !is_stub(branch.destination))
                note(branch);
    }

    // What a branch to this place comes to in the end.
    Place behind(Place place) const {
        if (!is_stub(place)) return place;
        const auto jump = jumps_.find(code_.block_end(place));
        return jump == jumps_.end() ? place : jump->second.destination;
    }

private:
    bool is_stub(Place place) const {
        return code_.is_instruction(place) && !is_in_function(place, code_);
    }
    // The first jump may lead to the dynamic linker: the most frequent one counts.
    void note(const CountedBranch& branch) {
        CountedBranch& known = jumps_[branch.source];
        if (branch.count > known.count) known = branch;
    }

    const Code& code_;
    std::unordered_map<Place, CountedBranch> jumps_;
};

class TransferMaker {
public:
    TransferMaker(const Code& code, const LinkageStubs& stubs) : code_(code), stubs_(stubs) {}

    void add(const CountedBranch& branch);
    std::vector<Transfer> finish();

private:
    // So many more straight ways from this block end on, or fewer.
    struct Change {
        Place block_end;
        std::uint64_t begin;
        std::uint64_t end;
    };

    void add_return(const CountedBranch& branch);
    void add_ways();

    const Code& code_;
    const LinkageStubs& stubs_;
    std::vector<Transfer> transfers_;
    std::vector<Change> changes_;
};

void TransferMaker::add(const CountedBranch& branch) {
    const std::optional<Kind> kind = code_.kind(branch.source);
    if (kind && is_branch(*kind)) {
        const Place destination = stubs_.behind(branch.destination);
        transfers_.push_back(
            {branch.source, destination, word_of(code_, branch.source, destination), branch.count});
    }
    if (!kind || *kind == Kind::return_) add_return(branch);
    if (branch.ways_from_destination != 0)
        changes_.push_back({code_.block_end(branch.destination), branch.ways_from_destination, 0});
    if (branch.ways_to_source != 0)
        changes_.push_back({code_.block_end(branch.source), 0, branch.ways_to_source});
}

// A return brings its caller from the call to the instruction behind.
void TransferMaker::add_return(const CountedBranch& branch) {
    if (const std::optional<Place> call = call_before(branch.destination, code_))
        transfers_.push_back({*call, branch.destination, Word::fall_through, branch.count});
}

// A way leaves the block that it begins in and all behind it but the one that it ends in. So the
// number of ways over a block's end is that of those begun before it less that of those ended.
void TransferMaker::add_ways() {
    std::sort(changes_.begin(), changes_.end(),
              [](const Change& a, const Change& b) { return a.block_end < b.block_end; });
    std::uint64_t ways = 0;
    Place end = 0;
    for (const Change& change : changes_) {
        while (ways != 0 && end < change.block_end) {
            const std::optional<Place> next = code_.following(end);
            if (!next) break;
            transfers_.push_back({end, *next, Word::fall_through, ways});
            end = code_.block_end(*next);
        }
        ways += change.begin - change.end;
        end = change.block_end;
    }
}

std::vector<Transfer> TransferMaker::finish() {
    add_ways();
    const auto key = [](const Transfer& transfer) {
        return std::tuple(transfer.source, transfer.destination, transfer.word);
    };
    std::sort(transfers_.begin(), transfers_.end(),
              [&](const Transfer& a, const Transfer& b) { return key(a) < key(b); });
    std::vector<Transfer> result;
    for (const Transfer& transfer : transfers_) {
        if (!result.empty() && key(result.back()) == key(transfer))
            result.back().count += transfer.count;
        else
            result.push_back(transfer);
    }
    return result;
}

}  // namespace

void look_at(CountedBranch& branch, const Code& code) {
    branch.is_astray = !can_be(branch, code);
    if (!branch.is_astray && !is_foreign(branch.destination))
        branch.reach = reach_of(branch.destination, code);
}

void cut_where_branches_lead(std::span<const CountedBranch> branches, Code& code) {
    std::vector<Place> leaders;
    for (const CountedBranch& branch : branches) {
        // Foreign code comes back to where it broke in: no block begins there.
        if (!branch.is_astray && !is_foreign(branch.source) && !is_foreign(branch.destination))
            leaders.push_back(branch.destination);
    }
    code.cut(leaders);
}

std::vector<Transfer> make_transfers(std::span<const CountedBranch> branches, const Code& code) {
    const LinkageStubs stubs(branches, code);
    TransferMaker maker(code, stubs);
    for (const CountedBranch& branch : branches)
        if (!branch.is_astray) maker.add(branch);
    return maker.finish();
}

}  // namespace perf
