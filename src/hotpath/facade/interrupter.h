// Ends what a connection does at a given time. SQLite looks at its own handler only between two
// steps of its machine, and the check of all pages of a file is one step.
#pragma once

#include <sqlite3.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace hotpath {

// Waits in a thread of its own, until the time or its end, and interrupts the connection at the
// time. Throws what std::thread throws if there can't be another thread.
class Interrupter {
public:
    Interrupter(sqlite3* connection, std::chrono::steady_clock::time_point time)
        : thread_([this, connection, time] {
              std::unique_lock lock(mutex_);
              const bool is_over = ended_.wait_until(lock, time, [this] { return is_over_; });
              if (!is_over) sqlite3_interrupt(connection);
          }) {}
    Interrupter(const Interrupter&) = delete;
    Interrupter& operator=(const Interrupter&) = delete;
    ~Interrupter() {
        {
            const std::lock_guard lock(mutex_);
            is_over_ = true;
        }
        ended_.notify_one();
        thread_.join();
    }

private:
    std::mutex mutex_;
    std::condition_variable ended_;
    bool is_over_ = false;
    std::thread thread_;  // the last one, since it uses the others
};

}  // namespace hotpath
