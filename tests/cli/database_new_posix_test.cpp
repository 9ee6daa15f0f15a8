// A new database, where a file has links and a name may hold any character.
#include "cli_support.h"

namespace cli {
namespace {

class NewDatabaseByName : public CliTest {};

TEST_F(NewDatabaseByName, may_stand_in_quotes) {
    write("a.csv", one_edge);
    merge("a.csv", "-out", "\"q\"");
    EXPECT_EQ(profile("\"q\""), one_edge_profile);
}

TEST_F(NewDatabaseByName, is_made_where_a_link_leads) {
    write("a.csv", one_edge);
    std::filesystem::create_symlink("real.db", path("link"));
    merge("a.csv", "-out", "link");
    EXPECT_EQ(profile("real.db"), one_edge_profile);
}

TEST_F(NewDatabaseByName, that_begins_like_a_uri_is_a_name_all_the_same) {
    const std::string name = "file:x%41?mode=memory";
    write("a.csv", one_edge);
    merge("a.csv", "-out", name);
    merge("a.csv", "-append", name);
    EXPECT_EQ(runs(name), "num_runs|2\n");
    const Outcome traced = run_plain({"-file", name, "-dump", "-trace", "2"});
    EXPECT_TRUE(traced.err.starts_with("DatabaseHandle::open(" + name + ") : ")) << traced.err;
    EXPECT_EQ(run_plain({"-file", "a.csv", "-out", name}),
              (Outcome{1, "",
                       "error #30094: File, " + name +
                           ", already exists. Use -append option to update it.\n"}));
    write("file:empty", "");
    EXPECT_EQ(run_plain({"-file", "a.csv", "-append", "file:empty"}),
              (Outcome{1, "", incompatible("file:empty")}));
}

}  // namespace
}  // namespace cli
