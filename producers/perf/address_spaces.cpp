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

Place AddressSpace::find(std::uint64_t address) {
    const auto behind =
        std::upper_bound(ranges_.begin(), ranges_.end(), address,
                         [](std::uint64_t a, const Range& range) { return a < range.start; });
    if (behind == ranges_.begin()) return edgefile::foreign;
    const Range& range = behind[-1];
    if (address - range.start >= range.size) return edgefile::foreign;
    last_ = range;
    return address + range.shift;
}

void AddressSpace::unmap(std::uint64_t address, std::uint64_t size) {
    const std::uint64_t end = address + std::min(size, ~address);
    std::vector<Range> left;
    for (const Range& range : ranges_) {
        const std::uint64_t range_end = range.start + range.size;
        if (range.start < address)
            left.push_back({range.start, std::min(range_end, address) - range.start, range.shift});
        const std::uint64_t start = std::max(range.start, end);
        if (start < range_end) left.push_back({start, range_end - start, range.shift});
    }
    ranges_ = std::move(left);
    last_ = {};
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
    std::sort(ranges_.begin(), ranges_.end(),
              [](const Range& a, const Range& b) { return a.start < b.start; });
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
        if (others_.size() < most_others && mapping.path.starts_with('/'))
            others_.emplace(mapping.path);
        return;
    }
    space.map(object, images_[object], mapping);
    mapped_[object] = true;
    if (first_ == nullptr && object == 0) first_ = &space;
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
