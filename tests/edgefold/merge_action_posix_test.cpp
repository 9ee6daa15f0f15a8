#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "diag/trace.h"
#include "edgefold/merge_action.h"
#include "edgefold/options.h"
#include "scratch.h"

namespace tool {
namespace {

using testing::ElementsAre;
using testing::Eq;
using testing::ExitedWithCode;
using testing::StartsWith;

// The action runs once in a process, so each test runs it in a fork, which writes the report to a
// file in the test's directory.
class MergeActionDeathTest : public testing::Test {
protected:
    void merge_and_exit(std::string list, TargetFile target) {
        if (std::freopen(scratch_.path("report.txt").c_str(), "w", stdout) == nullptr) std::exit(2);
        merge_action(list.data(), database_.c_str(), target);
        std::exit(0);
    }
    void create_and_exit(const std::string& list) { merge_and_exit(list, TargetFile::must_be_new); }
    void append_and_exit(const std::string& list) { merge_and_exit(list, TargetFile::may_exist); }
    void merge_quietly_and_exit(const std::string& list) {
        opt_quiet = 1;
        create_and_exit(list);
    }
    void merge_with_report_and_exit(const std::string& list) {
        opt_dump = 1;
        create_and_exit(list);
    }
    void merge_traced_and_exit(const std::string& list) {
        diag::trace_flags = diag::TRACE_DB_CALLS;
        create_and_exit(list);
    }

    // The first column of what a query gives on the database.
    std::vector<std::string> query(const char* sql) const {
        std::vector<std::string> cells;
        sqlite3* connection = nullptr;
        EXPECT_EQ(sqlite3_open_v2(database_.c_str(), &connection, SQLITE_OPEN_READONLY, nullptr),
                  SQLITE_OK);
        const auto keep_cell = [](void* to, int, char** row, char**) {
            static_cast<std::vector<std::string>*>(to)->push_back(row[0] ? row[0] : "NULL");
            return 0;
        };
        EXPECT_EQ(sqlite3_exec(connection, sql, keep_cell, &cells, nullptr), SQLITE_OK);
        sqlite3_close(connection);
        return cells;
    }
    std::vector<std::string> run_count() const {
        return query("SELECT sf_value FROM sf_run_info WHERE sf_key = 'num_runs'");
    }
    std::vector<std::string> edge_counts() const {
        return query("SELECT sf_exec_count FROM sf_edges");
    }
    void execute(const char* sql) const {
        sqlite3* connection = nullptr;
        ASSERT_EQ(sqlite3_open(database_.c_str(), &connection), SQLITE_OK);
        ASSERT_EQ(sqlite3_exec(connection, sql, nullptr, nullptr, nullptr), SQLITE_OK);
        sqlite3_close(connection);
    }
    bool database_exists() const { return std::filesystem::exists(database_); }

