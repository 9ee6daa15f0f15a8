// The sampled call sites of one function: summed by callee and line, walked in that order.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "hotpath/model/hotpath_allocator.h"
#include "hotpath/model/index_table.h"

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

// All call sites of one function. They lie in storage that somebody else owns, so nobody has to end
// a collection: it goes with the storage.
class CallCounts {
public:
    // `storage` is borrowed and must live as long as the collection.
    explicit CallCounts(AllocatorOnHeap& storage)
        : storage_(&storage), by_key_(ArenaSlots{storage_}) {}

    std::uint32_t size() const { return size_; }

    // Adds `count` to the call site, which is made at its first sighting. `callee_name` is borrowed
    // and must stay valid as long as the collection: a factory's `keep_text` gives such a text.
    void add_call(std::string_view callee_name, std::uint32_t line, std::uint32_t relative_line,
                  std::uint64_t count);

    // Replaces the vector's content by all call sites, in their order. They are valid until the
    // next `add_call`.
    void copy_calls(std::vector<const CallRecord*>& calls) const;

private:
    // Slots that lie in the storage, too.
    class ArenaSlots {
    public:
        explicit ArenaSlots(AllocatorOnHeap* storage) : storage_(storage) {}
        ArenaSlots make(std::size_t count) const;
        explicit operator bool() const { return slots_ != nullptr; }
        IndexSlot& operator[](std::uint32_t i) const { return slots_[i]; }

    private:
        AllocatorOnHeap* storage_;
        IndexSlot* slots_ = nullptr;
    };

    std::uint32_t find(std::string_view callee_name, std::uint32_t line) const;
    void grow();

    AllocatorOnHeap* storage_;
    CallRecord* calls_ = nullptr;  // in the order of creation
    std::uint32_t size_ = 0;
    std::uint32_t capacity_ = 0;
    ShortArrayIndex<ArenaSlots> by_key_;  // over `calls_`
};

}  // namespace hotpath
