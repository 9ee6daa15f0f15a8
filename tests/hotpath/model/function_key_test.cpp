#include "hotpath/model/function_key.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "hotpath/model/file_name_pool.h"
#include "support/random_text.h"
#include "support/tracking_allocator.h"

namespace hotpath {
namespace {

class FunctionKeyTest : public testing::Test {
protected:
    FunctionKey key(std::string_view function, std::string_view file) {
        return factory.make_key(factory.keep_file_name(file), function);
    }
    bool same(const FunctionKey& known, std::string_view function, std::string_view file) {
        return same_joined(known, factory.keep_file_name(file), function);
    }

    test_support::HeapFactory factory;
};

TEST_F(FunctionKeyTest, gives_the_two_names) {
    const FunctionKey both = key("main", "A/B.C");
    EXPECT_EQ(both.function_name(), "main");
    EXPECT_EQ(both.file_name(), "A/B.C");
    EXPECT_EQ(both.file().text, "A/B.C");
}

TEST_F(FunctionKeyTest, has_its_own_copies_with_a_terminator) {
    std::string name = "main";
    const FunctionKey copied = key(name, "A.C");
    name = "xxxx";
    EXPECT_STREQ(copied.function_name().data(), "main");
    EXPECT_STREQ(copied.file_name().data(), "A.C");
}

TEST_F(FunctionKeyTest, both_names_can_be_empty) {
    EXPECT_EQ(key("", "").function_name(), "");
    EXPECT_EQ(key("", "").file_name(), "");
    EXPECT_TRUE(same(key("", ""), "", ""));
}

TEST_F(FunctionKeyTest, names_join_to_one_text_wherever_it_is_cut) {
    EXPECT_TRUE(same(key("a/B", "C"), "a/B", "C"));
    EXPECT_TRUE(same(key("a/B", "C"), "a", "B/C"));
    EXPECT_TRUE(same(key("a", "B/C"), "a/B", "C"));
    EXPECT_TRUE(same(key("", "//"), "//", ""));
    EXPECT_FALSE(same(key("a/B", "C"), "a", "B/D"));
    EXPECT_FALSE(same(key("a/B", "C"), "a/B/C", ""));
    EXPECT_FALSE(same(key("ab", "C"), "a", "BC"));
    EXPECT_FALSE(same(key("a", "C"), "b", "C"));
}

TEST_F(FunctionKeyTest, kept_names_of_another_factory_are_compared_by_their_bytes) {
    test_support::HeapFactory other;
    EXPECT_TRUE(same_joined(key("f", "A.C"), other.keep_file_name("A.C"), "f"));
    EXPECT_FALSE(same_joined(key("f", "A.C"), other.keep_file_name("B.C"), "f"));
}

// Short texts of few letters, so that all the ways to cut them meet.
TEST_F(FunctionKeyTest, order_identity_and_hash_are_those_of_the_joined_text) {
    test_support::RandomText random(4);
    std::vector<std::pair<std::string, FunctionKey>> keys;
    for (int i = 0; i < 300; ++i) {
        const std::string function = random.of("a/0\xC3", 4);
        const std::string file = random.of("A/$", 4);
        keys.emplace_back(function + "/" + file, key(function, file));
    }
    const auto hash = [](const FunctionKey& k) {
        return hash_joined(hash_segments(k.function_name()), k.file().hash);
    };
    for (const auto& [text_a, a] : keys) {
        for (const auto& [text_b, b] : keys) {
            ASSERT_EQ(joined_less(a, b), text_a < text_b) << text_a << " " << text_b;
            ASSERT_EQ(same_joined(a, b.file(), b.function_name()), text_a == text_b);
            ASSERT_EQ(hash(a) == hash(b), text_a == text_b) << text_a << " " << text_b;
        }
    }
}

TEST_F(FunctionKeyTest, numbers_compare_like_the_bytes) {
    const FunctionKey both = key("ab", "C.CPP");
    EXPECT_EQ(joined_number_at(both, 0), 0x61622F432E435050U);
    EXPECT_EQ(joined_number_at(both, 8), 0U);
    EXPECT_EQ(joined_number_at(key("", ""), 0), 0x2F00000000000000U);
    EXPECT_EQ(joined_number_at(key("123456789", "\xFF"), 8), 0x392FFF0000000000U);
}

TEST(FileNamePool, keeps_each_name_once_with_its_hash) {
    FileNamePool pool;
    const FileName& file = pool.keep("A/B.C");
    EXPECT_EQ(file.text, "A/B.C");
    EXPECT_EQ(file.hash.value, hash_segments("A/B.C").value);
    EXPECT_EQ(file.hash.power, hash_segments("A/B.C").power);
    EXPECT_EQ(&pool.keep("A/B.C"), &file);
    EXPECT_EQ(pool.find("A/B.C"), &file);
    EXPECT_NE(&pool.keep(""), &file);
    EXPECT_EQ(pool.find("A"), nullptr);
}

}  // namespace
}  // namespace hotpath
