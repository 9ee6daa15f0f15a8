#include <filesystem>

#include "edgescope/scope_fixture.h"

namespace {

using test_support::ProgramRun;
using test_support::small_profile;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

using CommandLine = test_support::ScopeTest;

TEST_F(CommandLine, help_goes_to_standard_output_and_is_a_success) {
    EXPECT_THAT(output_of({"--help"}), HasSubstr("Usage: edgescope COMMAND [OPTIONS] DATABASE..."));
    EXPECT_THAT(output_of({"compare", "--help"}),
                HasSubstr("Usage: edgescope compare [OPTIONS] OLD NEW\n"));
    EXPECT_THAT(output_of({"export", "--help"}), HasSubstr("  lcov "));
}

TEST_F(CommandLine, version_names_the_program_and_the_release) {
    EXPECT_EQ(output_of({"--version"}), "edgescope " EDGEFOLD_VERSION "\n");
}

TEST_F(CommandLine, wrong_use_is_told_on_standard_error_with_status_2) {
    for (const auto& arguments :
         std::vector<std::vector<std::string>>{{},
                                               {"none"},
                                               {"top"},
                                               {"compare", "a.db"},
                                               {"export", "a.db"},
                                               {"export", "--to", "none", "a.db"},
                                               {"top", "--by", "none", "a.db"},
                                               {"top", "--by", "1", "a.db"},
                                               {"compare", "--min-overlap", "101", "a.db", "b.db"},
                                               {"top", "--none", "a.db"}}) {
        const ProgramRun run = scope(arguments);
        EXPECT_EQ(run.exit_status, 2) << run;
        EXPECT_EQ(run.standard_output, "");
        EXPECT_THAT(run.standard_error, StartsWith("edgescope: "));
        EXPECT_THAT(run.standard_error,
                    HasSubstr("\nTry 'edgescope --help' for more information.\n"));
    }
}

TEST_F(CommandLine, a_command_that_is_unknown_or_missing_is_told) {
    EXPECT_THAT(scope({"none"}).standard_error, StartsWith("edgescope: 'none' is no command\n"));
    EXPECT_THAT(scope({}).standard_error, StartsWith("edgescope: a command is required\n"));
}

TEST_F(CommandLine, options_that_a_format_does_not_take_are_refused) {
    database("a.db", small_profile);
    for (const std::vector<std::string>& words : std::vector<std::vector<std::string>>{
             {"csv", "--function", "f"}, {"llvm", "--min-share", "1"}, {"dot", "--sources", "."}}) {
        const ProgramRun run = scope({"export", "--to", words[0], words[1], words[2], "a.db"});
        EXPECT_EQ(run.exit_status, 2) << run;
        EXPECT_EQ(run.standard_output, "");
        EXPECT_THAT(run.standard_error,
                    StartsWith("edgescope: " + words[1] + ": doesn't go with --to " + words[0]));
    }
}

TEST_F(CommandLine, a_file_that_is_read_cannot_be_the_output) {
    database("a.db", small_profile);
    database("b.db", small_profile);
    const std::string before = read("a.db");
    for (const std::vector<std::string>& arguments : std::vector<std::vector<std::string>>{
             {"top", "-o", "a.db", "a.db"},
             {"check", "-o", "./a.db", "b.db", "a.db"},
             {"view", "--compare", "a.db", "-o", "a.db", "b.db"}}) {
        const ProgramRun run = scope(arguments);
        EXPECT_EQ(run.exit_status, 2) << run;
        EXPECT_THAT(run.standard_error, HasSubstr("a.db: is read, so it can't be the output\n"));
        EXPECT_EQ(read("a.db"), before);
    }
}

TEST_F(CommandLine, a_file_that_cannot_be_read_is_named) {
    const ProgramRun run = scope({"top", "none.db"});
    EXPECT_EQ(run.exit_status, 2);
    EXPECT_EQ(run.standard_output, "");
    EXPECT_EQ(run.standard_error, "edgescope: none.db: No such file or directory\n");
}

TEST_F(CommandLine, one_unreadable_database_among_several_stops_the_run) {
    database("a.db", small_profile);
    write("b.db", "hello");
    const ProgramRun run = scope({"top", "a.db", "b.db"});
    EXPECT_EQ(run.exit_status, 2);
    EXPECT_EQ(run.standard_output, "");
    EXPECT_EQ(run.standard_error, "edgescope: b.db: is no database\n");
}

TEST_F(CommandLine, output_goes_to_the_file_that_is_named_and_to_no_other) {
    database("a.db", small_profile);
    const std::string text = output_of({"top", "a.db"});
    EXPECT_EQ(output_of({"top", "a.db", "-o", "list.txt"}), "");
    EXPECT_EQ(read("list.txt"), text);
    std::size_t files = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(path())) ++files;
    EXPECT_EQ(files, 2U);
}

TEST_F(CommandLine, a_failed_run_leaves_an_older_output_as_it_was) {
    write("list.txt", "old\n");
    write("a.db", "hello");
    EXPECT_EQ(scope({"top", "a.db", "--output", "list.txt"}).exit_status, 2);
    EXPECT_EQ(read("list.txt"), "old\n");
}

