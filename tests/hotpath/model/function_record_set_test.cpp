#include "hotpath/model/function_record_set.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "support/profile_text.h"
#include "support/random_text.h"
#include "support/tracking_allocator.h"

namespace hotpath {
namespace {

using test_support::profile_text;
using test_support::TrackingAllocator;
using Sizes = std::vector<std::size_t>;

// An empty set, and the factory behind it.
class FunctionRecordSetTest : public testing::Test {
protected:
    std::vector<std::string> keys() const {
        std::vector<std::string> result;
        for (const FunctionRecordInterface* record : set.records_by_key())
            result.push_back(test_support::joined_text(*record));
        return result;
    }

    test_support::TrackingFactory factory;
    FunctionRecordSet set{factory};
};

using Keys = std::vector<std::string>;

TEST_F(FunctionRecordSetTest, is_empty_at_first_and_iterates_nothing) {
    EXPECT_TRUE(set.is_empty());
    EXPECT_EQ(set.size(), 0U);
    EXPECT_EQ(set.num_runs(), 0U);
    EXPECT_EQ(keys(), Keys{});
    EXPECT_EQ(&set.factory(), &factory);
}

TEST_F(FunctionRecordSetTest, runs_add_up_and_wrap_at_32_bits) {
    set.add_runs(3);
    set.add_runs(4);
    EXPECT_EQ(set.num_runs(), 7U);
    set.add_runs(0xFFFFFFFF);
    EXPECT_EQ(set.num_runs(), 6U);
}

TEST_F(FunctionRecordSetTest, numbers_inputs_from_1) {
    EXPECT_EQ(set.next_input(), 1U);
    EXPECT_EQ(set.next_input(), 2U);
}

TEST_F(FunctionRecordSetTest, a_record_is_made_at_its_first_sighting) {
    FunctionRecord* const record = set.find_or_create_record("A.C", "f");
    EXPECT_EQ(set.find_or_create_record("A.C", "f"), record);
    EXPECT_FALSE(set.is_empty());
    EXPECT_EQ(profile_text(set), "f in A.C x0 flags 0\n");
}

TEST_F(FunctionRecordSetTest, file_names_differ_in_more_than_case) {
    FunctionRecord* const record = set.find_or_create_record("foo.c", "f");
    EXPECT_EQ(set.find_or_create_record("FOO.C", "f"), record);
    EXPECT_EQ(set.find_or_create_record("Foo.c", "f"), record);
    EXPECT_EQ(set.size(), 1U);
    EXPECT_EQ(record->get_file_name(), "FOO.C");
}

TEST_F(FunctionRecordSetTest, function_names_differ_in_case) {
    EXPECT_NE(set.find_or_create_record("foo.c", "F"), set.find_or_create_record("foo.c", "f"));
    EXPECT_EQ(keys(), (Keys{"F/FOO.C", "f/FOO.C"}));
}

TEST_F(FunctionRecordSetTest, only_the_26_letters_are_folded) {
    std::string file;
    for (int byte = 1; byte < 256; ++byte) file += static_cast<char>(byte);
    std::string folded = file;
    for (char& c : folded)
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 32);
    EXPECT_EQ(set.find_or_create_record(file, "f")->get_file_name(), folded);
}

TEST_F(FunctionRecordSetTest, names_can_be_empty) {
    FunctionRecord* const record = set.find_or_create_record("", "");
    EXPECT_EQ(set.find_or_create_record("", ""), record);
    EXPECT_EQ(record->get_file_name(), "");
    EXPECT_EQ(record->get_function_name(), "");
    EXPECT_EQ(keys(), Keys{"/"});
}

TEST_F(FunctionRecordSetTest, the_order_is_that_of_the_joined_texts) {
    set.find_or_create_record("A.C", "f0");
    set.find_or_create_record("A.C", "f");
    set.find_or_create_record("A.C", "f$");
    set.find_or_create_record("B.C", "e");
    set.find_or_create_record("A.C", "\xC3\xA4");
    set.find_or_create_record("A.C", "z");
    set.find_or_create_record("", "f");
    // "$" stands before "/", which stands before the digits; bytes are unsigned.
    EXPECT_EQ(keys(), (Keys{"e/B.C", "f$/A.C", "f/", "f/A.C", "f0/A.C", "z/A.C", "\xC3\xA4/A.C"}));
}

TEST_F(FunctionRecordSetTest, two_cuts_of_one_joined_text_are_one_record_with_the_first_names) {
    FunctionRecord* const record = set.find_or_create_record("c", "a/B");
    EXPECT_EQ(set.find_or_create_record("b/c", "a"), record);
    EXPECT_EQ(set.size(), 1U);
    EXPECT_EQ(record->get_function_name(), "a/B");
    EXPECT_EQ(record->get_file_name(), "C");
}

TEST_F(FunctionRecordSetTest, a_file_name_is_folded_and_shared) {
    const FileName& file = set.file_name("Dir/a.c");
    EXPECT_EQ(file.text, "DIR/A.C");
    EXPECT_EQ(&set.file_name("DIR/A.C"), &file);
    FunctionRecord* const record = set.find_or_create_record(file, "f");
    EXPECT_EQ(&record->key().file(), &file);
    EXPECT_EQ(set.find_or_create_record("dir/A.c", "f"), record);
    EXPECT_EQ(set.find_record(file, "f"), record);
    EXPECT_EQ(set.find_record(file, "g"), nullptr);
    EXPECT_EQ(set.find_record(set.file_name(""), "f"), record);
    EXPECT_TRUE(set.holds_key(file, "f"));
}

TEST_F(FunctionRecordSetTest, find_gives_the_record_of_both_names) {
    FunctionRecord* const in_a = set.find_or_create_record("a.c", "f");
    FunctionRecord* const in_b = set.find_or_create_record("b.c", "f");
    EXPECT_EQ(set.find_record("A.C", "f"), in_a);
    EXPECT_EQ(set.find_record("B.C", "f"), in_b);
    EXPECT_EQ(set.find_record("C.C", "f"), nullptr);
    EXPECT_EQ(set.find_record("A.C", "g"), nullptr);
    EXPECT_EQ(set.size(), 2U);
}

TEST_F(FunctionRecordSetTest, find_folds_no_file_name) {
    set.find_or_create_record("foo.c", "f");
    EXPECT_EQ(set.find_record("foo.c", "f"), nullptr);
    EXPECT_NE(set.find_record("FOO.C", "f"), nullptr);
}

TEST_F(FunctionRecordSetTest, find_without_a_file_gives_the_first_of_the_name) {
    FunctionRecord* const first = set.find_or_create_record("z.c", "f");
    set.find_or_create_record("a.c", "f");
    set.find_or_create_record("", "f");
    EXPECT_EQ(set.find_record("", "f"), first);
    EXPECT_EQ(set.find_record("", "g"), nullptr);
}

TEST_F(FunctionRecordSetTest, find_without_a_file_follows_a_growing_set) {
    EXPECT_EQ(set.find_record("", "f"), nullptr);
    FunctionRecord* const f = set.find_or_create_record("z.c", "f");
    EXPECT_EQ(set.find_record("", "f"), f);
    EXPECT_EQ(set.find_record("", "g"), nullptr);
    FunctionRecord* const g = set.find_or_create_record("a.c", "g");
    set.find_or_create_record("a.c", "f");
    EXPECT_EQ(set.find_record("", "f"), f);
    EXPECT_EQ(set.find_record("", "g"), g);
}

TEST_F(FunctionRecordSetTest, find_compares_the_names_and_not_the_joined_text) {
    FunctionRecord* const record = set.find_or_create_record("c", "a/B");
    EXPECT_EQ(set.find_record("C", "a/B"), record);
    EXPECT_EQ(set.find_record("B/C", "a"), nullptr);
    EXPECT_EQ(set.find_record("", "a"), nullptr);
    EXPECT_EQ(set.find_record("", "a/B"), record);
}

TEST_F(FunctionRecordSetTest, find_with_the_other_cut_seen_second_finds_nothing_either) {
    FunctionRecord* const record = set.find_or_create_record("b/c", "a");
    set.find_or_create_record("c", "a/B");
    EXPECT_EQ(set.find_record("C", "a/B"), nullptr);
    EXPECT_EQ(set.find_record("", "a/B"), nullptr);
    EXPECT_EQ(set.find_record("B/C", "a"), record);
}

TEST_F(FunctionRecordSetTest, holds_a_key_whatever_its_cut) {
    set.find_or_create_record("c", "a/B");
    EXPECT_TRUE(set.holds_key("c", "a/B"));
    EXPECT_TRUE(set.holds_key("C", "a/B"));
    EXPECT_TRUE(set.holds_key("b/c", "a"));
    EXPECT_FALSE(set.holds_key("c", "a/b"));
    EXPECT_FALSE(set.holds_key("", "a/B"));
    EXPECT_EQ(set.size(), 1U);
}

TEST_F(FunctionRecordSetTest, a_proxy_is_made_at_its_first_sighting_and_keeps_its_id) {
    FunctionRecordProxy* const proxy = set.find_or_create_proxy("a.c", "f", nullptr, 5);
    EXPECT_EQ(set.find_or_create_proxy("A.C", "f", nullptr, 6), proxy);
    EXPECT_EQ(proxy->function_id(), 5U);
    EXPECT_EQ(proxy->get_file_name(), "A.C");
    EXPECT_EQ(set.size(), 1U);
}

TEST_F(FunctionRecordSetTest, the_last_rows_count_and_the_first_rows_id_stand_together) {
    set.find_or_create_proxy("a.c", "f", nullptr, 5)->set_exec_count(10);
    set.find_or_create_proxy("a.c", "f", nullptr, 6)->set_exec_count(20);
    const FunctionRecordInterface* const record = set.records_by_key().front();
    EXPECT_EQ(record->get_exec_count(), 20U);
    EXPECT_EQ(static_cast<const FunctionRecordProxy*>(record)->function_id(), 5U);
}

TEST_F(FunctionRecordSetTest, a_proxy_leaves_its_key_to_the_record_that_has_it) {
    FunctionRecord* const record = set.find_or_create_record("a.c", "f");
    const FunctionRecordProxy* const proxy = set.find_or_create_proxy("a.c", "f", nullptr, 5);
    EXPECT_EQ(proxy->function_id(), 5U);
    EXPECT_EQ(set.size(), 1U);
    EXPECT_EQ(set.records_by_key(), std::vector<FunctionRecordInterface*>{record});
    EXPECT_EQ(set.find_record("A.C", "f"), record);
    EXPECT_EQ(set.find_record("", "f"), record);
    EXPECT_NE(set.find_or_create_proxy("a.c", "f", nullptr, 6), proxy);
}

TEST_F(FunctionRecordSetTest, a_taken_key_keeps_its_record_however_the_set_grows) {
    FunctionRecord* const record = set.find_or_create_record("a.c", "f");
    set.find_or_create_proxy("a.c", "f", nullptr, 5);
    for (int i = 0; i < 1000; ++i) {
        set.find_or_create_record("a.c", std::to_string(i));
        ASSERT_EQ(set.find_or_create_record("a.c", "f"), record);
        ASSERT_EQ(set.find_record("A.C", "f"), record);
    }
    EXPECT_EQ(set.size(), 1001U);
    EXPECT_EQ(set.records_by_key().size(), 1001U);
}

// A second set, whose records say which proxies `set` is to have.
class WantedProxyTest : public FunctionRecordSetTest {
protected:
    FunctionRecordProxy* proxy(const char* file, const char* function) {
        return set.find_or_create_wanted_proxy(file, function, nullptr, 5, wanted);
    }

