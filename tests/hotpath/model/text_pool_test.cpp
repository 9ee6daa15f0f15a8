#include "hotpath/model/text_pool.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace hotpath {
namespace {

TEST(TextPool, numbers_texts_from_0_by_their_first_sighting) {
    TextPool pool;
    EXPECT_EQ(pool.number_of("b"), 0U);
    EXPECT_EQ(pool.number_of("a"), 1U);
    EXPECT_EQ(pool.number_of("b"), 0U);
    EXPECT_EQ(pool.number_of("c"), 2U);
}

TEST(TextPool, gives_a_text_by_its_number) {
    TextPool pool;
    pool.number_of("first");
    pool.number_of("second");
    EXPECT_EQ(pool[0], "first");
    EXPECT_EQ(pool[1], "second");
}

TEST(TextPool, finds_only_what_it_holds) {
    TextPool pool;
    EXPECT_EQ(pool.find("a"), TextPool::none);
    pool.number_of("a");
    EXPECT_EQ(pool.find("a"), 0U);
    EXPECT_EQ(pool.find("A"), TextPool::none);
    EXPECT_EQ(pool.find(""), TextPool::none);
}

TEST(TextPool, equal_texts_share_one_copy) {
    TextPool pool;
    std::string text = "name";
    const std::string_view kept = pool.keep(text);
    EXPECT_NE(kept.data(), text.data());
    EXPECT_EQ(pool.keep(std::string("name")).data(), kept.data());
    text = "else";
    EXPECT_EQ(kept, "name");
}

TEST(TextPool, texts_are_terminated) {
    TextPool pool;
    const std::string_view kept = pool.keep(std::string_view("names", 4));
    EXPECT_EQ(kept.size(), 4U);
    EXPECT_STREQ(kept.data(), "name");
}

TEST(TextPool, the_empty_text_is_a_text) {
    TextPool pool;
    EXPECT_EQ(pool.number_of(""), 0U);
    EXPECT_EQ(pool.number_of("a"), 1U);
    EXPECT_EQ(pool.number_of(std::string_view()), 0U);
    EXPECT_STREQ(pool[0].data(), "");
}

TEST(TextPool, a_zero_byte_is_a_byte_like_any_other) {
    TextPool pool;
    pool.number_of("a");
    EXPECT_EQ(pool.number_of(std::string_view("a\0", 2)), 1U);
    EXPECT_EQ(pool[1], std::string_view("a\0", 2));
}

TEST(TextPool, texts_stay_where_they_are_while_the_pool_grows) {
    TextPool pool;
    std::vector<std::string_view> kept;
    for (int n = 0; n < 50000; ++n) kept.push_back(pool.keep("text " + std::to_string(n)));
    for (std::uint32_t n = 0; n < 50000; ++n) {
        ASSERT_EQ(kept[n], "text " + std::to_string(n));
        ASSERT_EQ(pool[n].data(), kept[n].data());
        ASSERT_EQ(pool.find("text " + std::to_string(n)), n);
    }
}

TEST(TextPool, holds_a_text_longer_than_its_blocks) {
    TextPool pool;
    const std::string text(1000000, 'x');
    pool.number_of("short");
    EXPECT_EQ(pool.keep(text), text);
    EXPECT_EQ(pool.keep("short"), "short");
}

}  // namespace
}  // namespace hotpath
