#include "program/text_ids.h"

#include <gtest/gtest.h>

#include <string>

namespace program {
namespace {

TEST(TextIds, hold_the_empty_text_at_first) {
    TextIds texts;
    EXPECT_EQ(texts.id_of(""), TextIds::none);
    EXPECT_EQ(texts.text(TextIds::none), "");
}

TEST(TextIds, are_equal_for_equal_texts_alone) {
    TextIds texts;
    const std::uint32_t a = texts.id_of("a");
    EXPECT_NE(texts.id_of("b"), a);
    EXPECT_EQ(texts.id_of("a"), a);
}

TEST(TextIds, keep_copies_where_they_are) {
    TextIds texts;
    std::string text = "first";
    const std::uint32_t first = texts.id_of(text);
    const std::string_view kept = texts.text(first);
    text = "other";
    for (int i = 0; i < 1000; ++i) texts.id_of(std::to_string(i));
    EXPECT_EQ(texts.text(first), "first");
    EXPECT_EQ(texts.text(first).data(), kept.data());
}

}  // namespace
}  // namespace program
