#include <fcntl.h>
#include <io.h>
#include <windows.h>
// Behind windows.h, whose words it uses
#include <shellapi.h>

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

static std::string utf8(const wchar_t* text) {
    const int size = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
    if (size <= 0) return "";
    std::string result(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text, -1, result.data(), size, nullptr, nullptr);
    result.pop_back();  // the end of a C string
    return result;
}

// Those of `main` are in the system's own encoding, which doesn't have all letters.
std::vector<std::string> utf8_arguments(int argument_count, const char* const* arguments) {
    int wide_count = 0;
    wchar_t** const wide = CommandLineToArgvW(GetCommandLineW(), &wide_count);
    if (wide == nullptr) return {arguments, arguments + argument_count};
    std::vector<std::string> result;
    for (int i = 0; i < wide_count; ++i) result.push_back(utf8(wide[i]));
    LocalFree(wide);
    return result;
}

void prepare_streams() {
    _setmode(_fileno(stdout), _O_BINARY);
    _setmode(_fileno(stderr), _O_BINARY);
    SetConsoleOutputCP(CP_UTF8);
}

}  // namespace edgescope
