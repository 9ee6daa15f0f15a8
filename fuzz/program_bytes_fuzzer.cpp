// The reader of programs: on bytes of any kind. Whatever it makes of them lies in the code and
// hangs together.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "fuzz_input.h"
#include "program/code_map.h"
#include "program/program.h"

namespace {

std::unique_ptr<program::Program> open_bytes(const std::uint8_t* data, std::size_t size) {
    const int file = memfd_create("program", 0);
    const bool written = write(file, data, size) == static_cast<ssize_t>(size);
    fuzz::require(written, "the file in memory");
    program::OpenOptions options;
    options.debug_directory = "/nonexistent";
    std::string problem;
    auto opened = program::Program::open("/proc/self/fd/" + std::to_string(file), options, problem);
    close(file);
    fuzz::require((opened == nullptr) == !problem.empty(), "a message where there is no program");
    return opened;
}

void check_function(const program::Program& opened, const program::CodeMap& map,
                    const program::Function& function) {
    fuzz::require(function.range.start < function.range.end, "a function has code");
    fuzz::require(opened.function_at(function.range.start) == &function, "functions don't overlap");
    opened.declaration_of(function);
    std::vector<program::Frame> frames;
    opened.for_each_instruction(
        function.range.start, function.range.end, [&](const program::Instruction& instruction) {
            opened.position_at(instruction.address);
            opened.outer_position_at(instruction.address);
            opened.frames_at(instruction.address, frames);
            if (!map.is_instruction(instruction.address)) return;
            const auto last = map.block_end(instruction.address);
            fuzz::require(last >= instruction.address, "a block ends behind its instructions");
            fuzz::require(map.block_start(last) == map.block_start(instruction.address),
                          "a block has one start");
        });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto opened = open_bytes(data, size);
    if (opened == nullptr) return 0;
    const program::CodeMap map(*opened);
    for (const program::Function& function : opened->functions())
        check_function(*opened, map, function);
    return 0;
}
