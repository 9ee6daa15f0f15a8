// Storage for the objects of the profile model: many small things of one lifetime, so they are cut
// from large blocks one after the other. The caller decides what is built in the storage.
#pragma once

#include <cstddef>
#include <string_view>

namespace hotpath {

// Hands out storage from blocks of the checked C heap. It owns the blocks; all storage stays valid
// until the allocator goes. Exhausted memory ends the program, so no caller sees an absent result.
class AllocatorOnHeap {
public:
    AllocatorOnHeap() = default;
    AllocatorOnHeap(const AllocatorOnHeap&) = delete;
    AllocatorOnHeap& operator=(const AllocatorOnHeap&) = delete;
    ~AllocatorOnHeap();

    // Storage of `size` bytes, aligned for any object of the model.
    void* allocate(std::size_t size) {
        const std::size_t rounded = (size + alignment - 1) & ~(alignment - 1);
        if (rounded > left_) return allocate_slowly(rounded);
        char* const result = next_;
        next_ += rounded;
        left_ -= rounded;
        return result;
    }

    // Takes storage back. The room comes free with the whole allocator.
    void release(void* /*storage*/, std::size_t /*size*/) {}

    // Storage for `size` bytes of text; not aligned.
    char* allocate_text(std::size_t size);

private:
    static constexpr std::size_t alignment = 8;

    struct Block {
        Block* previous;
    };

    void* allocate_slowly(std::size_t size);
    char* new_block(std::size_t size);

    Block* blocks_ = nullptr;
    char* next_ = nullptr;
    std::size_t left_ = 0;
    char* text_next_ = nullptr;
    std::size_t text_left_ = 0;
};

}  // namespace hotpath
