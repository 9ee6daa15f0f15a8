// All that edgescope does with a profile, for fuzzers.
#pragma once

#include <optional>
#include <string>

#include "edgescope/check.h"
#include "edgescope/compare.h"
#include "edgescope/export.h"
#include "edgescope/profile_sum.h"
#include "edgescope/top.h"
#include "fuzz_input.h"

namespace fuzz {

inline std::optional<edgescope::Profile> read_with_edgescope(const std::string& path,
                                                             bool is_trusted) {
    edgescope::ReadSettings settings;
    settings.is_trusted = is_trusted;
    settings.guard.time_limit = std::chrono::seconds(2);
    return edgescope::read_profile({path}, settings);
}

// The counts of a profile that is refused since they are too large for sums.
inline bool is_refused_for_its_counts(const std::string& path, bool is_trusted) {
    edgescope::ReadSettings settings;
    settings.is_trusted = is_trusted;
    edgescope::ProfileSum sum;
    edgescope::ProgressBar progress(1);
    if (!sum.add(path, settings, progress)) return false;
    const edgescope::Profile profile = sum.finish();
    edgescope::find_faults(profile, sum.dangling_rows(), {});
    return !edgescope::can_be_summed(profile);
}

inline void run_all_commands(const edgescope::Profile& profile) {
    edgescope::Output output("");
    for (const auto kind :
         {edgescope::TopKind::functions, edgescope::TopKind::edges, edgescope::TopKind::calls})
        for (const bool as_json : {false, true}) {
            edgescope::TopOptions options;
            options.kind = kind;
            options.demangle = options.as_json = as_json;
            require(edgescope::write_top(profile, options, output), "a list of what is hot");
        }
    edgescope::find_faults(profile, {}, {});
    const edgescope::Comparison comparison = edgescope::compare_profiles(profile, profile);
    require(comparison.functions == 100 && comparison.edges == 100 && comparison.calls == 100,
            "a profile agrees with itself");
    for (const edgescope::ExportFormat& format : edgescope::export_formats()) {
        edgescope::ExportOptions options;
        options.format = format.name;
        require(edgescope::write_export(profile, options, output), "an export");
    }
}

}  // namespace fuzz
