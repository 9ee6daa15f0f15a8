#include "diag/checked_memory.h"

#include <cstdint>
#include <cstdlib>

#include "diag/reporter.h"

namespace diag {
namespace {

// The message shows the low part of the size alone.
[[noreturn]] void report_no_block(std::size_t size) {
    report_fatal(PT_out_of_memory, static_cast<std::int32_t>(static_cast<std::uint32_t>(size)));
}

// The C library may answer a request for nothing with nothing, which is no failure.
std::size_t at_least_one(std::size_t size) { return size == 0 ? 1 : size; }

}  // namespace

void* checked_malloc(std::size_t size) {
    void* const block = std::malloc(at_least_one(size));
    if (block == nullptr) report_no_block(size);
    return block;
}

void* checked_realloc(void* block, std::size_t size) {
    void* const resized = std::realloc(block, at_least_one(size));
    if (resized == nullptr) report_no_block(size);
    return resized;
}

}  // namespace diag
