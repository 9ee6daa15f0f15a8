#include "hotpath/names/client.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <system_error>
#include <thread>

#include "support/text_matchers.h"

namespace {

using namespace hotpath;
namespace fs = std::filesystem;

// TextBuffer

TEST(TextBuffer, new_buffer_has_no_text) {
    const TextBuffer buffer;
    EXPECT_EQ(nullptr, buffer.text());
    EXPECT_EQ(0, buffer.length());
    EXPECT_EQ(0, buffer.capacity());
}

TEST(TextBuffer, first_reservation_takes_the_increment_too) {
    TextBuffer buffer;
    buffer.reserve(10);
    EXPECT_EQ(523, buffer.capacity());
}

TEST(TextBuffer, reservation_that_fits_changes_nothing) {
    TextBuffer buffer;
    buffer.reserve(10);
    buffer.reserve(522);
    EXPECT_EQ(523, buffer.capacity());
}

TEST(TextBuffer, reservation_that_leaves_no_terminator_grows) {
    TextBuffer buffer;
    buffer.reserve(10);
    buffer.reserve(523);
    EXPECT_EQ(523 + 523 + 512, buffer.capacity());
}

TEST(TextBuffer, appended_pieces_stand_behind_each_other) {
    TextBuffer buffer;
    buffer.append("ab");
    buffer.append_bytes("cdef", 2);
    buffer.append("g");
    EXPECT_STREQ("abcdg", buffer.text());
    EXPECT_EQ(5, buffer.length());
}

TEST(TextBuffer, nothing_is_appended_for_absent_sources_and_no_bytes) {
    TextBuffer buffer;
    buffer.append(nullptr);
    buffer.append_bytes(nullptr, 3);
    buffer.append_bytes("abc", 0);
    EXPECT_EQ(nullptr, buffer.text());
}

TEST(TextBuffer, empty_text_makes_the_buffer_terminated) {
    TextBuffer buffer;
    buffer.append("");
    EXPECT_STREQ("", buffer.text());
}

TEST(TextBuffer, long_texts_fit) {
    TextBuffer buffer;
    const std::string piece(1000, 'x');
    for (int i = 0; i < 20; ++i) buffer.append(piece.c_str());
    EXPECT_EQ(std::string(20000, 'x'), buffer.text());
}

TEST(TextBuffer, negative_count_ends_the_program) {
    TextBuffer buffer;
    EXPECT_EXIT(buffer.append_bytes("a", -1), testing::ExitedWithCode(1),
                test_support::matches_whole(
                    "hotpath/names/client\\.cpp:[0-9]+ ASSERTX\\(src_len >= 0\\)\n"));
}

// Key names

std::string key(const char* name) { return key_name_for(name).value_or("none"); }

TEST(KeyName, name_without_an_encoded_path_has_none) {
    EXPECT_EQ("none", key("foo"));
    EXPECT_EQ("none", key(""));
    EXPECT_EQ("none", key("__N"));
}

TEST(KeyName, encoded_path_is_replaced) {
    EXPECT_EQ("(anon ns)_Helper", key("__N_10_src_main_c_Helper"));
}

TEST(KeyName, all_encoded_paths_are_replaced) {
    EXPECT_EQ("a(anon ns)b(anon ns)c", key("a__N_3_xyzb__N_1_qc"));
}

TEST(KeyName, name_may_end_with_its_path) { EXPECT_EQ("(anon ns)", key("__N_2_xy")); }

TEST(KeyName, number_without_an_underscore_gives_up) {
    EXPECT_EQ("none", key("a__N_"));
    EXPECT_EQ("none", key("a__N_3"));
}

TEST(KeyName, name_that_ends_too_early_gives_up) { EXPECT_EQ("none", key("a__N_9_xy")); }

TEST(KeyName, one_malformed_path_spoils_the_whole_name) {
    EXPECT_EQ("none", key("a__N_3_xyzb__N_9_qc"));
}

TEST(KeyName, mark_within_a_path_does_not_count) {
    EXPECT_EQ("(anon ns)f", key("__N_8_x__N_9_yf"));
}

TEST(KeyName, length_without_digits_is_zero) {
    EXPECT_EQ("(anon ns)x", key("__N__x"));
    EXPECT_EQ("(anon ns)x", key("__N_abc_x"));
}

TEST(KeyName, length_is_read_like_the_c_library_does) {
    EXPECT_EQ("(anon ns)f", key("__N_ \t+2_xyf"));
    EXPECT_EQ("(anon ns)f", key("__N_2x_xyf"));
}

TEST(KeyName, negative_length_gives_up) { EXPECT_EQ("none", key("__N_-1_xyf")); }

TEST(KeyName, low_32_bits_of_a_large_length_count) {
    EXPECT_EQ("(anon ns)f", key("__N_4294967298_xyf"));
    EXPECT_EQ("none", key("__N_2147483648_xyf"));
}

TEST(KeyName, length_beyond_64_bits_saturates) {
    EXPECT_EQ("none", key("__N_9223372036854775808_xyf"));
    EXPECT_EQ("(anon ns)xyf", key("__N_-9223372036854775809_xyf"));
}

// Full paths

// Runs in the root directory, so that a relative path's normal form is known, and goes back.
class FullPath : public testing::Test {
protected:
    void SetUp() override {
        fs::current_path("/");
        drive_ = fs::current_path().root_name().string();
    }
    void TearDown() override { fs::current_path(before_); }

