#include "hotpath/readers/address_set.h"

#include <gtest/gtest.h>

#include <set>

#include "support/random_text.h"

namespace hotpath {
namespace {

TEST(AddressSet, is_empty_at_first) {
    const AddressSet addresses;
    EXPECT_FALSE(addresses.contains(0));
    EXPECT_FALSE(addresses.contains(0xFFFFFFFFFFFFFFFF));
}

TEST(AddressSet, contains_what_was_inserted) {
    AddressSet addresses;
    addresses.insert(0);
    addresses.insert(0xFFFFFFFFFFFFFFFF);
    addresses.insert(0x401000);
    addresses.insert(0x401000);
    EXPECT_TRUE(addresses.contains(0));
    EXPECT_TRUE(addresses.contains(0xFFFFFFFFFFFFFFFF));
    EXPECT_TRUE(addresses.contains(0x401000));
    EXPECT_FALSE(addresses.contains(0x401001));
}

TEST(AddressSet, contains_what_an_ordered_set_contains) {
    test_support::RandomText random(10);
    AddressSet addresses;
    std::set<std::uint64_t> expected;
    for (int i = 0; i < 50000; ++i) {
        const std::uint64_t address = random.below(20000) << random.below(40);
        addresses.insert(address);
        expected.insert(address);
        const std::uint64_t other = random.below(20000) << random.below(40);
        ASSERT_EQ(addresses.contains(other), expected.count(other) == 1) << other;
    }
    for (const std::uint64_t address : expected) ASSERT_TRUE(addresses.contains(address));
}

}  // namespace
}  // namespace hotpath
