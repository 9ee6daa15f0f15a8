#pragma once
// One ELF file: its segments, sections, symbols and marks of identity, with every offset checked
// against the file. Debug information and machine code are read by others, from the sections given
// here.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

struct Elf;

namespace program {

// An address as the file has it (virtual address of the link), never one of a run.
using Address = std::uint64_t;

// [start, end)
struct AddressRange {
    Address start = 0;
    Address end = 0;

    bool contains(Address address) const { return start <= address && address < end; }
};

// A part of the file that is loaded into memory. Sizes are those in the file.
struct Segment {
    std::uint64_t offset = 0;
    Address address = 0;
    std::uint64_t size = 0;
};

// Machine code: an executable section (an executable segment in a file without sections).
struct Code {
    Address start = 0;
    std::string_view bytes;

    AddressRange range() const { return {start, start + bytes.size()}; }
};

// A defined function symbol. The name has no version ("@..." is cut off).
struct Symbol {
    Address address = 0;
    std::uint64_t size = 0;
    enum class Binding : std::uint8_t { global, weak, local } binding = Binding::local;
    std::string_view name;
    std::string_view file;  // source file that the symbol table has for a local one; may be empty
};

// What .gnu_debuglink says: name of the file with the debug information, and its CRC-32.
struct DebugLink {
    std::string_view file;
    std::uint32_t checksum = 0;
};

// Texts and bytes that it gives live as long as it does.
class ElfFile {
public:
    // Null where the file can't be opened or is no ELF file; `problem` then says what is wrong,
    // without the path.
    static std::unique_ptr<ElfFile> open(const std::string& path, std::string& problem);
    ~ElfFile();
    ElfFile(const ElfFile&) = delete;
    ElfFile& operator=(const ElfFile&) = delete;

    const std::string& path() const { return path_; }
    Elf* handle() const { return elf_; }
    bool is_x86() const;
    bool is_64_bit() const;
    const std::vector<Segment>& segments() const { return segments_; }
    const std::vector<Code>& code() const { return code_; }
    // Lower-case hexadecimal digits; empty where the file has none.
    const std::string& build_id() const { return build_id_; }
    std::optional<DebugLink> debug_link() const;
    bool has_debug_information() const;
    // Of .symtab and .dynsym, in the order of the file.
    std::vector<Symbol> function_symbols() const;
    // CRC-32 of the whole file, as .gnu_debuglink has it.
    std::uint32_t checksum() const;

private:
    ElfFile() = default;
    void read_segments();
    void read_sections();
    void read_build_id();
    std::string_view bytes_at(std::uint64_t offset, std::uint64_t size) const;

    std::string path_;
    std::FILE* file_ = nullptr;
    Elf* elf_ = nullptr;
    std::vector<Segment> segments_;
    std::vector<Code> code_;
    std::string build_id_;
};

// The content of the section, uncompressed; empty where the file has no such section or none of its
// bytes.
std::string_view section_content(Elf* elf, std::string_view name);

}  // namespace program
