#include "perf/address_spaces.h"

#include <algorithm>
#include <filesystem>

namespace perf {
namespace {

constexpr std::size_t most_others = 5;  // names of other files that are worth telling

std::string_view file_name(std::string_view path) { return path.substr(path.rfind('/') + 1); }

// The path without symbolic links, as the system names a mapped file.
std::string real_path(const std::string& path) {
    std::error_code error;
    const std::filesystem::path real = std::filesystem::canonical(path, error);
    return error ? path : real.string();
}

}  // namespace

const AddressSpace::Range* AddressSpace::range_at(const Ranges& ranges, std::uint64_t address) {
    const auto behind =
        std::upper_bound(ranges.begin(), ranges.end(), address,
                         [](std::uint64_t a, const Range& range) { return a < range.start; });
    if (behind == ranges.begin() || address - behind[-1].start >= behind[-1].size) return nullptr;
    return &behind[-1];
}

Place AddressSpace::find(std::uint64_t address) {
    const Range* const range = range_at(ranges_, address);
    if (range == nullptr) return edgefile::foreign;
    last_ = *range;
    return address + range->shift;
}

std::optional<FilePlace> AddressSpace::other_place(std::uint64_t address) const {
    const Range* const range = range_at(others_, address);
    if (range == nullptr) return std::nullopt;
    return FilePlace{range->file, address + range->shift};
}

AddressSpace::Ranges AddressSpace::without(const Ranges& ranges, std::uint64_t address,
                                           std::uint64_t size) {
    const std::uint64_t end = address + std::min(size, ~address);
    Ranges left;
    for (const Range& range : ranges) {
        const std::uint64_t range_end = range.start + range.size;
        Range part = range;
        part.size = std::min(range_end, address) - range.start;
        if (range.start < address) left.push_back(part);
        part.start = std::max(range.start, end);
        part.size = range_end - part.start;
        if (part.start < range_end) left.push_back(part);
    }
    return left;
}

void AddressSpace::sort(Ranges& ranges) {
    std::sort(ranges.begin(), ranges.end(),
              [](const Range& a, const Range& b) { return a.start < b.start; });
}

void AddressSpace::unmap(std::uint64_t address, std::uint64_t size) {
    ranges_ = without(ranges_, address, size);
    others_ = without(others_, address, size);
    last_ = {};
}

void AddressSpace::map_other(std::uint32_t file, const Mapping& mapping) {
    const std::uint64_t size = std::min(mapping.size, ~mapping.address);
    others_.push_back({mapping.address, size, mapping.offset - mapping.address, file});
    sort(others_);
}

void AddressSpace::map(std::uint32_t object, const Image& image, const Mapping& mapping) {
    const std::uint64_t mapped = std::min(mapping.size, ~mapping.address);
    const std::uint64_t end = mapping.offset + std::min(mapped, ~mapping.offset);
    for (const Image::Segment& segment : image.segments) {
        const std::uint64_t from = std::max(segment.offset, mapping.offset);
        const std::uint64_t to = std::min(segment.offset + segment.size, end);
        if (from >= to) continue;
        const std::uint64_t start = mapping.address + (from - mapping.offset);
        const Place place = edgefile::place_of(object, segment.address + (from - segment.offset));
        ranges_.push_back({start, to - from, place - start});
    }
    sort(ranges_);
}

AddressSpaces::AddressSpaces(std::vector<Image> images)
    : images_(std::move(images)), mapped_(images_.size()), other_builds_(images_.size()) {
    for (const Image& image : images_) real_paths_.push_back(real_path(image.path));
    for (const Image::Segment& segment : images_.front().segments) {
        Mapping mapping;
        mapping.address = segment.address;
        mapping.offset = segment.offset;
        mapping.size = segment.size;
        Image part = images_.front();
        part.segments = {segment};
        as_linked_.map(0, part, mapping);
    }
}

void AddressSpaces::map(const Mapping& mapping) {
    has_mappings_ = true;
    AddressSpace& space = processes_[mapping.process];
    space.unmap(mapping.address, mapping.size);
    const std::uint32_t object = object_of(mapping);
    if (object == none) {
        map_other(space, mapping);
        return;
    }
    space.map(object, images_[object], mapping);
    mapped_[object] = true;
    if (first_ == nullptr && object == 0) first_ = &space;
}

void AddressSpaces::map_other(AddressSpace& space, const Mapping& mapping) {
    if (!mapping.path.starts_with('/')) return;
    if (others_.size() < most_others) others_.emplace(mapping.path);
    std::string key(mapping.path);
    key.append(1, '\0').append(mapping.build_id).append(1, '\0');
    key += std::to_string(mapping.inode);
    const auto next = static_cast<std::uint32_t>(other_files_.size());
    const auto [known, is_new] = other_numbers_.emplace(std::move(key), next);
    if (is_new)
        other_files_.push_back(
            {std::string(mapping.path), std::string(mapping.build_id), mapping.inode});
    space.map_other(known->second, mapping);
}

void AddressSpaces::fork(const Fork& fork) {
    if (fork.process == fork.parent) {
        threads_[fork.thread] = fork.process;
        return;
    }
    const auto parent = processes_.find(fork.parent);
    if (parent == processes_.end()) return;
    const AddressSpace copy = parent->second;
    processes_[fork.process] = copy;
}

bool AddressSpaces::knows(std::int64_t process) const {
    return processes_.contains(process) || threads_.contains(process);
}

AddressSpace& AddressSpaces::find(std::span<const std::int64_t> processes) {
    for (const std::int64_t process : processes) {
        const auto thread = threads_.find(process);
        const auto found = processes_.find(thread == threads_.end() ? process : thread->second);
        if (found != processes_.end()) return found->second;
    }
    if (first_ != nullptr) return *first_;
    return as_linked_;
}

// The build-id decides where the mapping and a file of its name have one, else the name.
std::uint32_t AddressSpaces::object_of(const Mapping& mapping) {
    std::string key(mapping.path);
    key.append(1, '\0').append(mapping.build_id);
    const auto [known, is_new] = objects_.emplace(std::move(key), none);
    if (!is_new) return known->second;
    if (!mapping.build_id.empty())
        for (std::uint32_t i = 0; i < images_.size(); ++i)
            if (images_[i].build_id == mapping.build_id) return known->second = i;
    const std::uint32_t object = named(mapping.path);
    if (object == none) return none;
    if (mapping.build_id.empty() || images_[object].build_id.empty()) return known->second = object;
    other_builds_[object] = mapping.build_id;
    return none;
}

std::uint32_t AddressSpaces::named(std::string_view path) const {
    constexpr std::string_view deleted = " (deleted)";
    if (path.ends_with(deleted)) path.remove_suffix(deleted.size());
    for (std::uint32_t i = 0; i < images_.size(); ++i)
        if (path == real_paths_[i]) return i;
    for (std::uint32_t i = 0; i < images_.size(); ++i)
        if (file_name(path) == file_name(real_paths_[i]) ||
            file_name(path) == file_name(images_[i].path))
            return i;
    return none;
}

}  // namespace perf
