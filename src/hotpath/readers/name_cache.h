// What the names of edge files lead to, so that a name is rewritten and looked up once, not once
// for each row or each file.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "hotpath/model/function_record_set.h"
#include "hotpath/model/text_pool.h"
#include "hotpath/names/name_normaliser.h"
#include "hotpath/readers/entry_totals.h"

namespace hotpath {

// One function as the rows of edge files write it.
struct CachedName {
    std::string_view raw;   // as written
    std::string_view file;  // as written
    FunctionRecord* record;
    std::string_view name;  // rewritten; lives as long as the set's factory
    std::uint32_t totals;   // its number in `NameCache::totals`
};

// The cache for all edge files that were read into one set, which owns it.
class NameCache final : public ReaderState {
public:
    explicit NameCache(FunctionRecordSet& set) : set_(&set) {}

    // The set's cache, made at the first call.
    static NameCache& of(FunctionRecordSet& set);

    static std::uint64_t hash(std::string_view file, std::string_view raw_name);

    // The place of the function that these two texts with this hash name. At their first sighting
    // its record is found or made in the set.
    std::uint32_t find(std::uint64_t hash, std::string_view file, std::string_view raw_name);

    // The steps of that search, brought into the cache one after the other; each step expects the
    // one before to have arrived.
    void prefetch_slot(std::uint64_t hash) const { by_raw_.prefetch_slot(hash); }
    void prefetch_place(std::uint64_t hash) const;
    void prefetch_texts(std::uint64_t hash) const;

    const CachedName& operator[](std::uint32_t place) const { return names_[place]; }

    // The totals of all functions; a name has the number of its own.
    EntryTotals& totals() { return totals_; }

private:
    std::uint32_t add(std::uint64_t hash, std::string_view file, std::string_view raw_name);

    FunctionRecordSet* set_;
    NameNormaliser normaliser_;
    std::string raw_;                          // the name that the normaliser looks at
    TextPool files_;                           // as written
    std::vector<const FileName*> file_names_;  // of the set, by their numbers in `files_`
    AllocatorOnHeap raw_texts_;
    std::vector<CachedName> names_;
    IndexTable by_raw_;  // over `names_`
    EntryTotals totals_;
};

}  // namespace hotpath
