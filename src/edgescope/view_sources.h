// The source files of a page: those of a profile's functions that are found on the disk.
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "edgescope/view_json.h"
#include "edgescope/view_lines.h"

namespace edgescope {

class ViewSources {
public:
    // Reads the files below `directory`; without one there are none. Those that aren't there are
    // left out, with a message.
    ViewSources(const Profile& profile, const ViewLines& lines, const std::string& directory);

    std::size_t size() const { return files_.size(); }

    // The number of the file of this stored name; -1 if it isn't there.
    std::int64_t number_of(const std::string& stored_name) const;

    void write(std::size_t number, JsonWriter& json) const;

private:
    struct File {
        std::string path;
        std::uint32_t first = 1;  // number of the first line
        std::vector<std::string> lines;
        FileLines counts;
    };

    bool read(File& file) const;

    std::vector<File> files_;
    std::unordered_map<std::string, std::int64_t> numbers_;
};

}  // namespace edgescope
