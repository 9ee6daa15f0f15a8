// `edgescope view`: a page that shows a profile in a browser, one file with all its data. What the
// page looks like is the business of `web/`; here its data are collected and put into it.
#pragma once

#include <string>
#include <vector>

#include "edgescope/output.h"
#include "edgescope/profile_sum.h"

namespace edgescope {

struct ViewOptions {
    std::string sources{};       // a directory with the source files; empty for none
    std::string old_database{};  // to compare with; empty for none
    std::string program{};       // the program that ran; empty if it isn't there
};

// Writes the page of the sum of the databases. Gives the exit status.
int run_view(const std::vector<std::string>& paths, const ReadSettings& settings,
             const ViewOptions& options, Output& output);

}  // namespace edgescope
