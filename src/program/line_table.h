#pragma once
// Source positions of a program's instructions, from the line tables of its debug information
// (DWARF 2 to 5). The tables are decoded here, sequence by sequence, and not by the DWARF library:
// that one mixes the sequences of code that the linker threw away, which all begin at address 0,
// with those of the code that is there.

#include <cstdint>
#include <map>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "program/elf_file.h"
#include "program/line_header.h"
#include "program/text_ids.h"

namespace program {

struct LineRow {
    Address address = 0;
    std::uint32_t file = TextIds::none;
    std::uint32_t line = 0;
    std::uint32_t discriminator = 0;
    std::uint16_t column = 0;
};

class LineTable {
public:
    // Only code in these ranges, which are in order, is taken.
    LineTable(std::vector<AddressRange> code, TextIds& files)
        : code_(std::move(code)), files_(files) {}

    // Reads the table at the offset, once; `directory` is what its relative paths are relative to.
    // Without `rows` only the files are read. The numbers stay where they are.
    const FileNumbers& add(const LineSections& sections, std::uint64_t offset,
                           std::string_view directory, bool rows);
    // To be called once, behind the last table.
    void finish();

    // The row that holds at the address; null where no line table knows it.
    const LineRow* find(Address address) const;
    // The rows that hold in the range, as far as they lie in one sequence (as a function's do).
    std::span<const LineRow> rows_of(AddressRange range) const;

private:
    struct Sequence {
        AddressRange range;
        std::size_t first = 0;  // of its rows
        std::size_t last = 0;   // one behind
    };
    struct Table {
        std::uint64_t end = 0;  // of the part of the section that it was read from
        FileNumbers files;
    };

    using Tables = std::map<std::pair<const char*, std::uint64_t>, Table>;  // by section and offset

    const Sequence* sequence_at(Address address) const;
    bool overlaps_neighbours(Tables::const_iterator place) const;
    void run(const LineHeader& header, const FileNumbers& files);
    void add_row(std::size_t first, const LineRow& row);
    void end_sequence(std::size_t first, Address end);

    std::vector<AddressRange> code_;
    TextIds& files_;
    Tables tables_;
    std::vector<LineRow> rows_;
    std::vector<Sequence> sequences_;
};

}  // namespace program
