// An allocator for `FunctionRecordFactoryImpl` that knows what was made and what was given back.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <map>
#include <new>
#include <vector>

#include "hotpath/model/function_record_factory_impl.h"
#include "hotpath/model/hotpath_allocator.h"

namespace test_support {

// What the one living allocator did.
struct StorageLog {
    std::map<const void*, std::size_t> live;   // sizes of what was allocated and not released
    std::vector<std::size_t> released;         // sizes in the order of release
    std::vector<const void*> released_places;  // likewise; nothing is there any more
    std::size_t allocations = 0;

    std::size_t live_of_size(std::size_t size) const {
        return static_cast<std::size_t>(std::count_if(
            live.begin(), live.end(), [=](const auto& entry) { return entry.second == size; }));
    }
    std::size_t released_of_size(std::size_t size) const {
        return static_cast<std::size_t>(std::count(released.begin(), released.end(), size));
    }
};

// Each object comes from the heap by itself, so that a sanitizer sees a use after its release. A
// second release of one object, or a release with another size, fails the test.
class TrackingAllocator {
public:
    TrackingAllocator() { log() = {}; }
    TrackingAllocator(const TrackingAllocator&) = delete;
    TrackingAllocator& operator=(const TrackingAllocator&) = delete;
    ~TrackingAllocator() {
        for (const auto& entry : log().live) ::operator delete(const_cast<void*>(entry.first));
    }

    static StorageLog& log() {
        static StorageLog the_log;
        return the_log;
    }

    void* allocate(std::size_t size) {
        void* const storage = ::operator new(size);
        log().live[storage] = size;
        ++log().allocations;
        return storage;
    }
    void release(void* storage, std::size_t size) {
        const auto entry = log().live.find(storage);
        ASSERT_NE(entry, log().live.end()) << "released what isn't there";
        EXPECT_EQ(entry->second, size);
        log().live.erase(entry);
        log().released.push_back(size);
        log().released_places.push_back(storage);
        ::operator delete(storage);
    }
};

using TrackingFactory = hotpath::FunctionRecordFactoryImpl<TrackingAllocator>;
using HeapFactory = hotpath::FunctionRecordFactoryImpl<hotpath::AllocatorOnHeap>;

}  // namespace test_support
