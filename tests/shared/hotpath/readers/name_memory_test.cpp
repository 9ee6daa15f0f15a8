#include "shared/hotpath/readers/name_memory.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "support/profile_text.h"
#include "support/tracking_allocator.h"

namespace hotpath {
namespace {

// A memory over an empty set.
class NameMemoryTest : public testing::Test {
protected:
    std::uint32_t find(std::string_view file, std::string_view raw_name) {
        return names.find(NameMemory::hash(file, raw_name), file, raw_name);
    }

    test_support::HeapFactory factory;
    FunctionRecordSet set{factory};
    NameMemory names{set};
};

TEST_F(NameMemoryTest, makes_no_record_by_itself) {
    names.add_exec_counts();
    EXPECT_TRUE(set.is_empty());
}

TEST_F(NameMemoryTest, the_first_sighting_makes_the_record) {
    const RememberedName& name = names[find("a.c", "f")];
    EXPECT_EQ(name.raw, "f");
    EXPECT_EQ(name.name, "f");
    EXPECT_EQ(name.record, set.find_record("A.C", "f"));
    EXPECT_EQ(test_support::profile_text(set), "f in A.C x0 flags 0\n");
}

TEST_F(NameMemoryTest, a_record_that_is_there_is_found) {
    FunctionRecord* const record = set.find_or_create_record("A.C", "f");
    EXPECT_EQ(names[find("a.c", "f")].record, record);
    EXPECT_EQ(set.size(), 1U);
}

TEST_F(NameMemoryTest, equal_texts_have_one_place) {
    const std::uint32_t f = find("a.c", "f");
    const std::uint32_t g = find("a.c", "g");
    EXPECT_NE(f, g);
    EXPECT_EQ(find("a.c", "f"), f);
    EXPECT_EQ(find("a.c", "f"), f);
    EXPECT_EQ(find("a.c", "g"), g);
}

TEST_F(NameMemoryTest, texts_are_copied) {
    std::string file = "a.c";
    std::string raw = "f.1";
    const std::uint32_t place = find(file, raw);
    file = "b.c";
    raw = "g.2";
    EXPECT_EQ(names[place].raw, "f.1");
    EXPECT_EQ(names[place].name, "f");
    EXPECT_EQ(find("a.c", "f.1"), place);
}

TEST_F(NameMemoryTest, names_go_through_all_three_stages) {
    EXPECT_EQ(names[find("a.c", "L_main_23__par_region0_2.1")].name, "main");
    EXPECT_EQ(names[find("a.c", "foo.a.123.bar")].name, "foobar");
    EXPECT_EQ(names[find("a.c", "__N_10_src_main_c_Helper")].name, "(anon ns)_Helper");
    EXPECT_EQ(names[find("a.c", "plain")].name, "plain");
}

TEST_F(NameMemoryTest, raw_names_that_rewrite_to_one_name_share_record_and_totals) {
    const std::uint32_t first = find("a.c", "f.1");
    const std::uint32_t second = find("a.c", "f.2");
    EXPECT_NE(first, second);
    EXPECT_EQ(names[first].record, names[second].record);
    EXPECT_EQ(&names.totals_of(first), &names.totals_of(second));
}

TEST_F(NameMemoryTest, spellings_of_one_file_share_the_record_but_not_the_totals) {
    const std::uint32_t lower = find("a.c", "f");
    const std::uint32_t upper = find("A.C", "f");
    EXPECT_EQ(names[lower].record, names[upper].record);
    EXPECT_NE(&names.totals_of(lower), &names.totals_of(upper));
}

TEST_F(NameMemoryTest, one_name_in_two_files_is_two_functions) {
    const std::uint32_t in_a = find("a.c", "f");
    const std::uint32_t in_b = find("b.c", "f");
    EXPECT_NE(names[in_a].record, names[in_b].record);
}

TEST_F(NameMemoryTest, totals_begin_at_0_and_belong_to_the_record) {
    const std::uint32_t place = find("a.c", "f");
    const FunctionTotals& totals = names.totals_of(place);
    EXPECT_EQ(totals.called_in, 0U);
    EXPECT_EQ(totals.entry_hits, 0U);
    EXPECT_EQ(totals.returned, 0U);
    EXPECT_EQ(totals.record, names[place].record);
}

TEST_F(NameMemoryTest, the_largest_total_of_each_function_counts) {
    const std::uint32_t f = find("a.c", "f");
    const std::uint32_t g = find("a.c", "g");
    const std::uint32_t h = find("a.c", "h");
    names.totals_of(f).called_in = 3;
    names.totals_of(f).entry_hits = 2;
    names.totals_of(f).returned = 1;
    names.totals_of(g).entry_hits = 5;
    names.totals_of(g).returned = 4;
    names.totals_of(h).called_in = 6;
    names.totals_of(h).returned = 7;
    names.add_exec_counts();
    EXPECT_EQ(names[f].record->get_exec_count(), 3U);
    EXPECT_EQ(names[g].record->get_exec_count(), 5U);
    EXPECT_EQ(names[h].record->get_exec_count(), 7U);
}

TEST_F(NameMemoryTest, totals_of_two_spellings_are_added) {
    names.totals_of(find("a.c", "f")).called_in = 3;
    names.totals_of(find("A.C", "f")).returned = 5;
    names.add_exec_counts();
    EXPECT_EQ(set.find_record("A.C", "f")->get_exec_count(), 8U);
}

TEST_F(NameMemoryTest, each_file_begins_with_totals_of_0) {
    const std::uint32_t f = find("a.c", "f");
    names.totals_of(f).called_in += 3;
    names.add_exec_counts();
    names.add_exec_counts();
    EXPECT_EQ(names[f].record->get_exec_count(), 3U);
    names.totals_of(f).returned += 2;
    names.add_exec_counts();
    EXPECT_EQ(names[f].record->get_exec_count(), 5U);
}

TEST_F(NameMemoryTest, a_set_has_one_memory) {
    NameMemory& memory = NameMemory::of(set);
    EXPECT_EQ(&NameMemory::of(set), &memory);
    FunctionRecordSet other_set(factory);
    EXPECT_NE(&NameMemory::of(other_set), &memory);
}

// The record has the names of the cut that was seen first; a call must still name its own callee.
TEST_F(NameMemoryTest, another_cut_of_one_joined_text_keeps_its_own_name) {
    const std::uint32_t first = find("B/C", "a");
    const std::uint32_t second = find("C", "a/B");
    EXPECT_EQ(names[first].record, names[second].record);
    EXPECT_EQ(names[first].name, "a");
    EXPECT_EQ(names[second].name, "a/B");
    EXPECT_EQ(names[second].record->get_function_name(), "a");
    EXPECT_NE(&names.totals_of(first), &names.totals_of(second));
}

TEST_F(NameMemoryTest, names_can_be_empty) {
    const std::uint32_t place = find("", "");
    EXPECT_EQ(names[place].name, "");
    EXPECT_EQ(find("", ""), place);
    EXPECT_EQ(set.size(), 1U);
}

TEST_F(NameMemoryTest, a_name_that_is_rewritten_to_nothing_is_a_name) {
    EXPECT_EQ(names[find("a.c", ".1")].name, "");
    EXPECT_EQ(test_support::profile_text(set), " in A.C x0 flags 0\n");
}

TEST_F(NameMemoryTest, names_live_longer_than_the_memory) {
    std::string_view name;
    {
        NameMemory other(set);
        name = other[other.find(NameMemory::hash("a.c", "f.1"), "a.c", "f.1")].name;
    }
    EXPECT_EQ(name, "f");
}

TEST_F(NameMemoryTest, equal_hashes_lead_to_no_wrong_place) {
    const std::uint32_t f = names.find(5, "a.c", "f");
    const std::uint32_t g = names.find(5, "a.c", "g");
    const std::uint32_t f_in_b = names.find(5, "b.c", "f");
    EXPECT_EQ(names[f].name, "f");
    EXPECT_EQ(names[g].name, "g");
    EXPECT_NE(names[f_in_b].record, names[f].record);
    EXPECT_EQ(names.find(5, "a.c", "f"), f);
    EXPECT_EQ(names.find(5, "a.c", "g"), g);
    EXPECT_EQ(names.find(5, "b.c", "f"), f_in_b);
}

TEST_F(NameMemoryTest, file_and_name_do_not_hash_into_each_other) {
    EXPECT_NE(NameMemory::hash("a", "b"), NameMemory::hash("b", "a"));
    EXPECT_NE(NameMemory::hash("ab", ""), NameMemory::hash("a", "b"));
    EXPECT_EQ(NameMemory::hash(std::string("a"), "b"), NameMemory::hash("a", "b"));
}

TEST_F(NameMemoryTest, prefetches_make_nothing) {
    const auto prefetch_all = [&](std::uint64_t hash) {
        names.prefetch_slot(hash);
        names.prefetch_place(hash);
        names.prefetch_texts(hash);
    };
    prefetch_all(NameMemory::hash("a.c", "f"));
    find("a.c", std::string(100, 'f'));
    prefetch_all(NameMemory::hash("a.c", "f"));
    prefetch_all(NameMemory::hash("a.c", std::string(100, 'f')));
    EXPECT_EQ(set.size(), 1U);
}

TEST_F(NameMemoryTest, thousands_of_names_keep_their_places) {
    std::map<std::string, std::uint32_t> places;
    for (int round = 0; round < 2; ++round) {
        for (int n = 0; n < 3000; ++n) {
            const std::string file = "file" + std::to_string(n % 7);
            const std::string raw = "name" + std::to_string(n) + "." + std::to_string(n % 3);
            const std::uint32_t place = find(file, raw);
            ASSERT_EQ(places.emplace(file + raw, place).first->second, place);
            ASSERT_EQ(names[place].name, "name" + std::to_string(n));
        }
    }
    EXPECT_EQ(set.size(), 3000U);
}

}  // namespace
}  // namespace hotpath
