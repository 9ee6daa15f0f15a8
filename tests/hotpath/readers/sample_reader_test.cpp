#include "hotpath/readers/sample_reader.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "diag/trace.h"
#include "hotpath/readers/db_reader.h"
#include "hotpath/readers/edge_reader.h"
#include "support/captured_stderr.h"
#include "support/profile_text.h"
#include "support/sample_database.h"
#include "support/scratch_directory.h"
#include "support/tracking_allocator.h"

namespace hotpath {
namespace {

using test_support::captured_stderr;
using test_support::captured_trace;
using test_support::profile_text;

const std::string header =
    "HitCount,FromAddress,TypeOfBranch,FromSourceFile,FromSourceLine,FromFunctionMangled,"
    "DestinationEndOfBlockAddress,DestinationSourceFile,DestinationSourceLine,"
    "DestinationFunctionMangled\n";

// The normal form of an absolute path without "." components.
std::string traced_path(std::string path) {
    for (char& c : path) {
        if (c == '/') c = '\\';
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    }
    return path;
}

// A directory for the inputs, and an empty set.
class SampleReaderTest : public testing::Test {
protected:
    std::string edge_file(const char* name, const std::string& rows) const {
        return directory.write(name, header + rows);
    }
    std::string database(const char* name, const std::string& sql) const {
        test_support::write_sample_database(directory.path(name), sql);
        return directory.path(name);
    }
    static std::unique_ptr<SampleFeedbackReaderInterface> create(const std::string& path,
                                                                 ReaderStatus expected) {
        ReaderStatus status = ReaderStatus::no_samples;
        auto reader = create_reader(path.c_str(), status);
        EXPECT_EQ(status, expected);
        return reader;
    }
    ReaderStatus load(const std::string& path) { return load_input(set, path.c_str()); }

