// Prints a record set as text: the one thing that the tool writes to the standard output stream.
#pragma once

#include "hotpath/model/function_record_set.h"

namespace hotpath {

// Prints the set's run count and each record with its edges and calls on the standard output stream
// and flushes it. `sort` orders the edges: "A" by addresses, "C" by count, "L" and anything else by
// the line they leave, in either case of the letter; a "-" as second character turns the order
// round.
void dump_report(const FunctionRecordSet& records, const char* sort);

}  // namespace hotpath
