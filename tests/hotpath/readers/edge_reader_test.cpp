#include "hotpath/readers/edge_reader.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "diag/trace.h"
#include "support/captured_stderr.h"
#include "support/profile_text.h"
#include "support/scratch_directory.h"
#include "support/tracking_allocator.h"

namespace hotpath {
namespace {

using test_support::captured_stderr;
using test_support::captured_trace;
using test_support::profile_text;

const std::string header =
    "FromAddress,TypeOfBranch,FromSourceFile,FromSourceLine,FromFunctionMangled,"
    "DestinationEndOfBlockAddress,DestinationSourceFile,DestinationSourceLine,"
    "DestinationFunctionMangled,HitCount\n";
const std::string edge_row = "10,Jump,a.c,1,f,20,a.c,2,f,5\n";
const std::string edge_profile =
    "f in A.C x0 flags 0\n"
    "  edge 10 1:0.0.0 > 20 2:0.0.0 x5\n";

// A directory for the file, and an empty set.
class EdgeReaderTest : public testing::Test {
protected:
    std::unique_ptr<SampleFeedbackEdgeReader> open(const std::string& bytes) const {
        return open_edge_reader(directory.write("edges.csv", bytes).c_str());
    }
    void read(const std::string& bytes) {
        const auto reader = open(bytes);
        ASSERT_NE(reader, nullptr);
        EXPECT_TRUE(reader->read_function_records(set, factory, false));
    }

