#include "hotpath/model/hotpath_allocator.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "hotpath/model/function_record_proxy.h"

namespace hotpath {
namespace {

struct Storage {
    unsigned char* begin;
    std::size_t size;
};

// Fills each storage with a pattern of its own, and expects to find it again when all are filled.
void expect_disjoint(const std::vector<Storage>& storages) {
    unsigned char pattern = 0;
    for (const Storage& storage : storages) std::memset(storage.begin, pattern++, storage.size);
    pattern = 0;
    for (const Storage& storage : storages) {
        for (std::size_t i = 0; i < storage.size; ++i) ASSERT_EQ(storage.begin[i], pattern);
        ++pattern;
    }
}

TEST(AllocatorOnHeap, storages_of_any_size_are_disjoint) {
    AllocatorOnHeap allocator;
    std::vector<Storage> storages;
    for (std::size_t size = 1; size < 2000; ++size)
        storages.push_back({static_cast<unsigned char*>(allocator.allocate(size)), size});
    expect_disjoint(storages);
}

TEST(AllocatorOnHeap, storages_are_aligned_for_the_objects_of_the_model) {
    constexpr std::size_t alignment = alignof(FunctionRecordProxy);
    static_assert(alignof(FunctionRecord) <= alignment && alignof(EdgeRecord) <= alignment);
    AllocatorOnHeap allocator;
    for (std::size_t size = 1; size < 100; ++size) {
        const auto address = reinterpret_cast<std::uintptr_t>(allocator.allocate(size));
        ASSERT_EQ(address % alignment, 0U) << size;
        allocator.allocate_text(1);
    }
}

TEST(AllocatorOnHeap, storages_larger_than_a_block_stand_between_small_ones) {
    AllocatorOnHeap allocator;
    std::vector<Storage> storages;
    for (const std::size_t size : {8U, 1000000U, 8U, 65536U, 65537U, 262144U, 262145U, 8U})
        storages.push_back({static_cast<unsigned char*>(allocator.allocate(size)), size});
    expect_disjoint(storages);
}

TEST(AllocatorOnHeap, texts_and_objects_are_disjoint) {
    AllocatorOnHeap allocator;
    std::vector<Storage> storages;
    for (std::size_t size = 1; size < 1000; ++size) {
        storages.push_back({static_cast<unsigned char*>(allocator.allocate(size)), size});
        storages.push_back({reinterpret_cast<unsigned char*>(allocator.allocate_text(size)), size});
    }
    expect_disjoint(storages);
}

TEST(AllocatorOnHeap, long_texts_stand_between_short_ones) {
    AllocatorOnHeap allocator;
    std::vector<Storage> storages;
    for (const std::size_t size : {3U, 1000000U, 5U, 65536U, 65537U, 262144U, 262145U, 1U})
        storages.push_back({reinterpret_cast<unsigned char*>(allocator.allocate_text(size)), size});
    expect_disjoint(storages);
}

TEST(AllocatorOnHeap, a_release_leaves_the_other_storages_alone) {
    AllocatorOnHeap allocator;
    void* const released = allocator.allocate(64);
    auto* const kept = static_cast<unsigned char*>(allocator.allocate(64));
    std::memset(kept, 7, 64);
    allocator.release(released, 64);
    for (int i = 0; i < 64; ++i) EXPECT_EQ(kept[i], 7);
}

}  // namespace
}  // namespace hotpath
