#include "hotpath/model/call_counts.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "support/profile_text.h"
#include "support/random_text.h"

namespace hotpath {
namespace {

std::string text_of(const CallCounts& calls) {
    std::vector<const CallRecord*> list;
    calls.copy_calls(list);
    std::string text;
    for (const CallRecord* call : list) text += test_support::call_text(*call);
    return text;
}

bool less(std::string_view name_a, std::uint32_t line_a, std::string_view name_b,
          std::uint32_t line_b) {
    return call_key_less({name_a, line_a, 0, 0}, {name_b, line_b, 0, 0});
}

TEST(CallKeyLess, names_compare_bytewise_and_shorter_first) {
    EXPECT_TRUE(less("a", 9, "b", 1));
    EXPECT_FALSE(less("b", 1, "a", 9));
    EXPECT_TRUE(less("a", 9, "aa", 1));
    EXPECT_FALSE(less("aa", 1, "a", 9));
    EXPECT_TRUE(less("", 9, "a", 1));
    EXPECT_TRUE(less("B", 9, "a", 1));
}

TEST(CallKeyLess, bytes_are_unsigned) {
    EXPECT_TRUE(less("z", 0, "\xC3\xA4", 0));
    EXPECT_FALSE(less("\xC3\xA4", 0, "z", 0));
}

TEST(CallKeyLess, equal_names_compare_by_unsigned_line) {
    EXPECT_TRUE(less("f", 1, "f", 3));
    EXPECT_FALSE(less("f", 3, "f", 1));
    EXPECT_TRUE(less("f", 1, "f", 0xFFFFFFFF));
    EXPECT_FALSE(less("f", 3, "f", 3));
}

TEST(CallKeyLess, relative_lines_and_counts_take_no_part) {
    EXPECT_FALSE(call_key_less({"f", 3, 1, 1}, {"f", 3, 2, 2}));
    EXPECT_FALSE(call_key_less({"f", 3, 2, 2}, {"f", 3, 1, 1}));
}

TEST(CallKeyLess, equal_names_at_two_places_are_equal) {
    const std::string a = "name";
    const std::string b = "name";
    EXPECT_FALSE(less(a, 3, b, 3));
    EXPECT_TRUE(less(a, 2, b, 3));
}

class CallCountsTest : public testing::Test {
protected:
    AllocatorOnHeap storage;
    CallCounts calls{storage};
};

TEST_F(CallCountsTest, is_empty_at_first) {
    EXPECT_EQ(calls.size(), 0U);
    EXPECT_EQ(text_of(calls), "");
}

TEST_F(CallCountsTest, iterates_by_callee_then_line) {
    calls.add_call("f", 3, 0, 1);
    calls.add_call("f", 1, 0, 2);
    calls.add_call("e", 9, 0, 3);
    EXPECT_EQ(text_of(calls),
              "  call e 9:0 x3\n"
              "  call f 1:0 x2\n"
              "  call f 3:0 x1\n");
    EXPECT_EQ(calls.size(), 3U);
}

TEST_F(CallCountsTest, equal_sightings_are_one_call_site_with_their_sum) {
    calls.add_call("f", 3, 1, 2);
    calls.add_call(std::string("f").c_str(), 3, 1, 5);
    EXPECT_EQ(text_of(calls), "  call f 3:1 x7\n");
}

TEST_F(CallCountsTest, the_first_relative_line_stays) {
    calls.add_call("f", 3, 1, 2);
    calls.add_call("f", 3, 2, 3);
    EXPECT_EQ(text_of(calls), "  call f 3:1 x5\n");
}

TEST_F(CallCountsTest, sums_wrap_at_64_bits) {
    calls.add_call("f", 3, 0, 0xFFFFFFFFFFFFFFFF);
    calls.add_call("f", 3, 0, 2);
    EXPECT_EQ(text_of(calls), "  call f 3:0 x1\n");
}

TEST_F(CallCountsTest, a_count_of_0_makes_a_call_site) {
    calls.add_call("f", 0xFFFFFFFF, 0xFFFFFFFF, 0);
    EXPECT_EQ(text_of(calls), "  call f 4294967295:4294967295 x0\n");
}

TEST_F(CallCountsTest, the_empty_name_is_a_callee) {
    calls.add_call("", 1, 0, 4);
    calls.add_call("", 1, 0, 5);
    EXPECT_EQ(text_of(calls), "  call  1:0 x9\n");
}

TEST_F(CallCountsTest, copy_empties_the_vector_first) {
    const CallRecord other{"f", 1, 0, 0};
    std::vector<const CallRecord*> list{&other};
    calls.copy_calls(list);
    EXPECT_TRUE(list.empty());
}

TEST_F(CallCountsTest, random_sightings_add_up_as_in_an_ordered_map) {
    test_support::RandomText random(3);
    std::vector<std::string> names;
    for (int i = 0; i < 40; ++i) names.push_back(random.of("ab\xFF", 4));
    std::map<std::pair<std::string, std::uint32_t>, std::uint64_t> expected;
    for (int i = 0; i < 5000; ++i) {
        const std::string& name = names[random.below(names.size())];
        const auto line = static_cast<std::uint32_t>(random.below(20));
        const std::uint64_t count = random.below(1000);
        expected[{name, line}] += count;
        calls.add_call(name, line, 0, count);
    }
    std::string expected_text;
    for (const auto& [key, count] : expected)
        expected_text += "  call " + key.first + " " + std::to_string(key.second) + ":0 x" +
                         std::to_string(count) + "\n";
    EXPECT_EQ(calls.size(), expected.size());
    EXPECT_EQ(text_of(calls), expected_text);
}

}  // namespace
}  // namespace hotpath
