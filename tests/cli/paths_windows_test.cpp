// Paths as they are written on Windows alone.
#include "paths_fixture.h"

namespace cli {
namespace {

TEST_F(Paths, may_be_as_long_as_the_system_takes_them) {
    std::string name;
    for (int i = 0; i < 100; ++i) name += "\xe2\x82\xac";
    expect_use_of(name + "/" + name + "/" + name + "/" + name + "/" + name);
}

TEST_F(Paths, may_begin_with_a_drive) {
    write("a.csv", one_edge);
    const std::string edges = path("a.csv");
    ASSERT_EQ(edges.substr(1, 2), ":\\");
    EXPECT_EQ(run_plain({"-file", edges, "-out", path("x")}), (Outcome{0, "", merged(1)}));
    EXPECT_EQ(profile("x"), one_edge_profile);
}

TEST_F(Paths, may_have_backslashes) {
    write("sub/a.csv", one_edge);
    EXPECT_EQ(run_plain({"-file", "sub\\a.csv;.\\sub\\..\\gone", "-out", ".\\sub\\x"}),
              (Outcome{0, "", cannot_open(".\\sub\\..\\gone") + merged(1)}));
    EXPECT_EQ(profile("sub/x"), one_edge_profile);
}

TEST_F(Paths, differ_in_more_than_the_case_of_their_letters) {
    write("A.csv", one_edge);
    EXPECT_EQ(run_plain({"-quiet", "-file", "a.CSV", "-out", "x"}), (Outcome{0, "", ""}));
    EXPECT_EQ(
        run_plain({"-file", "a.csv", "-out", "X"}),
        (Outcome{1, "",
                 "error #30094: File, X, already exists. Use -append option to update it.\n"}));
}

// Elsewhere the shell expands patterns; here nothing does.
TEST_F(Paths, are_no_patterns) {
    write("a.csv", one_edge);
    EXPECT_EQ(run_plain({"-file", "*.csv", "-dump"}),
              (Outcome{0, empty_report, cannot_open("*.csv")}));
}

}  // namespace
}  // namespace cli
