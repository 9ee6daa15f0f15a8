#include "hotpath/facade/row_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/damaged_file.h"
#include "support/endless_pages.h"
#include "support/sample_database.h"
#include "support/scratch_directory.h"

namespace {

using namespace std::chrono_literals;
using hotpath::RowReader;
using test_support::ScratchDirectory;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

class RowReaderTest : public testing::Test {
protected:
    // The path of a sample database on which the SQL text was run.
    std::string database(const std::string& sql) {
        const std::string path = directory_.path("samples.db");
        test_support::write_sample_database(path, sql);
        return path;
    }

    // Why the file can't be read if nothing in it is trusted; empty if it can.
    static std::string refusal(const std::string& path) {
        RowReader reader;
        const bool is_sound = reader.open_guarded(path, {});
        EXPECT_EQ(is_sound, reader.error().empty());
        return reader.error();
    }

    ScratchDirectory directory_;
};

std::string text_of(const hotpath::rows::Position& position) {
    return std::to_string(position.line) + "(" + std::to_string(position.relative_line) + ")." +
           std::to_string(position.column) + "." + std::to_string(position.discriminator);
}

std::vector<std::string> edges_of(RowReader& reader) {
    std::vector<std::string> texts;
    EXPECT_TRUE(reader.read_edges([&](const hotpath::rows::Edge& edge) {
        texts.push_back(std::to_string(edge.function_id) + ": " + text_of(edge.from) + " " +
                        std::to_string(edge.from_address) + " > " + text_of(edge.to) + " " +
                        std::to_string(edge.to_address) + " x" + std::to_string(edge.exec_count) +
                        (edge.is_entry ? " entry" : "") + (edge.is_exit ? " exit" : ""));
    })) << reader.error();
    return texts;
}

TEST_F(RowReaderTest, gives_each_edge_with_all_its_columns) {
    RowReader reader;
    ASSERT_TRUE(
        reader.open(database("INSERT INTO sf_edges VALUES (7, 16, 1, 2, 3, 4, 7, 32, 5, 6, 70000,"
                             " 8, 9, 1), (8, 1, 0, 0, 0, 0, 8, 2, -1, 0, 0, 0, 3, 2)")));
    EXPECT_THAT(edges_of(reader), ElementsAre("7: 1(2).3.4 16 > 5(6).4464.8 32 x9 entry",
                                              "8: 0(0).0.0 1 > 4294967295(0).0.0 2 x3 exit"));
}

TEST_F(RowReaderTest, keeps_all_64_bits_of_the_counts_and_addresses) {
    RowReader reader;
    ASSERT_TRUE(reader.open(
        database("INSERT INTO sf_functions VALUES (1, 'f', 1, -1, 0);"
                 "INSERT INTO sf_edges VALUES (1, -2, 0, 0, 0, 0, 1, 1, 0, 0, 0, 0, 4294967298, 0);"
                 "INSERT INTO sf_calls VALUES (1, 1, 1, 'g', 9223372036854775807)")));
    EXPECT_THAT(edges_of(reader),
                ElementsAre("1: 0(0).0.0 18446744073709551614 > 0(0).0.0 1 x4294967298"));
    std::vector<std::uint64_t> counts;
    EXPECT_TRUE(reader.read_functions(
        [&](const hotpath::rows::Function& row) { counts.push_back(row.exec_count); }));
    EXPECT_TRUE(reader.read_calls(
        [&](const hotpath::rows::Call& row) { counts.push_back(row.exec_count); }));
    EXPECT_THAT(counts, ElementsAre(18446744073709551615U, 9223372036854775807U));
}

TEST_F(RowReaderTest, gives_functions_files_and_calls) {
    RowReader reader;
    ASSERT_TRUE(
        reader.open(database("INSERT INTO sf_filenames VALUES (4, 'A.C');"
                             "INSERT INTO sf_functions VALUES (2, 'f', 4, 7, 1),"
                             " (3, 'g', 4, 8, 2);"
                             "INSERT INTO sf_calls VALUES (2, 10, 1, 'g', 6)")));
    std::vector<std::string> texts;
    EXPECT_TRUE(reader.read_files([&](const hotpath::rows::File& row) {
        texts.push_back(std::to_string(row.id) + " " + std::string(row.name));
    }));
    EXPECT_TRUE(reader.read_functions([&](const hotpath::rows::Function& row) {
        texts.push_back(std::to_string(row.id) + " " + std::string(row.name) + " in " +
                        std::to_string(row.file_id) + (row.uses_discriminators ? " D" : "") +
                        (row.uses_columns ? " C" : ""));
    }));
    EXPECT_TRUE(reader.read_calls([&](const hotpath::rows::Call& row) {
        texts.push_back(std::to_string(row.function_id) + " line " + std::to_string(row.line) +
                        "(" + std::to_string(row.relative_line) + ") " +
                        std::string(row.callee.value_or("none")));
    }));
    EXPECT_THAT(texts, ElementsAre("4 A.C", "2 f in 4 D", "3 g in 4 C", "2 line 10(1) g"));
}

TEST_F(RowReaderTest, tells_a_call_without_a_callee_from_one_of_an_empty_name) {
    RowReader reader;
    ASSERT_TRUE(
        reader.open(database("INSERT INTO sf_calls VALUES (1, 1, 1, NULL, 1), (1, 1, 1, '', 1)")));
    std::vector<bool> has_callee;
    EXPECT_TRUE(reader.read_calls(
        [&](const hotpath::rows::Call& row) { has_callee.push_back(row.callee.has_value()); }));
    EXPECT_THAT(has_callee, ElementsAre(false, true));
}

TEST_F(RowReaderTest, ends_a_name_at_its_first_nul) {
    RowReader reader;
    ASSERT_TRUE(
        reader.open(database("INSERT INTO sf_filenames VALUES (1, CAST(x'410042' AS TEXT))")));
    EXPECT_TRUE(
        reader.read_files([](const hotpath::rows::File& row) { EXPECT_EQ(row.name, "A"); }));
}

TEST_F(RowReaderTest, gives_the_number_of_runs_if_the_file_has_it) {
    std::optional<std::uint32_t> runs;
    {
        RowReader with;
        ASSERT_TRUE(with.open(database("INSERT INTO sf_run_info VALUES ('num_runs', '12')")));
        ASSERT_TRUE(with.read_runs(runs));
        EXPECT_EQ(runs, 12U);
    }
    RowReader without;
    std::filesystem::remove(directory_.path("samples.db"));
    ASSERT_TRUE(without.open(database("SELECT 1")));
    ASSERT_TRUE(without.read_runs(runs));
    EXPECT_EQ(runs, std::nullopt);
}

TEST_F(RowReaderTest, names_what_it_cannot_open) {
    RowReader reader;
    EXPECT_FALSE(reader.open(directory_.path("none.db")));
    EXPECT_EQ(reader.error(), "unable to open database file");
    EXPECT_EQ(refusal(directory_.path("none.db")), "No such file or directory");
    EXPECT_EQ(refusal(directory_.path()), "is no file");
}

TEST_F(RowReaderTest, refuses_a_file_that_is_no_database) {
    const std::string path = directory_.write("text.csv", "FromAddress,HitCount\n1,2\n");
    EXPECT_EQ(refusal(path), "is no database");
    RowReader reader;
    EXPECT_FALSE(reader.open(path));
    EXPECT_EQ(reader.error(), "is no database");
}

TEST_F(RowReaderTest, refuses_a_database_of_another_version) {
    RowReader reader;
    EXPECT_FALSE(reader.open(
        database("UPDATE sf_version SET sf_value = '15' WHERE sf_key = 'edges_columns'")));
    EXPECT_EQ(reader.error(), "is of another version: its edges_columns is 15");
}

TEST_F(RowReaderTest, reports_a_query_that_fails) {
    RowReader reader;
    ASSERT_TRUE(reader.open(database("DROP TABLE sf_calls")));
    EXPECT_FALSE(reader.read_calls([](const hotpath::rows::Call&) {}));
    EXPECT_EQ(reader.error(), "no such table: sf_calls");
}

TEST_F(RowReaderTest, reads_a_sound_file_under_guard) {
    EXPECT_THAT(refusal(database("INSERT INTO sf_filenames VALUES (1, 'A.C')")), IsEmpty());
}

TEST_F(RowReaderTest, refuses_under_guard_a_schema_that_is_not_the_merge_tools) {
    for (const auto& [sql, what] : std::vector<std::pair<std::string, std::string>>{
             {"CREATE VIEW v AS SELECT 1", "its schema has another view v"},
             {"DROP TABLE sf_calls; CREATE VIEW sf_calls AS WITH RECURSIVE n(x) AS (SELECT 1 UNION"
              " ALL SELECT x FROM n) SELECT x FROM n",
              "its schema has another view sf_calls"},
             {"CREATE TRIGGER t AFTER INSERT ON sf_edges BEGIN SELECT 1; END",
              "its schema has another trigger t"},
             {"CREATE TABLE more (x)", "its schema has another table more"},
             {"CREATE INDEX i ON sf_calls(sf_to_func_name)", "its schema has another index i"},
             {"DROP INDEX idx2", "its schema lacks CREATEINDEXidx2ONsf_calls(sf_from_func_id)"},
             {"ALTER TABLE sf_run_info ADD COLUMN g AS (sf_key || sf_key)",
              "its schema has another table sf_run_info"}}) {
        const std::string path = database(sql);
        EXPECT_EQ(refusal(path), "is no sample database: " + what);
        std::filesystem::remove(path);
    }
}

TEST_F(RowReaderTest, refuses_under_guard_a_file_that_a_writer_has_left_or_holds) {
    const std::string path = database("SELECT 1");
    directory_.write("samples.db-journal", "");
    EXPECT_THAT(refusal(path), StartsWith("a file -journal stands beside it"));
    std::filesystem::remove(path + "-journal");
    hotpath::SqlConnection writer;
    ASSERT_EQ(writer.open(path.c_str(), hotpath::OpenMode::ReadWrite), hotpath::DbOpenOk);
    ASSERT_TRUE(writer.exec_sql("PRAGMA journal_mode = MEMORY; BEGIN IMMEDIATE"));
    EXPECT_EQ(refusal(path), "another process is writing to it");
    ASSERT_TRUE(writer.exec_sql("COMMIT; BEGIN EXCLUSIVE"));
    EXPECT_EQ(refusal(path), "another process is writing to it");
    ASSERT_TRUE(writer.exec_sql("COMMIT"));
    EXPECT_EQ(refusal(path), "");
}

TEST_F(RowReaderTest, refuses_under_guard_a_write_ahead_log_and_leaves_none) {
    const std::string path = database("SELECT 1");
    {
        hotpath::SqlConnection writer;
        ASSERT_EQ(writer.open(path.c_str(), hotpath::OpenMode::ReadWrite), hotpath::DbOpenOk);
        ASSERT_TRUE(writer.exec_sql("PRAGMA journal_mode = WAL; CREATE TABLE t (x); DROP TABLE t"));
    }
    EXPECT_EQ(refusal(path), "keeps a write-ahead log, which reading would write to");
    EXPECT_FALSE(std::filesystem::exists(path + "-shm"));
}

TEST_F(RowReaderTest, finds_each_page_that_was_zeroed) {
    const std::string bytes = test_support::small_database_bytes(directory_);
    for (std::size_t page = 0; page < bytes.size(); page += test_support::small_page_size) {
        std::string damaged = bytes;
        damaged.replace(page, test_support::small_page_size, test_support::small_page_size, '\0');
        EXPECT_NE(refusal(directory_.write("damaged.db", damaged)), "") << page;
    }
}

TEST_F(RowReaderTest, finds_pages_that_share_children) {
    EXPECT_THAT(refusal(test_support::write_endless_edges(directory_)), HasSubstr("is damaged"));
}

TEST_F(RowReaderTest, ends_at_its_time_limit) {
    RowReader reader;
    ASSERT_TRUE(reader.open_guarded(test_support::write_endless_edges(directory_),
                                    {.time_limit = 1s, .check_integrity = false}))
        << reader.error();
    EXPECT_FALSE(reader.read_edges([](const hotpath::rows::Edge&) {}));
    EXPECT_EQ(reader.error(), "reading it takes longer than the time limit of 1 s");
}

TEST_F(RowReaderTest, sees_one_state_of_the_file) {
    const std::string path = database("INSERT INTO sf_filenames VALUES (1, 'A.C')");
    RowReader reader;
    ASSERT_TRUE(reader.open(path));
    hotpath::SqlConnection writer;
    ASSERT_EQ(writer.open(path.c_str(), hotpath::OpenMode::ReadWrite), hotpath::DbOpenOk);
    EXPECT_FALSE(writer.exec_sql("INSERT INTO sf_filenames VALUES (2, 'B.C')"));
}

}  // namespace
