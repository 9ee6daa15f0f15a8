// How often source lines ran, of functions and of whole files: as the profile tells, or by the
// instructions of the program that ran, which know the lines of inlined code too.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "edgescope/line_counts.h"
#include "edgescope/profile.h"

namespace edgescope {

// Counts by line.
using FileLines = std::map<std::uint32_t, std::uint64_t>;

// What a program tells of a profile's lines. Functions that it doesn't know aren't there.
struct ProgramLines {
    std::unordered_map<const Function*, LineCounts> of_function;  // in its own file
    std::unordered_map<const Function*, std::uint32_t> first_line;
    std::unordered_map<std::string, FileLines> of_file;  // by the database's name of the file
};

// Counts lines by the program at `path`, an ELF file with debug information. False, with a message,
// if it can't be read or isn't the one that ran. Only where edgescope is built with the library
// that reads programs.
[[nodiscard]] bool count_program_lines(const Profile& profile, const std::string& path,
                                       ProgramLines& lines);

// The lines of a profile, with or without a program.
class ViewLines {
public:
    explicit ViewLines(const ProgramLines* program) : program_(program) {}

    bool has_program() const { return program_ != nullptr; }

    // Of a function, in its own file, by line.
    LineCounts of_function(const Function& function) const;

    // Of a file, which these functions stand in: what its lines ran in all functions together.
    FileLines of_file(const std::string& file, const std::vector<const Function*>& functions) const;

    // Where a function begins, as far as is known.
    std::optional<std::uint32_t> first_line_of(const Function& function) const;

private:
    bool is_of_program(const Function& function) const;

    const ProgramLines* program_;  // null if it isn't there
};

}  // namespace edgescope
