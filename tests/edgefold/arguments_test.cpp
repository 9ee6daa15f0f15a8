#include "edgefold/arguments.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace tool {
namespace {

void free_copies(char** copies) {
    for (char** copy = copies; *copy != nullptr; ++copy) std::free(*copy);
    std::free(copies);
}

TEST(CopyArguments, gives_fresh_texts_and_an_absent_last_entry) {
    char program[] = "edgefold";
    char option[] = "-sort";
    const char* const arguments[] = {program, option, nullptr};
    char** const copies = copy_arguments(2, arguments);
    EXPECT_STREQ(copies[0], "edgefold");
    EXPECT_STREQ(copies[1], "-sort");
    EXPECT_EQ(copies[2], nullptr);
    EXPECT_NE(copies[0], program);
    EXPECT_NE(copies[1], option);
    free_copies(copies);
}

TEST(CopyArguments, keeps_bytes_that_are_no_utf8) {
    const char* const arguments[] = {"\xff\x80", nullptr};
    char** const copies = copy_arguments(1, arguments);
    EXPECT_STREQ(copies[0], "\xff\x80");
    free_copies(copies);
}

TEST(CopyArguments, of_wide_texts_gives_utf8) {
    const wchar_t* const arguments[] = {L"edgefold", L"\u00e4\u20ac\U0001f600", L"", nullptr};
    char** const copies = copy_arguments(3, arguments);
    EXPECT_STREQ(copies[0], "edgefold");
    EXPECT_STREQ(copies[1], "\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80");
    EXPECT_STREQ(copies[2], "");
    EXPECT_EQ(copies[3], nullptr);
    free_copies(copies);
}

TEST(CopyArguments, of_none_is_the_absent_entry_alone) {
    char** const copies = copy_arguments(0, static_cast<const char* const*>(nullptr));
    EXPECT_EQ(copies[0], nullptr);
    free_copies(copies);
}

}  // namespace
}  // namespace tool
