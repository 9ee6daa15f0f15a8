#include "hotpath/readers/db_reader.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>

#include "hotpath/database/sample_db.h"
#include "support/captured_stderr.h"
#include "support/profile_text.h"
#include "support/sample_database.h"
#include "support/scratch_directory.h"
#include "support/tracking_allocator.h"

namespace hotpath {
namespace {

using test_support::profile_text;

constexpr const char* two_functions =
    "INSERT INTO sf_run_info VALUES ('num_runs', '3');"
    "INSERT INTO sf_filenames VALUES (1, 'A.C');"
    "INSERT INTO sf_functions VALUES (1, 'f', 1, 7, 3), (2, 'g', 1, 8, 0);"
    "INSERT INTO sf_edges VALUES (1, 16, 10, 1, 2, 3, 1, 32, 11, 5, 6, 7, 8, 3);"
    "INSERT INTO sf_calls VALUES (2, 12, 2, 'f', 9);";

constexpr const char* two_functions_profile =
    "f in A.C x7 flags 3\n"
    "  edge 10 10:1.2.3 > 20 11:5.6.7 x8 entry exit\n"
    "g in A.C x8 flags 0\n"
    "  call f 12:2 x9\n";

// The second function's file id is beyond the file table.
constexpr const char* damaged =
    "INSERT INTO sf_filenames VALUES (1, 'A.C');"
    "INSERT INTO sf_functions VALUES (1, 'f', 1, 7, 0), (2, 'g', 9, 8, 0);";

// A directory for the database, and an empty set.
class DbReaderTest : public testing::Test {
protected:
    std::unique_ptr<SampleFeedbackDBReader> open(const char* sql) {
        test_support::write_sample_database(path, sql);
        return open_db_reader(path.c_str());
    }

    test_support::ScratchDirectory directory;
    std::string path = directory.path("samples.db");
    test_support::HeapFactory factory;
    FunctionRecordSet set{factory};
};

TEST_F(DbReaderTest, a_sample_database_has_a_reader) {
    const auto reader = open("");
    ASSERT_NE(reader, nullptr);
    EXPECT_TRUE(reader->supports_proxies());
}

TEST_F(DbReaderTest, other_files_have_none) {
    EXPECT_EQ(open_db_reader(directory.path("missing.db").c_str()), nullptr);
    EXPECT_EQ(open_db_reader(directory.path().c_str()), nullptr);
    EXPECT_EQ(open_db_reader(directory.write("empty.db", "").c_str()), nullptr);
    EXPECT_EQ(open_db_reader(directory.write("text.db", "no database\n").c_str()), nullptr);
}

TEST_F(DbReaderTest, a_database_of_another_version_has_none) {
    for (const char* key : {"schema_version", "filename_columns", "functions_columns",
                            "edges_columns", "calls_columns"}) {
        const std::string other = directory.path(key);
        test_support::write_sample_database(
            other,
            "UPDATE sf_version SET sf_value = '3' WHERE sf_key = '" + std::string(key) + "'");
        EXPECT_EQ(open_db_reader(other.c_str()), nullptr) << key;
    }
}

TEST_F(DbReaderTest, a_missing_file_is_not_made) {
    open_db_reader(path.c_str());
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(DbReaderTest, reads_full_records_and_the_run_count) {
    const auto reader = open(two_functions);
    EXPECT_TRUE(reader->read_function_records(set, factory, false));
    EXPECT_EQ(set.num_runs(), 3U);
    for (const FunctionRecordInterface* record : set.records_by_key())
        EXPECT_FALSE(record->is_proxy());
    EXPECT_EQ(profile_text(set), two_functions_profile);
}

TEST_F(DbReaderTest, adds_to_what_the_set_holds) {
    set.add_runs(4);
    FunctionRecord* const record = set.find_or_create_record("a.c", "f");
    record->add_exec_count(100);
    record->add_edge(16, SourcePosition(10, 0, 2, 3), 32, SourcePosition(11, 0, 6, 7), 1000,
                     factory);
    EXPECT_TRUE(open(two_functions)->read_function_records(set, factory, false));
    EXPECT_EQ(set.num_runs(), 7U);
    EXPECT_EQ(test_support::record_text(*record),
              "f in A.C x107 flags 3\n"
              "  edge 10 10:0.2.3 > 20 11:0.6.7 x1008 entry exit\n");
}

TEST_F(DbReaderTest, without_a_run_count_the_sets_stays) {
    set.add_runs(4);
    EXPECT_TRUE(open("")->read_function_records(set, factory, false));
    EXPECT_EQ(set.num_runs(), 4U);
    EXPECT_TRUE(set.is_empty());
}

TEST_F(DbReaderTest, proxies_read_their_details_on_demand) {
    const auto reader = open(two_functions);
    EXPECT_TRUE(reader->read_function_records(set, factory, true));
    ASSERT_EQ(set.size(), 2U);
    for (const FunctionRecordInterface* record : set.records_by_key())
        EXPECT_TRUE(record->is_proxy());
    EXPECT_EQ(profile_text(set), two_functions_profile);
}

TEST_F(DbReaderTest, the_database_outlives_its_reader) {
    open(two_functions)->read_function_records(set, factory, true);
    EXPECT_EQ(profile_text(set), two_functions_profile);
}

TEST_F(DbReaderTest, a_read_without_proxies_completes_the_records) {
    const auto reader = open(two_functions);
    EXPECT_FALSE(reader->records_are_complete());
    reader->read_function_records(set, factory, true);
    EXPECT_FALSE(reader->records_are_complete());
    reader->read_function_records(set, factory, false);
    EXPECT_TRUE(reader->records_are_complete());
}

TEST_F(DbReaderTest, a_failed_read_keeps_what_was_read_and_counts_as_complete) {
    const auto reader = open(damaged);
    EXPECT_EQ(test_support::captured_stderr(
                  [&] { EXPECT_FALSE(reader->read_function_records(set, factory, false)); }),
              "");
    EXPECT_EQ(profile_text(set), "f in A.C x7 flags 0\n");
    EXPECT_TRUE(reader->records_are_complete());
}

TEST_F(DbReaderTest, a_failed_read_of_proxies_leaves_the_records_incomplete) {
    const auto reader = open(damaged);
    EXPECT_FALSE(reader->read_function_records(set, factory, true));
    EXPECT_FALSE(reader->records_are_complete());
}

TEST_F(DbReaderTest, a_reader_over_a_database_of_the_callers_leaves_it_open) {
    test_support::write_sample_database(path, two_functions);
    SampleDB database;
    ASSERT_EQ(database.open_readonly(path.c_str()), DbOpenOk);
    {
        SampleFeedbackDBReader reader(database);
        EXPECT_TRUE(reader.read_function_records(set, factory, false));
    }
    EXPECT_TRUE(database.read_function_records(set, factory, false));
    EXPECT_EQ(set.num_runs(), 6U);
}

}  // namespace
}  // namespace hotpath