    ScratchDirectory scratch_;
    std::string input_ = scratch_.write("a.csv", one_edge_file);
    std::string missing_ = scratch_.path("missing.csv");
    std::string missing_warning_ = "warning #30000: Failed to open " + missing_ + " for reading.\n";
    std::string database_ = scratch_.path("a.db");
};

TEST_F(MergeActionDeathTest, creates_a_database_of_two_inputs_and_tells_their_count) {
    const std::string other = scratch_.write("b.csv", one_edge_file);
    EXPECT_EXIT(create_and_exit(input_ + ";" + other), ExitedWithCode(0),
                Eq("remark #30101: Merged 2 files to output file.\n"));
    EXPECT_THAT(run_count(), ElementsAre("2"));
    EXPECT_THAT(query("SELECT sf_func_name FROM sf_functions"), ElementsAre("f"));
    EXPECT_THAT(edge_counts(), ElementsAre("14"));
}

TEST_F(MergeActionDeathTest, appends_to_a_database) {
    EXPECT_EXIT(create_and_exit(input_ + ";" + input_), ExitedWithCode(0), testing::_);
    EXPECT_EXIT(append_and_exit(input_), ExitedWithCode(0),
                Eq("remark #30101: Merged 1 files to output file.\n"));
    EXPECT_THAT(run_count(), ElementsAre("3"));
    EXPECT_THAT(edge_counts(), ElementsAre("21"));
}

TEST_F(MergeActionDeathTest, append_creates_a_database_that_does_not_exist) {
    EXPECT_EXIT(append_and_exit(input_), ExitedWithCode(0),
                Eq("remark #30101: Merged 1 files to output file.\n"));
    EXPECT_THAT(run_count(), ElementsAre("1"));
}

TEST_F(MergeActionDeathTest, a_database_as_input_brings_its_runs) {
    EXPECT_EXIT(create_and_exit(input_), ExitedWithCode(0), testing::_);
    execute("UPDATE sf_run_info SET sf_value = '5' WHERE sf_key = 'num_runs'");
    const std::string old = scratch_.path("old.db");
    std::filesystem::rename(database_, old);
    EXPECT_EXIT(create_and_exit(old), ExitedWithCode(0),
                Eq("remark #30101: Merged 1 files to output file.\n"));
    EXPECT_THAT(run_count(), ElementsAre("5"));
    EXPECT_THAT(edge_counts(), ElementsAre("7"));
}

TEST_F(MergeActionDeathTest, refuses_an_existing_output_before_any_input_is_opened) {
    scratch_.write("a.db", "anything");
    EXPECT_EXIT(create_and_exit(missing_), ExitedWithCode(1),
                Eq("error #30094: File, " + database_ +
                   ", already exists. Use -append option to update it.\n"));
    EXPECT_EQ(scratch_.read("a.db"), "anything");
}

TEST_F(MergeActionDeathTest, refuses_a_directory_as_existing_output) {
    std::filesystem::create_directory(database_);
    EXPECT_EXIT(create_and_exit(input_), ExitedWithCode(1),
                Eq("error #30094: File, " + database_ +
                   ", already exists. Use -append option to update it.\n"));
}

TEST_F(MergeActionDeathTest, without_a_readable_input_no_database_is_created) {
    EXPECT_EXIT(create_and_exit(missing_), ExitedWithCode(0),
                Eq(missing_warning_ + "remark #30101: Merged 0 files to output file.\n"));
    EXPECT_FALSE(database_exists());
    EXPECT_EXIT(append_and_exit(missing_), ExitedWithCode(0),
                Eq(missing_warning_ + "remark #30101: Merged 0 files to output file.\n"));
    EXPECT_FALSE(database_exists());
}

TEST_F(MergeActionDeathTest, without_a_readable_input_an_existing_file_is_not_touched) {
    scratch_.write("a.db", "no database");
    EXPECT_EXIT(append_and_exit(missing_), ExitedWithCode(0),
                Eq(missing_warning_ + "remark #30101: Merged 0 files to output file.\n"));
    EXPECT_EQ(scratch_.read("a.db"), "no database");
}

TEST_F(MergeActionDeathTest, without_a_readable_input_no_report_is_printed) {
    EXPECT_EXIT(merge_with_report_and_exit(missing_), ExitedWithCode(0), testing::_);
    EXPECT_EQ(scratch_.read("report.txt"), "");
}

TEST_F(MergeActionDeathTest, quiet_suppresses_the_count_and_no_warning) {
    EXPECT_EXIT(merge_quietly_and_exit(missing_ + ";" + input_), ExitedWithCode(0),
                Eq(missing_warning_));
    EXPECT_THAT(run_count(), ElementsAre("1"));
}

TEST_F(MergeActionDeathTest, the_report_shows_the_inputs_and_not_the_database) {
    EXPECT_EXIT(create_and_exit(input_), ExitedWithCode(0), testing::_);
    const std::string old = scratch_.path("old.db");
    std::filesystem::rename(database_, old);
    EXPECT_EXIT(merge_with_report_and_exit(input_), ExitedWithCode(0),
                Eq("remark #30101: Merged 1 files to output file.\n"));
    EXPECT_THAT(scratch_.read("report.txt"),
                StartsWith("Sampling merge header:Input file count: 1\n"));
    EXPECT_THAT(scratch_.read("report.txt"),
                testing::HasSubstr("L10.C0.D0\tL20.C0.D0\t           7\n"));
}

TEST_F(MergeActionDeathTest, a_database_that_can_not_be_created_is_named) {
    database_ = scratch_.path("missing/a.db");
    EXPECT_EXIT(create_and_exit(input_), ExitedWithCode(1),
                Eq("error #30001: Failed to open " + database_ + " for writing.\n"));
}

TEST_F(MergeActionDeathTest, a_file_of_another_format_is_named) {
    scratch_.write("a.db", "");
    EXPECT_EXIT(append_and_exit(input_), ExitedWithCode(1),
                Eq("error #30096: File, " + database_ +
                   ", already exists, but is not compatible with this version. Delete and "
                   "regenerate.\n"));
}

TEST_F(MergeActionDeathTest, a_database_without_a_table_is_an_internal_error) {
    EXPECT_EXIT(create_and_exit(input_), ExitedWithCode(0), testing::_);
    execute("DROP TABLE sf_calls");
    EXPECT_EXIT(append_and_exit(input_), ExitedWithCode(1), Eq("error #30100: Internal error.\n"));
}

TEST_F(MergeActionDeathTest, a_merge_that_fails_is_an_internal_error) {
    EXPECT_EXIT(create_and_exit(input_), ExitedWithCode(0), testing::_);
    execute(
        "CREATE TRIGGER no_update BEFORE UPDATE ON sf_functions "
        "BEGIN SELECT RAISE(ABORT, 'no'); END");
    EXPECT_EXIT(append_and_exit(input_), ExitedWithCode(1), Eq("error #30100: Internal error.\n"));
}

TEST_F(MergeActionDeathTest, closes_the_database_behind_the_count) {
    EXPECT_EXIT(merge_traced_and_exit(input_), ExitedWithCode(0),
                testing::ContainsRegex("remark #30101: Merged 1 files to output file.\n"
                                       "DatabaseHandle::close 0x[0-9a-f]+$"));
}

}  // namespace
}  // namespace tool
