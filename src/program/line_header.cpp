#include "program/line_header.h"

#include <dwarf.h>

#include <string>

#include "program/byte_reader.h"

namespace program {

namespace {

struct EntryFormat {
    std::uint64_t content = 0;
    std::uint64_t form = 0;
};

struct Entry {
    std::string_view name;
    std::uint64_t directory = 0;
};

std::string_view text_at(std::string_view section, std::uint64_t offset) {
    if (offset >= section.size()) return {};
    return ByteReader(section.substr(offset)).text();
}

// The value of a text form, and of a number form as number. False for a form that no line table
// has.
bool read_form(ByteReader& reader, const LineSections& sections, std::size_t offset_size,
               std::uint64_t form, std::string_view& text, std::uint64_t& number) {
    switch (form) {
        case DW_FORM_string: text = reader.text(); return true;
        case DW_FORM_line_strp:
            text = text_at(sections.line_texts, reader.number(offset_size));
            return true;
        case DW_FORM_strp: text = text_at(sections.texts, reader.number(offset_size)); return true;
        case DW_FORM_udata: number = reader.unsigned_leb(); return true;
        case DW_FORM_data1: number = reader.number(1); return true;
        case DW_FORM_data2: number = reader.number(2); return true;
        case DW_FORM_data4: number = reader.number(4); return true;
        case DW_FORM_data8: number = reader.number(8); return true;
        case DW_FORM_data16: reader.skip(16); return true;
        case DW_FORM_block: reader.skip(reader.unsigned_leb()); return true;
        default: return false;
    }
}

std::vector<EntryFormat> read_formats(ByteReader& reader) {
    std::vector<EntryFormat> formats(reader.number(1));
    for (EntryFormat& format : formats) {
        format.content = reader.unsigned_leb();
        format.form = reader.unsigned_leb();
    }
    return formats;
}

// The directories or files of version 5. False where they can't be read.
bool read_entries(ByteReader& reader, const LineSections& sections, std::size_t offset_size,
                  std::vector<Entry>& entries) {
    const std::vector<EntryFormat> formats = read_formats(reader);
    const std::uint64_t count = reader.unsigned_leb();
    if (formats.empty()) return count == 0;
    for (std::uint64_t i = 0; i < count; ++i) {
        Entry entry;
        for (const EntryFormat& format : formats) {
            std::string_view text;
            std::uint64_t number = 0;
            if (!read_form(reader, sections, offset_size, format.form, text, number)) return false;
            if (format.content == DW_LNCT_path) entry.name = text;
            if (format.content == DW_LNCT_directory_index) entry.directory = number;
        }
        if (reader.failed()) return false;
        entries.push_back(entry);
    }
    return true;
}

bool read_files_of_version_5(ByteReader& reader, const LineSections& sections,
                             std::string_view directory, TextIds& pool, LineHeader& header) {
    std::vector<Entry> directories;
    std::vector<Entry> files;
    if (!read_entries(reader, sections, header.offset_size, directories) ||
        !read_entries(reader, sections, header.offset_size, files))
        return false;
    for (const Entry& entry : directories) header.directories.push_back(entry.name);
    for (const Entry& entry : files)
        header.files.push_back(id_of_file(header, entry.name, entry.directory, directory, pool));
    return true;
}

// Before version 5 both lists end with an empty name, and count from 1.
bool read_files_before_version_5(ByteReader& reader, std::string_view directory, TextIds& pool,
                                 LineHeader& header) {
    header.directories.emplace_back();
    for (std::string_view name; !(name = reader.text()).empty();)
        header.directories.push_back(name);
    header.files.push_back(TextIds::none);
    for (std::string_view name; !(name = reader.text()).empty();) {
        const std::uint64_t number = reader.unsigned_leb();
        reader.unsigned_leb();  // time
        reader.unsigned_leb();  // size
        header.files.push_back(id_of_file(header, name, number, directory, pool));
    }
    return !reader.failed();
}

void append_path(std::string& path, std::string_view part) {
    if (part.empty()) return;
    if (part.front() == '/') path.clear();
    if (!path.empty() && path.back() != '/') path += '/';
    path += part;
}

// Reads the length at the front of a table, and sets the size of the offsets in it.
std::uint64_t read_length(ByteReader& reader, std::size_t& offset_size) {
    constexpr std::uint64_t escape = 0xFFFFFFFF;
    offset_size = 4;
    const std::uint64_t length = reader.number(4);
    if (length != escape) return length;
    offset_size = 8;
    return reader.number(8);
}

}  // namespace

std::uint64_t line_table_size(std::string_view section, std::uint64_t offset) {
    if (offset >= section.size()) return 0;
    ByteReader reader(section.substr(offset));
    std::size_t offset_size = 0;
    const std::uint64_t length = read_length(reader, offset_size);
    const std::uint64_t rest = section.size() - offset - reader.position();
    return reader.failed() || length > rest ? 0 : reader.position() + length;
}

bool read_line_header(const LineSections& sections, std::string_view table,
                      std::string_view directory, TextIds& pool, LineHeader& header) {
    ByteReader reader(table);
    read_length(reader, header.offset_size);
    header.version = reader.number(2);
    if (header.version < 2 || header.version > 5) return false;
    if (header.version == 5) reader.skip(2);  // sizes of addresses and of segment selectors
    const std::uint64_t length = reader.number(header.offset_size);
    const std::uint64_t program = reader.position() + length;
    header.minimum_length = reader.number(1);
    if (header.version >= 4) reader.skip(1);  // operations in an instruction
    reader.skip(1);                           // whether a row is a statement at first
    const auto line_base = static_cast<int>(reader.number(1));
    header.line_base = line_base < 0x80 ? line_base : line_base - 0x100;
    header.line_range = reader.number(1);
    header.opcode_base = reader.number(1);
    if (reader.failed() || header.line_range == 0 || header.opcode_base == 0) return false;
    const std::size_t counts = reader.position();
    reader.skip(header.opcode_base - 1);
    if (reader.failed() || length > table.size() || program > table.size()) return false;
    header.operand_counts = table.substr(counts, header.opcode_base - 1);
    header.program = table.substr(program);
    return header.version == 5 ? read_files_of_version_5(reader, sections, directory, pool, header)
                               : read_files_before_version_5(reader, directory, pool, header);
}

std::uint32_t id_of_file(const LineHeader& header, std::string_view name,
                         std::uint64_t directory_number, std::string_view directory,
                         TextIds& pool) {
    std::string path(directory);
    if (directory_number < header.directories.size())
        append_path(path, header.directories[directory_number]);
    append_path(path, name);
    return pool.id_of(path);
}

}  // namespace program
