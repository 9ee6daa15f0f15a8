// Ends what a connection does at a given time. SQLite looks at its own handler only between two
// steps of its machine, and the check of all pages of a file is one step.
#pragma once

#include <sqlite3.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <stop_token>
#include <thread>

namespace hotpath {

// Waits in a thread of its own, until the time or its end, and interrupts the connection at the
// time. Throws what std::thread throws if there can't be another thread.
class Interrupter {
public:
    Interrupter(sqlite3* connection, std::chrono::steady_clock::time_point time)
        : thread_([connection, time](const std::stop_token& stop) {
              std::mutex mutex;
              std::condition_variable_any condition;
              std::unique_lock lock(mutex);
              condition.wait_until(lock, stop, time, [] { return false; });
              if (!stop.stop_requested()) sqlite3_interrupt(connection);
          }) {}

private:
    std::jthread thread_;
};

}  // namespace hotpath