    test_support::ScratchDirectory directory;
    test_support::HeapFactory factory;
    FunctionRecordSet set{factory};
};

TEST(ReaderStatus, has_three_values) {
    EXPECT_EQ(static_cast<int>(ReaderStatus::cannot_open), 0);
    EXPECT_EQ(static_cast<int>(ReaderStatus::no_samples), 1);
    EXPECT_EQ(static_cast<int>(ReaderStatus::ready), 2);
}

TEST_F(SampleReaderTest, an_edge_file_gets_an_edge_reader) {
    const auto reader = create(edge_file("edges.csv", ""), ReaderStatus::ready);
    EXPECT_NE(dynamic_cast<SampleFeedbackEdgeReader*>(reader.get()), nullptr);
}

TEST_F(SampleReaderTest, a_sample_database_gets_a_database_reader) {
    const auto reader = create(database("samples.db", ""), ReaderStatus::ready);
    EXPECT_NE(dynamic_cast<SampleFeedbackDBReader*>(reader.get()), nullptr);
}

TEST_F(SampleReaderTest, names_play_no_part_in_the_choice) {
    const auto edges = create(edge_file("samples.db", ""), ReaderStatus::ready);
    EXPECT_NE(dynamic_cast<SampleFeedbackEdgeReader*>(edges.get()), nullptr);
    const auto rows = create(database("edges.csv", ""), ReaderStatus::ready);
    EXPECT_NE(dynamic_cast<SampleFeedbackDBReader*>(rows.get()), nullptr);
}

TEST_F(SampleReaderTest, a_path_that_isnt_there_cannot_be_opened) {
    EXPECT_EQ(create(directory.path("missing"), ReaderStatus::cannot_open), nullptr);
    EXPECT_EQ(create("", ReaderStatus::cannot_open), nullptr);
    EXPECT_EQ(load(directory.path("missing")), ReaderStatus::cannot_open);
}

TEST_F(SampleReaderTest, a_directory_has_no_samples) {
    EXPECT_EQ(create(directory.path(), ReaderStatus::no_samples), nullptr);
    EXPECT_EQ(load(directory.path()), ReaderStatus::no_samples);
}

TEST_F(SampleReaderTest, other_files_have_no_samples) {
    EXPECT_EQ(load(directory.write("text", "FromAddress,HitCount\n")), ReaderStatus::no_samples);
    EXPECT_EQ(load(directory.write("empty", "")), ReaderStatus::no_samples);
    EXPECT_EQ(load(database("old.db", "UPDATE sf_version SET sf_value = '2'")),
              ReaderStatus::no_samples);
    EXPECT_TRUE(set.is_empty());
    EXPECT_EQ(set.num_runs(), 0U);
}

TEST_F(SampleReaderTest, a_path_can_hold_other_letters) {
    EXPECT_EQ(load(edge_file("\xC3\xA4 \xE2\x82\xAC.csv", "")), ReaderStatus::ready);
}

TEST_F(SampleReaderTest, an_edge_file_without_rows_is_read) {
    EXPECT_EQ(load(edge_file("edges.csv", "")), ReaderStatus::ready);
    EXPECT_TRUE(set.is_empty());
    EXPECT_EQ(set.num_runs(), 1U);
}

TEST_F(SampleReaderTest, inputs_of_both_kinds_add_up) {
    EXPECT_EQ(load(edge_file("edges.csv", "5,10,Jump,a.c,1,f,20,a.c,2,f\n")), ReaderStatus::ready);
    EXPECT_EQ(load(database("samples.db",
                            "INSERT INTO sf_run_info VALUES ('num_runs', '3');"
                            "INSERT INTO sf_filenames VALUES (1, 'A.C');"
                            "INSERT INTO sf_functions VALUES (1, 'f', 1, 7, 0);"
                            "INSERT INTO sf_edges VALUES"
                            " (1, 16, 1, 0, 0, 0, 1, 32, 2, 0, 0, 0, 8, 1);")),
              ReaderStatus::ready);
    EXPECT_EQ(set.num_runs(), 4U);
    EXPECT_EQ(profile_text(set),
              "f in A.C x7 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x13 entry\n");
}

TEST_F(SampleReaderTest, a_database_given_twice_is_read_twice) {
    const std::string path = database("samples.db",
                                      "INSERT INTO sf_run_info VALUES ('num_runs', '3');"
                                      "INSERT INTO sf_functions VALUES (1, 'f', 0, 7, 0);"
                                      "INSERT INTO sf_calls VALUES (1, 12, 2, 'g', 9);");
    EXPECT_EQ(load(path), ReaderStatus::ready);
    EXPECT_EQ(load(path), ReaderStatus::ready);
    EXPECT_EQ(set.num_runs(), 6U);
    EXPECT_EQ(profile_text(set),
              "f in  x14 flags 0\n"
              "  call g 12:2 x18\n");
}

TEST_F(SampleReaderTest, inputs_are_read_in_full) {
    load(database("samples.db", "INSERT INTO sf_functions VALUES (1, 'f', 0, 7, 0);"));
    ASSERT_EQ(set.size(), 1U);
    EXPECT_FALSE(set.records_by_key().front()->is_proxy());
}

TEST_F(SampleReaderTest, a_read_that_fails_keeps_what_was_read) {
    const std::string path = database("samples.db",
                                      "INSERT INTO sf_run_info VALUES ('num_runs', '3');"
                                      "INSERT INTO sf_functions VALUES"
                                      " (1, 'f', 0, 7, 0), (2, 'g', 9, 8, 0);");
    EXPECT_EQ(load(path), ReaderStatus::no_samples);
    EXPECT_EQ(set.num_runs(), 3U);
    EXPECT_EQ(profile_text(set), "f in  x7 flags 0\n");
}

TEST_F(SampleReaderTest, says_nothing_by_itself) {
    const std::string edges = edge_file("edges.csv", "5,10\n");
    EXPECT_EQ(captured_stderr([&] {
                  load(edges);
                  load(directory.path("missing"));
                  load(directory.path());
              }),
              "");
}

TEST_F(SampleReaderTest, traces_the_choice_of_an_edge_reader) {
    const std::string path = edge_file("edges.csv", "");
    const std::string trace =
        captured_trace(diag::reader_trace_choice, [&] { create(path, ReaderStatus::ready); });
    EXPECT_EQ(trace,
              "SampleFeedbackEdgeReader: Column FromAddress mapped to index 1\n"
              "SampleFeedbackEdgeReader: Column TypeOfBranch mapped to index 2\n"
              "SampleFeedbackEdgeReader: Column FromSourceFile mapped to index 3\n"
              "SampleFeedbackEdgeReader: Column FromSourceLine mapped to index 4\n"
              "SampleFeedbackEdgeReader: Column FromFunctionMangled mapped to index 5\n"
              "SampleFeedbackEdgeReader: Column DestinationEndOfBlockAddress mapped to index 6\n"
              "SampleFeedbackEdgeReader: Column DestinationSourceFile mapped to index 7\n"
              "SampleFeedbackEdgeReader: Column DestinationSourceLine mapped to index 8\n"
              "SampleFeedbackEdgeReader: Column DestinationFunctionMangled mapped to index 9\n"
              "SampleFeedbackEdgeReader: Column HitCount mapped to index 0\n"
              "SFO: create_reader(" +
                  traced_path(path) + "): using SampleFeedbackEdgeReader\n");
}

TEST_F(SampleReaderTest, traces_the_choice_of_a_database_reader_behind_the_failed_header) {
    const std::string path = database("samples.db", "");
    const std::string trace =
        captured_trace(diag::reader_trace_choice, [&] { create(path, ReaderStatus::ready); });
    EXPECT_EQ(trace,
              "SampleFeedbackEdgeReader: problem: Missing required column: FromAddress\n"
              "SFO: create_reader(" +
                  traced_path(path) + "): using SampleFeedbackDBReader\n");
}

TEST_F(SampleReaderTest, traces_no_choice_where_there_is_none) {
    EXPECT_EQ(captured_trace(diag::reader_trace_choice,
                             [&] { create(directory.path("missing"), ReaderStatus::cannot_open); }),
              "");
    const std::string text = directory.write("text", "x\n");
    EXPECT_EQ(
        captured_trace(diag::reader_trace_choice, [&] { create(text, ReaderStatus::no_samples); }),
        "SampleFeedbackEdgeReader: problem: Missing required column: FromAddress\n");
}

}  // namespace
}  // namespace hotpath