TEST_F(CommandLine, an_output_that_cannot_be_written_is_a_failure) {
    database("a.db", small_profile);
    const ProgramRun run = scope({"top", "a.db", "-o", "none/list.txt"});
    EXPECT_EQ(run.exit_status, 2);
    EXPECT_EQ(run.standard_error, "edgescope: none/list.txt: No such file or directory\n");
}

TEST_F(CommandLine, numbers_out_of_range_are_refused) {
    database("a.db", small_profile);
    for (const char* const value : {"nan", "inf", "-1", "1e300", "0", "1e-9", "1x", ""}) {
        const ProgramRun run = scope({"top", "--time-limit", value, "a.db"});
        EXPECT_EQ(run.exit_status, 2) << value;
        EXPECT_EQ(run.standard_output, "");
    }
    EXPECT_EQ(scope({"top", "--time-limit", "1e6", "a.db"}).exit_status, 0);
    for (const char* const value : {"nan", "-1", "100.1", "inf"}) {
        EXPECT_EQ(scope({"compare", "--min-overlap", value, "a.db", "a.db"}).exit_status, 2);
        EXPECT_EQ(scope({"check", "--max-imbalance", value, "a.db"}).exit_status, 2);
    }
    EXPECT_THAT(scope({"top", "--time-limit", "nan", "a.db"}).standard_error,
                HasSubstr("'nan' is no number from 0.001 to 1000000"));
    for (const char* const value : {"-1", "+1", "1.5", "0x1", "99999999999999999999", ""})
        EXPECT_EQ(scope({"top", "-n", value, "a.db"}).exit_status, 2) << value;
    EXPECT_EQ(output_of({"top", "-n", "010", "a.db"}), output_of({"top", "-n", "10", "a.db"}));
}

TEST_F(CommandLine, a_database_is_never_changed) {
    merge_example("fasttree.csv", "a.db");
    const std::string bytes = read("a.db");
    for (const auto& arguments :
         std::vector<std::vector<std::string>>{{"top", "a.db"},
                                               {"check", "a.db"},
                                               {"compare", "a.db", "a.db"},
                                               {"export", "--to", "csv", "a.db"}})
        EXPECT_EQ(scope(arguments).exit_status, 0);
    EXPECT_TRUE(read("a.db") == bytes);
    EXPECT_FALSE(exists("a.db-journal"));
}

TEST_F(CommandLine, several_databases_are_summed_with_all_64_bits) {
    database("a.db",
             std::string(small_profile) + "; UPDATE sf_edges SET sf_exec_count = 3000000000");
    EXPECT_THAT(output_of({"top", "--by", "edges", "a.db", "a.db", "a.db"}),
                StartsWith("# Runs: 3   edges: 3   Sum: 27,000,000,000\n"));
}

// By the merge tool's rules the first sighting's position stays, and what is counted at another one
// is lost.
TEST_F(CommandLine, an_edge_of_other_positions_adds_nothing_to_the_sum) {
    database("a.db", small_profile);
    database("b.db", std::string(small_profile) +
                         "; UPDATE sf_edges SET sf_from_column = 9 WHERE sf_from_func_id = 2");
    const std::string text = output_of({"top", "--by", "edges", "a.db", "b.db"});
    EXPECT_THAT(text, StartsWith("# Runs: 2   edges: 3   Sum: 190\n"));
    EXPECT_THAT(text, HasSubstr("5:7.3 > 6:1"));
    EXPECT_THAT(output_of({"top", "--by", "edges", "b.db", "a.db"}), HasSubstr("5:9.3 > 6:1"));
}

// The sum is what the merge tool itself makes of the same files, below 2^31.
TEST_F(CommandLine, the_sum_is_the_merge_tools) {
    merge_example("fasttree.csv", "a.db");
    merge_example("gtest-run1.csv", "b.db");
    ASSERT_EQ(run({"-nologo", "-quiet", "-file", "a.db;b.db;a.db", "-out", "sum.db"}).exit_status,
              0);
    for (const char* const kind : {"functions", "edges", "calls"})
        EXPECT_EQ(output_of({"top", "-n", "0", "--by", kind, "a.db", "b.db", "a.db"}),
                  output_of({"top", "-n", "0", "--by", kind, "sum.db"}));
    EXPECT_EQ(output_of({"export", "--to", "dot", "a.db", "b.db", "a.db"}),
              output_of({"export", "--to", "dot", "sum.db"}));
}

TEST_F(CommandLine, output_that_is_no_terminals_has_no_colours) {
    database("a.db", small_profile);
    EXPECT_THAT(output_of({"top", "a.db"}), Not(HasSubstr("\x1b")));
    EXPECT_THAT(output_of({"check", "a.db"}), Not(HasSubstr("\x1b")));
    EXPECT_THAT(scope({"top", "none.db"}).standard_error, Not(HasSubstr("\x1b")));
}

TEST_F(CommandLine, a_name_cannot_command_the_terminal) {
    database("a.db",
             "INSERT INTO sf_filenames VALUES (1, 'A.C');"
             "INSERT INTO sf_functions VALUES (1, 'f' || char(27) || '[31m', 1, 30, 0)");
    EXPECT_THAT(output_of({"top", "a.db"}), HasSubstr("f?[31m\n"));
}

}  // namespace