    std::string drive_;  // empty where the system knows none
    const fs::path before_ = fs::current_path();
};

std::string full(const char* path) { return hotpath_Create_Full_Path(path); }

TEST_F(FullPath, relative_path_is_joined_to_the_working_directory) {
    EXPECT_EQ(drive_ + "\\A\\B.C", full("a/b.c"));
    EXPECT_EQ(drive_ + "\\A", full(".\\a"));
    EXPECT_EQ(drive_ + "\\B", full("a/../b"));
}

TEST_F(FullPath, empty_path_gives_the_working_directory_with_a_final_separator) {
    const fs::path directory = fs::path(testing::TempDir()) / "edgefold_full_path";
    fs::create_directories(directory);
    fs::current_path(directory);
    EXPECT_TRUE(full("").ends_with("\\EDGEFOLD_FULL_PATH\\"));
    EXPECT_TRUE(full(nullptr).ends_with("\\EDGEFOLD_FULL_PATH"));
    fs::current_path("/");
    fs::remove(directory);
}

TEST_F(FullPath, separators_and_case_are_folded) {
    EXPECT_EQ("C:\\X\\Y\\F.C", full("C:/x//y/./z/../f.c"));
    EXPECT_EQ("\\\xC3\xA9_Z", full("/\xC3\xA9_z"));
    EXPECT_EQ("\\SERVER\\X", full("\\\\server\\/x"));
}

TEST_F(FullPath, drive_makes_a_path_absolute) {
    EXPECT_EQ("C:A", full("c:a"));
    EXPECT_EQ("C:", full("c:"));
    EXPECT_EQ(drive_ + "\\1:A", full("1:a"));
}

TEST_F(FullPath, last_component_of_dots_is_resolved) {
    EXPECT_EQ("C:\\", full("C:\\x\\.."));
    EXPECT_EQ("C:\\X\\", full("C:\\x\\."));
    EXPECT_EQ("\\", full("\\."));
}

TEST_F(FullPath, path_above_its_root_comes_back_folded) {
    EXPECT_EQ("C:\\..\\A", full("C:\\..\\a"));
    EXPECT_EQ("C:\\..", full("C:\\.."));
    EXPECT_EQ("\\..\\A", full("\\..\\a"));
    EXPECT_EQ("C:\\X\\..\\..\\A", full("C:\\x\\..\\..\\a"));
    EXPECT_EQ("C:X\\..\\A", full("c:x\\..\\a"));
}

TEST_F(FullPath, parent_at_the_root_is_left_alone_at_the_end) { EXPECT_EQ("\\..", full("\\..")); }

TEST_F(FullPath, path_from_the_root_is_resolved) {
    EXPECT_EQ("\\A", full("\\X\\..\\a"));
    EXPECT_EQ("\\", full("/a/.."));
}

TEST_F(FullPath, dot_behind_a_drive_is_a_component) { EXPECT_EQ("C:A", full("C:.\\a")); }

TEST_F(FullPath, other_dots_are_ordinary_characters) {
    EXPECT_EQ("\\.A\\B.\\C..D", full("/.a/b./c..d"));
    EXPECT_EQ("\\...", full("/..."));
    EXPECT_EQ("\\...\\A", full("/.../a"));
    EXPECT_EQ("\\A.\\B", full("/a./b"));
}

TEST_F(FullPath, two_dots_behind_a_name_cannot_be_resolved) {
    EXPECT_EQ("\\X\\.\\A..\\B", full("/x/./a../b"));
}

TEST_F(FullPath, path_without_separators_has_no_last_component) { EXPECT_EQ("C:.", full("c:.")); }

TEST_F(FullPath, long_absolute_path_is_kept_whole) {
    const std::string name(5000, 'x');
    EXPECT_EQ("\\" + std::string(5000, 'X') + "\\A.B", full(("/" + name + "/./a.b").c_str()));
}

TEST_F(FullPath, result_can_be_handed_back) {
    EXPECT_EQ("\\A\\B.C", full(hotpath_Create_Full_Path("/x/../a/b.c")));
}

TEST_F(FullPath, joined_path_may_have_259_bytes) {
    const std::size_t directory = fs::current_path().string().size();
    const std::string name(258 - directory, 'x');
    EXPECT_EQ(drive_ + "\\" + std::string(258 - directory, 'X'), full(name.c_str()));
}

TEST_F(FullPath, longer_joined_path_ends_the_program) {
    const std::size_t directory = fs::current_path().string().size();
    const std::string name(259 - directory, 'x');
    EXPECT_EXIT(hotpath_Create_Full_Path(name.c_str()), testing::ExitedWithCode(1),
                "^INTERNAL ERROR: hotpath_Create_Full_Path: buffer too small\n$");
}

TEST_F(FullPath, working_directory_of_260_bytes_ends_the_program) {
    const fs::path top = fs::path(testing::TempDir()) / "edgefold_long_path";
    // Many bytes in few characters: a system may count either.
    std::u8string name;
    for (int i = 0; i < 45; ++i) name += u8"\u20ac";
    const fs::path deep = top / name / name;
    fs::create_directories(deep);
    fs::current_path(deep);
    EXPECT_EXIT(hotpath_Create_Full_Path("/a"), testing::ExitedWithCode(1),
                "^INTERNAL ERROR: HOTPATH_Full_Path: getcwd failed\n$");
    fs::current_path("/");
    fs::remove_all(top);
}

TEST_F(FullPath, working_directory_that_is_gone_ends_the_program) {
    const fs::path directory = fs::path(testing::TempDir()) / "edgefold_gone_path";
    fs::create_directories(directory);
    fs::current_path(directory);
    std::error_code error;
    if (!fs::remove(directory, error)) {
        fs::current_path("/");
        fs::remove(directory, error);
        GTEST_SKIP() << "this system keeps a directory that is in use";
    }
    EXPECT_EXIT(hotpath_Create_Full_Path("/a"), testing::ExitedWithCode(1),
                "^INTERNAL ERROR: HOTPATH_Full_Path: getcwd failed\n$");
}

TEST_F(FullPath, each_thread_has_its_own_result) {
    const char* const mine = hotpath_Create_Full_Path("/mine");
    std::string other;
    std::thread([&other] { other = hotpath_Create_Full_Path("/other"); }).join();
    EXPECT_STREQ("\\MINE", mine);
    EXPECT_EQ("\\OTHER", other);
}

// bounded_print

TEST(BoundedPrint, output_that_fits_is_terminated) {
    char target[] = "xxxxxxxx";
    bounded_print(target, sizeof target, "%s%c%d", "ab", '-', 12);
    EXPECT_STREQ("ab-12", target);
}

TEST(BoundedPrint, output_that_does_not_fit_is_cut_and_terminated) {
    char target[] = "xxxxxxxx";
    bounded_print(target, 4, "%s", "abcdef");
    EXPECT_STREQ("abc", target);
    EXPECT_EQ('x', target[4]);
}

TEST(BoundedPrint, nothing_is_written_without_room) {
    char target[] = "x";
    bounded_print(target, 0, "%s", "abc");
    EXPECT_STREQ("x", target);
}

}  // namespace
