#include "diag/platform.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/resource.h>

#include <filesystem>
#include <memory>
#include <string>

#include "support/scratch_directory.h"

namespace diag::platform {
namespace {

using test_support::ScratchDirectory;

// Works in a directory and comes back with the object.
class WorkingDirectory {
public:
    explicit WorkingDirectory(const std::filesystem::path& directory)
        : home_(std::filesystem::current_path()) {
        std::filesystem::current_path(directory);
    }
    WorkingDirectory(const WorkingDirectory&) = delete;
    WorkingDirectory& operator=(const WorkingDirectory&) = delete;
    ~WorkingDirectory() { std::filesystem::current_path(home_); }

private:
    std::filesystem::path home_;
};

// The wide text and what it is as UTF-8, both ways.
void expect_same(std::string_view utf8, std::wstring_view wide) {
    EXPECT_EQ(utf8_to_wide(utf8), wide);
    EXPECT_EQ(wide_to_utf8(wide), utf8);
}

// The bytes of a file as `open_for_reading` gives them.
std::string bytes_of(const std::string& path) {
    std::FILE* const file = open_for_reading(path.c_str());
    if (file == nullptr) return "cannot be opened";
    char buffer[64];
    const std::size_t size = std::fread(buffer, 1, sizeof(buffer), file);
    std::fclose(file);
    return {buffer, size};
}

TEST(PlatformText, empty_text_stays_empty) { expect_same("", L""); }

TEST(PlatformText, characters_of_each_length_come_back) {
    expect_same("a\x7f", L"a\x7f");
    expect_same("\xc2\x80\xdf\xbf", L"\u0080\u07ff");
    expect_same("\xe0\xa0\x80\xed\x9f\xbf\xee\x80\x80\xef\xbf\xbf", L"\u0800\ud7ff\ue000\uffff");
    expect_same("\xf0\x90\x80\x80\xf4\x8f\xbf\xbf", L"\U00010000\U0010ffff");
}

TEST(PlatformText, zero_is_a_character_like_others) {
    expect_same(std::string_view("a\0b", 3), std::wstring_view(L"a\0b", 3));
}

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

// Room is made before the text is read, so that the texts below need not exist.
TEST(PlatformText, conversion_without_memory_for_it_gives_nothing) {
    constexpr std::size_t too_long = std::size_t{1} << 61;
    EXPECT_EQ(utf8_to_wide(std::string_view("", too_long)), std::nullopt);
    EXPECT_EQ(wide_to_utf8(std::wstring_view(L"", too_long)), std::nullopt);
}

TEST(PlatformFiles, can_read_tells_what_exists_and_may_be_read) {
    const ScratchDirectory scratch;
    EXPECT_TRUE(can_read(scratch.write("a.txt", "").c_str()));
    EXPECT_TRUE(can_read(scratch.path().c_str()));
    EXPECT_FALSE(can_read(scratch.path("missing").c_str()));
}

TEST(PlatformFiles, file_is_read_byte_by_byte) {
    const ScratchDirectory scratch;
    const std::string bytes("a\r\nb\n\x1a\0\xff", 8);
    EXPECT_EQ(bytes_of(scratch.write("a.txt", bytes)), bytes);
}

TEST(PlatformFiles, path_beyond_ascii_can_be_opened) {
    const ScratchDirectory scratch;
    EXPECT_EQ(bytes_of(scratch.write("\xc3\xa4\xe2\x82\xac", "x")), "x");
}

TEST(PlatformFiles, file_that_does_not_exist_cannot_be_opened_and_is_not_made) {
    const ScratchDirectory scratch;
    EXPECT_EQ(open_for_reading(scratch.path("missing").c_str()), nullptr);
    EXPECT_FALSE(std::filesystem::exists(scratch.path("missing")));
}

TEST(PlatformEnvironment, value_is_absent_empty_or_the_text) {
    unsetenv("EDGEFOLD_TEST_VARIABLE");
    EXPECT_EQ(environment_value("EDGEFOLD_TEST_VARIABLE"), std::nullopt);
    setenv("EDGEFOLD_TEST_VARIABLE", "", 1);
    EXPECT_EQ(environment_value("EDGEFOLD_TEST_VARIABLE"), "");
    setenv("EDGEFOLD_TEST_VARIABLE", "C:\\x;\xc3\xa4", 1);
    EXPECT_EQ(environment_value("EDGEFOLD_TEST_VARIABLE"), "C:\\x;\xc3\xa4");
    unsetenv("EDGEFOLD_TEST_VARIABLE");
}

TEST(PlatformEnvironment, working_directory_is_the_current_one) {
    const ScratchDirectory scratch;
    const std::string directory = std::filesystem::canonical(scratch.path()).string();
    const WorkingDirectory here(directory);
    EXPECT_EQ(working_directory(), directory);
}

TEST(PlatformEnvironment, long_working_directory_is_given_whole) {
    const ScratchDirectory scratch;
    const std::filesystem::path directory = std::filesystem::canonical(scratch.path()) /
                                            std::string(250, 'a') / std::string(250, 'b') /
                                            std::string(250, 'c');
    std::filesystem::create_directories(directory);
    const WorkingDirectory here(directory);
    EXPECT_EQ(working_directory(), directory.string());
}

TEST(PlatformEnvironment, working_directory_that_is_gone_is_absent) {
    const ScratchDirectory scratch;
    const std::string directory = scratch.path("gone");
    std::filesystem::create_directory(directory);
    const WorkingDirectory here(directory);
    std::filesystem::remove(directory);
    EXPECT_EQ(working_directory(), std::nullopt);
}

TEST(PlatformEnvironment, module_path_is_the_full_path_of_the_running_program) {
    const std::string program = testing::internal::GetArgvs().front();
    EXPECT_EQ(module_path(), std::filesystem::canonical(program).string());
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

}  // namespace
}  // namespace diag::platform
