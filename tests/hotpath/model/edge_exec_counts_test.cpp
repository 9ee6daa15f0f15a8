#include "hotpath/model/edge_exec_counts.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "diag/trace.h"
#include "support/captured_stderr.h"
#include "support/profile_text.h"
#include "support/random_text.h"
#include "support/tracking_allocator.h"

namespace hotpath {
namespace {

using test_support::captured_stderr;
using test_support::captured_trace;
using test_support::TrackingAllocator;

constexpr std::uint64_t A = 0xA0;
constexpr std::uint64_t B = 0xB0;
constexpr std::uint64_t C = 0xC0;

SourcePosition at_line(std::uint32_t line) { return {line, 0, 0, 0}; }

// One function's edges, and the factory behind them.
class EdgeExecCountsTest : public testing::Test {
protected:
    ~EdgeExecCountsTest() override { edges.release_edges(factory); }

    EdgeRecord* add(std::uint64_t from, const SourcePosition& from_position, std::uint64_t to,
                    const SourcePosition& to_position, std::uint64_t count) {
        return edges.add_edge(from, from_position, to, to_position, count, factory);
    }
    EdgeRecord* add(std::uint64_t from, std::uint64_t to, std::uint64_t count) {
        return add(from, at_line(10), to, at_line(11), count);
    }
    static std::string text_of(const EdgeExecCounts& counts) {
        std::vector<EdgeRecord*> list;
        counts.copy_edges(list);
        return test_support::edges_text(list);
    }
    std::string text() const { return text_of(edges); }

