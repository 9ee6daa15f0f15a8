#include <unistd.h>

#include "edgescope/terminal.h"

namespace edgescope {

bool is_terminal(std::FILE* stream) { return isatty(fileno(stream)) == 1; }

bool enable_colour(std::FILE* stream) { return is_terminal(stream); }

void prepare_streams() {}  // they are fit already

}  // namespace edgescope
