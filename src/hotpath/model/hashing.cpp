#include "hotpath/model/hashing.h"

#include <chrono>

namespace hotpath {

// It follows from the time of the run and from where the system puts the program. That is secret
// enough, as a run tells nothing of its hashes, and it can't fail as a random device can.
HashSecret new_secret() {
    const auto time =
        static_cast<std::uint64_t>(std::chrono::system_clock::now().time_since_epoch().count());
    const auto place = reinterpret_cast<std::uintptr_t>(&new_secret);
    const auto stack_place = reinterpret_cast<std::uintptr_t>(&time);
    constexpr HashSecret mixer{0x9E3779B97F4A7C15, 0xD6E8FEB86659FD93};
    return {hash_pair(time, place, mixer), hash_pair(time, stack_place, mixer)};
}

}  // namespace hotpath
