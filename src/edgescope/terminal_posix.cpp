#include <unistd.h>

#include "edgescope/terminal.h"

namespace edgescope {

bool is_terminal(std::FILE* stream) { return isatty(fileno(stream)) == 1; }

bool enable_colour(std::FILE* stream) { return is_terminal(stream); }

std::vector<std::string> utf8_arguments(int argument_count, const char* const* arguments) {
    return {arguments, arguments + argument_count};
}

void prepare_streams() {}  // they are fit already

}  // namespace edgescope
