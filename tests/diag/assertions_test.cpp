#include "diag/assertions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/captured_stderr.h"
#include "support/text_matchers.h"

namespace diag {
namespace {

using test_support::captured_stderr;
using test_support::matches_whole;
using testing::Eq;
using testing::ExitedWithCode;

TEST(AssertFailedDeathTest, prints_source_line_and_expression) {
    EXPECT_EXIT(assert_failed("hotpath/hotpath_allocator.cpp", 12, "mem"), ExitedWithCode(1),
                Eq("hotpath/hotpath_allocator.cpp:12 ASSERTX(mem)\n"));
}

TEST(AssertFailedDeathTest, prints_the_text_behind_a_colon) {
    EXPECT_EXIT(assert_failed_text("hotpath/sample_db.cpp", 345, "rc == 0",
                                   "Internal error: Failed to bind data to stmt"),
                ExitedWithCode(1),
                Eq("hotpath/sample_db.cpp:345 ASSERTX(rc == 0): "
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
                matches_whole(".*assertions_test\\.cpp:[0-9]+ ASSERTX\\(rc == 0\\)\n"));
    EXPECT_EXIT(ASSERTX_TEXT(rc == 0, "it failed"), ExitedWithCode(1),
                matches_whole(".*assertions_test\\.cpp:[0-9]+ ASSERTX\\(rc == 0\\): it failed\n"));
}

TEST(PathInSourceRoot, is_the_part_behind_the_last_source_root) {
    EXPECT_STREQ(path_in_source_root("/home/src/tree/src/diag/trace.cpp"), "diag/trace.cpp");
    EXPECT_STREQ(path_in_source_root("C:\\tree\\src\\diag\\trace.cpp"), "diag\\trace.cpp");
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

}  // namespace
}  // namespace diag
