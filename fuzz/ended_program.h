// A way back into the fuzzer from where the tool would end the process.
#pragma once

namespace fuzz {

// Thrown by the `diag::end_program` of the fuzzers that link `ended_program.cpp`.
struct ProgramEnded {
    int status;
};

}  // namespace fuzz
