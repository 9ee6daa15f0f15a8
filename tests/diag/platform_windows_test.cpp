// The platform where texts are UTF-16, a drive stands in front of a path, and files have a text
// mode.
#include <gtest/gtest.h>

#include <array>
#include <string>

#include "diag/platform.h"
#include "support/scratch_directory.h"

namespace diag::platform {
namespace {

using test_support::ScratchDirectory;

TEST(PlatformText, character_beyond_16_bits_is_a_pair) {
    EXPECT_EQ(utf8_to_wide("\xf0\x9f\x98\x80"), L"\xd83d\xde00");
    EXPECT_EQ(wide_to_utf8(L"\xd83d\xde00"), "\xf0\x9f\x98\x80");
}

TEST(PlatformText, half_a_pair_becomes_the_replacement) {
    EXPECT_EQ(wide_to_utf8(std::wstring(L"a\xd83dz")), "a\xef\xbf\xbdz");
    EXPECT_EQ(wide_to_utf8(std::wstring(L"a\xde00z")), "a\xef\xbf\xbdz");
}

TEST(PlatformText, bytes_that_are_no_text_become_replacements) {
    EXPECT_EQ(utf8_to_wide("a\x80z"), L"a\xfffdz");
    EXPECT_EQ(utf8_to_wide("\xff"), L"\xfffd");
}

TEST(PlatformFiles, lines_of_a_text_end_plainly) {
    const ScratchDirectory scratch;
    const std::string path = scratch.write("\xc3\xa4.txt", "a\r\nb\n\rc");
    std::FILE* const file = open_text_for_reading(path.c_str());
    ASSERT_NE(file, nullptr);
    std::array<char, 16> text;
    const std::size_t size = std::fread(text.data(), 1, text.size(), file);
    std::fclose(file);
    EXPECT_EQ(std::string(text.data(), size), "a\nb\n\rc");
}

TEST(PlatformEnvironment, directories_and_programs_are_full_paths) {
    EXPECT_EQ(working_directory()->substr(1, 2), ":\\");
    EXPECT_EQ(module_path()->substr(1, 2), ":\\");
    EXPECT_TRUE(module_path()->ends_with("\\diag_test.exe"));
}

TEST(PlatformEnvironment, search_path_and_programs_are_written_as_the_system_does) {
    EXPECT_EQ(path_list_separator, ';');
    EXPECT_EQ(executable_suffix, ".exe");
}

}  // namespace
}  // namespace diag::platform
