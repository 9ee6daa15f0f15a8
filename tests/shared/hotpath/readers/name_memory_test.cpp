#include "shared/hotpath/readers/name_memory.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "support/profile_text.h"
#include "support/tracking_allocator.h"

namespace hotpath {
namespace {

// The memory of one file, over an empty set.
class NameMemoryTest : public testing::Test {
protected:
    test_support::HeapFactory factory;
    FunctionRecordSet set{factory};
    NameMemory names{set};
};

TEST_F(NameMemoryTest, knows_nothing_at_first) {
    EXPECT_TRUE(names.totals().empty());
    EXPECT_TRUE(set.is_empty());
}

TEST_F(NameMemoryTest, the_first_sighting_makes_the_record) {
    const RememberedName& name = names[names.find("a.c", "f")];
    EXPECT_EQ(name.raw, "f");
    EXPECT_EQ(name.name, "f");
    EXPECT_EQ(name.record, set.find_record("A.C", "f"));
    EXPECT_EQ(test_support::profile_text(set), "f in A.C x0 flags 0\n");
}

TEST_F(NameMemoryTest, a_record_that_is_there_is_found) {
    FunctionRecord* const record = set.find_or_create_record("A.C", "f");
    EXPECT_EQ(names[names.find("a.c", "f")].record, record);
    EXPECT_EQ(set.size(), 1U);
}

TEST_F(NameMemoryTest, equal_texts_have_one_place) {
    const std::uint32_t f = names.find("a.c", "f");
    const std::uint32_t g = names.find("a.c", "g");
    EXPECT_NE(f, g);
    EXPECT_EQ(names.find("a.c", "f"), f);
    EXPECT_EQ(names.find("a.c", "f"), f);
    EXPECT_EQ(names.find("a.c", "g"), g);
}

TEST_F(NameMemoryTest, texts_are_copied) {
    std::string file = "a.c";
    std::string raw = "f.1";
    const std::uint32_t place = names.find(file, raw);
    file = "b.c";
    raw = "g.2";
    EXPECT_EQ(names[place].raw, "f.1");
    EXPECT_EQ(names[place].name, "f");
    EXPECT_EQ(names.find("a.c", "f.1"), place);
}

TEST_F(NameMemoryTest, names_go_through_all_three_stages) {
    EXPECT_EQ(names[names.find("a.c", "L_main_23__par_region0_2.1")].name, "main");
    EXPECT_EQ(names[names.find("a.c", "foo.a.123.bar")].name, "foobar");
    EXPECT_EQ(names[names.find("a.c", "__N_10_src_main_c_Helper")].name, "(anon ns)_Helper");
    EXPECT_EQ(names[names.find("a.c", "plain")].name, "plain");
}

TEST_F(NameMemoryTest, raw_names_that_rewrite_to_one_name_share_record_and_totals) {
    const std::uint32_t first = names.find("a.c", "f.1");
    const std::uint32_t second = names.find("a.c", "f.2");
    EXPECT_NE(first, second);
    EXPECT_EQ(names[first].record, names[second].record);
    EXPECT_EQ(&names.totals_of(first), &names.totals_of(second));
    EXPECT_EQ(names.totals().size(), 1U);
}

TEST_F(NameMemoryTest, spellings_of_one_file_share_the_record_but_not_the_totals) {
    const std::uint32_t lower = names.find("a.c", "f");
    const std::uint32_t upper = names.find("A.C", "f");
    EXPECT_EQ(names[lower].record, names[upper].record);
    EXPECT_NE(names[lower].totals, names[upper].totals);
    EXPECT_EQ(names.totals().size(), 2U);
}

TEST_F(NameMemoryTest, one_name_in_two_files_is_two_functions) {
    EXPECT_NE(names[names.find("a.c", "f")].record, names[names.find("b.c", "f")].record);
}

TEST_F(NameMemoryTest, totals_begin_at_0_and_belong_to_the_record) {
    const std::uint32_t place = names.find("a.c", "f");
    FunctionTotals& totals = names.totals_of(place);
    EXPECT_EQ(totals.called_in, 0U);
    EXPECT_EQ(totals.entry_hits, 0U);
    EXPECT_EQ(totals.returned, 0U);
    EXPECT_EQ(totals.record, names[place].record);
    totals.returned += 5;
    EXPECT_EQ(names.totals().front().returned, 5U);
}

// The record has the names of the cut that was seen first; a call must still name its own callee.
TEST_F(NameMemoryTest, another_cut_of_one_joined_text_keeps_its_own_name) {
    const std::uint32_t first = names.find("B/C", "a");
    const std::uint32_t second = names.find("C", "a/B");
    EXPECT_EQ(names[first].record, names[second].record);
    EXPECT_EQ(names[first].name, "a");
    EXPECT_EQ(names[second].name, "a/B");
    EXPECT_EQ(names[second].record->get_function_name(), "a");
    EXPECT_EQ(names.totals().size(), 2U);
}

TEST_F(NameMemoryTest, names_can_be_empty) {
    const std::uint32_t place = names.find("", "");
    EXPECT_EQ(names[place].name, "");
    EXPECT_EQ(names.find("", ""), place);
    EXPECT_EQ(set.size(), 1U);
}

TEST_F(NameMemoryTest, a_name_that_is_rewritten_to_nothing_is_a_name) {
    EXPECT_EQ(names[names.find("a.c", ".1")].name, "");
    EXPECT_EQ(test_support::profile_text(set), " in A.C x0 flags 0\n");
}

TEST_F(NameMemoryTest, names_live_longer_than_the_memory) {
    std::string_view name;
    {
        NameMemory other(set);
        name = other[other.find("a.c", "f.1")].name;
    }
    EXPECT_EQ(name, "f");
}

TEST_F(NameMemoryTest, thousands_of_names_keep_their_places) {
    std::map<std::string, std::uint32_t> places;
    for (int round = 0; round < 2; ++round) {
        for (int n = 0; n < 3000; ++n) {
            const std::string file = "file" + std::to_string(n % 7);
            const std::string raw = "name" + std::to_string(n) + "." + std::to_string(n % 3);
            const std::uint32_t place = names.find(file, raw);
            ASSERT_EQ(places.emplace(file + raw, place).first->second, place);
            ASSERT_EQ(names[place].name, "name" + std::to_string(n));
        }
    }
    EXPECT_EQ(set.size(), 3000U);
    EXPECT_EQ(names.totals().size(), 3000U);
}

}  // namespace
}  // namespace hotpath
