#include "diag/file_access.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "support/scratch_directory.h"

namespace diag {
namespace {

using test_support::ScratchDirectory;

TEST(FileAccess, is_0_for_a_file_that_may_be_read) {
    const ScratchDirectory scratch;
    EXPECT_EQ(file_access(scratch.write("a.txt", "").c_str(), AccessMode::read), 0);
}

TEST(FileAccess, is_0_for_a_directory) {
    const ScratchDirectory scratch;
    EXPECT_EQ(file_access(scratch.path().c_str(), AccessMode::read), 0);
}

TEST(FileAccess, is_0_for_a_path_beyond_ascii) {
    const ScratchDirectory scratch;
    EXPECT_EQ(file_access(scratch.write("\xc3\xa4\xe2\x82\xac", "").c_str(), AccessMode::read), 0);
}

TEST(FileAccess, is_another_value_for_what_does_not_exist) {
    const ScratchDirectory scratch;
    EXPECT_NE(file_access(scratch.path("missing").c_str(), AccessMode::read), 0);
    EXPECT_NE(file_access("", AccessMode::read), 0);
}

}  // namespace
}  // namespace diag
