// Runs a program instruction by instruction and writes where each one stood: what a recording is
// held against.
//
//     step_program [--callbacks] OUTPUT DISTANCE PROGRAM [ARGUMENT...]
//
// The output's first line is what a recorder would say of the program's code, the others are
// addresses of the run, one for each instruction of that code from the entry on. Libraries run at
// their own speed: of a visit there the first address stands in the output, and code that they call
// back doesn't, but with --callbacks. A repeated string operation stands there once for each time.
// The program isn't moved about, so that equal runs give equal addresses.
#include <elf.h>
#include <sys/personality.h>
#include <sys/ptrace.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

namespace {

struct Code {
    std::uint64_t start = 0;
    std::uint64_t end = 0;
    std::uint64_t offset = 0;

    bool contains(std::uint64_t address) const { return start <= address && address < end; }
};

[[noreturn]] void fail(const char* what) {
    std::perror(what);
    std::exit(1);
}

void run_traced(char** arguments) {
    setenv("LD_BIND_NOW", "1",
           1);  // else a first call leaves with more than its return on the stack
    personality(ADDR_NO_RANDOMIZE);
    ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    execv(arguments[0], arguments);
    fail(arguments[0]);
}

// The executable mapping of the file that the process runs.
Code code_of(pid_t process) {
    const std::string place = "/proc/" + std::to_string(process);
    char path[4096];
    const ssize_t size = readlink((place + "/exe").c_str(), path, sizeof path);
    std::ifstream maps(place + "/maps");
    for (std::string line; std::getline(maps, line);) {
        if (size < 0 || !line.ends_with(std::string(path, static_cast<std::size_t>(size))) ||
            line.find(" r-xp ") == std::string::npos)
            continue;
        Code code;
        char dash = 0;
        std::string rights;
        std::istringstream fields(line);
        fields >> std::hex >> code.start >> dash >> code.end >> rights >> code.offset;
        return code;
    }
    fail("/proc");
}

std::uint64_t entry_of(pid_t process) {
    std::ifstream table("/proc/" + std::to_string(process) + "/auxv", std::ios::binary);
    Elf64_auxv_t entry;
    while (table.read(reinterpret_cast<char*>(&entry), sizeof entry))
        if (entry.a_type == AT_ENTRY) return entry.a_un.a_val;
    fail("/proc");
}

// One process that stands at an instruction, until it has ended.
class Traced {
public:
    explicit Traced(pid_t process) : process_(process) {}

    bool has_ended() const { return !WIFSTOPPED(status_); }
    bool succeeded() const { return WIFEXITED(status_) && WEXITSTATUS(status_) == 0; }

    user_regs_struct registers() const {
        user_regs_struct registers;
        if (ptrace(PTRACE_GETREGS, process_, nullptr, &registers) != 0) fail("ptrace");
        return registers;
    }
    std::uint64_t word_at(std::uint64_t address) const {
        return static_cast<std::uint64_t>(ptrace(PTRACE_PEEKTEXT, process_, address, nullptr));
    }
    void step() { go_on(PTRACE_SINGLESTEP); }
    void run() { go_on(PTRACE_CONT); }
    // Runs until it comes to the address.
    void run_to(std::uint64_t address) {
        const std::uint64_t code = word_at(address);
        constexpr std::uint64_t breakpoint = 0xCC;
        ptrace(PTRACE_POKETEXT, process_, address, (code & ~std::uint64_t{0xFF}) | breakpoint);
        run();
        if (has_ended()) return;
        ptrace(PTRACE_POKETEXT, process_, address, code);
        user_regs_struct stopped = registers();
        stopped.rip = address;
        ptrace(PTRACE_SETREGS, process_, nullptr, &stopped);
    }

private:
    void go_on(__ptrace_request how) {
        if (ptrace(how, process_, nullptr, nullptr) != 0 ||
            waitpid(process_, &status_, 0) != process_)
            fail("ptrace");
    }

    pid_t process_;
    int status_ = 0x7F;  // stopped
};

// The way back from the libraries that leads to the caller, or with `callbacks` any.
void leave_libraries(Traced& traced, const Code& code, bool callbacks) {
    if (callbacks) {
        while (!traced.has_ended() && !code.contains(traced.registers().rip)) traced.step();
        return;
    }
    const std::uint64_t back = traced.word_at(traced.registers().rsp);
    if (code.contains(back))
        traced.run_to(back);
    else
        traced.run();  // it has left for good
}

void write_steps(Traced& traced, const Code& code, bool callbacks, std::FILE* output) {
    while (!traced.has_ended()) {
        const user_regs_struct registers = traced.registers();
        std::fprintf(output, "%llx\n", registers.rip);
        if (code.contains(registers.rip))
            traced.step();
        else
            leave_libraries(traced, code, callbacks);
    }
}

}  // namespace

int main(int argument_count, char** arguments) {
    const bool callbacks = argument_count > 1 && std::string(arguments[1]) == "--callbacks";
    if (callbacks) {
        ++arguments;
        --argument_count;
    }
    if (argument_count < 4) return 2;
    const pid_t process = fork();
    if (process < 0) fail("fork");
    if (process == 0) run_traced(arguments + 3);
    int status = 0;
    if (waitpid(process, &status, 0) != process || !WIFSTOPPED(status)) fail(arguments[3]);
    std::FILE* const output = std::fopen(arguments[1], "w");
    if (output == nullptr) fail(arguments[1]);
    const Code code = code_of(process);
    std::fprintf(output, "PERF_RECORD_MMAP2 77/77: [0x%lx(0x%lx) @ 0x%lx 00:00 0 0]: r-xp %s\n",
                 code.start, code.end - code.start, code.offset, arguments[3]);
    Traced traced(process);
    traced.run_to(entry_of(process) + std::strtoull(arguments[2], nullptr, 0));
    write_steps(traced, code, callbacks, output);
    return std::fclose(output) == 0 && traced.succeeded() ? 0 : 1;
}
