#include "hotpath/model/index_table.h"

#include <gtest/gtest.h>

#include <unordered_map>
#include <vector>

#include "hotpath/model/hashing.h"
#include "support/random_text.h"

namespace hotpath {
namespace {

constexpr auto always = [](std::uint32_t) { return true; };

// A table over an array of numbers, beside a map that knows what it must hold.
class CheckedTable {
public:
    using Hash = std::uint64_t (*)(std::uint64_t);
    explicit CheckedTable(Hash hash) : hash_(hash) {}

    void insert_if_new(std::uint64_t key) {
        if (!places_.emplace(key, static_cast<std::uint32_t>(keys_.size())).second) return;
        table_.insert(hash_(key), static_cast<std::uint32_t>(keys_.size()));
        keys_.push_back(key);
    }
    void expect_find(std::uint64_t key) const {
        const auto known = places_.find(key);
        const std::uint32_t expected = known == places_.end() ? IndexTable::none : known->second;
        ASSERT_EQ(
            table_.find(hash_(key), [&](std::uint32_t place) { return keys_.at(place) == key; }),
            expected)
            << key;
    }
    void clear() {
        table_.clear();
        keys_.clear();
        places_.clear();
    }
    bool is_empty() const { return table_.is_empty(); }

private:
    Hash hash_;
    IndexTable table_;
    std::vector<std::uint64_t> keys_;
    std::unordered_map<std::uint64_t, std::uint32_t> places_;
};

void run_random_operations(CheckedTable& table, std::uint64_t seed, int operations,
                           std::size_t keys) {
    test_support::RandomText random(seed);
    for (int i = 0; i < operations; ++i) {
        table.insert_if_new(random.below(keys));
        ASSERT_NO_FATAL_FAILURE(table.expect_find(random.below(keys)));
    }
    for (std::uint64_t key = 0; key < keys; ++key) ASSERT_NO_FATAL_FAILURE(table.expect_find(key));
}

TEST(IndexTable, is_empty_at_first_and_finds_nothing) {
    const IndexTable table;
    EXPECT_TRUE(table.is_empty());
    EXPECT_EQ(table.find(0, always), IndexTable::none);
}

TEST(IndexTable, finds_what_was_inserted) {
    IndexTable table;
    table.insert(hash_number(1), 7);
    EXPECT_FALSE(table.is_empty());
    EXPECT_EQ(table.find(hash_number(1), always), 7U);
    EXPECT_EQ(table.find(hash_number(2), always), IndexTable::none);
}

TEST(IndexTable, the_caller_decides_between_equal_hashes) {
    IndexTable table;
    table.insert(5, 1);
    table.insert(5, 2);
    EXPECT_EQ(table.find(5, [](std::uint32_t place) { return place == 2; }), 2U);
    EXPECT_EQ(table.find(5, [](std::uint32_t) { return false; }), IndexTable::none);
}

TEST(IndexTable, place_0_and_the_highest_place_are_places) {
    IndexTable table;
    table.insert(hash_number(1), 0);
    table.insert(hash_number(2), 0xFFFFFFFE);
    EXPECT_EQ(table.find(hash_number(1), always), 0U);
    EXPECT_EQ(table.find(hash_number(2), always), 0xFFFFFFFEU);
}

TEST(IndexTable, holds_what_a_map_holds_while_it_grows) {
    CheckedTable table(hash_number);
    run_random_operations(table, 4, 100000, 30000);
}

TEST(IndexTable, holds_what_a_map_holds_where_hashes_collide) {
    CheckedTable table([](std::uint64_t key) { return (key % 7) << 32; });
    run_random_operations(table, 5, 2000, 500);
}

TEST(IndexTable, holds_what_a_map_holds_where_slots_wrap_around) {
    CheckedTable table([](std::uint64_t key) { return ~(key % 3 << 32); });
    run_random_operations(table, 6, 2000, 300);
}

TEST(IndexTable, keeps_every_place_at_every_size) {
    CheckedTable table(hash_number);
    for (std::uint64_t size = 0; size < 300; ++size) {
        table.insert_if_new(size);
        for (std::uint64_t key = 0; key <= size + 1; ++key)
            ASSERT_NO_FATAL_FAILURE(table.expect_find(key));
    }
}

TEST(IndexTable, the_likely_place_is_where_the_search_begins) {
    IndexTable table;
    EXPECT_EQ(table.likely_place(0), IndexTable::none);
    table.insert(hash_number(1), 7);
    EXPECT_EQ(table.likely_place(hash_number(1)), 7U);
    EXPECT_EQ(table.likely_place(hash_number(2)), IndexTable::none);
}

TEST(IndexTable, an_empty_slot_is_no_likely_place) {
    IndexTable table;
    table.insert(std::uint64_t{1} << 32, 7);
    // An empty slot looks like this hash.
    EXPECT_EQ(table.likely_place(0), IndexTable::none);
}

TEST(IndexTable, a_prefetch_changes_nothing) {
    IndexTable table;
    table.prefetch_slot(hash_number(1));
    EXPECT_TRUE(table.is_empty());
    table.insert(hash_number(1), 7);
    table.prefetch_slot(hash_number(1));
    table.prefetch_slot(hash_number(2));
    EXPECT_EQ(table.find(hash_number(1), always), 7U);
    EXPECT_EQ(table.find(hash_number(2), always), IndexTable::none);
}

TEST(IndexTable, clear_forgets_everything_and_the_table_serves_on) {
    CheckedTable table(hash_number);
    for (std::uint64_t key = 0; key < 100; ++key) table.insert_if_new(key);
    table.clear();
    EXPECT_TRUE(table.is_empty());
    table.expect_find(5);
    run_random_operations(table, 7, 1000, 100);
}

}  // namespace
}  // namespace hotpath
