// The program that a profile is of: opened, and held against the profile.
#pragma once

#include <memory>
#include <string>

#include "edgescope/profile.h"
#include "program/program.h"

namespace edgescope {

// The program at `path`, an ELF file with debug information. Null, with a message, if it can't be
// read, or if more than half of the profile's edges don't stand at the lines that it has at their
// addresses; if some don't, that is a warning.
std::unique_ptr<program::Program> open_program_of(const Profile& profile, const std::string& path);

}  // namespace edgescope
