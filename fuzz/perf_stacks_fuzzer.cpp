// The reader of branch stacks: on bytes of any kind, and on lines made of the pieces that stacks
// have, whose branches and straight ways a second, plain count knows.
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "fuzz_input.h"
#include "perf/recording_text.h"

namespace {

using edgefile::foreign;
using perf::Place;

constexpr std::uint64_t first_address = 0x1000;
constexpr std::uint64_t size = 0x200;

// Straight on to the next multiple of 0x40. What ends in 7 is no branch.
Place reach(Place place) { return place == foreign ? 0 : place | 0x3F; }
bool is_astray(Place source) { return source != foreign && source % 16 == 7; }

std::vector<perf::Image> images() {
    return {{"/tmp/steps", "aa", {{0x1000, first_address, size}}}, {"/lib/x", "", {{0, 0, 0x80}}}};
}

struct Counts {
    std::uint64_t count = 0;
    std::uint64_t ways_from_destination = 0;
    std::uint64_t ways_to_source = 0;
};
using Branches = std::map<std::pair<Place, Place>, Counts>;

// What the reader makes of a text.
Branches read(std::string text) {
    perf::AddressSpaces spaces(images());
    perf::BranchCounts counts([](perf::CountedBranch& branch) {
        branch.is_astray = is_astray(branch.source);
        branch.reach = reach(branch.destination);
    });
    perf::ForeignNames names;
    if (text.empty()) text = "\n";  // no stream of memory is empty
    std::FILE* const file = fmemopen(text.data(), text.size(), "r");
    perf::read_recording(file, spaces, names, counts);
    std::fclose(file);
    Branches result;
    for (const perf::CountedBranch& branch : counts.branches())
        result[{branch.source, branch.destination}] = {branch.count, branch.ways_from_destination,
                                                       branch.ways_to_source};
    return result;
}

// Each way has two ends.
void check_ways(const Branches& branches) {
    std::uint64_t begun = 0;
    std::uint64_t ended = 0;
    for (const auto& [branch, counts] : branches) {
        begun += counts.ways_from_destination;
        ended += counts.ways_to_source;
        fuzz::require(counts.ways_from_destination <= counts.count, "ways from a branch");
        fuzz::require(counts.ways_to_source <= counts.count, "ways to a branch");
    }
    fuzz::require(begun == ended, "ways without an end");
}

Place naive_place(std::uint64_t address) {
    return address >= first_address && address < first_address + size ? address : foreign;
}

// Counts a stack, the newest first, of a program that stands where it was linked to.
void count_stack(const std::vector<perf::Branch>& stack, Branches& branches) {
    for (std::size_t i = 0; i < stack.size(); ++i) {
        const Place source = naive_place(stack[i].source);
        const Place destination = naive_place(stack[i].destination);
        if (source == foreign && destination == foreign) continue;
        ++branches[{source, destination}].count;
        if (i == 0 || destination == foreign || is_astray(source)) continue;
        const Place next = naive_place(stack[i - 1].source);
        if (is_astray(next) || next < destination || next > reach(destination)) continue;
        ++branches[{source, destination}].ways_from_destination;
        ++branches[{next, naive_place(stack[i - 1].destination)}].ways_to_source;
    }
}

std::string entry_text(const perf::Branch& branch, std::size_t form) {
    char text[128];
    static const char* const forms[] = {"0x%llx/0x%llx/P/-/-/3",
                                        "0x%llx(/tmp/a b)/0x%llx(/lib/x (deleted))/M/-/-/0/CALL/-",
                                        "%llx/%llx/P/-/-/1", "0x%llx-0x%llx", "0x%llx->0x%llx"};
    std::snprintf(text, sizeof text, forms[form], static_cast<unsigned long long>(branch.source),
                  static_cast<unsigned long long>(branch.destination));
    return text;
}

void check_stacks(fuzz::FuzzInput& input) {
    static const char* const heads[] = {
        "", "  77 ", "steps 77/78 [001] 1.5: 1 cycles:u: ", "           401000 ", "\t  401000\n "};
    Branches expected;
    std::string text;
    while (!input.is_empty()) {
        text += heads[input.below(std::size(heads))];
        std::vector<perf::Branch> stack;
        for (std::size_t count = input.below(9); count > 0; --count) {
            stack.push_back({0xF80 + input.bytes(2) % 0x300, 0xF80 + input.bytes(2) % 0x300});
            text += entry_text(stack.back(), input.below(5)) + "  ";
        }
        text += '\n';
        count_stack(stack, expected);
    }
    const Branches actual = read(text);
    const auto fields = [](const auto& item) {
        return std::tuple(item.first, item.second.count, item.second.ways_from_destination,
                          item.second.ways_to_source);
    };
    fuzz::require(std::equal(expected.begin(), expected.end(), actual.begin(), actual.end(),
                             [&](const auto& a, const auto& b) { return fields(a) == fields(b); }),
                  "counts of stacks");
    check_ways(actual);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t bytes) {
    fuzz::FuzzInput input(data, bytes);
    if (input.below(2) == 0)
        check_ways(read(std::string(input.rest())));
    else
        check_stacks(input);
    return 0;
}
