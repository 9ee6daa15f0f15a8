#include "hotpath/names/backtrack_stack.h"

#include <algorithm>
#include <new>
#include <utility>

namespace hotpath {

bool BacktrackStack::grow() {
    const std::size_t capacity = 2 * height_ + 4;
    std::unique_ptr<std::uint64_t[]> values(new (std::nothrow) std::uint64_t[capacity]);
    if (values == nullptr) return false;
    std::copy_n(values_, height_, values.get());
    grown_ = std::move(values);
    values_ = grown_.get();
    capacity_ = capacity;
    return true;
}

}  // namespace hotpath
