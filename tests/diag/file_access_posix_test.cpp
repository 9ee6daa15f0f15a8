// What may be read, where a file has links and permissions.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "diag/file_access.h"
#include "support/scratch_directory.h"

namespace diag {
namespace {

using test_support::ScratchDirectory;

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

}  // namespace
}  // namespace diag
