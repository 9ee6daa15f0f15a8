// What may be read, where a file has links and permissions, and what a fork leaves in a file.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "diag/safety.h"
#include "support/scratch_directory.h"

namespace diag {
namespace {

using test_support::ScratchDirectory;
using testing::Eq;
using testing::ExitedWithCode;

TEST(FileAccess, is_another_value_for_a_dangling_link) {
    const ScratchDirectory scratch;
    std::filesystem::create_symlink(scratch.path("missing"), scratch.path("link"));
    EXPECT_NE(file_access(scratch.path("link").c_str(), AccessMode::read), 0);
}

TEST(FileAccess, is_another_value_for_a_file_that_may_not_be_read) {
    if (getuid() == 0) GTEST_SKIP() << "the superuser may read everything";
    const ScratchDirectory scratch;
    const std::string path = scratch.write("a.txt", "");
    std::filesystem::permissions(path, std::filesystem::perms::none);
    EXPECT_NE(file_access(path.c_str(), AccessMode::read), 0);
}

TEST(EndProgramDeathTest, writes_what_the_streams_still_hold) {
    const ScratchDirectory scratch;
    const std::string path = scratch.path("out.txt");
    const auto end_with_text_on_hand = [&path] {
        if (std::freopen(path.c_str(), "w", stdout) == nullptr) std::_Exit(9);
        std::fputs("held", stdout);
        end_program(1);
    };
    EXPECT_EXIT(end_with_text_on_hand(), ExitedWithCode(1), Eq(""));
    EXPECT_EQ(std::filesystem::file_size(path), 4U);
}

}  // namespace
}  // namespace diag
