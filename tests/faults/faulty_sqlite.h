// The two places where SQLite itself is made to fail: its heap and its files. When they fail stands
// in the plan.
#pragma once

namespace faults {

// Puts counting methods before SQLite's heap. To be called before SQLite starts.
void install_sqlite_memory();

// Puts failing files before those of the system. Starts SQLite.
void install_sqlite_files();

}  // namespace faults
