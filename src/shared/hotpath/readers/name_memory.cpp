#include "shared/hotpath/readers/name_memory.h"

#include <algorithm>
#include <memory>

#include "shared/hotpath/model/function_record_factory.h"
#include "shared/hotpath/model/hashing.h"

namespace hotpath {

NameMemory& NameMemory::of(FunctionRecordSet& set) {
    if (set.helper() == nullptr) set.own_helper(std::make_unique<NameMemory>(set));
    return static_cast<NameMemory&>(*set.helper());
}

std::uint64_t NameMemory::hash(std::string_view file, std::string_view raw_name) {
    return hash_pair(hash_text(raw_name), hash_text(file));
}

std::uint32_t NameMemory::find(std::uint64_t hash, std::string_view file,
                               std::string_view raw_name) {
    const std::uint32_t known = by_raw_.find(hash, [&](std::uint32_t place) {
        return names_[place].raw == raw_name && names_[place].file == file;
    });
    return known != IndexTable::none ? known : add(hash, file, raw_name);
}

void NameMemory::prefetch_place(std::uint64_t hash) const {
    const std::uint32_t place = by_raw_.likely_place(hash);
    if (place != IndexTable::none) prefetch(&names_[place]);
}

void NameMemory::prefetch_texts(std::uint64_t hash) const {
    const std::uint32_t place = by_raw_.likely_place(hash);
    if (place == IndexTable::none) return;
    const RememberedName& name = names_[place];
    prefetch(name.raw.data());
    if (name.raw.size() > 32) prefetch(name.raw.data() + name.raw.size() - 1);
    prefetch(name.record);
}

FunctionTotals& NameMemory::totals_of(std::uint32_t place) {
    FunctionTotals& totals = totals_[names_[place].totals];
    if (!totals.in_use) {
        totals.in_use = true;
        totals_in_use_.push_back(names_[place].totals);
    }
    return totals;
}

// Calls, hits of the entry block and returns are three estimates of one number: the largest counts,
// never their sum.
void NameMemory::add_exec_counts() {
    for (const std::uint32_t place : totals_in_use_) {
        FunctionTotals& totals = totals_[place];
        totals.record->add_exec_count(
            std::max({totals.called_in, totals.entry_hits, totals.returned}));
        totals.called_in = totals.entry_hits = totals.returned = 0;
        totals.in_use = false;
    }
    totals_in_use_.clear();
}

std::uint32_t NameMemory::add(std::uint64_t hash, std::string_view file,
                              std::string_view raw_name) {
    raw_.assign(raw_name);
    const std::string_view rewritten = normaliser_.normalise(raw_.c_str());
    FunctionRecord* const record = set_->find_or_create_record(file, rewritten);
    // The record has the same name but where another cut of the same joined text made it.
    const std::string_view name = record->get_function_name() == rewritten
                                      ? record->get_function_name()
                                      : set_->factory().keep_text(rewritten);
    std::string_view raw = name;
    if (raw != raw_name) {
        char* const copy = raw_texts_.allocate_text(raw_name.size());
        raw = {copy, raw_name.copy(copy, raw_name.size())};
    }
    const std::string_view kept_file = files_.keep(file);
    const auto place = static_cast<std::uint32_t>(names_.size());
    names_.push_back({raw, kept_file, record, name, find_totals(kept_file, name, record)});
    by_raw_.insert(hash, place);
    return place;
}

std::uint32_t NameMemory::find_totals(std::string_view file, std::string_view name,
                                      FunctionRecord* record) {
    const std::uint64_t name_hash = hash(file, name);
    const std::uint32_t known = by_name_.find(name_hash, [&](std::uint32_t place) {
        return totals_[place].file == file && totals_[place].name == name;
    });
    if (known != IndexTable::none) return known;
    const auto place = static_cast<std::uint32_t>(totals_.size());
    totals_.push_back({file, name, record});
    by_name_.insert(name_hash, place);
    return place;
}

}  // namespace hotpath
