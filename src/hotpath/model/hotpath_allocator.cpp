#include "hotpath/model/hotpath_allocator.h"

#include <cstdlib>

#include "diag/assertions.h"
#include "diag/checked_memory.h"

namespace hotpath {
namespace {

// Large enough that the heap is asked rarely, small enough that a short run stays small.
constexpr std::size_t block_size = 256 * 1024;

}  // namespace

AllocatorOnHeap::~AllocatorOnHeap() {
    while (blocks_ != nullptr) {
        Block* const previous = blocks_->previous;
        std::free(blocks_);
        blocks_ = previous;
    }
}

char* AllocatorOnHeap::allocate_text(std::size_t size) {
    if (size > text_left_) {
        if (size > block_size / 4) return new_block(size);
        text_next_ = new_block(block_size);
        text_left_ = block_size;
    }
    char* const result = text_next_;
    text_next_ += size;
    text_left_ -= size;
    return result;
}

void* AllocatorOnHeap::allocate_slowly(std::size_t size) {
    if (size > block_size / 4) return new_block(size);
    next_ = new_block(block_size);
    left_ = block_size;
    return allocate(size);
}

char* AllocatorOnHeap::new_block(std::size_t size) {
    void* const mem = diag::checked_malloc(sizeof(Block) + size);
    ASSERTX(mem);
    auto* const block = static_cast<Block*>(mem);
    block->previous = blocks_;
    blocks_ = block;
    return static_cast<char*>(mem) + sizeof(Block);
}

}  // namespace hotpath
