// Keeps texts, each once. Callers that hold many copies of few texts hold views into a pool
// instead, and compare numbers where they would compare bytes.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "hotpath/model/hotpath_allocator.h"
#include "hotpath/model/index_table.h"

namespace hotpath {

// A set of texts, numbered from 0 in the order of their first sighting. The pool owns the texts;
// they stay where they are as long as it lives, and each has a terminator behind it.
class TextPool {
public:
    // The number of `text`, which is copied at its first sighting.
    std::uint32_t number_of(std::string_view text);

    // The number of `text`; `none` if the pool doesn't hold it.
    static constexpr std::uint32_t none = IndexTable::none;
    std::uint32_t find(std::string_view text) const;

    std::string_view operator[](std::uint32_t number) const { return texts_[number]; }

    // The pool's own copy of `text`.
    std::string_view keep(std::string_view text) { return texts_[number_of(text)]; }

private:
    std::uint32_t find(std::string_view text, std::uint64_t hash) const;

    AllocatorOnHeap storage_;
    std::vector<std::string_view> texts_;
    IndexTable index_;
};

}  // namespace hotpath
