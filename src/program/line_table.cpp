#include "program/line_table.h"

#include <dwarf.h>

#include <algorithm>
#include <limits>

#include "program/byte_reader.h"

namespace program {

namespace {

constexpr std::uint64_t largest_column = std::numeric_limits<std::uint16_t>::max();

// The registers of the machine that a line program is for.
struct Registers {
    Address address = 0;
    std::uint64_t file = 1;
    std::uint64_t line = 1;
    std::uint64_t column = 0;
    std::uint64_t discriminator = 0;
};

LineRow row_of(const Registers& registers, const FileNumbers& files) {
    const bool known = registers.file < files.size();
    return {registers.address, known ? files[registers.file] : TextIds::none,
            static_cast<std::uint32_t>(registers.line),
            static_cast<std::uint32_t>(registers.discriminator),
            static_cast<std::uint16_t>(std::min(registers.column, largest_column))};
}

void run_special_opcode(std::uint64_t opcode, const LineHeader& header, Registers& registers) {
    const std::uint64_t step = opcode - header.opcode_base;
    registers.address += step / header.line_range * header.minimum_length;
    registers.line += static_cast<std::uint64_t>(
        header.line_base + static_cast<std::int64_t>(step % header.line_range));
}

// A standard opcode that makes no row.
void run_standard_opcode(std::uint64_t opcode, const LineHeader& header, ByteReader& reader,
                         Registers& registers) {
    switch (opcode) {
        case DW_LNS_advance_pc:
            registers.address += reader.unsigned_leb() * header.minimum_length;
            break;
        case DW_LNS_advance_line:
            registers.line += static_cast<std::uint64_t>(reader.signed_leb());
            break;
        case DW_LNS_set_file: registers.file = reader.unsigned_leb(); break;
        case DW_LNS_set_column: registers.column = reader.unsigned_leb(); break;
        case DW_LNS_const_add_pc:
            registers.address +=
                (255 - header.opcode_base) / header.line_range * header.minimum_length;
            break;
        case DW_LNS_fixed_advance_pc: registers.address += reader.number(2); break;
        default:
            // An opcode of a later version: skip its operands.
            for (auto count = static_cast<unsigned char>(header.operand_counts[opcode - 1]);
                 count > 0; --count)
                reader.unsigned_leb();
    }
}

// True at the end of a sequence.
bool run_extended_opcode(ByteReader& reader, Registers& registers) {
    const std::uint64_t size = reader.unsigned_leb();
    const std::size_t start = reader.position();
    const std::uint64_t opcode = size == 0 ? 0 : reader.number(1);
    if (opcode == DW_LNE_set_address)
        registers.address = reader.number(std::min<std::size_t>(size - 1, sizeof(Address)));
    else if (opcode == DW_LNE_set_discriminator)
        registers.discriminator = reader.unsigned_leb();
    const std::size_t used = reader.position() - start;
    if (used < size) reader.skip(size - used);
    return opcode == DW_LNE_end_sequence;
}

}  // namespace

const FileNumbers& LineTable::add(const LineSections& sections, std::uint64_t offset,
                                  std::string_view directory, bool rows) {
    const auto [place, is_new] = tables_.try_emplace({sections.line.data(), offset});
    Table& table = place->second;
    if (!is_new) return table.files;
    const std::uint64_t size = line_table_size(sections.line, offset);
    table.end = offset + size;
    LineHeader header;
    if (size == 0 || overlaps_neighbours(place) ||
        !read_line_header(sections, sections.line.substr(offset, size), directory, files_, header))
        return table.files;
    table.files = std::move(header.files);
    if (rows) run(header, table.files);
    return table.files;
}

// Of tables that share bytes, which only damaged files have, the first one asked for is read: so no
// byte is read twice.
bool LineTable::overlaps_neighbours(Tables::const_iterator place) const {
    const auto& [section, offset] = place->first;
    if (place != tables_.begin()) {
        const auto& [before, table] = *std::prev(place);
        if (before.first == section && table.end > offset) return true;
    }
    const auto behind = std::next(place);
    return behind != tables_.end() && behind->first.first == section &&
           behind->first.second < place->second.end;
}

void LineTable::run(const LineHeader& header, const FileNumbers& files) {
    ByteReader reader(header.program);
    Registers registers;
    std::size_t first = rows_.size();
    while (!reader.at_end() && !reader.failed()) {
        const std::uint64_t opcode = reader.number(1);
        if (opcode >= header.opcode_base) {
            run_special_opcode(opcode, header, registers);
            add_row(first, row_of(registers, files));
            registers.discriminator = 0;
        } else if (opcode == DW_LNS_copy) {
            add_row(first, row_of(registers, files));
            registers.discriminator = 0;
        } else if (opcode != 0) {
            run_standard_opcode(opcode, header, reader, registers);
        } else if (run_extended_opcode(reader, registers)) {
            end_sequence(first, registers.address);
            first = rows_.size();
            registers = Registers();
        }
    }
    rows_.resize(first);
}

// Of rows at one address the last one holds.
void LineTable::add_row(std::size_t first, const LineRow& row) {
    if (rows_.size() > first && rows_.back().address == row.address) rows_.pop_back();
    rows_.push_back(row);
}

void LineTable::end_sequence(std::size_t first, Address end) {
    const auto begin = rows_.begin() + static_cast<std::ptrdiff_t>(first);
    const auto by_address = [](const LineRow& one, const LineRow& other) {
        return one.address < other.address;
    };
    if (!std::is_sorted(begin, rows_.end(), by_address))
        std::stable_sort(begin, rows_.end(), by_address);
    const Address start = begin == rows_.end() ? end : begin->address;
    const bool is_code = std::any_of(code_.begin(), code_.end(), [&](const AddressRange& range) {
        return range.contains(start) && end <= range.end;
    });
    if (start < end && is_code)
        sequences_.push_back({{start, end}, first, rows_.size()});
    else
        rows_.resize(first);
}

void LineTable::finish() {
    std::stable_sort(sequences_.begin(), sequences_.end(),
                     [](const Sequence& one, const Sequence& other) {
                         return one.range.start < other.range.start;
                     });
    Address end = 0;
    std::erase_if(sequences_, [&](const Sequence& sequence) {
        const bool overlapping = sequence.range.start < end;
        if (!overlapping) end = sequence.range.end;
        return overlapping;
    });
    rows_.shrink_to_fit();
}

const LineTable::Sequence* LineTable::sequence_at(Address address) const {
    const auto behind = std::upper_bound(
        sequences_.begin(), sequences_.end(), address,
        [](Address wanted, const Sequence& sequence) { return wanted < sequence.range.start; });
    if (behind == sequences_.begin() || !std::prev(behind)->range.contains(address)) return nullptr;
    return &*std::prev(behind);
}

std::span<const LineRow> LineTable::rows_of(AddressRange range) const {
    const Sequence* sequence = sequence_at(range.start);
    if (sequence == nullptr) return {};
    const std::span<const LineRow> rows(rows_.data() + sequence->first,
                                        rows_.data() + sequence->last);
    const auto is_before = [](Address wanted, const LineRow& row) { return wanted < row.address; };
    auto first = std::upper_bound(rows.begin(), rows.end(), range.start, is_before);
    const auto last = std::upper_bound(first, rows.end(), range.end - 1, is_before);
    if (first != rows.begin()) --first;
    return {first, last};
}

const LineRow* LineTable::find(Address address) const {
    const std::span<const LineRow> rows = rows_of({address, address + 1});
    return rows.empty() || rows.front().address > address ? nullptr : &rows.front();
}

}  // namespace program
