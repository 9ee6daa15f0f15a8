#include "diag/checked_memory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>

#include "support/address_sanitizer.h"

namespace diag {
namespace {

using testing::Eq;
using testing::ExitedWithCode;

// What a program that ran out of memory printed. The sanitizer puts a warning of its own in front.
testing::Matcher<const std::string&> last_words(const std::string& line) {
    if (UNDER_ADDRESS_SANITIZER) return testing::EndsWith(line);
    return Eq(line);
}

TEST(CheckedMalloc, gives_a_block_of_the_size) {
    void* const block = checked_malloc(100);
    ASSERT_NE(block, nullptr);
    std::memset(block, 'x', 100);
    std::free(block);
}

TEST(CheckedMalloc, gives_a_block_for_nothing_too) {
    void* const block = checked_malloc(0);
    EXPECT_NE(block, nullptr);
    std::free(block);
}

TEST(CheckedMallocDeathTest, size_that_cannot_be_had_ends_the_program) {
    EXPECT_EXIT((void)checked_malloc(0x4000000000000005), ExitedWithCode(1),
                last_words("error #30072: Out of memory, trying to allocate 5.\n"));
}

TEST(CheckedMallocDeathTest, size_above_31_bits_shows_as_its_low_part_with_its_sign) {
    EXPECT_EXIT((void)checked_malloc(0x400000007FFFFFFF), ExitedWithCode(1),
                last_words("error #30072: Out of memory, trying to allocate 2147483647.\n"));
    EXPECT_EXIT((void)checked_malloc(0x4000000080000000), ExitedWithCode(1),
                last_words("error #30072: Out of memory, trying to allocate -2147483648.\n"));
    EXPECT_EXIT((void)checked_malloc(std::numeric_limits<std::size_t>::max()), ExitedWithCode(1),
                last_words("error #30072: Out of memory, trying to allocate -1.\n"));
}

TEST(CheckedRealloc, keeps_what_the_block_held) {
    auto* block = static_cast<char*>(checked_malloc(4));
    std::memcpy(block, "abc", 4);
    block = static_cast<char*>(checked_realloc(block, 10000));
    EXPECT_STREQ(block, "abc");
    std::free(block);
}

TEST(CheckedRealloc, of_no_block_gives_a_new_one) {
    void* const block = checked_realloc(nullptr, 16);
    ASSERT_NE(block, nullptr);
    std::memset(block, 'x', 16);
    std::free(block);
}

TEST(CheckedRealloc, gives_a_block_for_nothing_too) {
    void* const block = checked_realloc(checked_malloc(16), 0);
    EXPECT_NE(block, nullptr);
    std::free(block);
}

TEST(CheckedReallocDeathTest, size_that_cannot_be_had_ends_the_program) {
    void* const block = checked_malloc(16);
    EXPECT_EXIT((void)checked_realloc(block, 0x4000000080000001), ExitedWithCode(1),
                last_words("error #30072: Out of memory, trying to allocate -2147483647.\n"));
    std::free(block);
}

}  // namespace
}  // namespace diag