    test_support::TrackingFactory factory;
    EdgeExecCounts edges;
};

TEST(EdgeRecord, keeps_what_it_was_made_with) {
    const EdgeRecord edge(3, A, SourcePosition(1, 2, 3, 4), B, SourcePosition(5, 6, 7, 8), 9);
    EXPECT_EQ(edge.edge_index(), 3U);
    EXPECT_EQ(test_support::edge_text(edge), "  edge a0 1:2.3.4 > b0 5:6.7.8 x9\n");
}

TEST(EdgeRecord, is_unclaimed_and_unmarked_at_first) {
    const EdgeRecord edge(0, A, at_line(1), B, at_line(2), 0);
    EXPECT_FALSE(edge.is_claimed());
    EXPECT_EQ(edge.claimed_by(), 0xFFFFFFFFU);
    EXPECT_EQ(edge.num_candidates(), 0U);
    EXPECT_FALSE(edge.is_entry());
    EXPECT_FALSE(edge.is_exit());
    EXPECT_EQ(edge.edge_flags(), 0U);
}

TEST(EdgeRecord, counts_add_up_and_wrap_at_64_bits) {
    EdgeRecord edge(0, A, at_line(1), B, at_line(2), 0xFFFFFFFFFFFFFFFF);
    edge.add_count(3);
    EXPECT_EQ(edge.exec_count(), 2U);
}

TEST(EdgeRecord, entry_is_bit_0_and_exit_is_bit_1_of_the_flags) {
    EdgeRecord edge(0, A, at_line(1), B, at_line(2), 0);
    edge.set_entry(true);
    EXPECT_EQ(edge.edge_flags(), 1U);
    edge.set_exit(true);
    EXPECT_EQ(edge.edge_flags(), 3U);
    edge.set_entry(false);
    EXPECT_EQ(edge.edge_flags(), 2U);
    edge.set_exit(false);
    EXPECT_EQ(edge.edge_flags(), 0U);
}

TEST(EdgeRecord, marks_take_the_lowest_bit_alone) {
    EdgeRecord edge(0, A, at_line(1), B, at_line(2), 0);
    edge.set_entry(3);
    edge.set_exit(3);
    EXPECT_EQ(edge.edge_flags(), 3U);
    edge.set_entry(2);
    edge.set_exit(4);
    EXPECT_EQ(edge.edge_flags(), 0U);
}

TEST(EdgeRecord, is_new_to_an_input_once) {
    EdgeRecord edge(0, A, at_line(1), B, at_line(2), 0);
    EXPECT_TRUE(edge.first_sighting_in(1));
    EXPECT_FALSE(edge.first_sighting_in(1));
    EXPECT_TRUE(edge.first_sighting_in(2));
    EXPECT_FALSE(edge.first_sighting_in(2));
}

TEST(EdgeRecord, its_input_number_leaves_the_marks_alone) {
    EdgeRecord edge(0, A, at_line(1), B, at_line(2), 0);
    edge.first_sighting_in(0x3FFFFFFF);
    EXPECT_EQ(edge.edge_flags(), 0U);
    edge.set_entry(true);
    edge.set_exit(true);
    EXPECT_FALSE(edge.first_sighting_in(0x3FFFFFFF));
}

TEST_F(EdgeExecCountsTest, is_empty_at_first) {
    EXPECT_EQ(edges.size(), 0U);
    EXPECT_EQ(edges.find_edge(A, B), nullptr);
    EXPECT_EQ(text(), "");
}

TEST_F(EdgeExecCountsTest, equal_sightings_are_one_edge_with_their_sum) {
    EdgeRecord* const first = add(A, B, 3);
    EXPECT_EQ(add(A, B, 4), first);
    EXPECT_EQ(text(), "  edge a0 10:0.0.0 > b0 11:0.0.0 x7\n");
}

TEST_F(EdgeExecCountsTest, sums_wrap_at_64_bits) {
    add(A, B, 0xFFFFFFFFFFFFFFFF);
    add(A, B, 6);
    EXPECT_EQ(text(), "  edge a0 10:0.0.0 > b0 11:0.0.0 x5\n");
}

TEST_F(EdgeExecCountsTest, mismatched_from_line_keeps_first_sighting_and_drops_count_silently) {
    EdgeRecord* const first = add(A, at_line(10), B, at_line(20), 3);
    EXPECT_EQ(captured_stderr([&] { EXPECT_EQ(add(A, at_line(11), B, at_line(20), 4), first); }),
              "");
    EXPECT_EQ(text(), "  edge a0 10:0.0.0 > b0 20:0.0.0 x3\n");
}

TEST_F(EdgeExecCountsTest, any_of_six_mismatches_drops_the_count) {
    const SourcePosition from(10, 1, 2, 3);
    const SourcePosition to(20, 4, 5, 6);
    add(A, from, B, to, 1);
    add(A, SourcePosition(11, 1, 2, 3), B, to, 10);
    add(A, SourcePosition(10, 1, 9, 3), B, to, 100);
    add(A, SourcePosition(10, 1, 2, 9), B, to, 1000);
    add(A, from, B, SourcePosition(21, 4, 5, 6), 10000);
    add(A, from, B, SourcePosition(20, 4, 9, 6), 100000);
    add(A, from, B, SourcePosition(20, 4, 5, 9), 1000000);
    EXPECT_EQ(text(), "  edge a0 10:1.2.3 > b0 20:4.5.6 x1\n");
}

TEST_F(EdgeExecCountsTest, another_relative_line_is_no_mismatch_and_the_first_stays) {
    add(A, SourcePosition(10, 1, 0, 0), B, SourcePosition(11, 3, 0, 0), 5);
    add(A, SourcePosition(10, 2, 0, 0), B, SourcePosition(11, 4, 0, 0), 6);
    EXPECT_EQ(text(), "  edge a0 10:1.0.0 > b0 11:3.0.0 x11\n");
}

TEST_F(EdgeExecCountsTest, positions_are_compared_after_the_cut_to_16_bits) {
    add(A, SourcePosition(10, 0, 5, 0), B, at_line(11), 1);
    add(A, SourcePosition(10, 0, 0x10005, 0), B, at_line(11), 2);
    EXPECT_EQ(text(), "  edge a0 10:0.5.0 > b0 11:0.0.0 x3\n");
}

TEST_F(EdgeExecCountsTest, mismatch_trace_names_the_sighting_that_lost) {
    add(0x401000, at_line(1), 0xFFFFFFFFFFFFFFFF, at_line(2), 1);
    const std::string trace = captured_trace(diag::reader_trace_records, [&] {
        add(0x401000, SourcePosition(7, 2, 5, 1), 0xFFFFFFFFFFFFFFFF, SourcePosition(2, 8, 6, 4),
            1);
    });
    EXPECT_EQ(trace,
              "Mismatched addr/line information for input data: "
              "0x401000(L7(R2).C5.D1) -> 0xffffffffffffffff(L2(R8).C6.D4)\n");
}

TEST_F(EdgeExecCountsTest, agreement_and_other_trace_bits_trace_nothing) {
    add(A, B, 1);
    EXPECT_EQ(captured_trace(0xFFFFFFFF, [&] { add(A, B, 1); }), "");
    const auto mismatch = [&] { add(A, at_line(1), B, at_line(2), 1); };
    EXPECT_EQ(captured_trace(~std::uint32_t{diag::reader_trace_records}, mismatch), "");
}

TEST_F(EdgeExecCountsTest, a_self_loop_is_found_and_added_to_once) {
    add(A, A, 3);
    add(A, A, 4);
    EXPECT_EQ(edges.size(), 1U);
    EXPECT_EQ(edges.find_edge(A, A)->exec_count(), 7U);
}

TEST_F(EdgeExecCountsTest, find_passes_over_an_edge_that_only_ends_at_the_address) {
    add(A, B, 1);
    EXPECT_EQ(edges.find_edge(B, C), nullptr);
    EdgeRecord* const wanted = add(B, C, 2);
    EXPECT_EQ(edges.find_edge(B, C), wanted);
    EXPECT_EQ(edges.find_edge(A, C), nullptr);
    EXPECT_EQ(edges.find_edge(B, B), nullptr);
}

TEST_F(EdgeExecCountsTest, opposite_directions_are_two_edges) {
    EdgeRecord* const there = add(A, B, 1);
    EdgeRecord* const back = add(B, A, 2);
    EXPECT_NE(there, back);
    EXPECT_EQ(edges.find_edge(A, B), there);
    EXPECT_EQ(edges.find_edge(B, A), back);
    EXPECT_EQ(edges.size(), 2U);
}

TEST_F(EdgeExecCountsTest, the_index_of_an_edge_is_the_number_of_edges_before_it) {
    EXPECT_EQ(add(A, B, 1)->edge_index(), 0U);
    EXPECT_EQ(add(B, C, 1)->edge_index(), 1U);
    EXPECT_EQ(add(A, B, 1)->edge_index(), 0U);
    EXPECT_EQ(add(C, A, 1)->edge_index(), 2U);
}

TEST_F(EdgeExecCountsTest, edges_go_by_from_line_and_equal_lines_by_creation) {
    add(1, at_line(20), 9, at_line(1), 0);
    add(3, at_line(10), 9, at_line(3), 0);
    add(2, at_line(10), 9, at_line(2), 0);
    EXPECT_EQ(text(),
              "  edge 3 10:0.0.0 > 9 3:0.0.0 x0\n"
              "  edge 2 10:0.0.0 > 9 2:0.0.0 x0\n"
              "  edge 1 20:0.0.0 > 9 1:0.0.0 x0\n");
}

TEST_F(EdgeExecCountsTest, lines_compare_unsigned) {
    add(1, at_line(0xFFFFFFFF), 9, at_line(0), 0);
    add(2, at_line(0x80000000), 9, at_line(0), 0);
    add(3, at_line(0x7FFFFFFF), 9, at_line(0), 0);
    add(4, at_line(0), 9, at_line(0), 0);
    EXPECT_EQ(text(),
              "  edge 4 0:0.0.0 > 9 0:0.0.0 x0\n"
              "  edge 3 2147483647:0.0.0 > 9 0:0.0.0 x0\n"
              "  edge 2 2147483648:0.0.0 > 9 0:0.0.0 x0\n"
              "  edge 1 4294967295:0.0.0 > 9 0:0.0.0 x0\n");
}

TEST_F(EdgeExecCountsTest, the_order_looks_at_no_column) {
    add(1, SourcePosition(10, 9, 9, 9), 9, at_line(0), 0);
    add(2, SourcePosition(10, 0, 1, 1), 9, at_line(0), 0);
    EXPECT_EQ(text(),
              "  edge 1 10:9.9.9 > 9 0:0.0.0 x0\n"
              "  edge 2 10:0.1.1 > 9 0:0.0.0 x0\n");
}

TEST_F(EdgeExecCountsTest, a_count_of_0_makes_an_edge) {
    EXPECT_EQ(add(A, B, 0)->exec_count(), 0U);
    EXPECT_EQ(edges.size(), 1U);
}

TEST_F(EdgeExecCountsTest, copy_empties_the_vector_first) {
    EdgeRecord other(0, A, at_line(1), B, at_line(2), 0);
    std::vector<EdgeRecord*> list{&other, &other};
    edges.copy_edges(list);
    EXPECT_TRUE(list.empty());
}

TEST_F(EdgeExecCountsTest, merge_adds_known_edges_and_makes_new_ones) {
    EdgeExecCounts source;
    source.add_edge(A, at_line(10), B, at_line(11), 5, factory);
    source.add_edge(B, at_line(12), C, at_line(13), 6, factory);
    add(A, B, 7);
    edges.merge_from(source, factory);
    EXPECT_EQ(text(),
              "  edge a0 10:0.0.0 > b0 11:0.0.0 x12\n"
              "  edge b0 12:0.0.0 > c0 13:0.0.0 x6\n");
    EXPECT_EQ(text_of(source),
              "  edge a0 10:0.0.0 > b0 11:0.0.0 x5\n"
              "  edge b0 12:0.0.0 > c0 13:0.0.0 x6\n");
    source.release_edges(factory);
}

TEST_F(EdgeExecCountsTest, merge_makes_new_edges_in_the_order_of_the_sources_lines) {
    EdgeExecCounts source;
    source.add_edge(1, at_line(30), 9, at_line(0), 0, factory);
    source.add_edge(2, at_line(20), 9, at_line(0), 0, factory);
    edges.merge_from(source, factory);
    EXPECT_EQ(edges.find_edge(2, 9)->edge_index(), 0U);
    EXPECT_EQ(edges.find_edge(1, 9)->edge_index(), 1U);
    source.release_edges(factory);
}

TEST_F(EdgeExecCountsTest, merge_drops_the_sources_count_where_positions_differ) {
    EdgeExecCounts source;
    source.add_edge(A, SourcePosition(10, 0, 4, 0), B, at_line(11), 5, factory);
    add(A, B, 7);
    edges.merge_from(source, factory);
    EXPECT_EQ(text(), "  edge a0 10:0.0.0 > b0 11:0.0.0 x7\n");
    source.release_edges(factory);
}

TEST_F(EdgeExecCountsTest, merge_lets_no_mark_travel) {
    EdgeExecCounts source;
    EdgeRecord* const known = source.add_edge(A, at_line(10), B, at_line(11), 1, factory);
    EdgeRecord* const fresh = source.add_edge(B, at_line(12), C, at_line(13), 1, factory);
    for (EdgeRecord* edge : {known, fresh}) {
        edge->set_entry(true);
        edge->set_exit(true);
    }
    add(A, B, 1);
    edges.merge_from(source, factory);
    EXPECT_EQ(edges.find_edge(A, B)->edge_flags(), 0U);
    EXPECT_EQ(edges.find_edge(B, C)->edge_flags(), 0U);
    source.release_edges(factory);
}

TEST_F(EdgeExecCountsTest, merge_keeps_the_targets_marks) {
    EdgeExecCounts source;
    source.add_edge(A, at_line(10), B, at_line(11), 1, factory);
    EdgeRecord* const edge = add(A, B, 1);
    edge->set_entry(true);
    edge->set_exit(true);
    edges.merge_from(source, factory);
    EXPECT_EQ(edge->edge_flags(), 3U);
    source.release_edges(factory);
}

TEST_F(EdgeExecCountsTest, two_releases_free_each_edge_once) {
    for (std::uint64_t from = 0; from < 20; ++from) add(from, B, 1);
    edges.release_edges(factory);
    EXPECT_EQ(TrackingAllocator::log().released, std::vector<std::size_t>(20, sizeof(EdgeRecord)));
    edges.release_edges(factory);
    EXPECT_EQ(TrackingAllocator::log().released.size(), 20U);
    EXPECT_TRUE(TrackingAllocator::log().live.empty());
}

TEST_F(EdgeExecCountsTest, a_release_goes_by_line_and_equal_lines_by_creation) {
    std::vector<const EdgeRecord*> expected(20);
    for (std::uint32_t n = 0; n < 20; ++n)
        expected[(n % 2 == 0 ? 10 : 0) + n / 2] = add(n, at_line(n % 2 == 0 ? 7 : 3), B, {}, 1);
    edges.release_edges(factory);
    EXPECT_EQ(TrackingAllocator::log().released_places,
              std::vector<const void*>(expected.begin(), expected.end()));
}

TEST_F(EdgeExecCountsTest, dump_prints_the_edges_by_line) {
    add(0xB0, SourcePosition(20, 12, 0, 0), 0xC0, SourcePosition(21, 13, 65535, 2),
        0xFFFFFFFFFFFFFFFF);
    add(0x401000, SourcePosition(7, 2, 5, 1), 0xABCDEF0123456789, SourcePosition(8, 3, 6, 0), 42);
    EXPECT_EQ(captured_stderr([&] { edges.dump_edges(); }),
              "L7(R2).C5.D1 (0x401000) -> L8(R3).C6.D0 (0xabcdef0123456789): ec=42. num cand=0.\n"
              "L20(R12).C0.D0 (0xb0) -> L21(R13).C65535.D2 (0xc0): ec=18446744073709551615. "
              "num cand=0.\n");
}

TEST_F(EdgeExecCountsTest, dump_prints_the_marks) {
    add(1, at_line(1), 2, at_line(2), 0)->set_entry(true);
    add(2, at_line(2), 3, at_line(3), 0)->set_exit(true);
    EdgeRecord* const both = add(3, at_line(3), 4, at_line(4), 0);
    both->set_entry(true);
    both->set_exit(true);
    EXPECT_EQ(captured_stderr([&] { edges.dump_edges(); }),
              "L1(R0).C0.D0 (0x1) -> L2(R0).C0.D0 (0x2): ENTRY ec=0. num cand=0.\n"
              "L2(R0).C0.D0 (0x2) -> L3(R0).C0.D0 (0x3): EXIT ec=0. num cand=0.\n"
              "L3(R0).C0.D0 (0x3) -> L4(R0).C0.D0 (0x4): ENTRY EXIT ec=0. num cand=0.\n");
}

TEST_F(EdgeExecCountsTest, dump_of_no_edges_prints_nothing) {
    EXPECT_EQ(captured_stderr([&] { edges.dump_edges(); }), "");
}

TEST_F(EdgeExecCountsTest, every_edge_is_found_while_the_collection_grows) {
    for (std::uint64_t n = 0; n < 100; ++n) {
        add(n, n * n + 1, n);
        for (std::uint64_t k = 0; k <= n; ++k)
            ASSERT_EQ(edges.find_edge(k, k * k + 1)->exec_count(), k) << n;
        ASSERT_EQ(edges.find_edge(n + 1, n), nullptr);
    }
}

TEST_F(EdgeExecCountsTest, prefetches_make_nothing) {
    for (std::uint64_t n = 0; n < 20; ++n) {
        for (const std::uint64_t from : {n, n + 1}) {
            edges.prefetch_slot(from, B);
            edges.prefetch_place(from, B);
            edges.prefetch_edge(from, B);
        }
        ASSERT_EQ(edges.size(), n);
        add(n, B, 1);
    }
}

TEST_F(EdgeExecCountsTest, thousands_of_edges_at_one_address_stay_apart) {
    constexpr std::uint64_t count = 5000;
    for (std::uint64_t n = 0; n < count; ++n) {
        add(A, n, 1);
        add(n, A, 2);
    }
    // (A, A) came twice.
    EXPECT_EQ(edges.size(), 2 * count - 1);
    EXPECT_EQ(edges.find_edge(A, A)->exec_count(), 3U);
    EXPECT_EQ(edges.find_edge(A, count - 1)->exec_count(), 1U);
    EXPECT_EQ(edges.find_edge(count - 1, A)->exec_count(), 2U);
    EXPECT_EQ(edges.find_edge(A, count), nullptr);
}

TEST_F(EdgeExecCountsTest, thousands_of_self_loops_stay_apart) {
    for (int round = 0; round < 2; ++round)
        for (std::uint64_t n = 0; n < 5000; ++n) add(n, n, 1);
    EXPECT_EQ(edges.size(), 5000U);
    for (std::uint64_t n = 0; n < 5000; ++n) ASSERT_EQ(edges.find_edge(n, n)->exec_count(), 2U);
}

TEST_F(EdgeExecCountsTest, random_sightings_add_up_as_in_an_ordered_map) {
    test_support::RandomText random(2);
    std::map<std::pair<std::uint64_t, std::uint64_t>, std::uint64_t> expected;
    for (int i = 0; i < 20000; ++i) {
        const std::uint64_t from = random.below(60) << random.below(3) * 24;
        const std::uint64_t to = random.below(60) << random.below(3) * 24;
        const std::uint64_t count = random.below(1000);
        expected[{from, to}] += count;
        add(from, to, count);
    }
    ASSERT_EQ(edges.size(), expected.size());
    for (const auto& [pair, count] : expected)
        ASSERT_EQ(edges.find_edge(pair.first, pair.second)->exec_count(), count);
}

}  // namespace
}  // namespace hotpath
