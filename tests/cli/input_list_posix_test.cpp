// Inputs, where a file has links and a process a limit on what it opens.
#include "cli_support.h"

namespace cli {
namespace {

class InputListLimits : public CliTest {};

TEST_F(InputListLimits, a_link_that_leads_nowhere_can_not_be_opened) {
    std::filesystem::create_symlink("gone", path("link"));
    EXPECT_EQ(run_plain({"-file", "link", "-dump"}),
              (Outcome{0, empty_report, cannot_open("link")}));
}

TEST_F(InputListLimits, more_databases_are_read_than_the_soft_limit_of_open_files_allows) {
    make_database("in.db", one_edge_rows);
    make_database("x");
    std::string list;
    for (int i = 0; i < 1100; ++i) list += ";in.db";
    preparation_ = "ulimit -S -n 256";
    EXPECT_EQ(run_plain({"-file", list, "-append", "x"}), (Outcome{0, "", merged(1100)}));
    EXPECT_EQ(runs("x"), "num_runs|1100\n");
}

}  // namespace
}  // namespace cli
