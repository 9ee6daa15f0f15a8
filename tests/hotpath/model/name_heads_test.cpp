#include "hotpath/model/name_heads.h"

#include <gtest/gtest.h>

#include <string>

#include "hotpath/model/function_record_set.h"
#include "support/tracking_allocator.h"

namespace hotpath {
namespace {

TEST(NameHeadsTest, a_head_ends_in_front_of_the_first_slash) {
    EXPECT_EQ(head_of("a/b/c"), "a");
    EXPECT_EQ(head_of("abc"), "abc");
    EXPECT_EQ(head_of("/a"), "");
    EXPECT_EQ(head_of(""), "");
}

TEST(NameHeadsTest, none_is_held_at_first) {
    const NameHeads heads;
    EXPECT_FALSE(heads.may_hold_head_of(""));
    EXPECT_FALSE(heads.may_hold_head_of("a"));
}

TEST(NameHeadsTest, each_name_with_an_added_head_is_held) {
    NameHeads heads;
    heads.add_head_of("a/b");
    EXPECT_TRUE(heads.may_hold_head_of("a"));
    EXPECT_TRUE(heads.may_hold_head_of("a/"));
    EXPECT_TRUE(heads.may_hold_head_of("a/c"));
}

TEST(NameHeadsTest, other_names_are_not_held) {
    NameHeads heads;
    heads.add_head_of("a/b");
    EXPECT_FALSE(heads.may_hold_head_of("b"));
    EXPECT_FALSE(heads.may_hold_head_of("ab"));
    EXPECT_FALSE(heads.may_hold_head_of("A"));
    EXPECT_FALSE(heads.may_hold_head_of("/a"));
}

TEST(NameHeadsTest, a_set_of_records_gives_the_head_of_each) {
    test_support::TrackingFactory factory;
    FunctionRecordSet set(factory);
    for (int i = 0; i < 1000; ++i) set.find_or_create_record("a.c", std::to_string(i) + "/f");
    set.find_or_create_record("", "g");
    const NameHeads heads = set.name_heads();
    for (int i = 0; i < 1000; ++i) EXPECT_TRUE(heads.may_hold_head_of(std::to_string(i)));
    EXPECT_TRUE(heads.may_hold_head_of("g/h"));
    EXPECT_FALSE(heads.may_hold_head_of("f"));
    EXPECT_FALSE(heads.may_hold_head_of("a.c"));
}

}  // namespace
}  // namespace hotpath
