// What is written where a process ends at once, seen in a file after a fork.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "diag/end_program.h"
#include "support/scratch_directory.h"

namespace diag {
namespace {

using test_support::ScratchDirectory;
using testing::Eq;
using testing::ExitedWithCode;

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
