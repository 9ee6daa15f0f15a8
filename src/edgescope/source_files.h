// Finds the source files of a profile on the disk. Databases keep file names in upper case, which
// most systems don't open.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace edgescope {

class SourceFiles {
public:
    // Notes all files below `directory` (UTF-8). An empty name stands for no directory.
    explicit SourceFiles(const std::string& directory);

    // The path of the file of this stored name: of all files with its last component the one that
    // agrees with it in most components; nothing if there is none.
    std::optional<std::string> find(const std::string& stored_name) const;

    // The same, but the stored name itself if there is none.
    std::string path_of(const std::string& stored_name) const {
        return find(stored_name).value_or(stored_name);
    }

private:
    std::map<std::string, std::vector<std::string>> by_last_component_;  // in upper case
};

// Warns that these files aren't below the directory. Of many, the first are named.
void tell_missing_sources(const std::vector<std::string>& missing, const std::string& directory);

}  // namespace edgescope
