// The end of the program before its `main` returns.
#pragma once

namespace diag {

// Flushes the C streams and ends the process at once: no destructor runs, nothing is closed.
[[noreturn]] void end_program(int status);

}  // namespace diag
