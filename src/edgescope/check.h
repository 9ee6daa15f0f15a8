// `edgescope check`: looks for what makes a profile of little use, such as blocks whose counts
// don't balance or edges without a line, and says what to do about it. Damaged files never come
// here: they are refused when they are opened.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "edgescope/output.h"
#include "edgescope/profile_sum.h"

namespace edgescope {

struct CheckOptions {
    double max_imbalance = 50;  // percent; beyond it the finding is an error, as for all of these
    double max_unknown_lines = 50;
    double max_two_positions = 1;
    double max_without_file = 50;
    std::size_t worst = 10;  // functions that are named for each finding
    bool as_json = false;
};

enum class Severity { note, warning, error };

// "note", "warning" or "error".
const char* word_of(Severity severity);

// A function that a finding names, with its part in it.
struct Culprit {
    std::uint64_t number;
    std::string function;
    std::string file;
};

struct Finding {
    Severity severity;
    std::string kind;    // a fixed word, for machines
    std::string text;    // what was found
    std::string advice;  // what to do about it
    std::uint64_t number;
    double share = 0;  // percent; 0 if it is about no share
    std::vector<Culprit> worst{};
};

// All findings on one database's profile, the worst first.
std::vector<Finding> find_faults(const Profile& profile, const DanglingRows& dangling,
                                 const CheckOptions& options);

// Findings on what the databases of several files add up to, beside those on each.
std::vector<Finding> find_faults_of_sum(const Profile& sum, const CheckOptions& options);

// Checks each database by itself, and their sum, and writes the findings. Gives the exit status.
int run_check(const std::vector<std::string>& paths, const ReadSettings& settings,
              const CheckOptions& options, Output& output);

}  // namespace edgescope
