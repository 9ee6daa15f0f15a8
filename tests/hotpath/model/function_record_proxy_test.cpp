#include "hotpath/model/function_record_proxy.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "diag/trace.h"
#include "hotpath/model/function_loader.h"
#include "hotpath/model/function_record_set.h"
#include "support/captured_stderr.h"
#include "support/profile_text.h"
#include "support/tracking_allocator.h"

namespace hotpath {
namespace {

using test_support::record_text;
using test_support::TrackingAllocator;

// A database with one function, whose row has the id 4.
class OneFunction final : public FunctionLoader {
public:
    bool load_function_details(std::uint32_t func_id, FunctionRecordFactory& factory,
                               FunctionRecord& record) override {
        EXPECT_EQ(func_id, 4U);
        ++loads;
        EdgeRecord* const edge =
            record.add_edge(0x10, {10, 1, 2, 3}, 0x20, {11, 5, 6, 7}, edge_count, factory);
        edge->set_entry(true);
        edge->set_exit(true);
        record.add_call("g", 12, 2, 9);
        return succeeds;
    }

    std::uint64_t edge_count = 8;
    bool succeeds = true;
    int loads = 0;
};

class FunctionRecordProxyTest : public testing::Test {
protected:
    void SetUp() override {
        proxy = set.find_or_create_proxy("A.C", "f", &database, 4);
        proxy->set_exec_count(7);
    }

