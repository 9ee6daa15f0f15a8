#include "edgefile/programs.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>

namespace edgefile {

namespace {

constexpr std::uint64_t base_count = 0x7FFE;  // so that no address has its sign bit set

std::uint64_t hash_of(const std::string& text) {
    std::uint64_t hash = 0xcbf29ce484222325;
    for (const char letter : text)
        hash = (hash ^ static_cast<unsigned char>(letter)) * 0x100000001b3;
    return hash;
}

std::string build_id_of(const std::string& path) {
    std::string problem;
    const auto file = program::ElfFile::open(path, problem);
    return file ? file->build_id() : "";
}

// The debug file for the program at the path: the one with its build-id. `rest` is what the program
// itself takes.
std::string debug_file_for(const std::string& path, std::span<const std::string> debug_files) {
    const std::string id = build_id_of(path);
    for (const std::string& file : debug_files)
        if (!id.empty() && build_id_of(file) == id) return file;
    return "";
}

std::optional<Place> in_program_of(Place place, std::optional<program::Address> address) {
    if (!address) return std::nullopt;
    return place_of(program_of(place), *address);
}

}  // namespace

bool Programs::open(const std::string& program, std::span<const std::string> libraries,
                    std::span<const std::string> debug_files, std::string& problem) {
    std::vector<std::string> paths = {program};
    paths.insert(paths.end(), libraries.begin(), libraries.end());
    std::vector<std::string> chosen;
    for (const std::string& path : paths) chosen.push_back(debug_file_for(path, debug_files));
    for (const std::string& file : debug_files)
        if (std::find(chosen.begin(), chosen.end(), file) == chosen.end() && chosen[0].empty())
            chosen[0] = file;
    for (const std::string& file : debug_files) {
        if (std::find(chosen.begin(), chosen.end(), file) != chosen.end()) continue;
        problem = file + ": is of none of the programs";
        return false;
    }
    for (std::size_t i = 0; i < paths.size(); ++i)
        if (!open_one(paths[i], chosen[i], problem)) return false;
    return true;
}

bool Programs::open_one(const std::string& path, const std::string& debug_file,
                        std::string& problem) {
    program::OpenOptions options;
    options.debug_file = debug_file;
    std::string reason;
    auto opened = program::Program::open(path, options, reason);
    if (!opened) {
        problem = path + ": " + reason;
        return false;
    }
    const program::Address end = opened->code().back().range().end;
    if (end >= program::Address{1} << address_bits) {
        problem = path + ": has addresses of more than 48 bits";
        return false;
    }
    if (!opened->missing_debug_part().empty()) {
        problem = fmt::format(
            "{}: its debug information is incomplete: {} isn't there, or not of "
            "this build (packed .dwp files aren't read)",
            path, opened->missing_debug_part());
        return false;
    }
    if (opened->functions().empty()) {
        problem = path + ": names no functions: is it stripped?";
        return false;
    }
    bases_.push_back(programs_.empty() ? 0 : base_of(path));
    programs_.push_back(std::move(opened));
    return true;
}

// Two libraries of one number are rare; the second then takes the next free one.
std::uint64_t Programs::base_of(const std::string& path) const {
    std::uint64_t number = hash_of(std::filesystem::path(path).filename().string());
    for (;; ++number) {
        const std::uint64_t base = (1 + number % base_count) << address_bits;
        if (std::find(bases_.begin(), bases_.end(), base) == bases_.end()) return base;
    }
}

const program::Function* Programs::function_at(Place place) const {
    return is_foreign(place) ? nullptr
                             : programs_[program_of(place)]->function_at(address_of(place));
}

std::uint64_t Programs::written_address(Place place) const {
    return bases_[program_of(place)] | address_of(place);
}

Code::Code(const Programs& programs) : programs_(programs) {
    for (std::uint32_t i = 0; i < programs.size(); ++i) maps_.emplace_back(programs[i]);
}

std::optional<program::Kind> Code::kind(Place place) const {
    if (is_foreign(place)) return std::nullopt;
    return map_of(place).kind(address_of(place));
}

std::optional<Place> Code::function_start(Place place) const {
    const program::Function* function = programs_.function_at(place);
    if (function == nullptr) return std::nullopt;
    return place_of(program_of(place),
                    programs_[program_of(place)].owner_of(*function).range.start);
}

bool Code::is_in_one_function(Place one, Place other) const {
    const auto start = function_start(one);
    return start && start == function_start(other);
}

void Code::cut(std::span<const Place> places) {
    for (const Place place : places) {
        const program::Address address = address_of(place);
        if (!is_foreign(place)) maps_[program_of(place)].cut({&address, 1});
    }
}

Place Code::block_start(Place place) const {
    return place_of(program_of(place), map_of(place).block_start(address_of(place)));
}

Place Code::block_end(Place place) const {
    return place_of(program_of(place), map_of(place).block_end(address_of(place)));
}

std::optional<Place> Code::following(Place place) const {
    return in_program_of(place, map_of(place).following(address_of(place)));
}

std::optional<Place> Code::next_instruction(Place place) const {
    return in_program_of(place, map_of(place).next_instruction(address_of(place)));
}

std::optional<Place> Code::preceding(Place place) const {
    return in_program_of(place, map_of(place).preceding(address_of(place)));
}

}  // namespace edgefile
