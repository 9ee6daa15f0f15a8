#include "diag/fill_in.h"

#include <gtest/gtest.h>

#include <array>
#include <limits>
#include <string>

namespace diag {
namespace {

template <class... FillIns>
std::string filled(std::string_view text, const FillIns&... fill_ins) {
    const std::array<FillIn, sizeof...(fill_ins)> list{FillIn(fill_ins)...};
    std::string result;
    fill_in(text, list, [&result](std::string_view piece) { result += piece; });
    return result;
}

TEST(FillIn, text_without_conversions_stays_as_it_is) { EXPECT_EQ(filled("done."), "done."); }

TEST(FillIn, each_conversion_is_replaced_by_the_fill_in_of_its_place) {
    EXPECT_EQ(filled("%s and %s: %d.", "a", std::string("b"), 3), "a and b: 3.");
    EXPECT_EQ(filled("%s%s", "/", "trace"), "/trace");
}

TEST(FillIn, number_is_decimal_with_its_sign) {
    using Limits = std::numeric_limits<std::int32_t>;
    EXPECT_EQ(filled("%d %d %d", 0, Limits::max(), Limits::min()), "0 2147483647 -2147483648");
}

TEST(FillIn, percent_sign_in_a_fill_in_is_no_conversion) {
    EXPECT_EQ(filled("<%s|%s>", "%s%d", "b"), "<%s%d|b>");
}

TEST(FillIn, absent_text_shows_as_the_c_library_prints_it) {
    const char* const absent = nullptr;
    EXPECT_EQ(filled("Usage: %s", absent), "Usage: (null)");
}

TEST(FillIn, fill_in_without_a_conversion_is_dropped) {
    EXPECT_EQ(filled("a %s", "b", "c"), "a b");
}

TEST(FillIn, conversion_without_a_fill_in_stays) { EXPECT_EQ(filled("%s %s", "a"), "a %s"); }

}  // namespace
}  // namespace diag
