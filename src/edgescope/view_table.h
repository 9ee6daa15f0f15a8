// The table of all functions of a page, column by column.
#pragma once

#include "edgescope/view_functions.h"
#include "edgescope/view_lines.h"
#include "edgescope/view_sources.h"

namespace edgescope {

// `old_profile` is null if there is nothing to compare with.
void write_function_table(const FunctionIds& ids, const ViewLines& lines,
                          const ViewSources& sources, const Profile* old_profile, JsonWriter& json);

}  // namespace edgescope
