// `edgescope compare`: how much two profiles agree, and which functions gained and lost.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "edgescope/output.h"
#include "edgescope/profile_sum.h"

namespace edgescope {

struct CompareOptions {
    double min_overlap = 0;  // percent
    std::size_t limit = 10;  // functions in each list; 0 for all
    bool demangle = false;
    bool as_json = false;
};

// A function with its share of all entries, in percent, before and after.
struct ChangedFunction {
    std::string name;
    std::string file;
    double old_share;
    double new_share;
};

struct Comparison {
    // Sums of the smaller shares, in percent.
    double functions = 0;
    double edges = 0;
    double calls = 0;

    std::vector<ChangedFunction> gained;  // those that gained most first; in both profiles
    std::vector<ChangedFunction> lost;    // likewise
    std::vector<ChangedFunction> added;   // only in the new one, the hottest first
    std::vector<ChangedFunction> gone;    // only in the old one, the hottest first
};

Comparison compare_profiles(const Profile& old_profile, const Profile& new_profile);

// Compares two databases and writes the result. Gives the exit status.
int run_compare(const std::string& old_path, const std::string& new_path,
                const ReadSettings& settings, const CompareOptions& options, Output& output);

}  // namespace edgescope
