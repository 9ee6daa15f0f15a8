#include "hotpath/model/function_record.h"

#include <gtest/gtest.h>

#include <string>

#include "support/captured_stderr.h"
#include "support/profile_text.h"
#include "support/tracking_allocator.h"

namespace hotpath {
namespace {

using test_support::captured_stderr;
using test_support::record_text;
using test_support::TrackingAllocator;

constexpr std::uint64_t A = 0xA0;
constexpr std::uint64_t B = 0xB0;

// A record of function "f" in file "F.C", and another one of the same names.
class FunctionRecordTest : public testing::Test {
protected:
    ~FunctionRecordTest() override {
        record.release_edges(factory);
        source.release_edges(factory);
    }
    EdgeRecord* add_edge(FunctionRecord& target, const SourcePosition& from, std::uint64_t count) {
        return target.add_edge(A, from, B, SourcePosition(20, 0, 0, 0), count, factory);
    }

    test_support::TrackingFactory factory;
    AllocatorOnHeap call_storage;
    FunctionKey key = factory.make_key(factory.keep_file_name("F.C"), "f");
    FunctionRecord record{key, call_storage};
    FunctionRecord source{key, call_storage};
};

TEST_F(FunctionRecordTest, is_empty_at_first) {
    EXPECT_EQ(record_text(record), "f in F.C x0 flags 0\n");
    EXPECT_EQ(record.edge_count(), 0U);
    EXPECT_EQ(record.call_count(), 0U);
    EXPECT_FALSE(record.has_counts());
    EXPECT_FALSE(record.uses_columns());
    EXPECT_FALSE(record.uses_discriminators());
}

TEST_F(FunctionRecordTest, is_no_proxy_and_its_own_full_record) {
    EXPECT_FALSE(record.is_proxy());
    EXPECT_EQ(record.get_full_record(), &record);
    EXPECT_EQ(record.get_proxy(), nullptr);
}

TEST_F(FunctionRecordTest, gives_the_proxy_that_it_was_told) {
    FunctionRecordProxy proxy(key, nullptr, factory, 1);
    record.set_proxy(&proxy);
    EXPECT_EQ(record.get_proxy(), &proxy);
}

TEST_F(FunctionRecordTest, execution_counts_add_up_and_wrap_at_64_bits) {
    record.add_exec_count(0xFFFFFFFFFFFFFFFF);
    record.add_exec_count(5);
    EXPECT_EQ(record.get_exec_count(), 4U);
}

TEST_F(FunctionRecordTest, only_an_execution_count_other_than_0_sets_has_counts) {
    record.add_exec_count(0);
    EXPECT_FALSE(record.has_counts());
    record.add_exec_count(1);
    EXPECT_TRUE(record.has_counts());
    record.add_exec_count(0);
    EXPECT_TRUE(record.has_counts());
}

TEST_F(FunctionRecordTest, only_an_edge_count_other_than_0_sets_has_counts) {
    add_edge(record, SourcePosition(10, 0, 0, 0), 0);
    EXPECT_FALSE(record.has_counts());
    add_edge(record, SourcePosition(10, 0, 0, 0), 1);
    EXPECT_TRUE(record.has_counts());
}

TEST_F(FunctionRecordTest, an_edge_count_that_is_dropped_sets_has_counts) {
    add_edge(record, SourcePosition(10, 0, 0, 0), 0);
    add_edge(record, SourcePosition(11, 0, 0, 0), 1);
    EXPECT_EQ(record.edge_count(), 1U);
    EXPECT_TRUE(record.has_counts());
}

TEST_F(FunctionRecordTest, calls_leave_has_counts_alone) {
    record.add_call("g", 1, 0, 5);
    EXPECT_FALSE(record.has_counts());
    EXPECT_EQ(record.call_count(), 1U);
}

TEST_F(FunctionRecordTest, has_counts_is_in_no_flag) {
    record.add_exec_count(1);
    EXPECT_EQ(record.function_flags(), 0U);
}

TEST_F(FunctionRecordTest, discriminators_are_bit_0_of_the_flags) {
    record.set_uses_discriminators(true);
    EXPECT_TRUE(record.uses_discriminators());
    EXPECT_FALSE(record.uses_columns());
    EXPECT_EQ(record.function_flags(), 1U);
}

TEST_F(FunctionRecordTest, columns_are_bit_1_of_the_flags) {
    record.set_uses_columns(true);
    EXPECT_TRUE(record.uses_columns());
    EXPECT_FALSE(record.uses_discriminators());
    EXPECT_EQ(record.function_flags(), 2U);
    record.set_uses_discriminators(true);
    EXPECT_EQ(record.function_flags(), 3U);
}

TEST_F(FunctionRecordTest, a_false_argument_sets_the_marks_too) {
    record.set_uses_columns(false);
    record.set_uses_discriminators(false);
    EXPECT_EQ(record.function_flags(), 3U);
}

TEST_F(FunctionRecordTest, add_edge_gives_the_edge_also_where_positions_differ) {
    EdgeRecord* const edge = add_edge(record, SourcePosition(10, 0, 0, 0), 1);
    EXPECT_EQ(add_edge(record, SourcePosition(11, 0, 0, 0), 2), edge);
    EXPECT_EQ(edge->exec_count(), 1U);
}

TEST_F(FunctionRecordTest, merge_sums_execution_counts) {
    record.add_exec_count(7);
    source.add_exec_count(5);
    record.merge(source, factory);
    EXPECT_EQ(record.get_exec_count(), 12U);
    EXPECT_EQ(source.get_exec_count(), 5U);
}

TEST_F(FunctionRecordTest, merge_sums_calls_and_keeps_the_targets_relative_line) {
    record.add_call("f", 3, 1, 2);
    source.add_call("f", 3, 2, 3);
    source.add_call("f", 4, 2, 6);
    source.add_call("e", 3, 2, 7);
    record.merge(source, factory);
    EXPECT_EQ(record_text(record),
              "f in F.C x0 flags 0\n"
              "  call e 3:2 x7\n"
              "  call f 3:1 x5\n"
              "  call f 4:2 x6\n");
}

TEST_F(FunctionRecordTest, merge_sums_edges) {
    add_edge(record, SourcePosition(10, 0, 0, 0), 2);
    add_edge(source, SourcePosition(10, 0, 0, 0), 3);
    record.merge(source, factory);
    EXPECT_EQ(record_text(record),
              "f in F.C x0 flags 0\n"
              "  edge a0 10:0.0.0 > b0 20:0.0.0 x5\n");
}

TEST_F(FunctionRecordTest, merge_leaves_the_targets_marks_as_they_are) {
    source.set_uses_columns(true);
    source.set_uses_discriminators(true);
    record.merge(source, factory);
    EXPECT_EQ(record.function_flags(), 0U);
    source.merge(record, factory);
    EXPECT_EQ(source.function_flags(), 3U);
}

TEST_F(FunctionRecordTest, merge_drops_counts_where_one_side_has_no_columns) {
    add_edge(record, SourcePosition(10, 0, 0, 0), 2);
    source.set_uses_columns(true);
    add_edge(source, SourcePosition(10, 0, 8, 0), 3);
    record.merge(source, factory);
    EXPECT_EQ(record_text(record),
              "f in F.C x0 flags 0\n"
              "  edge a0 10:0.0.0 > b0 20:0.0.0 x2\n");
}

TEST_F(FunctionRecordTest, merge_drops_counts_where_one_side_has_no_discriminators) {
    record.set_uses_discriminators(true);
    add_edge(record, SourcePosition(10, 0, 0, 4), 2);
    add_edge(source, SourcePosition(10, 0, 0, 0), 3);
    record.merge(source, factory);
    EXPECT_EQ(record_text(record),
              "f in F.C x0 flags 1\n"
              "  edge a0 10:0.0.4 > b0 20:0.0.0 x2\n");
}

TEST_F(FunctionRecordTest, merge_sets_has_counts_by_the_execution_count_alone) {
    add_edge(source, SourcePosition(10, 0, 0, 0), 3);
    record.merge(source, factory);
    EXPECT_FALSE(record.has_counts());
    source.add_exec_count(1);
    record.merge(source, factory);
    EXPECT_TRUE(record.has_counts());
}

TEST_F(FunctionRecordTest, merge_lets_no_edge_mark_travel) {
    EdgeRecord* const edge = add_edge(source, SourcePosition(10, 0, 0, 0), 3);
    edge->set_entry(true);
    edge->set_exit(true);
    record.merge(source, factory);
    EXPECT_EQ(record_text(record),
              "f in F.C x0 flags 0\n"
              "  edge a0 10:0.0.0 > b0 20:0.0.0 x3\n");
}

TEST_F(FunctionRecordTest, release_gives_the_edges_back_once) {
    add_edge(record, SourcePosition(10, 0, 0, 0), 3);
    record.release_edges(factory);
    record.release_edges(factory);
    EXPECT_EQ(TrackingAllocator::log().released, std::vector<std::size_t>{sizeof(EdgeRecord)});
}

TEST_F(FunctionRecordTest, dump_of_a_new_record_prints_three_lines) {
    EXPECT_EQ(captured_stderr([&] { record.dump(); }),
              "F.C:f:0\n"
              "  Uses columns: F\n"
              "  Uses discriminators: F\n");
}

TEST_F(FunctionRecordTest, dump_tells_columns_and_discriminators_apart) {
    record.set_uses_columns(true);
    source.set_uses_discriminators(true);
    EXPECT_EQ(captured_stderr([&] { record.dump(); }),
              "F.C:f:0\n"
              "  Uses columns: T\n"
              "  Uses discriminators: F\n");
    EXPECT_EQ(captured_stderr([&] { source.dump(); }),
              "F.C:f:0\n"
              "  Uses columns: F\n"
              "  Uses discriminators: T\n");
}

TEST_F(FunctionRecordTest, dump_prints_edges_and_then_calls) {
    record.add_exec_count(0xFFFFFFFFFFFFFFFF);
    record.add_call("puts", 12, 2, 0xFFFFFFFFFFFFFFFE);
    record.add_call("exit", 0xFFFFFFFF, 3, 4);
    add_edge(record, SourcePosition(10, 1, 2, 3), 5)->set_exit(true);
    EXPECT_EQ(captured_stderr([&] { record.dump(); }),
              "F.C:f:18446744073709551615\n"
              "  Uses columns: F\n"
              "  Uses discriminators: F\n"
              "L10(R1).C2.D3 (0xa0) -> L20(R0).C0.D0 (0xb0): EXIT ec=5. num cand=0.\n"
              "  call to: exit Line:4294967295 Exec_cnt: 4\n"
              "  call to: puts Line:12 Exec_cnt: 18446744073709551614\n");
}

}  // namespace
}  // namespace hotpath
