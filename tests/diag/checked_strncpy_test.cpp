#include "diag/checked_strncpy.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace diag {
namespace {

using testing::Eq;
using testing::ExitedWithCode;

// What a copy of `source` with this bound leaves in a buffer of eight `#`.
std::string copied(const char* source, std::size_t size) {
    std::string buffer(8, '#');
    checked_strncpy(buffer.data(), source, size);
    return buffer;
}

TEST(CheckedStrncpy, source_that_does_not_fit_is_cut_without_a_terminator) {
    EXPECT_EQ(copied("abcdef", 3), "abc#####");
}

TEST(CheckedStrncpy, source_of_exactly_the_size_gets_no_terminator) {
    EXPECT_EQ(copied("abc", 3), "abc#####");
}

TEST(CheckedStrncpy, shorter_source_is_padded_with_zeros) {
    EXPECT_EQ(copied("abc", 5), std::string("abc\0\0###", 8));
    EXPECT_EQ(copied("", 2), std::string("\0\0######", 8));
}

TEST(CheckedStrncpy, size_0_copies_nothing) { EXPECT_EQ(copied("abc", 0), "########"); }

TEST(CheckedStrncpyDeathTest, absent_destination_ends_the_program) {
    EXPECT_EXIT(checked_strncpy(nullptr, "abc", 3), ExitedWithCode(1),
                Eq("FATAL ERROR: checked_strncpy invalid parameters\n"));
    EXPECT_EXIT(checked_strncpy(nullptr, "", 0), ExitedWithCode(1),
                Eq("FATAL ERROR: checked_strncpy invalid parameters\n"));
}

}  // namespace
}  // namespace diag
