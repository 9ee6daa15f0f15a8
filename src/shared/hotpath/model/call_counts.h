// The sampled call sites of one function: summed by callee and line, walked in that order.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "shared/hotpath/model/index_table.h"

namespace hotpath {

// One sampled call site. Its identity is the callee and the line.
struct CallRecord {
    std::string_view callee_name;  // borrowed; see `CallCounts::add_call`
    std::uint32_t line;            // absolute line of the call site in the caller
    std::uint32_t relative_line;   // of the first sighting; not part of the identity
    std::uint64_t exec_count;      // times the call was taken; wraps at 2 to the 64th
};

// The order of call sites: callee by its bytes, then line.
bool call_key_less(const CallRecord& a, const CallRecord& b);

// All call sites of one function.
class CallCounts {
public:
    std::uint32_t size() const { return static_cast<std::uint32_t>(calls_.size()); }

    // Adds `count` to the call site, which is made at its first sighting. `callee_name` is borrowed
    // and must stay valid as long as the collection: a factory's `keep_text` gives such a text.
    void add_call(std::string_view callee_name, std::uint32_t line, std::uint32_t relative_line,
                  std::uint64_t count);

    // Replaces the vector's content by all call sites, in their order. They are valid until the
    // next `add_call`.
    void copy_calls(std::vector<const CallRecord*>& calls) const;

private:
    // Up to this many call sites a walk is quicker than a table.
    static constexpr std::size_t walk_limit = 8;

    std::uint32_t find(std::string_view callee_name, std::uint32_t line) const;
    void index_call(std::uint32_t place);

    std::vector<CallRecord> calls_;  // in the order of creation
    IndexTable by_key_;              // over `calls_`, once there are more than `walk_limit`
};

}  // namespace hotpath
