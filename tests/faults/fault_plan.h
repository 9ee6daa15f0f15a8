// The plan by which calls fail in `edgefold_faulty`, and the log of what happened. The plan comes
// from the environment, since the program under test reads its own command line:
//
//     EDGEFOLD_FAULT=SOURCE:N:once|always[:CODE]   the N-th call of this source fails, once or from
//                                                  then on; 0 fails none, but counts them all
//     EDGEFOLD_FAULT=SOURCE:0:places               nothing fails; the log names for each call the
//                                                  place in the program that it comes from
//     EDGEFOLD_FAULT_LOG=PATH                      where the log goes
//
// CODE is the SQLite result code with which calls of the file layer fail.
#pragma once

#include <cstddef>

namespace faults {

// Who is asked: the C heap by the tool and the libraries beneath it, SQLite's heap, SQLite's files.
enum class Source { tool, sqlite, open, read, write, truncate, sync, size, lock, remove, access };

// Counts a call of this source. True if it has to fail.
bool fails(Source source);

// The result code of failing calls of the file layer.
int planned_code();

// True if the plan is for SQLite's files.
bool is_for_files();

// Appends one line to the log; the newline is added.
__attribute__((format(printf, 1, 2))) void record(const char* format, ...);

// While one of these lives, nothing fails and nothing is counted: what the test's own code asks for
// isn't the program's.
class Pause {
public:
    Pause();
    Pause(const Pause&) = delete;
    Pause& operator=(const Pause&) = delete;
    ~Pause();
};

}  // namespace faults
