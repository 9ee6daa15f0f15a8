#include "edgescope/view_sources.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>

#include "edgescope/source_files.h"

namespace edgescope {
namespace {

// Of a longer file only the part around the lines that ran is taken.
constexpr std::size_t lines_of_whole_file = 5000;
constexpr std::size_t lines_around = 200;

}  // namespace

ViewSources::ViewSources(const Profile& profile, const ViewLines& lines,
                         const std::string& directory) {
    if (directory.empty()) return;
    const SourceFiles sources(directory);
    std::map<std::string, std::vector<const Function*>> by_file;
    for (const Function& function : profile.functions)
        if (has_file(function)) by_file[function.file].push_back(&function);
    std::vector<std::string> missing;
    for (const auto& [name, functions] : by_file) {
        const auto path = sources.find(name);
        File file{.path = path.value_or(""), .lines = {}, .counts = lines.of_file(name, functions)};
        if (!path || !read(file)) {
            missing.push_back(name);
            continue;
        }
        numbers_[name] = static_cast<std::int64_t>(files_.size());
        files_.push_back(std::move(file));
    }
    tell_missing_sources(missing, directory);
}

bool ViewSources::read(File& file) const {
    std::ifstream stream(std::filesystem::path(std::u8string(file.path.begin(), file.path.end())),
                         std::ios::binary);
    for (std::string line; std::getline(stream, line);) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        file.lines.push_back(std::move(line));
    }
    if (!stream.eof()) return false;
    if (file.lines.size() <= lines_of_whole_file || file.counts.empty()) return true;
    const std::size_t least = file.counts.begin()->first, most = file.counts.rbegin()->first;
    const std::size_t end = std::min(file.lines.size(), most + lines_around);
    const std::size_t begin = std::min(end, least - std::min(least, lines_around));
    file.lines.erase(file.lines.begin() + static_cast<std::ptrdiff_t>(end), file.lines.end());
    file.lines.erase(file.lines.begin(), file.lines.begin() + static_cast<std::ptrdiff_t>(begin));
    file.first = static_cast<std::uint32_t>(begin + 1);
    return true;
}

std::int64_t ViewSources::number_of(const std::string& stored_name) const {
    const auto found = numbers_.find(stored_name);
    return found == numbers_.end() ? -1 : found->second;
}

void ViewSources::write(std::size_t number, JsonWriter& json) const {
    const File& file = files_[number];
    json.open_object();
    json.key("path").text(file.path);
    json.key("first").integer(file.first);
    json.key("lines").open_array();
    for (const std::string& line : file.lines) json.text(line);
    json.close_array();
    json.key("counts").open_array();
    for (const auto& [line, count] : file.counts) {
        json.open_array();
        json.integer(line);
        json.count(count);
        json.close_array();
    }
    json.close_array();
    json.close_object();
}

}  // namespace edgescope
