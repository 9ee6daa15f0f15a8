// The form in which a pattern is matched: a list of small instructions for a backtracking machine.
// The compiler writes it and the engine runs it.
#pragma once

#include <bitset>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace hotpath {

enum RegexError : std::int32_t {
    RegexOk = 0,
    RegexOutOfMemory = 1,      // the program can't grow, or the pattern is nested too deep
    RegexBraceExpected = 2,    // no `}` closes a `{`
    RegexParenExpected = 3,    // no `)` closes a `(`
    RegexBracketExpected = 4,  // no `]` closes a class, or a range has no end
    RegexUnexpected = 5,       // an abbreviation's definition failed to parse
    RegexEmptyClass = 6,       // `[]` or `[^]`
    RegexInvalidGroup = 7,     // a back reference to a group that hasn't been opened
    RegexInvalidRange = 8,     // a range whose end is below its beginning
    RegexEmptyRepeat = 9,      // a repetition of something that can match the empty text
    RegexNoPattern = 10,       // the pattern is absent
};

// To fail means: pop an instruction's index from the stack and go on there. Nothing else is wound
// back by it; what has to be, the pushes and pops of the shapes do.
enum RegexOp : std::uint32_t {
    OpNop = 0,
    OpGroupStart = 1,      // group: its start = position
    OpGroupEnd = 2,        // group: its end = position
    OpChar = 3,            // character: step over it, or fail; 0 stands for the end of the text
    OpAny = 4,             // step over any character; fail at the end
    OpClass = 5,           // class: step over a member; fail at the end
    OpNotClass = 6,        // class: step over anything else; fail at the end
    OpJump = 13,           // instruction
    OpPushPosition = 14,   //
    OpPopPosition = 15,    //
    OpCall = 16,           // instruction: push the next instruction's index, then jump
    OpReturn = 17,         // fail
    OpPushSlot = 20,       // slot
    OpPopSlot = 21,        // slot
    OpStorePosition = 22,  // slot = position
    OpStoreStack = 23,     // slot = stack height
    OpLoadPosition = 24,   // position = slot
    OpLoadStack = 25,      // stack height = slot
    OpNeedProgress = 26,   // fail if the position is still the slot's
    OpBackReference = 27,  // group: step over the same text again, or fail
    OpFail = 28,           // no match at all
    OpAdvance = 29,        // begin again one character further
    OpMatch = 30,          //
    OpPushGroup = 31,      // group: push its start and end
    OpPopGroup = 32,       // group: pop its end and start
};

struct RegexInstruction {
    RegexOp op;
    std::uint64_t operand;
};

// The members of a class, by the value of the byte.
using RegexClass = std::bitset<256>;

// One compiled pattern. Owned by its engine.
struct RegexProgram {
    std::vector<RegexInstruction> code;
    std::vector<RegexClass> classes;  // the operands of OpClass and OpNotClass point here
    std::uint32_t group_count = 0;
    std::uint32_t slot_count = 0;
};

}  // namespace hotpath
