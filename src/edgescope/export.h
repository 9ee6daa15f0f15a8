// `edgescope export`: a profile in the format of another program. Each format is a file of its own
// beside this one; here they are listed.
#pragma once

#include <span>
#include <string>

#include "edgescope/output.h"
#include "edgescope/profile.h"

namespace edgescope {

struct ExportOptions {
    std::string format;
    std::string function{};  // for `dot`: draw the flow of this one
    double min_share = 0;    // for `dot`: leave out what has a smaller share, in percent
    std::string program{};   // for `llvm`: the program that ran; empty if it isn't there
    std::string sources{};   // for `lcov` and `callgrind`: a directory with the source files
    bool demangle = false;
};

// Writes the profile. False, with a message, if it can't be written in that format.
using Exporter = bool (*)(const Profile& profile, const ExportOptions& options, Output& output);

struct ExportFormat {
    const char* name;
    const char* description;
    Exporter write;
};

std::span<const ExportFormat> export_formats();

// Writes the profile in the format of the options, which must be one of `export_formats`.
[[nodiscard]] bool write_export(const Profile& profile, const ExportOptions& options,
                                Output& output);

// The formats.
bool export_csv(const Profile& profile, const ExportOptions& options, Output& output);
bool export_dot(const Profile& profile, const ExportOptions& options, Output& output);
bool export_callgrind(const Profile& profile, const ExportOptions& options, Output& output);
bool export_lcov(const Profile& profile, const ExportOptions& options, Output& output);
bool export_llvm(const Profile& profile, const ExportOptions& options, Output& output);

// The `llvm` format with the help of the program that ran, an ELF file with debug information. Only
// where edgescope is built with the library that reads programs.
bool export_llvm_of_program(const Profile& profile, const std::string& program, Output& output);

}  // namespace edgescope
