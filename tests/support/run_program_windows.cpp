#define NOMINMAX
#include <gtest/gtest.h>
#include <windows.h>

#include <array>
#include <cwchar>
#include <string_view>
#include <thread>

#include "support/file_path.h"
#include "support/run_program.h"

namespace test_support {
namespace {

// The exit status of a program that is ended at its time limit.
constexpr UINT status_of_the_ended = 258;

// A pipe between this process and the program. Only the program's end is inherited.
class Pipe {
public:
    enum class Direction { to_program, from_program };

    explicit Pipe(Direction direction) {
        SECURITY_ATTRIBUTES inherited{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
        HANDLE read_end = nullptr;
        HANDLE write_end = nullptr;
        if (CreatePipe(&read_end, &write_end, &inherited, 0) == 0)
            ADD_FAILURE() << "CreatePipe: " << GetLastError();
        const bool reads = direction == Direction::from_program;
        own_end_ = reads ? read_end : write_end;
        program_end_ = reads ? write_end : read_end;
        SetHandleInformation(own_end_, HANDLE_FLAG_INHERIT, 0);
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;
    ~Pipe() {
        close_program_end();
        CloseHandle(own_end_);
    }

    HANDLE program_end() const { return program_end_; }

    void close_program_end() {
        if (program_end_ != nullptr) CloseHandle(program_end_);
        program_end_ = nullptr;
    }

    // Appends all that the program writes until it ends.
    void read_into(std::string& text) const {
        std::array<char, 65536> bytes;
        DWORD count = 0;
        while (ReadFile(own_end_, bytes.data(), bytes.size(), &count, nullptr) != 0)
            text.append(bytes.data(), count);
    }

    // Writes a text that the pipe's buffer takes whole, whether the program reads it or not.
    void write(std::string_view text) const {
        DWORD count = 0;
        if (!text.empty())
            WriteFile(own_end_, text.data(), static_cast<DWORD>(text.size()), &count, nullptr);
    }

private:
    HANDLE own_end_ = nullptr;
    HANDLE program_end_ = nullptr;
};

// The argument in quotes, so that the program's start-up code finds it as it stands: backslashes
// are doubled in front of a quote, and a quote has one of its own.
std::wstring quoted(const std::wstring& argument) {
    std::wstring text = L"\"";
    std::size_t backslashes = 0;
    for (const wchar_t c : argument) {
        if (c == L'"') text.append(backslashes + 1, L'\\');
        backslashes = c == L'\\' ? backslashes + 1 : 0;
        text += c;
    }
    return text.append(backslashes, L'\\') + L"\"";
}

std::wstring command_line(const ProgramStart& start) {
    std::wstring line = quoted(wide_text(start.name.empty() ? start.program : start.name));
    for (const std::string& argument : start.arguments) line += L" " + quoted(wide_text(argument));
    return line;
}

// Names of variables differ in more than their letters' case.
bool names_variable(const std::wstring& entry, const std::wstring& name) {
    return entry.size() > name.size() && entry[name.size()] == L'=' &&
           _wcsnicmp(entry.c_str(), name.c_str(), name.size()) == 0;
}

// This process's environment with the additions. The database mode of whoever runs the tests stays
// out of them.
std::wstring environment_with(const std::vector<std::pair<std::string, std::string>>& additions) {
    std::wstring block;
    wchar_t* const own = GetEnvironmentStringsW();
    for (const wchar_t* next = own; *next != L'\0'; next += std::wcslen(next) + 1) {
        const std::wstring entry = next;
        bool is_replaced = names_variable(entry, L"HOTPATH_DB_MODE");
        for (const auto& added : additions)
            is_replaced = is_replaced || names_variable(entry, wide_text(added.first));
        if (!is_replaced) block += entry + L'\0';
    }
    FreeEnvironmentStringsW(own);
    for (const auto& [name, value] : additions) block += wide_text(name + "=" + value) + L'\0';
    return block + L'\0';
}

// The new process, or null after a failure of the test.
HANDLE start_process(const ProgramStart& start, HANDLE input, HANDLE output, HANDLE error) {
    STARTUPINFOW streams{};
    streams.cb = sizeof(streams);
    streams.dwFlags = STARTF_USESTDHANDLES;
    streams.hStdInput = input;
    streams.hStdOutput = output;
    streams.hStdError = error;
    std::wstring environment = environment_with(start.environment);
    PROCESS_INFORMATION process{};
    // Once in many thousand times Wine gives a new process up, with an internal error, before the
    // program runs. The next try finds nothing in its way.
    for (int tries_left = 3;; --tries_left) {
        std::wstring line = command_line(start);  // the system may write into it
        if (CreateProcessW(wide_text(start.program).c_str(), line.data(), nullptr, nullptr, TRUE,
                           CREATE_UNICODE_ENVIRONMENT, environment.data(),
                           wide_text(start.directory).c_str(), &streams, &process) != 0)
            break;
        const DWORD failure = GetLastError();
        if (failure == ERROR_INTERNAL_ERROR && tries_left > 1) continue;
        ADD_FAILURE() << "can't start " << start.program << ": error " << failure;
        return nullptr;
    }
    CloseHandle(process.hThread);
    return process.hProcess;
}

// Waits for the end of the process, which its time limit brings at the latest.
void wait_for_end(HANDLE process, std::chrono::milliseconds time_limit, ProgramRun& run) {
    run.timed_out =
        WaitForSingleObject(process, static_cast<DWORD>(time_limit.count())) == WAIT_TIMEOUT;
    if (run.timed_out) TerminateProcess(process, status_of_the_ended);
    WaitForSingleObject(process, INFINITE);
    DWORD status = 0;
    GetExitCodeProcess(process, &status);
    if (!run.timed_out) run.exit_status = static_cast<int>(status);
    CloseHandle(process);
}

}  // namespace

ProgramRun run_program(const ProgramStart& start) {
    ProgramRun run;
    Pipe output(Pipe::Direction::from_program);
    Pipe error(Pipe::Direction::from_program);
    HANDLE process = nullptr;
    {
        Pipe input(Pipe::Direction::to_program);
        input.write(start.standard_input);
        process = start_process(start, input.program_end(), output.program_end(),
                                start.one_stream ? output.program_end() : error.program_end());
    }
    output.close_program_end();
    error.close_program_end();
    if (process == nullptr) return run;

    std::thread output_reader([&] { output.read_into(run.standard_output); });
    std::thread error_reader([&] { error.read_into(run.standard_error); });
    wait_for_end(process, start.time_limit, run);
    output_reader.join();
    error_reader.join();
    return run;
}

std::string written_text(const std::string& stream) {
    std::string text;
    for (std::size_t i = 0; i < stream.size(); ++i) {
        if (stream[i] == '\n' && (text.empty() || text.back() != '\r')) {
            ADD_FAILURE() << "a line that doesn't end in CR LF: " << stream;
        } else if (stream[i] == '\n') {
            text.pop_back();
        }
        text += stream[i];
    }
    return text;
}

}  // namespace test_support
