#include <nlohmann/json.hpp>

#include "edgescope/scope_fixture.h"

namespace {

using test_support::ProgramRun;
using test_support::small_profile;
using testing::HasSubstr;
using testing::Not;

class Top : public test_support::ScopeTest {
protected:
    Top() { database("a.db", small_profile); }
};

TEST_F(Top, lists_functions_by_entries_with_share_and_cumulative_share) {
    EXPECT_EQ(output_of({"top", "a.db"}),
              "# Runs: 1   functions: 2   Sum: 40\n"
              "#\n"
              "# Share   Cumul.          Entries  File  Function\n"
              " 75.00%   75.00%               30  A.C   f\n"
              " 25.00%  100.00%               10  B.C   _Z1gi\n");
}

TEST_F(Top, lists_edges_with_lines_columns_and_discriminators) {
    EXPECT_EQ(output_of({"top", "--by", "edges", "a.db"}),
              "# Runs: 1   edges: 3   Sum: 100\n"
              "#\n"
              "# Share   Cumul.            Taken  Line         File  Function\n"
              " 60.00%   60.00%               60  11 > 11      A.C   f\n"
              " 30.00%   90.00%               30  10 > 11      A.C   f\n"
              " 10.00%  100.00%               10  5:7.3 > 6:1  B.C   _Z1gi\n");
}

TEST_F(Top, lists_calls_with_caller_and_callee) {
    EXPECT_EQ(output_of({"top", "--by", "calls", "a.db"}),
              "# Runs: 1   calls: 1   Sum: 10\n"
              "#\n"
              "# Share   Cumul.            Calls  Line  File  Caller > callee\n"
              "100.00%  100.00%               10  12    A.C   f > _Z1gi\n");
}

TEST_F(Top, shows_as_many_lines_as_asked_for) {
    EXPECT_THAT(output_of({"top", "-n", "1", "a.db"}), Not(HasSubstr("_Z1gi")));
    EXPECT_THAT(output_of({"top", "-n", "0", "a.db"}), HasSubstr("_Z1gi"));
}

TEST_F(Top, shows_names_as_in_the_source_if_asked_to) {
    EXPECT_THAT(output_of({"top", "--demangle", "a.db"}), HasSubstr("  g(int)\n"));
    EXPECT_THAT(output_of({"top", "--demangle", "--by", "calls", "a.db"}),
                HasSubstr("f > g(int)\n"));
}

TEST_F(Top, shows_one_function_with_shares_of_its_own_sum) {
    for (const char* const name : {"_Z1gi", "g(int)"})
        EXPECT_EQ(output_of({"top", "--by", "edges", "--function", name, "a.db"}),
                  "# Runs: 1   edges: 1   Sum: 10\n"
                  "#\n"
                  "# Share   Cumul.            Taken  Line         File  Function\n"
                  "100.00%  100.00%               10  5:7.3 > 6:1  B.C   _Z1gi\n");
}

TEST_F(Top, a_function_without_samples_is_a_failure) {
    const ProgramRun run = scope({"top", "--function", "h", "a.db"});
    EXPECT_EQ(run.exit_status, 2);
    EXPECT_EQ(run.standard_output, "");
    EXPECT_EQ(run.standard_error, "edgescope: no samples of function 'h'\n");
}

TEST_F(Top, json_has_whole_names_counts_and_positions) {
    const auto json = nlohmann::json::parse(output_of({"top", "--json", "--by", "edges", "a.db"}));
    EXPECT_EQ(json["runs"], 1);
    EXPECT_EQ(json["sum"], 100);
    EXPECT_EQ(json["rows"], 3);
    const auto& row = json["top"][2];
    EXPECT_EQ(row["count"], 10);
    EXPECT_EQ(row["share"], 10.0);
    EXPECT_EQ(row["function"], "_Z1gi");
    EXPECT_EQ(row["file"], "B.C");
    EXPECT_EQ(row["from"]["line"], 5);
    EXPECT_EQ(row["from"]["relative_line"], 1);
    EXPECT_EQ(row["from"]["column"], 7);
    EXPECT_EQ(row["from"]["discriminator"], 3);
    EXPECT_EQ(row["from"]["address"], 48);
    EXPECT_EQ(row["to"]["address"], 64);
    const auto calls = nlohmann::json::parse(output_of({"top", "--json", "--by", "calls", "a.db"}));
    EXPECT_EQ(calls["top"][0]["callee"], "_Z1gi");
    EXPECT_EQ(calls["top"][0]["line"], 12);
    EXPECT_EQ(calls["top"][0]["relative_line"], 3);
}

TEST_F(Top, json_is_utf_8_whatever_the_names_are) {
    database("b.db",
             "INSERT INTO sf_filenames VALUES (1, 'A.C');"
             "INSERT INTO sf_functions VALUES (1, CAST(x'66ff' AS TEXT), 1, 30, 0)");
    const auto json = nlohmann::json::parse(output_of({"top", "--json", "b.db"}));
    EXPECT_EQ(json["top"][0]["function"], "f\xEF\xBF\xBD");
}

TEST_F(Top, an_empty_database_has_an_empty_list) {
    database("b.db", "SELECT 1");
    EXPECT_EQ(output_of({"top", "b.db"}),
              "# Runs: 1   functions: 0   Sum: 0\n#\n"
              "# Share   Cumul.          Entries  File  Function\n");
}

TEST_F(Top, equal_counts_stand_by_name) {
    database("b.db",
             "INSERT INTO sf_filenames VALUES (1, 'A.C');"
             "INSERT INTO sf_functions VALUES (1, 'b', 1, 5, 0), (2, 'a', 1, 5, 0)");
    const std::string text = output_of({"top", "b.db"});
    EXPECT_LT(text.find("  a\n"), text.find("  b\n"));
}

}  // namespace
