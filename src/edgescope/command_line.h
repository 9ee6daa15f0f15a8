// The command line: which command is asked for, with which options and files.
#pragma once

#include <string>
#include <vector>

#include "edgescope/check.h"
#include "edgescope/compare.h"
#include "edgescope/export.h"
#include "edgescope/profile_sum.h"
#include "edgescope/top.h"
#include "edgescope/view.h"

namespace edgescope {

enum class Command { top, check, compare, export_profile, view };

struct CommandLine {
    Command command = Command::top;
    std::vector<std::string> databases;
    std::string output;  // empty for the standard output stream
    ReadSettings reading;
    TopOptions top;
    CheckOptions check;
    CompareOptions compare;
    ExportOptions exporting;
    ViewOptions viewing;
};

// Fills `line`. If there is nothing to do, since help was asked for or the line is wrong, gives the
// exit status, with what there is to say printed; otherwise -1.
int parse_command_line(int argument_count, const char* const* arguments, CommandLine& line);

}  // namespace edgescope
