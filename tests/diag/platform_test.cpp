#include "diag/platform.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>

#include "support/environment.h"
#include "support/scratch_directory.h"
#include "support/working_directory.h"

namespace diag::platform {
namespace {

using test_support::ScratchDirectory;
using test_support::set_environment;
using test_support::unset_environment;
using test_support::WorkingDirectory;

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
    unset_environment("EDGEFOLD_TEST_VARIABLE");
    EXPECT_EQ(environment_value("EDGEFOLD_TEST_VARIABLE"), std::nullopt);
    set_environment("EDGEFOLD_TEST_VARIABLE", "");
    EXPECT_EQ(environment_value("EDGEFOLD_TEST_VARIABLE"), "");
    set_environment("EDGEFOLD_TEST_VARIABLE", "C:\\x;\xc3\xa4");
    EXPECT_EQ(environment_value("EDGEFOLD_TEST_VARIABLE"), "C:\\x;\xc3\xa4");
    unset_environment("EDGEFOLD_TEST_VARIABLE");
}

TEST(PlatformEnvironment, working_directory_is_the_current_one) {
    const ScratchDirectory scratch;
    const std::string directory = std::filesystem::canonical(scratch.path()).string();
    const WorkingDirectory here(directory);
    EXPECT_EQ(working_directory(), directory);
}

TEST(PlatformEnvironment, long_working_directory_is_given_whole) {
    const ScratchDirectory scratch;
    // Many bytes in few characters: a system may count either.
    std::u8string name;
    for (int i = 0; i < 60; ++i) name += u8"\u20ac";
    const std::filesystem::path directory =
        std::filesystem::canonical(scratch.path()) / name / name / name;
    std::filesystem::create_directories(directory);
    const WorkingDirectory here(directory);
    EXPECT_EQ(working_directory(), test_support::text_of(directory));
}

TEST(PlatformEnvironment, module_path_is_the_full_path_of_the_running_program) {
    const std::string program = testing::internal::GetArgvs().front();
    ASSERT_TRUE(module_path());
    const std::filesystem::path path = *module_path();
    EXPECT_TRUE(path.is_absolute());
    EXPECT_TRUE(std::filesystem::equivalent(path, program)) << path;
}

}  // namespace
}  // namespace diag::platform
