#include <nlohmann/json.hpp>

#include "edgescope/scope_fixture.h"

namespace {

using nlohmann::json;
using test_support::ProgramRun;
using test_support::small_profile;
using testing::HasSubstr;

class Check : public test_support::ScopeTest {
protected:
    // All findings on a database as "severity kind number", after the SQL text was run on it.
    std::vector<std::string> findings(const std::string& sql,
                                      std::vector<std::string> options = {}) {
        const std::string name = "d" + std::to_string(++databases_) + ".db";
        database(name, sql);
        return findings_of(name, std::move(options));
    }

    std::vector<std::string> findings_of(const std::string& name,
                                         std::vector<std::string> options = {}) {
        options.insert(options.begin(), {"check", "--json", name});
        const ProgramRun run = scope(options);
        EXPECT_EQ(run.standard_error, "");
        last_ = json::parse(run.standard_output)[0]["findings"];
        std::vector<std::string> texts;
        bool has_error = false;
        for (const json& finding : last_) {
            texts.push_back(finding["severity"].get<std::string>() + " " +
                            finding["kind"].get<std::string>() + " " + finding["number"].dump());
            has_error |= finding["severity"] == "error";
        }
        EXPECT_EQ(run.exit_status, has_error ? 1 : 0);
        return texts;
    }

    int run_tool(const std::vector<std::string>& arguments) const {
        return run(arguments).exit_status;
    }

