// What the names of edge files lead to, so that a name is rewritten and looked up once, not once
// for each row or each file.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "shared/hotpath/model/function_record_set.h"
#include "shared/hotpath/model/text_pool.h"
#include "shared/hotpath/names/name_normaliser.h"

namespace hotpath {

// Three estimates of how often a function was entered in one edge file. They belong to the source
// file as the rows write it and the rewritten name, so two spellings of one file are counted apart.
struct FunctionTotals {
    std::string_view file;  // as written
    std::string_view name;  // rewritten
    FunctionRecord* record;
    std::uint64_t called_in = 0;
    std::uint64_t entry_hits = 0;
    std::uint64_t returned = 0;
    bool in_use = false;  // by the edge file that is being read
};

// One function as the rows of edge files write it.
struct RememberedName {
    std::string_view raw;   // as written
    std::string_view file;  // as written
    FunctionRecord* record;
    std::string_view name;  // rewritten; lives as long as the set's factory
    std::uint32_t totals;   // place in `NameMemory::totals`
};

// The memory of all edge files that were read into one set, which owns it.
class NameMemory final : public FunctionRecordSetHelper {
public:
    explicit NameMemory(FunctionRecordSet& set) : set_(&set) {}

    // The set's memory, made at the first call.
    static NameMemory& of(FunctionRecordSet& set);

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

    // The totals of a name in the edge file that is being read.
    FunctionTotals& totals_of(std::uint32_t place);

    // Adds the largest of each function's totals to its record, and sets all back for the next
    // file.
    void add_exec_counts();

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
    IndexTable by_name_;                        // over `totals_`
    std::vector<std::uint32_t> totals_in_use_;  // places in `totals_`
};

}  // namespace hotpath
