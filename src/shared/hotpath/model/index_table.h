// Finds places in an array by hash, with open addressing: the keys stay in the caller's array, the
// table holds a part of each hash and the place. What makes two keys equal is the caller's affair.
#pragma once

#include <cstdint>
#include <memory>

#include "shared/hotpath/model/prefetch.h"

namespace hotpath {

// One table over one array. Places are only ever added, never taken out singly.
class IndexTable {
public:
    static constexpr std::uint32_t none = 0xFFFFFFFF;

    bool is_empty() const { return used_ == 0; }

    // The place whose key has this hash and for which `same(place)` is true; `none` without one.
    template <class Same>
    std::uint32_t find(std::uint64_t hash, Same same) const {
        if (used_ == 0) return none;
        const std::uint32_t tag = tag_of(hash);
        for (std::uint32_t i = tag & mask_;; i = (i + 1) & mask_) {
            const Slot slot = slots_[i];
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
        const Slot slot = slots_[tag_of(hash) & mask_];
        return slot.tag == tag_of(hash) ? slot.place_plus_one - 1 : none;
    }

    // Adds a place that `find` doesn't give yet.
    void insert(std::uint64_t hash, std::uint32_t place) {
        if (used_ >= limit()) grow();
        put({tag_of(hash), place + 1});
        ++used_;
    }

    // Forgets all places and gives the table's memory back.
    void clear() { *this = IndexTable(); }

private:
    struct Slot {
        std::uint32_t tag;
        std::uint32_t place_plus_one;  // 0: empty
    };

    // The slot follows from the tag alone, so the table grows without the keys.
    static std::uint32_t tag_of(std::uint64_t hash) {
        return static_cast<std::uint32_t>(hash >> 32);
    }
    std::uint32_t limit() const { return slots_ ? mask_ / 8 * 5 : 0; }

    void put(Slot slot) {
        std::uint32_t i = slot.tag & mask_;
        while (slots_[i].place_plus_one != 0) i = (i + 1) & mask_;
        slots_[i] = slot;
    }
    void grow() {
        const std::unique_ptr<Slot[]> old = std::move(slots_);
        const std::uint32_t old_size = old ? mask_ + 1 : 0;
        const std::uint32_t size = old ? old_size * 2 : 16;
        slots_ = std::make_unique<Slot[]>(size);
        mask_ = size - 1;
        for (std::uint32_t i = 0; i < old_size; ++i)
            if (old[i].place_plus_one != 0) put(old[i]);
    }

    std::unique_ptr<Slot[]> slots_;
    std::uint32_t mask_ = 0;
    std::uint32_t used_ = 0;
};

}  // namespace hotpath
