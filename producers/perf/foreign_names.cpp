#include "perf/foreign_names.h"

#include <sys/stat.h>

#include <optional>
#include <string>

namespace perf {
namespace {

// The file if it is the one that was mapped: another one of its name would give wrong names.
// Devices, which a process can have mapped too, aren't touched.
std::unique_ptr<program::ElfFile> open_file(const OtherFile& file) {
    struct stat found {};
    if (stat(file.path.c_str(), &found) != 0 || !S_ISREG(found.st_mode)) return nullptr;
    if (file.build_id.empty() && found.st_ino != file.inode) return nullptr;
    std::string problem;
    auto elf = program::ElfFile::open(file.path, problem);
    if (elf && !file.build_id.empty() && elf->build_id() != file.build_id) elf = nullptr;
    return elf;
}

std::optional<program::Address> address_of(const program::ElfFile& elf, std::uint64_t offset) {
    for (const program::Segment& segment : elf.segments())
        if (offset - segment.offset < segment.size)
            return segment.address + offset - segment.offset;
    return std::nullopt;
}

}  // namespace

Place ForeignNames::place(const FilePlace& place, const OtherFile& file) {
    const auto [entry, is_new] = files_.try_emplace(place.file);
    Names& names = entry->second;
    if (is_new && (names.file = open_file(file)))
        names.functions = std::make_unique<program::Functions>(
            names.file->function_symbols(), program::Scopes(), names.file->code());
    if (!names.functions) return edgefile::foreign;
    const auto address = address_of(*names.file, place.offset);
    if (!address) return edgefile::foreign;
    const auto [known, is_first] = names.places.try_emplace(*address, edgefile::foreign);
    if (is_first) known->second = new_place(names, *address);
    return known->second;
}

// Only where a function begins: the symbols of a library without its others say nothing of the code
// between them.
Place ForeignNames::new_place(const Names& names, program::Address address) {
    const auto index = names.functions->find(address);
    if (!index) return edgefile::foreign;
    const program::Function& function = names.functions->all()[*index];
    if (function.range.start != address) return edgefile::foreign;
    functions_.push_back({std::string(function.name), address});
    return edgefile::foreign + functions_.size() - 1;
}

}  // namespace perf