    test_support::TrackingFactory factory;
    OneFunction database;
    FunctionRecordSet set{factory};
    FunctionRecordProxy* proxy = nullptr;
};

TEST_F(FunctionRecordProxyTest, is_a_proxy_and_its_own_proxy) {
    EXPECT_TRUE(proxy->is_proxy());
    EXPECT_EQ(proxy->get_proxy(), proxy);
    EXPECT_EQ(proxy->function_id(), 4U);
}

TEST_F(FunctionRecordProxyTest, gives_its_row_without_a_load) {
    EXPECT_EQ(proxy->get_file_name(), "A.C");
    EXPECT_EQ(proxy->get_function_name(), "f");
    EXPECT_EQ(proxy->get_exec_count(), 7U);
    EXPECT_EQ(TrackingAllocator::log().allocations, 1U);
}

TEST_F(FunctionRecordProxyTest, loads_the_rows_edges_and_calls) {
    EXPECT_EQ(record_text(*proxy->get_full_record()),
              "f in A.C x7 flags 0\n"
              "  edge 10 10:1.2.3 > 20 11:5.6.7 x8 entry exit\n"
              "  call g 12:2 x9\n");
}

TEST_F(FunctionRecordProxyTest, the_loaded_record_names_the_proxy) {
    EXPECT_EQ(proxy->get_full_record()->get_proxy(), proxy);
    EXPECT_FALSE(proxy->get_full_record()->is_proxy());
}

TEST_F(FunctionRecordProxyTest, bit_0_of_its_flags_means_discriminators) {
    proxy->set_flags(1);
    EXPECT_TRUE(proxy->get_full_record()->uses_discriminators());
    EXPECT_FALSE(proxy->get_full_record()->uses_columns());
}

TEST_F(FunctionRecordProxyTest, bit_1_of_its_flags_means_columns) {
    proxy->set_flags(2);
    EXPECT_FALSE(proxy->get_full_record()->uses_discriminators());
    EXPECT_TRUE(proxy->get_full_record()->uses_columns());
}

TEST_F(FunctionRecordProxyTest, the_other_bits_of_its_flags_mean_nothing) {
    proxy->set_flags(0xFFFFFFFFFFFFFFFC);
    EXPECT_EQ(proxy->get_full_record()->function_flags(), 0U);
}

TEST_F(FunctionRecordProxyTest, a_count_of_0_leaves_has_counts_to_the_edges) {
    database.edge_count = 0;
    proxy->set_exec_count(0);
    EXPECT_FALSE(proxy->get_full_record()->has_counts());
}

TEST_F(FunctionRecordProxyTest, a_second_load_gives_the_same_record_and_reads_nothing) {
    FunctionRecord* const record = proxy->get_full_record();
    const std::size_t allocations = TrackingAllocator::log().allocations;
    EXPECT_EQ(proxy->get_full_record(), record);
    EXPECT_EQ(database.loads, 1);
    EXPECT_EQ(record_text(*record),
              "f in A.C x7 flags 0\n"
              "  edge 10 10:1.2.3 > 20 11:5.6.7 x8 entry exit\n"
              "  call g 12:2 x9\n");
    EXPECT_EQ(TrackingAllocator::log().allocations, allocations);
}

TEST_F(FunctionRecordProxyTest, a_failed_load_gives_no_record_and_is_tried_again) {
    database.succeeds = false;
    EXPECT_EQ(test_support::captured_stderr([&] { EXPECT_EQ(proxy->get_full_record(), nullptr); }),
              "");
    EXPECT_EQ(TrackingAllocator::log().released,
              (std::vector<std::size_t>{sizeof(EdgeRecord), sizeof(FunctionRecord)}));
    database.succeeds = true;
    EXPECT_NE(proxy->get_full_record(), nullptr);
    EXPECT_EQ(database.loads, 2);
}

TEST_F(FunctionRecordProxyTest, a_failed_load_is_traced_with_the_row) {
    database.succeeds = false;
    diag::reader_trace_flags = diag::reader_trace_records;
    const std::string trace = test_support::captured_stderr([&] { proxy->get_full_record(); });
    diag::reader_trace_flags = 0;
    EXPECT_EQ(trace,
              "Error loading record for proxy:Proxy for A.C(f)\n"
              "   Index = 4\n"
              "   Exec_count = 7\n"
              "   Flags = 0\n");
}

TEST_F(FunctionRecordProxyTest, its_count_stays_the_rows_after_a_merge) {
    AllocatorOnHeap call_storage;
    FunctionRecord more(proxy->key(), call_storage);
    more.add_exec_count(100);
    proxy->get_full_record()->merge(more, factory);
    EXPECT_EQ(proxy->get_exec_count(), 7U);
    EXPECT_EQ(proxy->get_full_record()->get_exec_count(), 107U);
}

TEST_F(FunctionRecordProxyTest, a_release_without_a_load_does_nothing) {
    proxy->release_edges(factory);
    EXPECT_EQ(TrackingAllocator::log().allocations, 1U);
    EXPECT_TRUE(TrackingAllocator::log().released.empty());
}

TEST_F(FunctionRecordProxyTest, a_release_gives_the_loaded_edges_back_once) {
    proxy->get_full_record();
    proxy->release_edges(factory);
    proxy->release_edges(factory);
    EXPECT_EQ(TrackingAllocator::log().released, std::vector<std::size_t>{sizeof(EdgeRecord)});
}

TEST_F(FunctionRecordProxyTest, find_or_create_record_loads_it) {
    FunctionRecord* const record = set.find_or_create_record("a.c", "f");
    EXPECT_EQ(record, proxy->get_full_record());
    EXPECT_EQ(record->edge_count(), 1U);
    EXPECT_EQ(set.size(), 1U);
}

TEST_F(FunctionRecordProxyTest, find_record_loads_it_by_both_names_and_by_function_name) {
    FunctionRecord* const record = set.find_record("A.C", "f");
    EXPECT_EQ(record, proxy->get_full_record());
    EXPECT_EQ(set.find_record("", "f"), record);
    EXPECT_EQ(record->edge_count(), 1U);
}

TEST_F(FunctionRecordProxyTest, is_found_by_its_names_where_its_key_is_taken) {
    FunctionRecord* const record = set.find_or_create_record("c", "a/B");
    FunctionRecordProxy* const second = set.find_or_create_proxy("b/c", "a", &database, 4);
    EXPECT_EQ(set.find_record("B/C", "a"), second->get_full_record());
    EXPECT_EQ(set.find_record("", "a"), second->get_full_record());
    EXPECT_EQ(set.find_record("C", "a/B"), record);
    EXPECT_EQ(set.find_record("", "a/B"), record);
    EXPECT_EQ(set.size(), 2U);
    second->release_edges(set.factory());  // the set's end reaches what has a key alone
}

TEST_F(FunctionRecordProxyTest, its_loaded_record_shares_its_names) {
    EXPECT_EQ(proxy->get_full_record()->get_function_name().data(),
              proxy->get_function_name().data());
    EXPECT_EQ(&proxy->get_full_record()->key().file(), &proxy->key().file());
}

TEST_F(FunctionRecordProxyTest, holds_key_does_not_load_it) {
    EXPECT_TRUE(set.holds_key("a.c", "f"));
    EXPECT_EQ(TrackingAllocator::log().allocations, 1U);
}

TEST_F(FunctionRecordProxyTest, dump_prints_the_row) {
    proxy->set_flags(0xABCDEF);
    EXPECT_EQ(test_support::captured_stderr([&] { proxy->dump(); }),
              "Proxy for A.C(f)\n"
              "   Index = 4\n"
              "   Exec_count = 7\n"
              "   Flags = abcdef\n");
    EXPECT_EQ(TrackingAllocator::log().allocations, 1U);
}

TEST(FunctionRecordProxy, dump_prints_the_id_signed_and_the_count_unsigned) {
    test_support::HeapFactory factory;
    FunctionRecordProxy& proxy = *factory.create_proxy("A.C", "f", nullptr, 0xFFFFFFFF);
    proxy.set_exec_count(0xFFFFFFFFFFFFFFFF);
    proxy.set_flags(0xFFFFFFFFFFFFFFFF);
    EXPECT_EQ(test_support::captured_stderr([&] { proxy.dump(); }),
              "Proxy for A.C(f)\n"
              "   Index = -1\n"
              "   Exec_count = 18446744073709551615\n"
              "   Flags = ffffffffffffffff\n");
}

TEST(FunctionRecordProxy, is_made_with_count_0) {
    test_support::HeapFactory factory;
    EXPECT_EQ(factory.create_proxy("A.C", "f", nullptr, 1)->get_exec_count(), 0U);
}

// The loaded record isn't released as an object: only its edges go back.
TEST(FunctionRecordProxy, the_end_of_its_set_releases_the_loaded_edges_and_the_proxy) {
    test_support::TrackingFactory factory;
    OneFunction database;
    {
        FunctionRecordSet set(factory);
        set.find_or_create_proxy("A.C", "f", &database, 4)->get_full_record();
    }
    EXPECT_EQ(TrackingAllocator::log().released,
              (std::vector<std::size_t>{sizeof(EdgeRecord), sizeof(FunctionRecordProxy)}));
    EXPECT_EQ(TrackingAllocator::log().live_of_size(sizeof(FunctionRecord)), 1U);
}

}  // namespace
}  // namespace hotpath
