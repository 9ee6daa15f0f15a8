#include "hotpath/readers/name_cache.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "diag/trace.h"
#include "support/captured_stderr.h"
#include "support/profile_text.h"
#include "support/tracking_allocator.h"

namespace hotpath {
namespace {

// A cache over an empty set.
class NameCacheTest : public testing::Test {
protected:
    std::uint32_t find(std::string_view file, std::string_view raw_name) {
        return names.find(NameCache::hash(file, raw_name), file, raw_name);
    }

    test_support::HeapFactory factory;
    FunctionRecordSet set{factory};
    NameCache names{set};
};

TEST_F(NameCacheTest, makes_no_record_by_itself) {
    names.totals().add_exec_counts();
    EXPECT_TRUE(set.is_empty());
}

TEST_F(NameCacheTest, the_first_sighting_makes_the_record) {
    const CachedName& name = names[find("a.c", "f")];
    EXPECT_EQ(name.raw, "f");
    EXPECT_EQ(name.name, "f");
    EXPECT_EQ(name.record, set.find_record("A.C", "f"));
    EXPECT_EQ(test_support::profile_text(set), "f in A.C x0 flags 0\n");
}

TEST_F(NameCacheTest, a_record_that_is_there_is_found) {
    FunctionRecord* const record = set.find_or_create_record("A.C", "f");
    EXPECT_EQ(names[find("a.c", "f")].record, record);
    EXPECT_EQ(set.size(), 1U);
}

TEST_F(NameCacheTest, equal_texts_have_one_place) {
    const std::uint32_t f = find("a.c", "f");
    const std::uint32_t g = find("a.c", "g");
    EXPECT_NE(f, g);
    EXPECT_EQ(find("a.c", "f"), f);
    EXPECT_EQ(find("a.c", "f"), f);
    EXPECT_EQ(find("a.c", "g"), g);
}

TEST_F(NameCacheTest, a_name_is_rewritten_once_for_all_files_of_a_run) {
    diag::reader_trace_flags = diag::reader_trace_choice;
    EXPECT_EQ(
        test_support::captured_stderr([&] { find("a.c", "L_main_23__par_region0_2.1"); }),
        "OMP mangled name conversion: Old name = L_main_23__par_region0_2.1. New name = main\n");
    names.totals().add_exec_counts();
    EXPECT_EQ(test_support::captured_stderr([&] { find("a.c", "L_main_23__par_region0_2.1"); }),
              "");
    diag::reader_trace_flags = 0;
}

TEST_F(NameCacheTest, texts_are_copied) {
    std::string file = "a.c";
    std::string raw = "f.1";
    const std::uint32_t place = find(file, raw);
    file = "b.c";
    raw = "g.2";
    EXPECT_EQ(names[place].raw, "f.1");
    EXPECT_EQ(names[place].name, "f");
    EXPECT_EQ(find("a.c", "f.1"), place);
}

TEST_F(NameCacheTest, names_go_through_all_three_stages) {
    EXPECT_EQ(names[find("a.c", "L_main_23__par_region0_2.1")].name, "main");
    EXPECT_EQ(names[find("a.c", "foo.a.123.bar")].name, "foobar");
    EXPECT_EQ(names[find("a.c", "__N_10_src_main_c_Helper")].name, "(anon ns)_Helper");
    EXPECT_EQ(names[find("a.c", "plain")].name, "plain");
}

TEST_F(NameCacheTest, raw_names_that_rewrite_to_one_name_share_record_and_totals) {
    const std::uint32_t first = find("a.c", "f.1");
    const std::uint32_t second = find("a.c", "f.2");
    EXPECT_NE(first, second);
    EXPECT_EQ(names[first].record, names[second].record);
    EXPECT_EQ(&names.totals()[names[first].totals], &names.totals()[names[second].totals]);
}

TEST_F(NameCacheTest, spellings_of_one_file_share_the_record_but_not_the_totals) {
    const std::uint32_t lower = find("a.c", "f");
    const std::uint32_t upper = find("A.C", "f");
    EXPECT_EQ(names[lower].record, names[upper].record);
    EXPECT_NE(&names.totals()[names[lower].totals], &names.totals()[names[upper].totals]);
}

TEST_F(NameCacheTest, one_name_in_two_files_is_two_functions) {
    const std::uint32_t in_a = find("a.c", "f");
    const std::uint32_t in_b = find("b.c", "f");
    EXPECT_NE(names[in_a].record, names[in_b].record);
}

TEST_F(NameCacheTest, totals_begin_at_0_and_belong_to_the_record) {
    const std::uint32_t place = find("a.c", "f");
    const FunctionTotals& totals = names.totals()[names[place].totals];
    EXPECT_EQ(totals.called_in, 0U);
    EXPECT_EQ(totals.entry_hits, 0U);
    EXPECT_EQ(totals.returned, 0U);
    EXPECT_EQ(totals.record, names[place].record);
}

TEST_F(NameCacheTest, the_largest_total_of_each_function_counts) {
    const std::uint32_t f = find("a.c", "f");
    const std::uint32_t g = find("a.c", "g");
    const std::uint32_t h = find("a.c", "h");
    names.totals()[names[f].totals].called_in = 3;
    names.totals()[names[f].totals].entry_hits = 2;
    names.totals()[names[f].totals].returned = 1;
    names.totals()[names[g].totals].entry_hits = 5;
    names.totals()[names[g].totals].returned = 4;
    names.totals()[names[h].totals].called_in = 6;
    names.totals()[names[h].totals].returned = 7;
    names.totals().add_exec_counts();
    EXPECT_EQ(names[f].record->get_exec_count(), 3U);
    EXPECT_EQ(names[g].record->get_exec_count(), 5U);
    EXPECT_EQ(names[h].record->get_exec_count(), 7U);
}

TEST_F(NameCacheTest, totals_of_two_spellings_are_added) {
    names.totals()[names[find("a.c", "f")].totals].called_in = 3;
    names.totals()[names[find("A.C", "f")].totals].returned = 5;
    names.totals().add_exec_counts();
    EXPECT_EQ(set.find_record("A.C", "f")->get_exec_count(), 8U);
}

TEST_F(NameCacheTest, each_file_begins_with_totals_of_0) {
    const std::uint32_t f = find("a.c", "f");
    names.totals()[names[f].totals].called_in += 3;
    names.totals().add_exec_counts();
    names.totals().add_exec_counts();
    EXPECT_EQ(names[f].record->get_exec_count(), 3U);
    names.totals()[names[f].totals].returned += 2;
    names.totals().add_exec_counts();
    EXPECT_EQ(names[f].record->get_exec_count(), 5U);
}

TEST_F(NameCacheTest, a_set_has_one_cache) {
    NameCache& cache = NameCache::of(set);
    EXPECT_EQ(&NameCache::of(set), &cache);
    FunctionRecordSet other_set(factory);
    EXPECT_NE(&NameCache::of(other_set), &cache);
}

// The record has the names of the cut that was seen first; a call must still name its own callee.
TEST_F(NameCacheTest, another_cut_of_one_joined_text_keeps_its_own_name) {
    const std::uint32_t first = find("B/C", "a");
    const std::uint32_t second = find("C", "a/B");
    EXPECT_EQ(names[first].record, names[second].record);
    EXPECT_EQ(names[first].name, "a");
    EXPECT_EQ(names[second].name, "a/B");
    EXPECT_EQ(names[second].record->get_function_name(), "a");
    EXPECT_NE(&names.totals()[names[first].totals], &names.totals()[names[second].totals]);
}

TEST_F(NameCacheTest, names_can_be_empty) {
    const std::uint32_t place = find("", "");
    EXPECT_EQ(names[place].name, "");
    EXPECT_EQ(find("", ""), place);
    EXPECT_EQ(set.size(), 1U);
}

TEST_F(NameCacheTest, a_name_that_is_rewritten_to_nothing_is_a_name) {
    EXPECT_EQ(names[find("a.c", ".1")].name, "");
    EXPECT_EQ(test_support::profile_text(set), " in A.C x0 flags 0\n");
}

TEST_F(NameCacheTest, names_live_longer_than_the_cache) {
    std::string_view name;
    {
        NameCache other(set);
        name = other[other.find(NameCache::hash("a.c", "f.1"), "a.c", "f.1")].name;
    }
    EXPECT_EQ(name, "f");
}

TEST_F(NameCacheTest, equal_hashes_lead_to_no_wrong_place) {
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

TEST_F(NameCacheTest, file_and_name_do_not_hash_into_each_other) {
    EXPECT_NE(NameCache::hash("a", "b"), NameCache::hash("b", "a"));
    EXPECT_NE(NameCache::hash("ab", ""), NameCache::hash("a", "b"));
    EXPECT_EQ(NameCache::hash(std::string("a"), "b"), NameCache::hash("a", "b"));
}

TEST_F(NameCacheTest, prefetches_make_nothing) {
    const auto prefetch_all = [&](std::uint64_t hash) {
        names.prefetch_slot(hash);
        names.prefetch_place(hash);
        names.prefetch_texts(hash);
    };
    prefetch_all(NameCache::hash("a.c", "f"));
    find("a.c", std::string(100, 'f'));
    prefetch_all(NameCache::hash("a.c", "f"));
    prefetch_all(NameCache::hash("a.c", std::string(100, 'f')));
    EXPECT_EQ(set.size(), 1U);
}

TEST_F(NameCacheTest, thousands_of_names_keep_their_places) {
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
