#include "edgefold/package_info.h"

#include <array>
#include <cstdio>
#include <memory>

#include "diag/file_access.h"
#include "diag/platform.h"

namespace tool {
namespace {

constexpr std::string_view product_version = "2021.8";
constexpr std::string_view default_version = "2021.8.0";
constexpr std::string_view id_marker = "Package ID:";
constexpr std::string_view suite_word = "foldsuite";
constexpr std::string_view update_word = "update";
constexpr std::size_t line_buffer_size = 1024;
constexpr std::size_t program_path_limit = 260;

// What an id with a single dot adds to the product's version.
std::string one_dot_suffix(std::string_view id, std::size_t dot) {
    std::string from_dot(id.substr(dot));
    if (id.find(suite_word) == std::string_view::npos) return from_dot;
    const std::size_t update = id.find(update_word);
    if (update == std::string_view::npos) return ".0" + from_dot;
    return "." + std::string(id.substr(update + update_word.size()));
}

std::string version_suffix(std::string_view id) {
    const std::size_t last = id.rfind('.');
    if (last == std::string_view::npos) return {};
    const std::size_t earlier = last == 0 ? std::string_view::npos : id.rfind('.', last - 1);
    if (earlier == std::string_view::npos) return one_dot_suffix(id, last);
    return std::string(id.substr(earlier));
}

// What stands after the marker, without the last character, which is expected to be the newline.
std::string id_behind_marker(std::string_view line) {
    line.remove_prefix(id_marker.size());
    while (line.starts_with(' ') || line.starts_with('\t')) line.remove_prefix(1);
    if (!line.empty()) line.remove_suffix(1);
    return std::string(line);
}

std::optional<std::string> driver_directory(PackageFile file) {
    const std::optional<std::string> directories = diag::platform::environment_value("PATH");
    if (!directories) return std::nullopt;
    return find_program_directory(*directories, file == PackageFile::fortran ? "qlnf" : "qlnc");
}

}  // namespace

std::string version_number(std::string_view package_id) {
    if (package_id.empty()) return std::string(default_version);
    return std::string(product_version) + version_suffix(package_id);
}

std::string package_id(PackageFile file) {
    std::optional<std::string> directory = program_directory(diag::platform::module_path());
    if (!directory) directory = driver_directory(file);
    if (!directory) return {};
    const char* const path = file == PackageFile::fortran ? "/../share/edgefold/package_fortran.txt"
                                                          : "/../share/edgefold/package_c.txt";
    return read_package_id((*directory + path).c_str());
}

std::string read_package_id(const char* path) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(
        diag::platform::open_text_for_reading(path), std::fclose);
    if (file == nullptr) return {};
    std::array<char, line_buffer_size> buffer;
    // A line that is longer than the buffer goes on as further lines.
    while (std::fgets(buffer.data(), static_cast<int>(buffer.size()), file.get()) != nullptr) {
        const std::string_view line(buffer.data());
        if (line.starts_with(id_marker)) return id_behind_marker(line);
    }
    return {};
}

std::optional<std::string> program_directory(const std::optional<std::string>& program_path) {
    if (!program_path || program_path->size() >= program_path_limit) return std::nullopt;
    const std::size_t cut = program_path->find_last_of("\\/");
    if (cut == std::string::npos) return std::nullopt;
    return program_path->substr(0, cut);
}

std::optional<std::string> find_program_directory(std::string_view directories,
                                                  std::string_view program_name) {
    while (!directories.empty()) {
        const std::size_t end = directories.find(diag::platform::path_list_separator);
        const std::string directory(directories.substr(0, end));
        const std::string program = directory + "/" + std::string(program_name) +
                                    std::string(diag::platform::executable_suffix);
        if (!directory.empty() && diag::file_access(program.c_str(), diag::AccessMode::read) == 0)
            return directory;
        if (end == std::string_view::npos) break;
        directories.remove_prefix(end + 1);
    }
    return std::nullopt;
}

}  // namespace tool
