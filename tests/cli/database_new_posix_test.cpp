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

}  // namespace
}  // namespace cli
