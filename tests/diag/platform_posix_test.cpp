// The platform where texts are bytes: what the conversions make of bytes that are no text, and the
// limits of a process.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <string>

#include "diag/platform.h"
#include "support/scratch_directory.h"
#include "support/working_directory.h"

namespace diag::platform {
namespace {

using test_support::ScratchDirectory;
using test_support::WorkingDirectory;

TEST(PlatformText, byte_that_begins_no_character_becomes_the_replacement) {
    EXPECT_EQ(utf8_to_wide("a\x80z"), L"a\ufffdz");
    EXPECT_EQ(utf8_to_wide("\xff\xfe"), L"\ufffd\ufffd");
    EXPECT_EQ(utf8_to_wide("\xf5\x80\x80\x80"), L"\ufffd\ufffd\ufffd\ufffd");
}

TEST(PlatformText, character_that_is_cut_short_becomes_replacements) {
    EXPECT_EQ(utf8_to_wide("\xc3"), L"\ufffd");
    EXPECT_EQ(utf8_to_wide("\xc3z"), L"\ufffdz");
    EXPECT_EQ(utf8_to_wide("\xe2\x82"), L"\ufffd\ufffd");
    EXPECT_EQ(utf8_to_wide("\xe2\x82z"), L"\ufffd\ufffdz");
}

TEST(PlatformText, character_in_more_bytes_than_it_needs_becomes_replacements) {
    EXPECT_EQ(utf8_to_wide("\xc0\x80"), L"\ufffd\ufffd");
    EXPECT_EQ(utf8_to_wide("\xc1\xbf"), L"\ufffd\ufffd");
    EXPECT_EQ(utf8_to_wide("\xe0\x9f\xbf"), L"\ufffd\ufffd\ufffd");
    EXPECT_EQ(utf8_to_wide("\xf0\x8f\xbf\xbf"), L"\ufffd\ufffd\ufffd\ufffd");
}

TEST(PlatformText, bytes_of_a_surrogate_or_beyond_the_last_character_become_replacements) {
    EXPECT_EQ(utf8_to_wide("\xed\xa0\x80"), L"\ufffd\ufffd\ufffd");
    EXPECT_EQ(utf8_to_wide("\xed\xbf\xbf"), L"\ufffd\ufffd\ufffd");
    EXPECT_EQ(utf8_to_wide("\xf4\x90\x80\x80"), L"\ufffd\ufffd\ufffd\ufffd");
}

TEST(PlatformText, wide_character_that_is_none_becomes_the_replacement) {
    constexpr wchar_t high_surrogate = 0xD800;
    constexpr wchar_t low_surrogate = 0xDFFF;
    constexpr wchar_t too_large = 0x110000;
    for (const wchar_t c : {high_surrogate, low_surrogate, too_large})
        EXPECT_EQ(wide_to_utf8(std::wstring(1, c)), "\xef\xbf\xbd");
}

TEST(PlatformEnvironment, working_directory_that_is_gone_is_absent) {
    const ScratchDirectory scratch;
    const std::string directory = scratch.path("gone");
    std::filesystem::create_directory(directory);
    const WorkingDirectory here(directory);
    std::filesystem::remove(directory);
    EXPECT_EQ(working_directory(), std::nullopt);
}

TEST(PlatformEnvironment, search_path_and_programs_are_written_as_the_system_does) {
    EXPECT_EQ(path_list_separator, ':');
    EXPECT_EQ(executable_suffix, "");
}

TEST(PlatformLimits, soft_limit_of_open_files_is_raised_to_the_hard_one) {
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit low{64, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &low), 0);
    raise_open_file_limit();
    rlimit raised{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &raised), 0);
    EXPECT_EQ(raised.rlim_cur, before.rlim_max);
    EXPECT_EQ(raised.rlim_max, before.rlim_max);
    EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
}

TEST(PlatformFileKind, pipes_are_streams_and_devices_are_devices) {
    const ScratchDirectory directory;
    const std::string pipe = directory.path("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(kind_of_file(pipe.c_str()), FileKind::stream);
    std::filesystem::create_symlink("pipe", directory.path("link"));
    EXPECT_EQ(kind_of_file(directory.path("link").c_str()), FileKind::stream);
    EXPECT_EQ(kind_of_file("/dev/null"), FileKind::device);
}

TEST(PlatformFileKind, files_directories_and_what_is_not_there_are_ordinary) {
    const ScratchDirectory directory;
    const std::string file = directory.write("file", "");
    EXPECT_EQ(kind_of_file(file.c_str()), FileKind::ordinary);
    EXPECT_EQ(kind_of_file(directory.path().c_str()), FileKind::ordinary);
    EXPECT_EQ(kind_of_file(directory.path("gone").c_str()), FileKind::ordinary);
    std::filesystem::create_symlink("file", directory.path("link"));
    EXPECT_EQ(kind_of_file(directory.path("link").c_str()), FileKind::ordinary);
}

constexpr rlim_t wanted_stack = 128 * 1024 * 1024;

rlim_t raised_stack_limit(rlim_t soft) {
    rlimit limit{};
    EXPECT_EQ(getrlimit(RLIMIT_STACK, &limit), 0);
    const rlimit before = limit;
    limit.rlim_cur = soft;
    EXPECT_EQ(setrlimit(RLIMIT_STACK, &limit), 0);
    raise_stack_limit();
    EXPECT_EQ(getrlimit(RLIMIT_STACK, &limit), 0);
    EXPECT_EQ(limit.rlim_max, before.rlim_max);
    setrlimit(RLIMIT_STACK, &before);
    return limit.rlim_cur;
}

TEST(PlatformStackLimit, is_raised_as_far_as_the_system_allows) {
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_STACK, &limit), 0);
    EXPECT_EQ(raised_stack_limit(std::min<rlim_t>(limit.rlim_max, 8 * 1024 * 1024)),
              std::min(limit.rlim_max, wanted_stack));
}

TEST(PlatformStackLimit, is_never_lowered) {
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_STACK, &limit), 0);
    if (limit.rlim_max <= wanted_stack) GTEST_SKIP() << "the hard limit leaves no room";
    EXPECT_EQ(raised_stack_limit(wanted_stack + 4096), wanted_stack + 4096);
}

}  // namespace
}  // namespace diag::platform
