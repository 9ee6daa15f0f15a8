// Paths beyond ASCII and beyond the length that old programs take.
#include "paths_fixture.h"

namespace cli {
namespace {

TEST_F(Paths, may_hold_any_character) {
    expect_use_of("gr\xc3\xbc\xc3\x9f\x65 \xe2\x82\xac \xe6\xbc\xa2\xe5\xad\x97 \xf0\x9f\x98\x80");
}

TEST_F(Paths, may_be_longer_than_260_characters) {
    expect_use_of(std::string(150, 'd') + "/" + std::string(150, 'e'));
}

TEST_F(Paths, relative_or_whole_lead_to_the_same_file) {
    write("a.csv", one_edge);
    write("sub/b.csv", one_edge);
    EXPECT_EQ(run_plain({"-file", "./a.csv;sub/../a.csv;sub/b.csv", "-out", "sub/../x"}),
              (Outcome{0, "", merged(3)}));
    EXPECT_EQ(runs("x"), "num_runs|3\n");
}

}  // namespace
}  // namespace cli
