// Counts of instructions of this very program, whose function below is spelled out in machine code.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>

#include "edgescope/inlined_samples.h"
#include "edgescope/instruction_counts.h"

#ifdef __x86_64__

// A loop with a call in it. Nobody runs it.
__asm__(R"(
        .text
        .globl  counted_loop
        .type   counted_loop, @function
counted_loop:
        xorl    %eax, %eax
        nop
.Lagain:
        nop
        call    *%rbx
        nop
        decl    %ecx
        jnz     .Lagain
        ret
        .size   counted_loop, . - counted_loop
)");
extern "C" void counted_loop();

namespace edgescope {
namespace {

using testing::ElementsAre;

// Where the instructions of the function begin, from its first one on.
constexpr std::array<std::uint64_t, 8> places = {0, 2, 3, 4, 6, 7, 9, 11};
constexpr std::uint64_t call_place = 4, jump_place = 9;

class InstructionCounts : public testing::Test {
protected:
    void SetUp() override {
        // Keeps the linker from leaving the function out.
        ASSERT_NE(reinterpret_cast<void*>(&counted_loop), nullptr);
        std::string problem;
        program = program::Program::open("/proc/self/exe", {}, problem);
        ASSERT_NE(program, nullptr) << problem;
        const auto& functions = program->functions();
        const auto found =
            std::find_if(functions.begin(), functions.end(),
                         [](const program::Function& f) { return f.name == "counted_loop"; });
        ASSERT_NE(found, functions.end());
        start = found->range.start;
    }

    // Adds an edge between the ends of blocks.
    void add_edge(std::uint64_t from, std::uint64_t to, std::uint64_t count) {
        samples.edges.push_back(
            {start + from, start + to, count, {1, 0, 0, 0}, {2, 0, 0, 0}, false, false});
    }

    // The counts of the function's instructions.
    std::vector<std::uint64_t> counts() {
        samples.name = "counted_loop";
        Profile profile;
        profile.functions.push_back(samples);
        std::vector<std::uint64_t> result;
        for_each_counted_function(*program, profile, [&](const CountedFunction& function) {
            EXPECT_EQ(function.function->name, "counted_loop");
            EXPECT_EQ(function.instructions.size(), places.size());
            for (std::size_t i = 0; i < function.instructions.size(); ++i) {
                EXPECT_EQ(function.instructions[i].instruction.address, start + places[i]);
                result.push_back(function.instructions[i].count);
            }
            tree = std::make_unique<SampleTree>(*program);
            tree->add(function);
        });
        return result;
    }

    std::unique_ptr<program::Program> program;
    std::unique_ptr<SampleTree> tree;
    std::uint64_t start = 0;
    Function samples;
};

TEST_F(InstructionCounts, of_a_loop_follow_from_its_edges_and_its_call) {
    samples.count = 10;
    add_edge(2, call_place, 10);
    add_edge(jump_place, call_place, 90);
    add_edge(jump_place, 11, 10);
    // What stands behind the call has no edge that leads there: it ran as often as the call.
    EXPECT_THAT(counts(), ElementsAre(10, 10, 100, 100, 100, 100, 100, 10));
}

TEST_F(InstructionCounts, are_none_where_the_profile_has_no_samples) {
    Profile profile;
    for_each_counted_function(*program, profile,
                              [](const CountedFunction&) { ADD_FAILURE() << "no samples"; });
}

// Machine code that was spelled out has no lines.
TEST_F(InstructionCounts, of_code_without_debug_information_make_no_samples) {
    samples.count = 10;
    add_edge(jump_place, call_place, 90);
    EXPECT_EQ(counts().size(), places.size());
    EXPECT_TRUE(tree->functions().empty());
}

TEST(InlinedSamples, total_is_the_sum_of_all_lines) {
    InlinedSamples samples;
    samples.lines[{1, 0}].count = 3;
    samples.lines[{2, 1}].count = 4;
    auto inlined = std::make_unique<InlinedSamples>();
    inlined->lines[{0, 0}].count = 5;
    samples.inlined[{{2, 0}, "g"}] = std::move(inlined);
    EXPECT_EQ(samples.total(), 12U);
}

}  // namespace
}  // namespace edgescope

#endif