    test_support::ScratchDirectory directory;
    test_support::HeapFactory factory;
    FunctionRecordSet set{factory};
};

TEST_F(EdgeReaderTest, a_file_with_the_required_columns_is_an_edge_file) {
    EXPECT_NE(open(header), nullptr);
    EXPECT_NE(open(header + edge_row), nullptr);
    EXPECT_NE(open(header.substr(0, header.size() - 1)), nullptr);
}

TEST_F(EdgeReaderTest, a_file_without_them_in_its_first_line_is_none) {
    EXPECT_EQ(open(""), nullptr);
    EXPECT_EQ(open("\n" + header), nullptr);
    EXPECT_EQ(open("FromAddress,HitCount\n"), nullptr);
    EXPECT_EQ(open("SQLite format 3"), nullptr);
}

TEST_F(EdgeReaderTest, a_file_that_isnt_there_is_none) {
    EXPECT_EQ(open_edge_reader(directory.path("missing.csv").c_str()), nullptr);
    EXPECT_EQ(open_edge_reader(""), nullptr);
}

TEST_F(EdgeReaderTest, a_directory_is_none) {
    EXPECT_EQ(open_edge_reader(directory.path().c_str()), nullptr);
}

TEST_F(EdgeReaderTest, has_no_proxies_and_complete_records) {
    const auto reader = open(header);
    EXPECT_FALSE(reader->supports_proxies());
    EXPECT_TRUE(reader->records_are_complete());
}

TEST_F(EdgeReaderTest, a_header_alone_gives_no_records_and_one_run) {
    read(header);
    EXPECT_TRUE(set.is_empty());
    EXPECT_EQ(set.num_runs(), 1U);
}

TEST_F(EdgeReaderTest, each_file_is_one_run) {
    read(header + edge_row);
    read(header + edge_row);
    EXPECT_EQ(set.num_runs(), 2U);
    EXPECT_EQ(profile_text(set),
              "f in A.C x0 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x10\n");
}

TEST_F(EdgeReaderTest, a_request_for_proxies_is_ignored) {
    EXPECT_TRUE(open(header + edge_row)->read_function_records(set, factory, true));
    ASSERT_EQ(set.size(), 1U);
    EXPECT_FALSE(set.records_by_key().front()->is_proxy());
    EXPECT_EQ(profile_text(set), edge_profile);
}

TEST_F(EdgeReaderTest, lines_can_end_in_cr_lf) {
    read(
        "FromAddress,TypeOfBranch,FromSourceFile,FromSourceLine,FromFunctionMangled,"
        "DestinationEndOfBlockAddress,DestinationSourceFile,DestinationSourceLine,HitCount,"
        "DestinationFunctionMangled\r\n"
        "10,Jump,a.c,1,f,20,a.c,2,5,f\r\n");
    EXPECT_EQ(profile_text(set), edge_profile);
}

TEST_F(EdgeReaderTest, a_last_row_without_lf_counts) {
    read(header + edge_row.substr(0, edge_row.size() - 1));
    EXPECT_EQ(profile_text(set), edge_profile);
}

// The last column's name, so the CR makes it another one.
TEST_F(EdgeReaderTest, a_header_that_ends_in_a_cr_without_lf_lacks_its_last_column) {
    EXPECT_EQ(open(header.substr(0, header.size() - 1) + "\r"), nullptr);
}

TEST_F(EdgeReaderTest, a_second_header_is_a_row) {
    read(header + header + edge_row);
    EXPECT_EQ(profile_text(set),
              "FromFunctionMangled in FROMSOURCEFILE x0 flags 0\n" + edge_profile);
}

TEST_F(EdgeReaderTest, malformed_rows_cost_themselves_alone) {
    read(header + "\n\n,,,\nshort,row\n" + edge_row + std::string("\0\n[\n", 4) + "1,[");
    EXPECT_EQ(profile_text(set), edge_profile);
    EXPECT_EQ(set.num_runs(), 1U);
}

TEST_F(EdgeReaderTest, edges_come_from_the_factory_that_it_is_given) {
    test_support::TrackingFactory edge_factory;
    EXPECT_TRUE(open(header + edge_row)->read_function_records(set, edge_factory, false));
    EXPECT_EQ(test_support::TrackingAllocator::log().allocations, 1U);
    EXPECT_EQ(test_support::TrackingAllocator::log().live_of_size(sizeof(EdgeRecord)), 1U);
    for (FunctionRecordInterface* record : set.records_by_key())
        record->release_edges(edge_factory);
}

TEST_F(EdgeReaderTest, thousands_of_rows_are_read) {
    std::string bytes = header;
    for (int n = 0; n < 20000; ++n) bytes += edge_row;
    read(bytes);
    EXPECT_EQ(profile_text(set),
              "f in A.C x0 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x100000\n");
}

TEST_F(EdgeReaderTest, an_unusable_row_is_passed_quietly) {
    EXPECT_EQ(captured_stderr([&] { read(header + "\n10,Jump,a.c,1,f,20,a.c,2,f,x\n"); }), "");
}

TEST_F(EdgeReaderTest, traces_the_number_of_lines) {
    EXPECT_EQ(captured_trace(diag::reader_trace_records, [&] { read(header); }),
              "Lines read = 0. Used lines = 0.\n");
    EXPECT_EQ(captured_trace(
                  diag::reader_trace_records,
                  [&] {
                      read(header + edge_row + "\n" + "a,b\n" + "10,Call,a.c,1,f,20,a.c,2,NA,5\n" +
                           "10,?,a.c,1,f,20,a.c,2,g,5\n" + "10,Jump,a.c,-1,f,20,a.c,2,f,5\n" +
                           "10,Ret,a.c,1,f,20,a.c,2,g,5\n" + "10,Call,a.c,1,f,20,a.c,2,g,5");
                  }),
              "Invalid line: \n"
              "Invalid line: a,b\n"
              "Lines read = 8. Used lines = 3.\n");
}

TEST_F(EdgeReaderTest, traces_come_in_the_order_of_the_rows) {
    EXPECT_EQ(captured_trace(
                  diag::reader_trace_records,
                  [&] { read(header + edge_row + "10,Jump,a.c,9,f,20,a.c,2,f,5\n" + "short\n"); }),
              "Mismatched addr/line information for input data: "
              "0x10(L9(R0).C0.D0) -> 0x20(L2(R0).C0.D0)\n"
              "Invalid line: short\n"
              "Lines read = 3. Used lines = 2.\n");
}

}  // namespace
}  // namespace hotpath
