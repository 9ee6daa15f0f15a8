// A set of code addresses.
#pragma once

#include <cstdint>
#include <vector>

#include "hotpath/model/hashing.h"
#include "hotpath/model/index_table.h"

namespace hotpath {

class AddressSet {
public:
    void insert(std::uint64_t address) {
        const std::uint64_t hash = hash_number(address);
        if (find(hash, address) != IndexTable::none) return;
        index_.insert(hash, static_cast<std::uint32_t>(addresses_.size()));
        addresses_.push_back(address);
    }

    bool contains(std::uint64_t address) const {
        return find(hash_number(address), address) != IndexTable::none;
    }

private:
    std::uint32_t find(std::uint64_t hash, std::uint64_t address) const {
        return index_.find(hash, [&](std::uint32_t place) { return addresses_[place] == address; });
    }

    std::vector<std::uint64_t> addresses_;
    IndexTable index_;
};

}  // namespace hotpath
