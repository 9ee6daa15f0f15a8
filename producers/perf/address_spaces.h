// Where the given files lay in each process of a recording: from addresses of the run to those of
// the files. It knows processes and mappings, and nothing of code.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "edgefile/programs.h"
#include "perf/stack_text.h"

namespace perf {

using edgefile::Place;

// What a loader looks at in one of the files. The first of a list is the program.
struct Image {
    struct Segment {
        std::uint64_t offset;  // in the file
        std::uint64_t address;
        std::uint64_t size;
    };

    std::string path;
    std::string build_id;  // empty if it has none
    std::vector<Segment> segments;
};

// A file that isn't converted, as events tell of it.
struct OtherFile {
    std::string path;
    std::string build_id;     // empty if unknown
    std::uint64_t inode = 0;  // 0: unknown
};

struct FilePlace {
    std::uint32_t file = 0;  // number of an OtherFile
    std::uint64_t offset = 0;
};

// The mappings of one process.
class AddressSpace {
public:
    // The place of an address of the run, or `edgefile::foreign`.
    Place place(std::uint64_t address) {
        if (address - last_.start < last_.size) return address + last_.shift;
        return find(address);
    }

    // Where the address lies in a file that isn't converted; nothing for any other address.
    std::optional<FilePlace> other_place(std::uint64_t address) const;

    // What lay there before is there no longer.
    void unmap(std::uint64_t address, std::uint64_t size);
    void map(std::uint32_t object, const Image& image, const Mapping& mapping);
    void map_other(std::uint32_t file, const Mapping& mapping);

private:
    struct Range {
        std::uint64_t start = 0;
        std::uint64_t size = 0;
        std::uint64_t shift = 0;  // from address to place, in other files to the offset
        std::uint32_t file = 0;   // of other files
    };
    using Ranges = std::vector<Range>;  // in order, without overlaps

    static const Range* range_at(const Ranges& ranges, std::uint64_t address);
    static Ranges without(const Ranges& ranges, std::uint64_t address, std::uint64_t size);
    static void sort(Ranges& ranges);
    Place find(std::uint64_t address);

    Ranges ranges_;
    Ranges others_;
    Range last_;  // of `ranges_`, the last one found
};

// All processes of one recording.
class AddressSpaces {
public:
    explicit AddressSpaces(std::vector<Image> images);

    void map(const Mapping& mapping);
    void fork(const Fork& fork);
    void exec(std::int64_t process) { processes_[process] = AddressSpace(); }

    bool knows(std::int64_t process) const;
    // The space of the first of these that is known. A process without events has what the
    // program's first process has, as it is likely its child. If no process has events, the
    // program stands where it was linked to.
    AddressSpace& find(std::span<const std::int64_t> processes);

    bool has_mappings() const { return has_mappings_; }
    // True if a process was given some of the file.
    bool has_mapped(std::uint32_t object) const { return mapped_[object]; }
    // The other build-id that a file of this name had; empty if there was none.
    const std::string& other_build(std::uint32_t object) const { return other_builds_[object]; }
    // Names of some of the other files.
    const std::set<std::string>& others() const { return others_; }
    const OtherFile& other_file(std::uint32_t number) const { return other_files_[number]; }

private:
    static constexpr std::uint32_t none = 0xFFFFFFFF;

    std::uint32_t object_of(const Mapping& mapping);
    void map_other(AddressSpace& space, const Mapping& mapping);
    std::uint32_t named(std::string_view path) const;

    std::vector<Image> images_;
    std::vector<std::string> real_paths_;
    std::vector<bool> mapped_;
    std::vector<std::string> other_builds_;
    std::set<std::string> others_;
    std::vector<OtherFile> other_files_;
    std::unordered_map<std::string, std::uint32_t> other_numbers_;  // by all that events tell
    std::unordered_map<std::string, std::uint32_t> objects_;  // by path and build-id of a mapping
    std::unordered_map<std::int64_t, AddressSpace> processes_;
    std::unordered_map<std::int64_t, std::int64_t> threads_;  // to their processes
    AddressSpace as_linked_;
    AddressSpace* first_ = nullptr;  // of the first process that has the program
    bool has_mappings_ = false;
};

}  // namespace perf
