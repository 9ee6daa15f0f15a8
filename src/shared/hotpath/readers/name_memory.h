// What one edge file's names lead to, so that a name is rewritten and looked up once for each file,
// not once for each row.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "shared/hotpath/model/function_record_set.h"
#include "shared/hotpath/model/text_pool.h"
#include "shared/hotpath/names/name_normaliser.h"

namespace hotpath {

// Three estimates of how often a function was entered. They belong to the source file as the rows
// write it and the rewritten name, so two spellings of one file are counted apart.
struct FunctionTotals {
    std::string_view file;  // as written
    std::string_view name;  // rewritten
    FunctionRecord* record;
    std::uint64_t called_in = 0;
    std::uint64_t entry_hits = 0;
    std::uint64_t returned = 0;
};

// One function as the rows of a file write it.
struct RememberedName {
    std::string_view raw;   // as written
    std::string_view file;  // as written
    FunctionRecord* record;
    std::string_view name;  // rewritten; lives as long as the set's factory
    std::uint32_t totals;   // place in `NameMemory::totals`
};

// The memory of one edge file. Records belong to the set.
class NameMemory {
public:
    explicit NameMemory(FunctionRecordSet& set) : set_(&set) {}

    static std::uint64_t hash(std::string_view file, std::string_view raw_name);

    // The place of the function that these two texts with this hash name. At their first sighting
    // its record is found or made in the set.
    std::uint32_t find(std::uint64_t hash, std::string_view file, std::string_view raw_name);

    // The steps of that search, brought into the cache one after the other; each step expects the
    // one before to have arrived.
    void prefetch_slot(std::uint64_t hash) const { by_raw_.prefetch_slot(hash); }
    void prefetch_place(std::uint64_t hash) const;
    void prefetch_texts(std::uint64_t hash) const;

    const RememberedName& operator[](std::uint32_t place) const { return names_[place]; }

    FunctionTotals& totals_of(std::uint32_t place) { return totals_[names_[place].totals]; }
    const std::vector<FunctionTotals>& totals() const { return totals_; }

private:
    std::uint32_t add(std::uint64_t hash, std::string_view file, std::string_view raw_name);
    std::uint32_t find_totals(std::string_view file, std::string_view name, FunctionRecord* record);

    FunctionRecordSet* set_;
    NameNormaliser normaliser_;
    std::string raw_;  // the name that the normaliser looks at
    TextPool files_;
    AllocatorOnHeap raw_texts_;
    std::vector<RememberedName> names_;
    IndexTable by_raw_;  // over `names_`
    std::vector<FunctionTotals> totals_;
    IndexTable by_name_;  // over `totals_`
};

}  // namespace hotpath
