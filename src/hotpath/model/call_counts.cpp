#include "hotpath/model/call_counts.h"

#include <algorithm>
#include <memory>
#include <new>

#include "hotpath/model/hashing.h"

namespace hotpath {
namespace {

bool same_text(std::string_view a, std::string_view b) {
    // Kept texts are mostly one copy.
    return a.size() == b.size() && (a.data() == b.data() || a == b);
}

std::uint64_t hash_key(std::string_view callee_name, std::uint32_t line) {
    return hash_pair(hash_text(callee_name), line);
}

}  // namespace

bool call_key_less(const CallRecord& a, const CallRecord& b) {
    if (same_text(a.callee_name, b.callee_name)) return a.line < b.line;
    return a.callee_name < b.callee_name;
}

CallCounts::ArenaSlots CallCounts::ArenaSlots::make(std::size_t count) const {
    ArenaSlots fresh(storage_);
    fresh.slots_ = static_cast<IndexSlot*>(storage_->allocate(count * sizeof(IndexSlot)));
    std::uninitialized_value_construct_n(fresh.slots_, count);
    return fresh;
}

void CallCounts::add_call(std::string_view callee_name, std::uint32_t line,
                          std::uint32_t relative_line, std::uint64_t count) {
    const std::uint32_t place = find(callee_name, line);
    if (place != by_key_.none) {
        calls_[place].exec_count += count;
        return;
    }
    if (size_ == capacity_) grow();
    new (&calls_[size_++]) CallRecord{callee_name, line, relative_line, count};
    by_key_.follow(
        size_, [this](std::uint32_t k) { return hash_key(calls_[k].callee_name, calls_[k].line); });
}

void CallCounts::copy_calls(std::vector<const CallRecord*>& calls) const {
    calls.clear();
    calls.reserve(size_);
    for (std::uint32_t k = 0; k < size_; ++k) calls.push_back(&calls_[k]);
    std::sort(calls.begin(), calls.end(),
              [](const CallRecord* a, const CallRecord* b) { return call_key_less(*a, *b); });
}

std::uint32_t CallCounts::find(std::string_view callee_name, std::uint32_t line) const {
    return by_key_.find(
        size_, [&] { return hash_key(callee_name, line); },
        [&](std::uint32_t place) {
            return calls_[place].line == line && same_text(calls_[place].callee_name, callee_name);
        });
}

// The room of the shorter array stays unused until the storage goes.
void CallCounts::grow() {
    capacity_ = capacity_ == 0 ? 2 : capacity_ * 2;
    auto* const longer =
        static_cast<CallRecord*>(storage_->allocate(capacity_ * sizeof(CallRecord)));
    std::uninitialized_copy_n(calls_, size_, longer);
    calls_ = longer;
}

}  // namespace hotpath
