#include "edgescope/source_files.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "edgescope/message.h"

namespace edgescope {

// The form in which paths are compared: upper case, `/` between the components.
static std::string comparable(std::string text) {
    for (char& c : text) {
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
        if (c == '\\') c = '/';
    }
    return text;
}

static std::string last_component(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

// The number of components at the end of both paths that agree.
static std::ptrdiff_t common_components(const std::string& a, const std::string& b) {
    const auto [end_a, end_b] = std::mismatch(a.rbegin(), a.rend(), b.rbegin(), b.rend());
    const bool is_whole =
        (end_a == a.rend() || *end_a == '/') && (end_b == b.rend() || *end_b == '/');
    return std::count(a.rbegin(), end_a, '/') + (is_whole ? 1 : 0);
}

SourceFiles::SourceFiles(const std::string& directory) {
    if (directory.empty()) return;
    namespace files = std::filesystem;
    std::error_code failure;
    const files::path top(std::u8string(directory.begin(), directory.end()));
    constexpr auto options = files::directory_options::skip_permission_denied;
    for (files::recursive_directory_iterator place(top, options, failure), end;
         !failure && place != end; place.increment(failure)) {
        if (!place->is_regular_file(failure)) continue;
        const std::u8string text = place->path().generic_u8string();
        const std::string path(text.begin(), text.end());
        by_last_component_[last_component(comparable(path))].push_back(path);
    }
    for (auto& [name, paths] : by_last_component_) std::sort(paths.begin(), paths.end());
}

std::optional<std::string> SourceFiles::find(const std::string& stored_name) const {
    const std::string wanted = comparable(stored_name);
    const auto candidates = by_last_component_.find(last_component(wanted));
    if (candidates == by_last_component_.end()) return std::nullopt;
    return *std::max_element(candidates->second.begin(), candidates->second.end(),
                             [&](const std::string& a, const std::string& b) {
                                 return common_components(comparable(a), wanted) <
                                        common_components(comparable(b), wanted);
                             });
}

void tell_missing_sources(const std::vector<std::string>& missing, const std::string& directory) {
    constexpr std::size_t named_files = 20;
    if (missing.empty()) return;
    std::string text = "sources that aren't there, and are left out:";
    for (std::size_t i = 0; i < std::min(missing.size(), named_files); ++i)
        text += (i == 0 ? " " : ", ") + missing[i];
    if (missing.size() > named_files)
        text += " and " + std::to_string(missing.size() - named_files) + " more";
    print_warning(directory, text);
}

}  // namespace edgescope
