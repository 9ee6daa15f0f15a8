// How often each instruction of a program ran: the blocks of a profile, found again in the program
// by their addresses. The profile knows of jumps inside of a function; what enters a block by a
// call or goes on behind one is told here by the instructions.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "edgescope/profile.h"
#include "program/program.h"

namespace edgescope {

// An instruction with the number of times that it ran.
struct CountedInstruction {
    program::Instruction instruction;
    std::uint64_t count = 0;
};

// A function of the program that ran.
struct CountedFunction {
    const program::Function* function = nullptr;
    const Function* samples = nullptr;             // its calls stand there; null if unknown
    std::uint64_t entries = 0;                     // 0 for a part of a function
    std::vector<CountedInstruction> instructions;  // all of them, by address
};

// Calls `visit` for each function, and part of one, of which the profile has counts, in order of
// address. Edges outside of the program's functions are left out.
void for_each_counted_function(const program::Program& program, const Profile& profile,
                               const std::function<void(const CountedFunction&)>& visit);

}  // namespace edgescope