    json last_;

private:
    int databases_ = 0;
};

using testing::ElementsAre;
using testing::IsEmpty;

std::string small_profile_and(const std::string& sql) {
    return std::string(small_profile) + ";" + sql;
}

TEST_F(Check, finds_nothing_in_a_sound_database) {
    EXPECT_THAT(findings(small_profile), IsEmpty());
}

TEST_F(Check, finds_that_there_are_no_runs) {
    EXPECT_THAT(findings(small_profile_and("DELETE FROM sf_run_info")),
                ElementsAre("error no-runs 0"));
    EXPECT_THAT(findings(small_profile_and("UPDATE sf_run_info SET sf_value = '0'")),
                ElementsAre("error no-runs 0"));
}

TEST_F(Check, finds_that_there_are_no_functions) {
    EXPECT_THAT(findings("SELECT 1"), ElementsAre("error no-functions 0"));
}

TEST_F(Check, finds_counts_that_another_merge_would_cut) {
    EXPECT_THAT(findings("INSERT INTO sf_filenames VALUES (1, 'A.C');"
                         "INSERT INTO sf_functions VALUES (1, 'f', 1, 2147483648, 0);"
                         "INSERT INTO sf_edges VALUES"
                         " (1, 16, 10, 1, 0, 0, 1, 32, 11, 2, 0, 0, 2147483648, 1),"
                         " (1, 99, 11, 2, 0, 0, 1, 48, 12, 2, 0, 0, 2147483647, 0)"),
                ElementsAre("error large-counts 1"));
    EXPECT_EQ(last_[0]["worst"][0]["function"], "f");
}

// Neither database has a large count, but what they are merged into.
TEST_F(Check, finds_counts_that_grow_too_large_in_the_sum_of_several_databases) {
    const std::string sql =
        "INSERT INTO sf_filenames VALUES (1, 'A.C');"
        "INSERT INTO sf_functions VALUES (1, 'f', 1, 1500000000, 0);"
        "INSERT INTO sf_edges VALUES"
        " (1, 16, 10, 1, 0, 0, 1, 32, 11, 2, 0, 0, 1073741824, 0)";
    database("a.db", sql);
    database("b.db", sql);
    database("c.db", sql + "; UPDATE sf_edges SET sf_exec_count = 1073741823");
    const ProgramRun run = scope({"check", "a.db", "b.db"});
    EXPECT_EQ(run.exit_status, 0) << run;
    EXPECT_THAT(run.standard_output,
                HasSubstr("\nall databases: warning: 1 edge count of 2,147,483,648 or more in the "
                          "sum: a database that they are merged into could not be merged again "
                          "[large-sums]\n"));
    EXPECT_THAT(scope({"check", "a.db", "c.db"}).standard_output,
                testing::Not(HasSubstr("all databases")));
    const json both = json::parse(scope({"check", "--json", "a.db", "b.db"}).standard_output);
    ASSERT_EQ(both.size(), 3U);
    EXPECT_EQ(both[2]["database"], "");
    EXPECT_EQ(both[2]["findings"][0]["kind"], "large-sums");
    EXPECT_EQ(both[2]["findings"][0]["worst"][0]["function"], "f");
    // What the finding says is so.
    ASSERT_EQ(run_tool({"-nologo", "-quiet", "-file", "a.db;b.db", "-out", "d.db"}), 0);
    EXPECT_EQ(query("d.db", "SELECT sf_exec_count FROM sf_edges"),
              test_support::Rows{{"2147483648"}});
    ASSERT_EQ(run_tool({"-nologo", "-quiet", "-file", "d.db", "-out", "e.db"}), 0);
    EXPECT_EQ(query("e.db", "SELECT sf_exec_count FROM sf_edges"),
              test_support::Rows{{"-2147483648"}});
}

TEST_F(Check, finds_counts_that_are_too_large_for_sums) {
    EXPECT_THAT(findings(small_profile_and("UPDATE sf_edges SET sf_exec_count = -1 WHERE"
                                           " sf_from_func_id = 2")),
                ElementsAre("error large-counts 1", "error huge-counts 1"));
    EXPECT_EQ(last_[1]["worst"][0]["function"], "_Z1gi");
    EXPECT_THAT(findings(small_profile_and("UPDATE sf_functions SET sf_exec_count = -1")),
                ElementsAre("error huge-counts 2"));
    EXPECT_THAT(findings(small_profile_and("UPDATE sf_calls SET sf_exec_count = -1")),
                ElementsAre("error huge-counts 1"));
}

// What the finding says is so: the merge tool reads such a count as another one.
TEST_F(Check, a_count_of_the_kind_is_cut_by_the_merge_tool) {
    database("a.db",
             "INSERT INTO sf_filenames VALUES (1, 'A.C');"
             "INSERT INTO sf_functions VALUES (1, 'f', 1, 1, 0);"
             "INSERT INTO sf_edges VALUES"
             " (1, 16, 10, 1, 0, 0, 1, 32, 11, 2, 0, 0, 4294967301, 0)");
    ASSERT_EQ(run({"-nologo", "-quiet", "-file", "a.db", "-out", "b.db"}).exit_status, 0);
    EXPECT_EQ(query("b.db", "SELECT sf_exec_count FROM sf_edges"), test_support::Rows{{"5"}});
}

TEST_F(Check, finds_blocks_that_are_left_less_often_than_entered) {
    EXPECT_THAT(findings("INSERT INTO sf_filenames VALUES (1, 'A.C');"
                         "INSERT INTO sf_functions VALUES (1, 'f', 1, 1000000, 0);"
                         "INSERT INTO sf_edges VALUES"
                         " (1, 16, 10, 1, 0, 0, 1, 32, 11, 2, 0, 0, 1000000, 1),"
                         " (1, 32, 11, 2, 0, 0, 1, 48, 12, 3, 0, 0, 200000, 2)"),
                ElementsAre("warning imbalance 1"));
    EXPECT_GT(last_[0]["share"], 35);
    EXPECT_LT(last_[0]["share"], 45);
    EXPECT_EQ(last_[0]["worst"][0]["function"], "f");
}

TEST_F(Check, an_imbalance_beyond_its_threshold_is_an_error) {
    const std::string sql =
        "INSERT INTO sf_filenames VALUES (1, 'A.C');"
        "INSERT INTO sf_functions VALUES (1, 'f', 1, 1000000, 0);"
        "INSERT INTO sf_edges VALUES"
        " (1, 16, 10, 1, 0, 0, 1, 32, 11, 2, 0, 0, 1000000, 1),"
        " (1, 32, 11, 2, 0, 0, 1, 48, 12, 3, 0, 0, 200000, 2)";
    EXPECT_THAT(findings(sql, {"--max-imbalance", "10"}), ElementsAre("error imbalance 1"));
}

TEST_F(Check, finds_entries_that_the_entry_block_does_not_show) {
    EXPECT_THAT(findings("INSERT INTO sf_filenames VALUES (1, 'A.C');"
                         "INSERT INTO sf_functions VALUES (1, 'f', 1, 1000000, 0);"
                         "INSERT INTO sf_edges VALUES"
                         " (1, 16, 10, 1, 0, 0, 1, 32, 11, 2, 0, 0, 10000, 1)"),
                ElementsAre("error imbalance 1"));
}

TEST_F(Check, finds_more_exits_than_entries) {
    EXPECT_THAT(findings("INSERT INTO sf_filenames VALUES (1, 'A.C');"
                         "INSERT INTO sf_functions VALUES (1, 'f', 1, 10000, 0);"
                         "INSERT INTO sf_edges VALUES"
                         " (1, 16, 10, 1, 0, 0, 1, 32, 11, 2, 0, 0, 1000000, 2)"),
                ElementsAre("error imbalance 1"));
}

TEST_F(Check, takes_differences_of_sampling_for_a_note) {
    EXPECT_THAT(findings("INSERT INTO sf_filenames VALUES (1, 'A.C');"
                         "INSERT INTO sf_functions VALUES (1, 'f', 1, 10000, 0);"
                         "INSERT INTO sf_edges VALUES"
                         " (1, 16, 10, 1, 0, 0, 1, 32, 11, 2, 0, 0, 10000, 1),"
                         " (1, 32, 11, 2, 0, 0, 1, 48, 12, 3, 0, 0, 9900, 2)"),
                ElementsAre("note imbalance 0"));
}

TEST_F(Check, does_not_judge_a_block_that_a_return_may_lead_to) {
    EXPECT_THAT(
        findings("INSERT INTO sf_filenames VALUES (1, 'A.C');"
                 "INSERT INTO sf_functions VALUES (1, 'f', 1, 1000000, 0);"
                 "INSERT INTO sf_edges VALUES"
                 " (1, 16, 10, 1, 0, 0, 1, 32, 11, 2, 0, 0, 1000000, 1),"  // ends with a call
                 " (1, 48, 12, 3, 0, 0, 1, 48, 12, 3, 0, 0, 500000, 0),"
                 " (1, 48, 12, 3, 0, 0, 1, 64, 13, 4, 0, 0, 1000000, 2)"),
        IsEmpty());
}

TEST_F(Check, finds_functions_called_more_often_than_entered) {
    EXPECT_THAT(findings(small_profile_and("UPDATE sf_calls SET sf_exec_count = 1000")),
                ElementsAre("error calls-beyond-entries 1"));
    EXPECT_EQ(last_[0]["worst"][0], json({{"number", 990}, {"function", "_Z1gi"}, {"file", ""}}));
}

TEST_F(Check, notes_functions_that_were_entered_but_have_no_edges) {
    EXPECT_THAT(findings(small_profile_and("DELETE FROM sf_edges WHERE sf_from_func_id = 2")),
                ElementsAre("note no-edges 1"));
    EXPECT_EQ(last_[0]["share"], 25.0);
}

TEST_F(Check, finds_edges_of_unknown_lines) {
    EXPECT_THAT(findings(small_profile_and(
                    "UPDATE sf_edges SET sf_to_abs_line = -1 WHERE sf_from_address = 48")),
                ElementsAre("warning unknown-lines 1"));
    EXPECT_THAT(findings(small_profile_and("UPDATE sf_edges SET sf_to_abs_line = 0"),
                         {"--max-two-positions", "100"}),
                testing::Contains("error unknown-lines 3"));
}

TEST_F(Check, finds_addresses_with_two_positions) {
    EXPECT_THAT(findings(small_profile_and(
                    "UPDATE sf_edges SET sf_from_abs_line = 99 WHERE sf_from_address = 32")),
                ElementsAre("error two-positions 1"));
    EXPECT_EQ(last_[0]["share"], 25.0);
}

TEST_F(Check, finds_addresses_that_two_functions_have) {
    EXPECT_THAT(findings(small_profile_and("UPDATE sf_edges SET sf_from_address = 32"
                                           " WHERE sf_from_address = 48")),
                ElementsAre("error two-positions 1"));
}

TEST_F(Check, finds_counts_without_a_source_file) {
    EXPECT_THAT(
        findings(small_profile_and("UPDATE sf_filenames SET sf_filename = 'NA' WHERE sf_id = 2")),
        ElementsAre("warning no-file 1"));
    EXPECT_THAT(findings(small_profile_and("UPDATE sf_filenames SET sf_filename = ''")),
                ElementsAre("error no-file 2"));
}

TEST_F(Check, finds_rows_that_belong_to_nothing) {
    EXPECT_THAT(
        findings(small_profile_and("INSERT INTO sf_edges SELECT 9, 1, 1, 1, 1, 1, 9, 2, 1, 1, 1,"
                                   " 1, 1, 1; INSERT INTO sf_calls VALUES (9, 1, 1, 'f', 1),"
                                   " (1, 1, 1, NULL, 1); UPDATE sf_functions SET sf_file_id = 7"
                                   " WHERE sf_id = 2")),
        ElementsAre("error dangling-edges 1", "error dangling-calls 1",
                    "error dangling-functions 1", "error nameless-calls 1", "warning no-file 1"));
}

TEST_F(Check, writes_findings_for_people_with_number_advice_and_the_worst) {
    database("a.db", small_profile_and("DELETE FROM sf_edges WHERE sf_from_func_id = 2"));
    EXPECT_EQ(
        output_of({"check", "a.db"}),
        "a.db: note: 1 function entered but without edges: 25.00 % of all entries [no-edges]\n"
        "    advice: nothing, if they are one block each; otherwise record more samples\n"
        "                 10  _Z1gi (B.C)\n"
        "a.db: 0 errors, 0 warnings, 1 note\n");
}

TEST_F(Check, checks_each_database_by_itself) {
    database("a.db", small_profile);
    database("b.db", small_profile_and("DELETE FROM sf_run_info"));
    const ProgramRun run = scope({"check", "a.db", "b.db"});
    EXPECT_EQ(run.exit_status, 1);
    EXPECT_THAT(run.standard_output, HasSubstr("a.db: 0 errors, 0 warnings, 0 notes\n"));
    EXPECT_THAT(run.standard_output, HasSubstr("b.db: 1 error, 0 warnings, 0 notes\n"));
}

TEST_F(Check, finds_no_error_in_recordings_of_real_programs_but_their_large_counts) {
    for (const char* const recording : {"fasttree", "gtest-run1"}) {
        merge_example(recording + std::string(".csv"), recording);
        for (const std::string& finding : findings_of(recording))
            EXPECT_THAT(finding, testing::StartsWith("note ")) << recording;
    }
    merge_example("minigzip.csv", "minigzip");
    EXPECT_THAT(findings_of("minigzip"), ElementsAre("error large-counts 3", "note imbalance 7",
                                                     "note no-edges 10", "note no-file 2"));
}

TEST_F(Check, finds_that_two_builds_were_merged) {
    database("a.db", small_profile);
    database("b.db", small_profile_and("UPDATE sf_edges SET sf_to_bb_end_address = 33,"
                                       " sf_to_abs_line = 90 WHERE sf_to_bb_end_address = 32;"
                                       "UPDATE sf_edges SET sf_from_abs_line = 91"));
    ASSERT_EQ(run({"-nologo", "-quiet", "-file", "a.db;b.db", "-out", "c.db"}).exit_status, 0);
    EXPECT_THAT(findings_of("c.db"), testing::Contains(HasSubstr("error two-positions")));
}

}  // namespace
