#include "diag/checked_strncpy.h"

#include "diag/end_program.h"
#include "diag/trace.h"

namespace diag {

void checked_strncpy(char* destination, const char* source, std::size_t size) {
    if (destination == nullptr) {
        trace_print("FATAL ERROR: checked_strncpy invalid parameters\n");
        end_program(1);
    }
    std::size_t i = 0;
    for (; i < size && source[i] != '\0'; ++i) destination[i] = source[i];
    for (; i < size; ++i) destination[i] = '\0';
}

}  // namespace diag
