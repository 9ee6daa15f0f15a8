// What a page shows of one function: its blocks, edges, calls and lines. They stand in segments of
// several functions, so that a page unpacks only what is looked at, and
// without what the page can tell by itself: they are most of its size.
#pragma once

#include "edgescope/view_functions.h"
#include "edgescope/view_lines.h"

namespace edgescope {

// The number of functions in each segment.
std::size_t functions_of_segment(const Profile& profile);

// Writes the segment of the functions from `first` on, `end` not among them.
void write_flow_segment(const FunctionIds& ids, const ViewLines& lines, std::size_t first,
                        std::size_t end, JsonWriter& json);

}  // namespace edgescope
