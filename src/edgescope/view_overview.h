// What a page shows first: sums, findings, and what has moved since an older profile.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "edgescope/check.h"
#include "edgescope/compare.h"
#include "edgescope/view_json.h"

namespace edgescope {

struct Overview {
    std::vector<std::string> databases;
    std::string old_database;  // empty if there is none
    std::vector<Finding> findings;
    std::optional<Comparison> comparison;  // with the old database
    std::size_t functions_of_segment;      // of the segments with blocks and edges
    bool has_program;
};

void write_overview(const Overview& overview, const Profile& profile, JsonWriter& json);

}  // namespace edgescope
