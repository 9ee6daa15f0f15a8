#include "ended_program.h"

#include "diag/end_program.h"

namespace diag {

void end_program(int status) { throw fuzz::ProgramEnded{status}; }

}  // namespace diag
