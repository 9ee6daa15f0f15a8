#include "hotpath/facade/function_name.h"

#include <gtest/gtest.h>

namespace {

using hotpath::normalised_function_name;

TEST(FunctionName, gives_the_name_under_which_samples_are_kept) {
    EXPECT_EQ(normalised_function_name("work.a.123"), "work");
    EXPECT_EQ(normalised_function_name("work.isra.0"), "workisra.0");
}

TEST(FunctionName, leaves_a_plain_name_as_it_is) {
    EXPECT_EQ(normalised_function_name("work"), "work");
    EXPECT_EQ(normalised_function_name(""), "");
}

}  // namespace
