#include "program/debug_files.h"

#include <filesystem>
#include <system_error>
#include <vector>

namespace program {

namespace {

namespace fs = std::filesystem;

std::unique_ptr<ElfFile> by_build_id(const ElfFile& program, const fs::path& directory) {
    const std::string& id = program.build_id();
    if (id.size() < 3) return nullptr;
    const fs::path path = directory / ".build-id" / id.substr(0, 2) / (id.substr(2) + ".debug");
    std::string problem;
    auto file = ElfFile::open(path.string(), problem);
    return file && may_be_of_one_build(program, *file) ? std::move(file) : nullptr;
}

// The places in which the file that the program names may lie.
std::vector<fs::path> places(const ElfFile& program, const fs::path& name,
                             const fs::path& directory) {
    std::error_code error;
    const fs::path real = fs::canonical(program.path(), error);
    const fs::path here = (error ? fs::path(program.path()) : real).parent_path();
    return {here / name, here / ".debug" / name, directory / here.relative_path() / name};
}

std::unique_ptr<ElfFile> by_link(const ElfFile& program, const fs::path& directory) {
    const auto link = program.debug_link();
    if (!link) return nullptr;
    for (const fs::path& path : places(program, fs::path(link->file), directory)) {
        std::string problem;
        auto file = ElfFile::open(path.string(), problem);
        if (file && file->has_debug_information() && file->checksum() == link->checksum)
            return file;
    }
    return nullptr;
}

}  // namespace

std::unique_ptr<ElfFile> find_debug_file(const ElfFile& program, const std::string& directory) {
    auto file = by_build_id(program, directory);
    return file ? std::move(file) : by_link(program, directory);
}

bool may_be_of_one_build(const ElfFile& program, const ElfFile& debug) {
    return program.build_id().empty() || debug.build_id().empty() ||
           program.build_id() == debug.build_id();
}

}  // namespace program
