// The heads of function names: their texts up to the first slash. Functions whose joined texts are
// equal have one head, wherever these are cut, so that a function whose head nobody has is nobody's
// function. It spares those who look through many functions for few the search for each.
#pragma once

#include <cstdint>
#include <string_view>

#include "hotpath/model/hashing.h"
#include "hotpath/model/index_table.h"

namespace hotpath {

inline std::string_view head_of(std::string_view function_name) {
    return function_name.substr(0, function_name.find('/'));
}

// A set of heads. It keeps no texts, so its answer is exact only where it is no.
class NameHeads {
public:
    void add_head_of(std::string_view function_name) {
        const std::uint64_t hash = hash_of(function_name);
        if (!holds(hash)) hashes_.insert(hash, 0);
    }

    // True if a name with the head of this one was added; seldom also for another name.
    bool may_hold_head_of(std::string_view function_name) const {
        return holds(hash_of(function_name));
    }

private:
    static std::uint64_t hash_of(std::string_view function_name) {
        return hash_text(head_of(function_name));
    }
    bool holds(std::uint64_t hash) const {
        return hashes_.find(hash, [](std::uint32_t) { return true; }) != IndexTable::none;
    }

    IndexTable hashes_;  // its places mean nothing
};

}  // namespace hotpath
