// How often the functions of one edge file were entered: three estimates of it for each, of which
// the largest counts. What a row adds to which is the fold's.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "hotpath/model/function_record.h"
#include "hotpath/model/index_table.h"

namespace hotpath {

// The estimates for one function.
struct FunctionTotals {
    std::string_view file;  // as written
    std::string_view name;  // rewritten
    FunctionRecord* record;
    std::uint64_t called_in = 0;
    std::uint64_t entry_hits = 0;
    std::uint64_t returned = 0;
    bool in_use = false;  // by the edge file that is being read
};

// The totals belong to the source file as the rows write it and the rewritten name, so two
// spellings of one file are counted apart. One object serves one edge file after the other.
class EntryTotals {
public:
    // The number of the function's totals, which are made at its first sighting. Both names are
    // borrowed and must live as long as this object.
    std::uint32_t number_of(std::string_view file, std::string_view name, FunctionRecord* record);

    // The totals of this number in the edge file that is being read.
    FunctionTotals& operator[](std::uint32_t number) {
        FunctionTotals& totals = totals_[number];
        if (!totals.in_use) {
            totals.in_use = true;
            in_use_.push_back(number);
        }
        return totals;
    }

    // Adds the largest of each function's totals to its record, and sets all back for the next
    // file.
    void add_exec_counts();

    // Sets all totals back and adds nothing.
    void drop();

private:
    std::vector<FunctionTotals> totals_;
    IndexTable by_name_;                 // over `totals_`
    std::vector<std::uint32_t> in_use_;  // numbers of those that the file has
};

}  // namespace hotpath
