#include "program/elf_file.h"

#include <elfutils/libdwelf.h>
#include <gelf.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>

namespace program {

namespace {

constexpr std::array<std::uint32_t, 256> crc_table = [] {
    std::array<std::uint32_t, 256> table{};
    for (std::uint32_t i = 0; i < 256; ++i) {
        std::uint32_t rest = i;
        for (int bit = 0; bit < 8; ++bit) rest = (rest >> 1) ^ (rest & 1 ? 0xEDB88320U : 0U);
        table[i] = rest;
    }
    return table;
}();

std::string_view view_of(const Elf_Data* data) {
    if (data == nullptr || data->d_buf == nullptr) return {};
    return {static_cast<const char*>(data->d_buf), data->d_size};
}

// Calls `use(section, header)` for each section whose header can be read.
template <typename Use>
void for_each_section(Elf* elf, Use use) {
    Elf_Scn* section = nullptr;
    while ((section = elf_nextscn(elf, section)) != nullptr) {
        GElf_Shdr header;
        if (gelf_getshdr(section, &header) != nullptr) use(section, header);
    }
}

std::string_view name_of(Elf* elf, const GElf_Shdr& header) {
    std::size_t names = 0;
    if (elf_getshdrstrndx(elf, &names) != 0) return {};
    const char* name = elf_strptr(elf, names, header.sh_name);
    return name == nullptr ? std::string_view() : std::string_view(name);
}

Symbol::Binding binding_of(const GElf_Sym& symbol) {
    switch (GELF_ST_BIND(symbol.st_info)) {
        case STB_GLOBAL: return Symbol::Binding::global;
        case STB_WEAK: return Symbol::Binding::weak;
        default: return Symbol::Binding::local;
    }
}

bool is_defined_function(const GElf_Sym& symbol) {
    const auto type = GELF_ST_TYPE(symbol.st_info);
    return (type == STT_FUNC || type == STT_GNU_IFUNC) && symbol.st_shndx != SHN_UNDEF &&
           (symbol.st_shndx < SHN_LORESERVE || symbol.st_shndx == SHN_XINDEX);
}

std::string_view without_version(std::string_view name) {
    const std::size_t at = name.find('@', 1);
    return name.substr(0, at);
}

void add_symbols(Elf* elf, Elf_Scn* section, const GElf_Shdr& header,
                 std::vector<Symbol>& symbols) {
    Elf_Data* data = elf_getdata(section, nullptr);
    if (data == nullptr || header.sh_entsize == 0) return;
    std::string_view file;  // local symbols stand behind that of their file
    for (std::size_t i = 0; i < data->d_size / header.sh_entsize; ++i) {
        GElf_Sym symbol;
        if (gelf_getsym(data, static_cast<int>(i), &symbol) == nullptr) return;
        const char* name = elf_strptr(elf, header.sh_link, symbol.st_name);
        if (name == nullptr) continue;
        if (GELF_ST_TYPE(symbol.st_info) == STT_FILE) file = name;
        if (!is_defined_function(symbol) || *name == '\0') continue;
        const bool is_local = binding_of(symbol) == Symbol::Binding::local;
        symbols.push_back({symbol.st_value, symbol.st_size, binding_of(symbol),
                           without_version(name), is_local ? file : std::string_view()});
    }
}

}  // namespace

std::unique_ptr<ElfFile> ElfFile::open(const std::string& path, std::string& problem) {
    elf_version(EV_CURRENT);
    std::unique_ptr<ElfFile> file(new ElfFile);
    file->path_ = path;
    file->file_ = std::fopen(path.c_str(), "rb");
    if (file->file_ == nullptr) {
        problem = std::strerror(errno);
        return nullptr;
    }
    file->elf_ = elf_begin(fileno(file->file_), ELF_C_READ_MMAP, nullptr);
    GElf_Ehdr header;
    if (file->elf_ == nullptr || elf_kind(file->elf_) != ELF_K_ELF ||
        gelf_getehdr(file->elf_, &header) == nullptr) {
        problem = "is no ELF file";
        return nullptr;
    }
    file->read_segments();
    file->read_sections();
    file->read_build_id();
    return file;
}

ElfFile::~ElfFile() {
    if (elf_ != nullptr) elf_end(elf_);
    if (file_ != nullptr) std::fclose(file_);
}

bool ElfFile::is_x86() const {
    GElf_Ehdr header;
    return gelf_getehdr(elf_, &header) != nullptr &&
           (header.e_machine == EM_X86_64 || header.e_machine == EM_386);
}

bool ElfFile::is_64_bit() const {
    GElf_Ehdr header;
    return gelf_getehdr(elf_, &header) != nullptr && header.e_machine == EM_X86_64;
}

std::string_view ElfFile::bytes_at(std::uint64_t offset, std::uint64_t size) const {
    std::size_t file_size = 0;
    const char* bytes = elf_rawfile(elf_, &file_size);
    if (bytes == nullptr || offset > file_size) return {};
    return {bytes + offset, std::min<std::uint64_t>(size, file_size - offset)};
}

void ElfFile::read_segments() {
    std::size_t count = 0;
    if (elf_getphdrnum(elf_, &count) != 0) return;
    for (std::size_t i = 0; i < count; ++i) {
        GElf_Phdr header;
        if (gelf_getphdr(elf_, static_cast<int>(i), &header) == nullptr) return;
        if (header.p_type != PT_LOAD) continue;
        segments_.push_back({header.p_offset, header.p_vaddr, header.p_filesz});
        if ((header.p_flags & PF_X) != 0)
            code_.push_back({header.p_vaddr, bytes_at(header.p_offset, header.p_filesz)});
    }
}

void ElfFile::read_sections() {
    std::vector<Code> code;
    for_each_section(elf_, [&](Elf_Scn*, const GElf_Shdr& header) {
        if (header.sh_type != SHT_PROGBITS || (header.sh_flags & SHF_EXECINSTR) == 0) return;
        code.push_back({header.sh_addr, bytes_at(header.sh_offset, header.sh_size)});
    });
    if (!code.empty()) code_ = std::move(code);
    std::sort(code_.begin(), code_.end(),
              [](const Code& one, const Code& other) { return one.start < other.start; });
    Address end = 0;
    std::erase_if(code_, [&](const Code& code_part) {
        const AddressRange range = code_part.range();
        const bool bad = range.end <= range.start || range.start < end;
        if (!bad) end = range.end;
        return bad;
    });
}

void ElfFile::read_build_id() {
    const void* bytes = nullptr;
    const ssize_t size = dwelf_elf_gnu_build_id(elf_, &bytes);
    for (ssize_t i = 0; i < size; ++i) {
        std::array<char, 3> digits{};
        std::snprintf(digits.data(), digits.size(), "%02x",
                      static_cast<const unsigned char*>(bytes)[i]);
        build_id_ += digits.data();
    }
}

std::optional<DebugLink> ElfFile::debug_link() const {
    GElf_Word checksum = 0;
    const char* name = dwelf_elf_gnu_debuglink(elf_, &checksum);
    if (name == nullptr || *name == '\0') return std::nullopt;
    return DebugLink{name, checksum};
}

std::string_view section_content(Elf* elf, std::string_view name) {
    std::string_view content;
    for_each_section(elf, [&](Elf_Scn* section, const GElf_Shdr& header) {
        if (!content.empty() || header.sh_type == SHT_NOBITS || name_of(elf, header) != name)
            return;
        if ((header.sh_flags & SHF_COMPRESSED) != 0 && elf_compress(section, 0, 0) < 0) return;
        content = view_of(elf_rawdata(section, nullptr));
    });
    return content;
}

bool ElfFile::has_debug_information() const {
    return !section_content(elf_, ".debug_info").empty();
}

std::vector<Symbol> ElfFile::function_symbols() const {
    std::vector<Symbol> symbols;
    for_each_section(elf_, [&](Elf_Scn* section, const GElf_Shdr& header) {
        if (header.sh_type == SHT_SYMTAB || header.sh_type == SHT_DYNSYM)
            add_symbols(elf_, section, header, symbols);
    });
    return symbols;
}

std::uint32_t ElfFile::checksum() const {
    std::size_t size = 0;
    const char* bytes = elf_rawfile(elf_, &size);
    std::uint32_t rest = 0xFFFFFFFFU;
    for (std::size_t i = 0; i < size; ++i)
        rest = (rest >> 8) ^ crc_table[(rest ^ static_cast<unsigned char>(bytes[i])) & 0xFF];
    return ~rest;
}

}  // namespace program
