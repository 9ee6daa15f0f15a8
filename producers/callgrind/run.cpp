#include "callgrind/run.h"

#include <algorithm>
#include <filesystem>

namespace callgrind {

namespace {

namespace fs = std::filesystem;
using program::Kind;

constexpr std::uint32_t no_program = 0xFFFFFFFF;

std::string real_path(const std::string& path) {
    std::error_code error;
    const fs::path real = fs::weakly_canonical(path, error);
    return error ? path : real.string();
}

std::string file_name(const std::string& path) { return fs::path(path).filename().string(); }

// The objects that may be the program at the path: of this path, else of this file name.
std::vector<std::size_t> objects_of(const std::string& path, const std::vector<Object>& objects) {
    const std::string real = real_path(path);
    std::vector<std::size_t> same_path;
    std::vector<std::size_t> same_name;
    for (std::size_t i = 0; i < objects.size(); ++i) {
        if (objects[i].executed.empty()) continue;
        if (real_path(objects[i].name) == real) same_path.push_back(i);
        if (file_name(objects[i].name) == file_name(real)) same_name.push_back(i);
    }
    return same_path.empty() ? same_name : same_path;
}

bool can_jump(Kind kind) {
    return kind == Kind::conditional_jump || kind == Kind::jump || kind == Kind::indirect_jump;
}

// A name that valgrind made of an address tells nothing.
std::string told_name(const std::string& name) { return name.starts_with("0x") ? "" : name; }

}  // namespace

Run::Run(const edgefile::Code& code, const Recording& recording)
    : code_(code),
      programs_(recording.objects().size(), no_program),
      fits_(code.programs().size()),
      all_instructions_(recording.instructions()) {
    find_programs(recording);
    for (std::size_t i = 0; i < programs_.size(); ++i)
        if (programs_[i] != no_program) add_object(recording.objects()[i], programs_[i]);
    std::sort(places_.begin(), places_.end());
    number_foreign_functions(recording);
    add_calls(recording);
}

void Run::find_programs(const Recording& recording) {
    for (std::uint32_t i = 0; i < fits_.size(); ++i) {
        const std::string& path = code_.programs()[i].path();
        const std::vector<std::size_t> found = objects_of(path, recording.objects());
        for (const std::size_t object : found) {
            if (found.size() > 1 || programs_[object] != no_program)
                problem_ =
                    path + ": several programs of the recording or the command have this name";
            programs_[object] = i;
        }
    }
}

void Run::add_object(const Object& object, std::uint32_t program) {
    Fit& fit = fits_[program];
    fit.is_recorded = true;
    for (const auto& [address, count] : object.executed) {
        ++fit.places;
        own_instructions_ += count;
        const Place place = edgefile::place_of(program, address);
        if (address >> edgefile::address_bits != 0 || !code_.is_instruction(place)) {
            ++fit.misfits;
            continue;
        }
        executed_[place] += count;
        places_.push_back(place);
    }
    add_jumps(object, program);
}

void Run::add_jumps(const Object& object, std::uint32_t program) {
    Fit& fit = fits_[program];
    for (const auto& [ends, count] : object.jumps) {
        has_jumps_ = true;
        ++fit.places;
        const Place source = edgefile::place_of(program, ends.first);
        const Place destination = edgefile::place_of(program, ends.second);
        const auto kind = code_.kind(source);
        if (kind == Kind::repeat_string) {
            // Each repetition is recorded as a run of the instruction and a jump to itself.
            if (source == destination) executed_[source] -= std::min(count, executed_[source]);
        } else if (!kind || !can_jump(*kind) ||
                   (ends.first | ends.second) >> edgefile::address_bits != 0) {
            ++fit.misfits;
        } else {
            branches_[{source, destination}] += count;
        }
    }
}

// By address and name, so that their order doesn't depend on the recording's.
void Run::number_foreign_functions(const Recording& recording) {
    for (const auto& [call, count] : recording.calls()) {
        const auto& [source, destination, name] = call;
        const bool from_own = programs_[source.object] != no_program;
        const bool to_own = programs_[destination.object] != no_program;
        if (from_own && !to_own)
            foreign_places_[{destination.address, told_name(recording.function_name(name))}] = 0;
        if (to_own && !from_own) foreign_places_[{source.address, ""}] = 0;
    }
    for (auto& [key, place] : foreign_places_) {
        place = edgefile::foreign + foreign_functions_.size();
        foreign_functions_.push_back({key.second, key.first});
    }
}

Place Run::place_of(const Site& site, const std::string& name) const {
    const std::uint32_t program = programs_[site.object];
    if (program != no_program) return edgefile::place_of(program, site.address);
    return foreign_places_.at({site.address, name});
}

void Run::add_calls(const Recording& recording) {
    for (const auto& [call, count] : recording.calls()) {
        const auto& [source, destination, name] = call;
        if (programs_[source.object] == no_program && programs_[destination.object] == no_program)
            continue;
        branches_[{place_of(source, ""),
                   place_of(destination, told_name(recording.function_name(name)))}] += count;
    }
}

double Run::share_outside() const {
    if (all_instructions_ == 0) return 0;
    return 1 - static_cast<double>(own_instructions_) / static_cast<double>(all_instructions_);
}

std::vector<Place> Run::targets() const {
    std::vector<Place> targets;
    for (const auto& [ends, count] : branches_)
        if (!edgefile::is_foreign(ends.second)) targets.push_back(ends.second);
    return targets;
}

Count Run::executed(Place place) const {
    const auto found = executed_.find(place);
    return found == executed_.end() ? 0 : found->second;
}

}  // namespace callgrind
