#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include "edgescope/terminal.h"

namespace edgescope {

bool is_terminal(std::FILE* stream) { return _isatty(_fileno(stream)) != 0; }

bool enable_colour(std::FILE* stream) {
    if (!is_terminal(stream)) return false;
    const auto handle = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stream)));
    DWORD mode = 0;
    return GetConsoleMode(handle, &mode) != 0 &&
           SetConsoleMode(handle, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0;
}

void prepare_streams() {
    _setmode(_fileno(stdout), _O_BINARY);
    _setmode(_fileno(stderr), _O_BINARY);
    SetConsoleOutputCP(CP_UTF8);
}

}  // namespace edgescope
