// Prints what the library makes of a program, for program_test.py: one line for each function, and
// one for each of its instructions, fields separated by tabs.
//
//     dump_program PROGRAM [DEBUG_FILE]
#include <cstdio>
#include <string>
#include <vector>

#include "program/program.h"

namespace {

using program::Frame;
using program::Instruction;
using program::Position;

void print(std::string_view text) {
    if (!text.empty()) std::fwrite(text.data(), 1, text.size(), stdout);
}

void print_function(const program::Program& opened, const program::Function& function) {
    const program::Declaration declaration = opened.declaration_of(function);
    std::printf("function\t%llx\t%llx\t%llx\t",
                static_cast<unsigned long long>(function.range.start),
                static_cast<unsigned long long>(function.range.end),
                static_cast<unsigned long long>(opened.owner_of(function).range.start));
    print(function.name);
    std::printf("\t%u\t", declaration.line);
    print(declaration.file);
    std::printf("\n");
}

void print_position(const Position& position) {
    std::printf("\t%u\t%u\t%u\t", position.line, position.column, position.discriminator);
    print(position.file);
}

// The position, then for each frame its name, its first line, and where it was called.
void print_instruction(const program::Program& opened, const Instruction& instruction) {
    std::printf("instruction\t%llx\t%u\t%d\t%llx",
                static_cast<unsigned long long>(instruction.address), instruction.size,
                static_cast<int>(instruction.kind),
                static_cast<unsigned long long>(instruction.target));
    print_position(opened.position_at(instruction.address));
    std::vector<Frame> frames;
    opened.frames_at(instruction.address, frames);
    for (const Frame& frame : frames) {
        std::printf("\t");
        print(frame.name);
        std::printf("\t%u\t", frame.declaration.line);
        print(frame.declaration.file);
        print_position(frame.call);
    }
    std::printf("\n");
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) return 2;
    program::OpenOptions options;
    if (argc > 2) options.debug_file = argv[2];
    std::string problem;
    const auto opened = program::Program::open(argv[1], options, problem);
    if (!opened) {
        std::fprintf(stderr, "%s: %s\n", argv[1], problem.c_str());
        return 1;
    }
    std::printf("program\t%s\t%d\n", opened->build_id().c_str(),
                opened->has_debug_information() ? 1 : 0);
    for (const program::Function& function : opened->functions()) {
        print_function(*opened, function);
        opened->for_each_instruction(
            function.range.start, function.range.end,
            [&](const Instruction& instruction) { print_instruction(*opened, instruction); });
    }
    return 0;
}
