#include "edgefold/banner.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace tool {
namespace {

using testing::Eq;
using testing::ExitedWithCode;

const std::string first_line =
    "Velmora(R) Quillon sampling merge tool for applications running on Velmora(R) 64, "
    "Version 2021.8.0 Build 20221119_000000\n";
const std::string rights_line = "Copyright (C) 2012-2022 Velmora. All rights reserved.\n";

// What a banner with this first line prints.
std::string banner_of(const std::string& line) {
    testing::internal::CaptureStderr();
    print_banner_lines(line.c_str());
    return testing::internal::GetCapturedStderr();
}

TEST(VersionLine, names_product_platform_version_and_build) {
    EXPECT_EQ(version_line(), first_line);
}

TEST(VersionLine, is_built_once) { EXPECT_EQ(&version_line(), &version_line()); }

TEST(Banner, is_version_line_rights_line_and_an_empty_line_on_standard_error) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    print_banner();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), first_line + rights_line + "\n");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(Banner, cuts_its_first_line_at_319_characters) {
    const std::string fits = std::string(318, 'x') + "\n";
    EXPECT_EQ(banner_of(fits), fits + rights_line + "\n");
    EXPECT_EQ(banner_of(std::string(319, 'x') + "\n"), std::string(319, 'x') + rights_line + "\n");
}

TEST(Banner, prints_a_percent_sign_as_it_stands) {
    EXPECT_EQ(banner_of("100%s\n"), "100%s\n" + rights_line + "\n");
}

TEST(UsageDeathTest, prints_banner_usage_line_and_options_and_ends_with_status_1) {
    EXPECT_EXIT(print_usage("/opt/bin/edgefold"), ExitedWithCode(1),
                Eq(first_line + rights_line +
                   "\n"
                   "Usage: /opt/bin/edgefold\n"
                   "           [-nologo]\n"
                   "           [-append <file>]\n"
                   "           [-dump]\n"
                   "           [-file <file>[;<file>*]]\n"
                   "           [-help]\n"
                   "           [-out <file>]\n"
                   "           [-sort <order_code>[-]]\n"
                   "\n"));
}

TEST(HelpDeathTest, prints_help_line_and_explained_options_and_ends_with_status_1) {
    EXPECT_EXIT(print_help("edgefold"), ExitedWithCode(1),
                Eq("Help: edgefold\n"
                   "           [-nologo]\n"
                   "               Print version number\n"
                   "           [-append <file>]\n"
                   "               Update the database file with contents of merge\n"
                   "           [-dump]\n"
                   "               Print result records from merging files specified in "
                   "-file option\n"
                   "           [-file <file>[;<file>*]]\n"
                   "                List of files to merge or dump\n"
                   "           [-help]\n"
                   "                Print this message\n"
                   "           [-out <file>]\n"
                   "               Create a new database file with contents of merge\n"
                   "           [-sort <order_code>[-]]\n"
                   "               Sort the edge data results printed with -dump.\n"
                   "               <order_code> is one of:\n"
                   "                   A - sort by start address\n"
                   "                   C - sort by execution count\n"
                   "                   L - sort by start line\n"
                   "               The optional '-' suffix to the sort method can be used to sort\n"
                   "               in descending order.\n"
                   "\n"));
}

}  // namespace
}  // namespace tool
