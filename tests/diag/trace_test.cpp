#include "diag/trace.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "diag/reporter.h"
#include "support/captured_stderr.h"

namespace diag {
namespace {

using test_support::captured_stderr;

TEST(TraceFlags, are_clear_at_the_start) {
    EXPECT_EQ(trace_flags, 0U);
    EXPECT_EQ(reader_trace_flags, 0U);
}

TEST(TraceFlags, bits_are_fixed) {
    EXPECT_EQ(TRACE_DB_ERRORS, 1U);
    EXPECT_EQ(TRACE_DB_CALLS, 2U);
    EXPECT_EQ(TRACE_DB_LOAD, 4U);
    EXPECT_EQ(TRACE_DB_STORE, 8U);
}

TEST(TracePrint, adds_no_newline_and_counts_nothing) {
    const std::int32_t before = error_count();
    EXPECT_EQ(captured_stderr([] {
                  trace_print("SampleDB::open_writable(%s)", "a%sb");
                  trace_print(": %u\n", 7U);
              }),
              "SampleDB::open_writable(a%sb): 7\n");
    EXPECT_EQ(error_count(), before);
}

TEST(TraceFlags, bits_of_the_readers_are_fixed) {
    EXPECT_EQ(reader_trace_choice, 1U);
    EXPECT_EQ(reader_trace_records, 4096U);
}

TEST(Traces, are_on_where_their_bit_is_set) {
    EXPECT_FALSE(traces(TRACE_DB_LOAD));
    trace_flags = 1 | 4;
    EXPECT_TRUE(traces(TRACE_DB_ERRORS));
    EXPECT_FALSE(traces(TRACE_DB_CALLS));
    EXPECT_TRUE(traces(TRACE_DB_LOAD));
    EXPECT_FALSE(traces(TRACE_DB_STORE));
    trace_flags = 0;
}

TEST(Traces, of_the_readers_have_a_word_of_their_own) {
    trace_flags = 0xFFFFFFFF;
    EXPECT_FALSE(traces(reader_trace_choice));
    EXPECT_FALSE(traces(reader_trace_records));
    trace_flags = 0;
    reader_trace_flags = 4096;
    EXPECT_FALSE(traces(reader_trace_choice));
    EXPECT_TRUE(traces(reader_trace_records));
    EXPECT_FALSE(traces(TRACE_DB_ERRORS));
    reader_trace_flags = 0;
}

TEST(TraceTexts, prints_the_texts_one_behind_the_other) {
    EXPECT_EQ(captured_stderr([] {
                  trace_texts({"Proxy for ", "A.C", "(", "%s", ")\n"});
              }),
              "Proxy for A.C(%s)\n");
    EXPECT_EQ(captured_stderr([] { trace_texts({}); }), "");
    EXPECT_EQ(captured_stderr([] { trace_texts({"", "a", ""}); }), "a");
}

TEST(TraceTexts, a_nul_ends_a_text) {
    EXPECT_EQ(captured_stderr([] { trace_texts({std::string_view("a\0b", 3), "c"}); }), "ac");
}

}  // namespace
}  // namespace diag
