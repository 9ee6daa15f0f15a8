// Keeps the names of source files, each once, for the records of all functions in them.
#pragma once

#include <string_view>
#include <vector>

#include "hotpath/model/function_key.h"
#include "hotpath/model/hotpath_allocator.h"
#include "hotpath/model/text_pool.h"

namespace hotpath {

// A set of file names. The pool owns them; they stay where they are as long as it lives.
class FileNamePool {
public:
    // The pool's own copy of the name, made at its first sighting.
    const FileName& keep(std::string_view name);

    // The same; null if the pool doesn't hold it.
    const FileName* find(std::string_view name) const;

private:
    TextPool texts_;
    AllocatorOnHeap storage_;
    std::vector<const FileName*> names_;  // by their numbers in `texts_`
};

}  // namespace hotpath
