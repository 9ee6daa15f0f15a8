#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "edgefold/dump_action.h"
#include "edgefold/options.h"
#include "scratch.h"

namespace tool {
namespace {

using testing::Eq;
using testing::ExitedWithCode;

// The action runs once in a process, so each test runs it in a fork, which writes the report to a
// file in the test's directory.
class DumpActionDeathTest : public testing::Test {
protected:
    void dump_and_exit(std::string list, std::string sort = "L") {
        opt_sort = sort.data();
        if (std::freopen(scratch_.path("report.txt").c_str(), "w", stdout) == nullptr) std::exit(2);
        dump_action(list.data());
        std::exit(0);
    }
    std::string report() const { return scratch_.read("report.txt"); }

    ScratchDirectory scratch_;
};

constexpr const char* empty_report = "Sampling merge header:Input file count: 0\n";

TEST_F(DumpActionDeathTest, prints_the_report_and_no_count) {
    const std::string path = scratch_.write("a.csv", one_edge_file);
    EXPECT_EXIT(dump_and_exit(path), ExitedWithCode(0), Eq(""));
    EXPECT_EQ(report(),
              "Sampling merge header:Input file count: 1\n"
              "-----------------------------------------------------------------------\n"
              "FILE:         A.C\n"
              "ENTRY:        f\n"
              "\n"
              "Edge data counts:\n"
              "\n"
              "    StartAddr           EndAddr         StartPosition   EndPosition          Count\n"
              "    0x081a0\t0x081b0\tL10.C0.D0\tL20.C0.D0\t           7\n"
              "\n"
              "Function call counts:\n"
              "\n");
}

TEST_F(DumpActionDeathTest, reports_an_empty_set_where_nothing_could_be_read) {
    const std::string missing = scratch_.path("missing.csv");
    EXPECT_EXIT(dump_and_exit(missing), ExitedWithCode(0),
                Eq("warning #30000: Failed to open " + missing + " for reading.\n"));
    EXPECT_EQ(report(), empty_report);
}

TEST_F(DumpActionDeathTest, reports_an_empty_set_for_an_empty_list) {
    EXPECT_EXIT(dump_and_exit(""), ExitedWithCode(0), Eq(""));
    EXPECT_EQ(report(), empty_report);
}

TEST_F(DumpActionDeathTest, hands_the_sort_text_on_to_the_report) {
    const std::string path =
        scratch_.write("a.csv", std::string(one_edge_file) + "300,Cond,a.c,30,f,1b0,a.c,20,f,1\n");
    EXPECT_EXIT(dump_and_exit(path, "A-"), ExitedWithCode(0), Eq(""));
    EXPECT_THAT(report(), testing::ContainsRegex("0x08300\t.*\n    0x081a0\t"));
}

}  // namespace
}  // namespace tool
