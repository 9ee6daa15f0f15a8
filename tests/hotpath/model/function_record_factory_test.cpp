#include <gtest/gtest.h>

#include <string>

#include "hotpath/model/function_record_factory_impl.h"
#include "hotpath/model/function_record_set.h"
#include "support/profile_text.h"
#include "support/tracking_allocator.h"

namespace hotpath {
namespace {

using test_support::HeapFactory;
using test_support::TrackingAllocator;
using test_support::TrackingFactory;
using Sizes = std::vector<std::size_t>;

TEST(FunctionRecordFactory, makes_an_empty_record_of_the_two_names) {
    HeapFactory factory;
    FunctionRecord* const record = factory.create_record("A.C", "f");
    EXPECT_EQ(test_support::record_text(*record), "f in A.C x0 flags 0\n");
    EXPECT_EQ(test_support::joined_text(*record), "f/A.C");
    EXPECT_EQ(record->get_proxy(), nullptr);
    factory.destroy_record(record, sizeof(FunctionRecord));
}

TEST(FunctionRecordFactory, folds_no_name) {
    HeapFactory factory;
    FunctionRecord* const record = factory.create_record("a.c", "F");
    EXPECT_EQ(record->get_file_name(), "a.c");
    EXPECT_EQ(record->get_function_name(), "F");
    factory.destroy_record(record, sizeof(FunctionRecord));
}

TEST(FunctionRecordFactory, a_record_has_its_own_copy_of_the_names) {
    HeapFactory factory;
    std::string file = "A.C";
    std::string name = "f";
    FunctionRecord* const record = factory.create_record(file, name);
    file = "B.C";
    name = "g";
    EXPECT_EQ(record->get_file_name(), "A.C");
    EXPECT_EQ(record->get_function_name(), "f");
    factory.destroy_record(record, sizeof(FunctionRecord));
}

TEST(FunctionRecordFactory, names_can_be_empty_and_very_long) {
    HeapFactory factory;
    const std::string name(500000, 'n');
    FunctionRecord* const empty = factory.create_record("", "");
    FunctionRecord* const large = factory.create_record("", name);
    EXPECT_EQ(test_support::joined_text(*empty), "/");
    EXPECT_EQ(large->get_function_name(), name);
    EXPECT_EQ(large->get_file_name(), "");
    factory.destroy_record(empty, sizeof(FunctionRecord));
    factory.destroy_record(large, sizeof(FunctionRecord));
}

TEST(FunctionRecordFactory, makes_a_proxy_with_its_row_id_and_no_counts) {
    HeapFactory factory;
    FunctionRecordProxy* const proxy = factory.create_proxy("A.C", "f", nullptr, 17);
    EXPECT_TRUE(proxy->is_proxy());
    EXPECT_EQ(proxy->get_file_name(), "A.C");
    EXPECT_EQ(proxy->get_function_name(), "f");
    EXPECT_EQ(proxy->function_id(), 17U);
    EXPECT_EQ(proxy->get_exec_count(), 0U);
    factory.destroy_record(proxy, sizeof(FunctionRecordProxy));
}

TEST(FunctionRecordFactory, makes_an_edge_with_its_initial_values) {
    HeapFactory factory;
    EdgeRecord* const edge = factory.create_edge(4, 0x10, SourcePosition(1, 2, 3, 4), 0x20,
                                                 SourcePosition(5, 6, 7, 8), 9);
    EXPECT_EQ(test_support::edge_text(*edge), "  edge 10 1:2.3.4 > 20 5:6.7.8 x9\n");
    EXPECT_EQ(edge->edge_index(), 4U);
    EXPECT_EQ(edge->claimed_by(), 0xFFFFFFFFU);
    EXPECT_EQ(edge->num_candidates(), 0U);
    factory.destroy_edge(edge, sizeof(EdgeRecord));
}

TEST(FunctionRecordFactory, each_object_is_one_allocation_of_its_size) {
    TrackingFactory factory;
    factory.create_edge(0, 1, {}, 2, {}, 3);
    EXPECT_EQ(TrackingAllocator::log().live_of_size(sizeof(EdgeRecord)), 1U);
    FunctionRecord* const record = factory.create_record("A.C", "f");
    EXPECT_EQ(TrackingAllocator::log().live_of_size(sizeof(FunctionRecord)), 1U);
    EXPECT_EQ(TrackingAllocator::log().allocations, 2U);
    factory.destroy_record(record, sizeof(FunctionRecord));
}

TEST(FunctionRecordFactory, an_edge_goes_back_with_its_size) {
    TrackingFactory factory;
    EdgeRecord* const edge = factory.create_edge(0, 1, {}, 2, {}, 3);
    factory.destroy_edge(edge, sizeof(EdgeRecord));
    EXPECT_EQ(TrackingAllocator::log().released, Sizes{sizeof(EdgeRecord)});
    EXPECT_TRUE(TrackingAllocator::log().live.empty());
}

TEST(FunctionRecordFactory, a_record_goes_back_behind_its_edges) {
    TrackingFactory factory;
    FunctionRecord* const record = factory.create_record("A.C", "f");
    record->add_edge(1, {}, 2, {}, 3, factory);
    record->add_edge(2, {}, 3, {}, 3, factory);
    record->add_call("g", 1, 0, 1);
    factory.destroy_record(record, sizeof(FunctionRecord));
    EXPECT_EQ(TrackingAllocator::log().released,
              (Sizes{sizeof(EdgeRecord), sizeof(EdgeRecord), sizeof(FunctionRecord)}));
    EXPECT_TRUE(TrackingAllocator::log().live.empty());
}

// A record's end must leave nothing on the heap: under a sanitizer that looks for leaks this fails
// where calls are anywhere but in storage of the factory.
TEST(FunctionRecordFactory, a_record_ends_without_its_destructor) {
    HeapFactory factory;
    FunctionRecord* const record = factory.create_record("A.C", "f");
    for (std::uint32_t line = 0; line < 100; ++line) {
        record->add_call("g", line, 0, 1);
        record->add_edge(line, {}, 2, {}, 3, factory);
    }
    factory.destroy_record(record, sizeof(FunctionRecord));
    // What a destructor would have taken apart is still there.
    EXPECT_EQ(record->call_count(), 100U);
    EXPECT_EQ(record->get_function_name(), "f");
    EXPECT_EQ(record->edge_count(), 0U);
}

TEST(FunctionRecordFactory, records_of_one_file_share_its_name) {
    HeapFactory factory;
    FunctionRecord* const f = factory.create_record("A.C", "f");
    FunctionRecord* const g = factory.create_record(std::string("A.C"), "g");
    FunctionRecordProxy* const h = factory.create_proxy("A.C", "h", nullptr, 1);
    FunctionRecord* const other = factory.create_record("a.c", "f");
    EXPECT_EQ(&g->key().file(), &f->key().file());
    EXPECT_EQ(&h->key().file(), &f->key().file());
    EXPECT_NE(&other->key().file(), &f->key().file());
    EXPECT_EQ(factory.find_file_name("A.C"), &f->key().file());
    EXPECT_EQ(factory.find_file_name("B.C"), nullptr);
}

TEST(FunctionRecordFactory, edges_that_were_released_before_go_back_once) {
    TrackingFactory factory;
    FunctionRecord* const record = factory.create_record("A.C", "f");
    record->add_edge(1, {}, 2, {}, 3, factory);
    record->release_edges(factory);
    factory.destroy_record(record, sizeof(FunctionRecord));
    EXPECT_EQ(TrackingAllocator::log().released,
              (Sizes{sizeof(EdgeRecord), sizeof(FunctionRecord)}));
}

TEST(FunctionRecordFactory, an_unloaded_proxy_goes_back_without_being_loaded) {
    TrackingFactory factory;
    // Without a database a load would crash.
    FunctionRecordProxy* const proxy = factory.create_proxy("A.C", "f", nullptr, 1);
    factory.destroy_record(proxy, sizeof(FunctionRecordProxy));
    EXPECT_EQ(TrackingAllocator::log().allocations, 1U);
    EXPECT_EQ(TrackingAllocator::log().released, Sizes{sizeof(FunctionRecordProxy)});
}

TEST(FunctionRecordFactory, reset_does_nothing) {
    TrackingFactory factory;
    FunctionRecord* const record = factory.create_record("A.C", "f");
    const std::string_view text = factory.keep_text("text");
    factory.reset();
    EXPECT_EQ(record->get_file_name(), "A.C");
    EXPECT_EQ(factory.keep_text("text").data(), text.data());
    EXPECT_TRUE(TrackingAllocator::log().released.empty());
    factory.destroy_record(record, sizeof(FunctionRecord));
}

TEST(FunctionRecordFactory, keeps_one_copy_of_equal_texts) {
    HeapFactory factory;
    std::string name = "callee";
    const std::string_view kept = factory.keep_text(name);
    name = "change";
    EXPECT_EQ(kept, "callee");
    EXPECT_EQ(factory.keep_text("callee").data(), kept.data());
    EXPECT_NE(factory.keep_text("change").data(), kept.data());
}

}  // namespace
}  // namespace hotpath
