// Finds places in an array by hash, with open addressing: the keys stay in the caller's array, the
// table holds a part of each hash and the place. The caller decides when two keys are equal.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

#include "hotpath/model/prefetch.h"

namespace hotpath {

struct IndexSlot {
    std::uint32_t tag;
    std::uint32_t place_plus_one;  // 0: empty
};

// The slots of a table on the heap, which go with it.
class HeapSlots {
public:
    // So many empty slots.
    static HeapSlots make(std::size_t count) {
        HeapSlots slots;
        slots.slots_ = std::make_unique<IndexSlot[]>(count);
        return slots;
    }
    explicit operator bool() const { return slots_ != nullptr; }
    IndexSlot& operator[](std::uint32_t i) const { return slots_[i]; }

private:
    std::unique_ptr<IndexSlot[]> slots_;
};

// One table over one array. Places are only ever added, never taken out singly. `Slots` is where
// the table itself lies.
template <class Slots>
class BasicIndexTable {
public:
    BasicIndexTable() = default;
    explicit BasicIndexTable(Slots none_yet) : slots_(std::move(none_yet)) {}

    static constexpr std::uint32_t none = 0xFFFFFFFF;

    bool is_empty() const { return used_ == 0; }

    // The place whose key has this hash and for which `same(place)` is true; `none` without one.
    template <class Same>
    std::uint32_t find(std::uint64_t hash, Same same) const {
        if (used_ == 0) return none;
        const std::uint32_t tag = tag_of(hash);
        for (std::uint32_t i = tag & mask_;; i = (i + 1) & mask_) {
            const IndexSlot slot = slots_[i];
            if (slot.place_plus_one == 0) return none;
            if (slot.tag == tag && same(slot.place_plus_one - 1)) return slot.place_plus_one - 1;
        }
    }

    // Where the search for this hash begins: brings it into the cache, and, once it is there, gives
    // the place to expect, or `none`. The search itself decides.
    void prefetch_slot(std::uint64_t hash) const {
        if (used_ != 0) prefetch(&slots_[tag_of(hash) & mask_]);
    }
    std::uint32_t likely_place(std::uint64_t hash) const {
        if (used_ == 0) return none;
        const IndexSlot slot = slots_[tag_of(hash) & mask_];
        return slot.tag == tag_of(hash) ? slot.place_plus_one - 1 : none;
    }

    // Adds a place that `find` doesn't give yet.
    void insert(std::uint64_t hash, std::uint32_t place) {
        if (used_ >= limit()) grow();
        put({tag_of(hash), place + 1});
        ++used_;
    }

    // Forgets all places and gives the table's memory back.
    void clear() { *this = BasicIndexTable(); }

private:
    // The slot follows from the tag alone, so the table grows without the keys.
    static std::uint32_t tag_of(std::uint64_t hash) {
        return static_cast<std::uint32_t>(hash >> 32);
    }
    std::uint32_t limit() const { return slots_ ? mask_ / 8 * 5 : 0; }

    void put(IndexSlot slot) {
        std::uint32_t i = slot.tag & mask_;
        // NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDelete): a table has at least 16 slots
        while (slots_[i].place_plus_one != 0) i = (i + 1) & mask_;
        slots_[i] = slot;
    }
    void grow() {
        const std::size_t old_count = slots_ ? std::size_t{mask_} + 1 : 0;
        const std::size_t count = slots_ ? old_count * 2 : 16;
        const Slots old = std::exchange(slots_, slots_.make(count));
        mask_ = static_cast<std::uint32_t>(count - 1);
        for (std::uint32_t i = 0; i < old_count; ++i)
            if (old[i].place_plus_one != 0) put(old[i]);
    }

    Slots slots_;
    std::uint32_t mask_ = 0;
    std::uint32_t used_ = 0;
};

using IndexTable = BasicIndexTable<HeapSlots>;

// Finds places in an array that is mostly short: as long as it has few elements each is looked at,
// which is quicker than a table.
template <class Slots>
class ShortArrayIndex {
public:
    static constexpr std::uint32_t none = IndexTable::none;

    ShortArrayIndex() = default;
    explicit ShortArrayIndex(Slots none_yet) : table_(std::move(none_yet)) {}

    // True as long as each element is looked at.
    bool is_scanned() const { return table_.is_empty(); }

    // The place among the first `size` for which `same(place)` is true; `none` without one.
    // `hash()` gives the hash of the key that is looked for.
    template <class Hash, class Same>
    std::uint32_t find(std::size_t size, Hash hash, Same same) const {
        if (!is_scanned()) return table_.find(hash(), same);
        for (std::uint32_t place = 0; place < size; ++place)
            if (same(place)) return place;
        return none;
    }

    // Call when the array has grown by one element to `size`. `hash_at(place)` gives the hash of an
    // element's key.
    template <class HashAt>
    void follow(std::size_t size, HashAt hash_at) {
        const auto last = static_cast<std::uint32_t>(size - 1);
        if (is_scanned() && size <= scan_limit) return;
        for (std::uint32_t place = is_scanned() ? 0 : last; place <= last; ++place)
            table_.insert(hash_at(place), place);
    }

    // For the array that was emptied.
    void clear() { table_.clear(); }

    // The table, for those who ask for its slots ahead of a search.
    const BasicIndexTable<Slots>& table() const { return table_; }

private:
    static constexpr std::size_t scan_limit = 8;

    BasicIndexTable<Slots> table_;
};

}  // namespace hotpath
