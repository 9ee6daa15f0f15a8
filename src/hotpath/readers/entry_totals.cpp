#include "hotpath/readers/entry_totals.h"

#include <algorithm>

#include "hotpath/model/hashing.h"

namespace hotpath {

std::uint32_t EntryTotals::number_of(std::string_view file, std::string_view name,
                                     FunctionRecord* record) {
    const std::uint64_t hash = hash_pair(hash_text(name), hash_text(file));
    const std::uint32_t known = by_name_.find(hash, [&](std::uint32_t number) {
        return totals_[number].file == file && totals_[number].name == name;
    });
    if (known != IndexTable::none) return known;
    const auto number = static_cast<std::uint32_t>(totals_.size());
    totals_.push_back({file, name, record});
    by_name_.insert(hash, number);
    return number;
}

// Calls, hits of the entry block and returns are three estimates of one number: the largest counts,
// never their sum.
void EntryTotals::add_exec_counts() {
    for (const std::uint32_t number : in_use_) {
        const FunctionTotals& totals = totals_[number];
        totals.record->add_exec_count(
            std::max({totals.called_in, totals.entry_hits, totals.returned}));
    }
    drop();
}

void EntryTotals::drop() {
    for (const std::uint32_t number : in_use_) {
        FunctionTotals& totals = totals_[number];
        totals.called_in = totals.entry_hits = totals.returned = 0;
        totals.in_use = false;
    }
    in_use_.clear();
}

}  // namespace hotpath
