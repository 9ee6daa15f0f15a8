#include "edgescope/export.h"

#include <algorithm>
#include <array>

namespace edgescope {

namespace {

constexpr std::array<ExportFormat, 5> formats = {{
    {"llvm", "a sample profile for clang", &export_llvm},
    {"callgrind", "for KCachegrind and callgrind_annotate", &export_callgrind},
    {"lcov", "a tracefile for genhtml", &export_lcov},
    {"csv", "an edge file", &export_csv},
    {"dot", "the call graph, or a function's flow, for Graphviz", &export_dot},
}};

}  // namespace

std::span<const ExportFormat> export_formats() { return formats; }

bool write_export(const Profile& profile, const ExportOptions& options, Output& output) {
    const auto format = std::find_if(
        formats.begin(), formats.end(),
        [&](const ExportFormat& candidate) { return candidate.name == options.format; });
    return format != formats.end() && format->write(profile, options, output);
}

}  // namespace edgescope
