#pragma once
// The header of one line table: how its program is to be read, and the files that it speaks of.

#include <cstdint>
#include <string_view>
#include <vector>

#include "program/text_ids.h"

namespace program {

// The sections that a line table lies in.
struct LineSections {
    std::string_view line;
    std::string_view line_texts;
    std::string_view texts;
};

// Numbers of files as a unit of debug information counts them -> ids of the paths in the pool.
using FileNumbers = std::vector<std::uint32_t>;

struct LineHeader {
    std::uint64_t version = 0;
    std::size_t offset_size = 4;
    std::uint64_t minimum_length = 1;  // of an instruction
    int line_base = 0;
    std::uint64_t line_range = 1;
    std::uint64_t opcode_base = 1;
    std::string_view operand_counts;  // of the standard opcodes
    std::vector<std::string_view> directories;
    FileNumbers files;
    std::string_view program;
};

// Bytes that the table at the offset takes, its length included; 0 where it runs beyond the
// section.
std::uint64_t line_table_size(std::string_view section, std::uint64_t offset);

// False where the table is of another version or damaged.
bool read_line_header(const LineSections& sections, std::string_view table,
                      std::string_view directory, TextIds& pool, LineHeader& header);

// The path of a file of the header: absolute where `directory` is.
std::uint32_t id_of_file(const LineHeader& header, std::string_view name,
                         std::uint64_t directory_number, std::string_view directory, TextIds& pool);

}  // namespace program