    FunctionRecordSet wanted{factory};
};

TEST_F(WantedProxyTest, a_function_that_the_other_set_names_gets_a_proxy) {
    wanted.find_or_create_record("a.c", "f");
    FunctionRecordProxy* const made = proxy("A.c", "f");
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(made->function_id(), 5U);
    EXPECT_EQ(made->get_file_name(), "A.C");
    EXPECT_EQ(proxy("a.c", "f"), made);
    EXPECT_EQ(set.size(), 1U);
}

TEST_F(WantedProxyTest, any_other_function_gets_none) {
    wanted.find_or_create_record("a.c", "f");
    EXPECT_EQ(proxy("a.c", "g"), nullptr);
    EXPECT_EQ(proxy("b.c", "f"), nullptr);
    EXPECT_EQ(proxy("", "f"), nullptr);
    EXPECT_TRUE(set.is_empty());
}

TEST_F(WantedProxyTest, a_record_without_a_file_name_wants_its_function_of_each_file) {
    wanted.find_or_create_record("", "f");
    EXPECT_NE(proxy("a.c", "f"), nullptr);
    EXPECT_NE(proxy("DIR/B.C", "f"), nullptr);
    EXPECT_NE(proxy("", "f"), nullptr);
    EXPECT_EQ(proxy("a.c", "ff"), nullptr);
    EXPECT_EQ(proxy("f/a.c", "g"), nullptr);
}

TEST_F(WantedProxyTest, a_wanted_function_name_with_slashes_is_found_in_each_file) {
    wanted.find_or_create_record("", "a/B/c");
    EXPECT_NE(proxy("D.C", "a/B/c"), nullptr);
    EXPECT_NE(proxy("", "a/B/c"), nullptr);
    EXPECT_EQ(proxy("a/B/c", "g"), nullptr);
}

// Two functions of one joined text are one record, so both are wanted or neither.
TEST_F(WantedProxyTest, each_cut_of_a_wanted_text_is_wanted) {
    wanted.find_or_create_record("", "a/B");
    EXPECT_NE(proxy("C.C", "a/B"), nullptr);
    EXPECT_NE(proxy("B/C.C", "a"), nullptr);
    EXPECT_EQ(set.size(), 1U);
}

// The test looks at no clock: a search for each of the slashes would run for minutes.
TEST_F(WantedProxyTest, a_megabyte_of_slashes_costs_no_search_for_each) {
    wanted.find_or_create_record("", "f");
    const std::string slashes(1000000, '/');
    EXPECT_EQ(proxy(slashes.c_str(), "g"), nullptr);
    EXPECT_EQ(proxy("a.c", slashes.c_str()), nullptr);
    EXPECT_NE(proxy(slashes.c_str(), "f"), nullptr);
}

TEST_F(WantedProxyTest, a_function_of_the_same_key_stands_in_the_wanted_ones_place) {
    wanted.find_or_create_record("", "a");
    FunctionRecordProxy* const first = proxy("C", "a/B");
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(proxy("B/C", "a"), first);
    EXPECT_EQ(first->get_function_name(), "a/B");
}

TEST_F(FunctionRecordSetTest, thousands_of_records_are_found_and_sorted) {
    test_support::RandomText random(8);
    std::map<std::string, FunctionRecord*> expected;
    for (int i = 0; i < 5000; ++i) {
        const std::string name = random.of("ab$0", 5);
        const std::string file = random.of("AB", 3);
        FunctionRecord* const record = set.find_or_create_record(file, name);
        ASSERT_EQ(expected.emplace(name + "/" + file, record).first->second, record);
    }
    std::vector<FunctionRecordInterface*> sorted;
    for (const auto& entry : expected) sorted.push_back(entry.second);
    EXPECT_EQ(set.records_by_key(), sorted);
}

// Counts how many of its kind are there.
class CountedState final : public ReaderState {
public:
    explicit CountedState(int& count) : count_(count) { ++count_; }
    ~CountedState() override { --count_; }

private:
    int& count_;
};

TEST(FunctionRecordSet, owns_the_reader_state_that_it_was_given) {
    int count = 0;
    test_support::HeapFactory factory;
    {
        FunctionRecordSet set(factory);
        EXPECT_EQ(set.reader_state(), nullptr);
        set.own_reader_state(std::make_unique<CountedState>(count));
        EXPECT_NE(set.reader_state(), nullptr);
        EXPECT_EQ(count, 1);
    }
    EXPECT_EQ(count, 0);
}

TEST(FunctionRecordSet, its_end_releases_each_edge_and_each_record_once) {
    test_support::TrackingFactory factory;
    {
        FunctionRecordSet set(factory);
        FunctionRecord* const record = set.find_or_create_record("a.c", "f");
        record->add_edge(1, {}, 2, {}, 3, factory);
        record->add_edge(2, {}, 2, {}, 3, factory);
        record->add_call("g", 1, 0, 1);
        EXPECT_TRUE(TrackingAllocator::log().released.empty());
    }
    EXPECT_EQ(TrackingAllocator::log().released,
              (Sizes{sizeof(EdgeRecord), sizeof(EdgeRecord), sizeof(FunctionRecord)}));
    EXPECT_TRUE(TrackingAllocator::log().live.empty());
}

TEST(FunctionRecordSet, its_end_walks_in_the_order_of_the_keys) {
    test_support::TrackingFactory factory;
    std::vector<const void*> expected;
    {
        FunctionRecordSet set(factory);
        FunctionRecord* const z = set.find_or_create_record("a.c", "z");
        FunctionRecord* const f_in_b = set.find_or_create_record("b.c", "f");
        FunctionRecord* const f_in_a = set.find_or_create_record("a.c", "f");
        const FunctionRecordProxy* const in_no_key =
            set.find_or_create_proxy("b.c", "f", nullptr, 1);
        EXPECT_EQ(in_no_key->function_id(), 1U);
        expected = {f_in_a, f_in_b, z};
    }
    EXPECT_EQ(TrackingAllocator::log().released_places, expected);
}

TEST(FunctionRecordSet, its_end_releases_proxies_with_their_size_and_loads_none) {
    test_support::TrackingFactory factory;
    {
        FunctionRecordSet set(factory);
        set.find_or_create_proxy("a.c", "f", nullptr, 1);
        set.find_or_create_proxy("a.c", "g", nullptr, 2);
    }
    EXPECT_EQ(TrackingAllocator::log().allocations, 2U);
    EXPECT_EQ(TrackingAllocator::log().released,
              (Sizes{sizeof(FunctionRecordProxy), sizeof(FunctionRecordProxy)}));
}

}  // namespace
}  // namespace hotpath
