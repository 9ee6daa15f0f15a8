// The tool's version number, and the package information files of the toolchain that it follows
// from. The banner shows the version.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tool {

// The whole version number: the product's, completed by the package id; the default one if the id
// is empty.
std::string version_number(std::string_view package_id);

// The toolchain's package information files: one for C and C++, one for Fortran.
enum class PackageFile { c, fortran };

// The id in a package information file beside the tool, or beside the toolchain's driver where the
// tool doesn't know its own place. Empty without such a file or id.
std::string package_id(PackageFile file);

// The id in the package information file at `path`; empty if the file can't be opened or has none.
std::string read_package_id(const char* path);

// The directory part of a program's full path; nothing if there is no path, if it has 260 bytes or
// more, or if it has no directory part.
std::optional<std::string> program_directory(const std::optional<std::string>& program_path);

// The first directory of the list, which is separated as the system's `PATH` is, that holds a
// readable file of this program name with the system's ending. Nothing without one.
std::optional<std::string> find_program_directory(std::string_view directories,
                                                  std::string_view program_name);

}  // namespace tool
