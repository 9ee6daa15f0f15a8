#include "edgescope/texts.h"

#include <gtest/gtest.h>

namespace {

using edgescope::demangled;

TEST(Texts, names_of_cpp_are_demangled) {
    EXPECT_EQ(demangled("_ZN4shop5scoreERKSt6vectorIiSaIiEE"),
              "shop::score(std::vector<int, std::allocator<int> > const&)");
    EXPECT_EQ(demangled("main"), "main");
    EXPECT_EQ(demangled("_Zebra"), "_Zebra");
}

// f(a<int, int>, a<S0, S0>, a<S1, S1>, ...), each parameter twice as long as the one before.
std::string doubling_name(int parameters) {
    const std::string digits = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";
    std::string name = "_Z1f1aIiiE";
    for (int i = 0; i < parameters; ++i) {
        const std::string last = std::string("S") + digits.at(i) + "_";
        name += "S_I" + last + last + "E";
    }
    return name;
}

TEST(Texts, names_that_grow_within_bounds_are_demangled) {
    EXPECT_EQ(demangled(doubling_name(1)), "f(a<int, int>, a<a<int, int>, a<int, int> >)");
    EXPECT_GT(demangled(doubling_name(10)).size(), 10000U);
}

TEST(Texts, names_that_grow_beyond_memory_are_left_as_they_are) {
    const std::string name = doubling_name(36);
    EXPECT_EQ(demangled(name), name);
    const std::string in_pack = "_Z1fDp1bI" + name.substr(4) + "E";  // walked before it is shown
    EXPECT_EQ(demangled(in_pack), in_pack);
}

TEST(Texts, names_of_a_megabyte_take_no_time) {
    const std::string name = "_Z" + std::string(1 << 20, 'S');
    EXPECT_EQ(demangled(name), name);
}

}  // namespace
