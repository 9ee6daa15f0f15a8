#include "diag/safety.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "support/captured_stderr.h"
#include "support/environment.h"
#include "support/scratch_directory.h"
#include "support/text_matchers.h"

namespace diag {
namespace {

using test_support::captured_stderr;
using test_support::matches_whole;
using test_support::ScratchDirectory;
using test_support::set_environment;
using test_support::unset_environment;
using testing::Eq;
using testing::ExitedWithCode;

// What a copy of `source` with this bound leaves in a buffer of eight `#`.
std::string copied(const char* source, std::size_t size) {
    std::string buffer(8, '#');
    checked_strncpy(buffer.data(), source, size);
    return buffer;
}

TEST(EndProgramDeathTest, ends_with_the_status_and_prints_nothing) {
    EXPECT_EXIT(end_program(0), ExitedWithCode(0), Eq(""));
    EXPECT_EXIT(end_program(3), ExitedWithCode(3), Eq(""));
}

TEST(EndProgramDeathTest, runs_no_clean_up) {
    struct Tattler {
        ~Tattler() { std::fputs("cleaned up\n", stderr); }
    };
    const auto end_with_an_object = [] {
        const Tattler tattler;
        std::atexit([] { std::fputs("at exit\n", stderr); });
        end_program(1);
    };
    EXPECT_EXIT(end_with_an_object(), ExitedWithCode(1), Eq(""));
}

TEST(EndProgramDeathTest, writes_what_a_buffered_error_stream_still_holds) {
    const auto end_with_trace_on_hand = [] {
        std::setvbuf(stderr, nullptr, _IOFBF, BUFSIZ);
        trace_print("held");
        end_program(1);
    };
    EXPECT_EXIT(end_with_trace_on_hand(), ExitedWithCode(1), Eq("held"));
}

TEST(AssertFailedDeathTest, prints_source_line_and_expression) {
    EXPECT_EXIT(assert_failed("shared/hotpath/hotpath_allocator.cpp", 12, "mem"), ExitedWithCode(1),
                Eq("shared/hotpath/hotpath_allocator.cpp:12 ASSERTX(mem)\n"));
}

TEST(AssertFailedDeathTest, prints_the_text_behind_a_colon) {
    EXPECT_EXIT(assert_failed_text("shared/hotpath/sample_db.cpp", 345, "rc == 0",
                                   "Internal error: Failed to bind data to stmt"),
                ExitedWithCode(1),
                Eq("shared/hotpath/sample_db.cpp:345 ASSERTX(rc == 0): "
                   "Internal error: Failed to bind data to stmt\n"));
}

TEST(AssertFailedDeathTest, percent_sign_is_printed_as_it_stands) {
    EXPECT_EXIT(assert_failed_text("a.cpp", 1, "x %s y", "100%n"), ExitedWithCode(1),
                Eq("a.cpp:1 ASSERTX(x %s y): 100%n\n"));
}

TEST(Assertx, expression_that_holds_does_nothing) {
    int evaluations = 0;
    EXPECT_EQ(captured_stderr([&evaluations] {
                  ASSERTX(++evaluations == 1);
                  ASSERTX_TEXT(++evaluations == 2, "never seen");
              }),
              "");
    EXPECT_EQ(evaluations, 2);
}

TEST(AssertxDeathTest, expression_that_fails_is_printed_as_it_is_written) {
    const int rc = 1;
    EXPECT_EXIT(ASSERTX(rc == 0), ExitedWithCode(1),
                matches_whole(".*safety_test\\.cpp:[0-9]+ ASSERTX\\(rc == 0\\)\n"));
    EXPECT_EXIT(ASSERTX_TEXT(rc == 0, "it failed"), ExitedWithCode(1),
                matches_whole(".*safety_test\\.cpp:[0-9]+ ASSERTX\\(rc == 0\\): it failed\n"));
}

TEST(PathInSourceRoot, is_the_part_behind_the_last_source_root) {
    EXPECT_STREQ(path_in_source_root("/home/src/tree/src/diag/safety.cpp"), "diag/safety.cpp");
    EXPECT_STREQ(path_in_source_root("C:\\tree\\src\\diag\\safety.cpp"), "diag\\safety.cpp");
    EXPECT_STREQ(path_in_source_root("src/main.cpp"), "main.cpp");
}

TEST(PathInSourceRoot, path_outside_of_it_stays_whole) {
    EXPECT_STREQ(path_in_source_root("tests/a.cpp"), "tests/a.cpp");
    EXPECT_STREQ(path_in_source_root("src"), "src");
    EXPECT_STREQ(path_in_source_root("sr/srd/srcs/a.cpp"), "sr/srd/srcs/a.cpp");
    EXPECT_STREQ(path_in_source_root(""), "");
}

TEST(InternalErrorDeathTest, prints_the_formatted_text_and_a_newline) {
    EXPECT_EXIT(internal_error("%s: buffer of %d", "here", 260), ExitedWithCode(1),
                Eq("INTERNAL ERROR: here: buffer of 260\n"));
}

TEST(InternalErrorDeathTest, percent_sign_in_a_fill_in_is_printed_as_it_stands) {
    EXPECT_EXIT(internal_error("%s", "%s%n"), ExitedWithCode(1), Eq("INTERNAL ERROR: %s%n\n"));
}

TEST(CheckedStrncpy, source_that_does_not_fit_is_cut_without_a_terminator) {
    EXPECT_EQ(copied("abcdef", 3), "abc#####");
}

TEST(CheckedStrncpy, source_of_exactly_the_size_gets_no_terminator) {
    EXPECT_EQ(copied("abc", 3), "abc#####");
}

TEST(CheckedStrncpy, shorter_source_is_padded_with_zeros) {
    EXPECT_EQ(copied("abc", 5), std::string("abc\0\0###", 8));
    EXPECT_EQ(copied("", 2), std::string("\0\0######", 8));
}

TEST(CheckedStrncpy, size_0_copies_nothing) { EXPECT_EQ(copied("abc", 0), "########"); }

TEST(CheckedStrncpyDeathTest, absent_destination_ends_the_program) {
    EXPECT_EXIT(checked_strncpy(nullptr, "abc", 3), ExitedWithCode(1),
                Eq("FATAL ERROR: checked_strncpy invalid parameters\n"));
    EXPECT_EXIT(checked_strncpy(nullptr, "", 0), ExitedWithCode(1),
                Eq("FATAL ERROR: checked_strncpy invalid parameters\n"));
}

TEST(EnvironmentValue, is_the_value_of_a_variable_that_is_set) {
    set_environment("EDGEFOLD_TEST_VARIABLE", "a b=\xc3\xa4");
    EXPECT_EQ(environment_value("EDGEFOLD_TEST_VARIABLE"), "a b=\xc3\xa4");
    unset_environment("EDGEFOLD_TEST_VARIABLE");
}

TEST(EnvironmentValue, of_a_variable_set_to_nothing_is_the_empty_text) {
    set_environment("EDGEFOLD_TEST_VARIABLE", "");
    EXPECT_EQ(environment_value("EDGEFOLD_TEST_VARIABLE"), "");
    unset_environment("EDGEFOLD_TEST_VARIABLE");
}

TEST(EnvironmentValue, is_absent_when_the_variable_is_not_set) {
    unset_environment("EDGEFOLD_TEST_VARIABLE");
    EXPECT_EQ(environment_value("EDGEFOLD_TEST_VARIABLE"), std::nullopt);
}

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
