#include "diag/end_program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

#include "diag/trace.h"

namespace diag {
namespace {

using testing::Eq;
using testing::ExitedWithCode;

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

}  // namespace
}  // namespace diag
