// Merges into databases that are cut short or have a wrong byte. Under the sanitizers these tests
// say that no content of the target makes the merge leave its memory. They write thousands of
// files, which takes minutes under Wine.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "database_fixture.h"
#include "support/damaged_file.h"

namespace hotpath {
namespace {

class DamagedTarget : public testing::Test {
protected:
    using Factory = FunctionRecordFactoryImpl<test_support::TrackingAllocator>;

    struct Outcome {
        DbOpenResult opened;
        bool merged;

        bool operator==(const Outcome&) const = default;
    };

    // One function that the file holds, and one that it doesn't.
    static void add_input(FunctionRecordSet& input, Factory& factory) {
        FunctionRecord* const known = input.find_or_create_record("A.C", "f");
        known->add_exec_count(1);
        known->add_edge(16, {1, 2, 3, 4}, 32, {5, 6, 7, 8}, 1, factory);
        known->add_edge(64, {7, 0, 0, 0}, 80, {8, 0, 0, 0}, 1, factory);
        known->add_call("g", 10, 1, 1);
        FunctionRecord* const added = input.find_or_create_record("C.C", "h");
        added->add_edge(96, {9, 0, 0, 0}, 112, {9, 0, 0, 0}, 1, factory);
        added->add_call("f", 9, 0, 1);
        input.add_runs(1);
    }

    // A damaged schema can lack what the insertion of functions needs. Then the first one ends the
    // program, which would end the test too.
    static bool takes_functions(const std::string& path) {
        DatabaseHandle handle;
        SqlStatement statement;
        return handle.open(path.c_str(), OpenMode::ReadOnly) &&
               statement.prepare(
                   handle,
                   "INSERT INTO sf_functions (sf_func_name, sf_file_id, sf_exec_count, sf_flags) "
                   "VALUES (1, 2, 3, 4)");
    }

    // Merges into the file, then reads back through the connection what the merge didn't touch.
    static Outcome merge_into(const std::string& path) {
        Factory factory;
        FunctionRecordSet input(factory);
        add_input(input, factory);
        SampleDB database;
        FunctionRecordSet records(factory);
        const DbOpenResult opened = database.open_writable(&records, path.c_str());
        if (opened != DbOpenOk || !takes_functions(path)) return {opened, false};
        const bool merged = database.merge_records(input, factory);
        test_support::profile_text(records);
        return {opened, merged};
    }

    // The file's bytes, and zeros up to the end of its last page.
    static std::string whole_pages(const std::string& path) {
        std::ifstream stream(path, std::ios::binary);
        std::string bytes(std::istreambuf_iterator<char>(stream), {});
        while (bytes.size() % test_support::small_page_size != 0) bytes += '\0';
        return bytes;
    }

    test_support::ScratchDirectory directory_;
    std::string bytes_ = test_support::small_database_bytes(directory_);
};

TEST_F(DamagedTarget, a_file_without_its_last_page_is_incompatible) {
    const std::size_t last_page = bytes_.size() - test_support::small_page_size;
    for (std::size_t size = 0; size <= last_page; ++size) {
        const std::string cut = bytes_.substr(0, size);
        const std::string path = directory_.write("cut.db", cut);
        EXPECT_EQ(merge_into(path).opened, DbOpenIncompatible) << size;
        EXPECT_EQ(std::filesystem::file_size(path), size);
    }
}

TEST_F(DamagedTarget, what_its_last_page_lacks_is_taken_for_zeros) {
    const std::size_t last_page = bytes_.size() - test_support::small_page_size;
    for (std::size_t size = last_page + 1; size < bytes_.size(); ++size) {
        const std::string cut = bytes_.substr(0, size);
        const std::string filled = cut + std::string(bytes_.size() - size, '\0');
        const std::string cut_path = directory_.write("cut.db", cut);
        const std::string filled_path = directory_.write("filled.db", filled);
        EXPECT_EQ(merge_into(cut_path), merge_into(filled_path)) << size;
        EXPECT_TRUE(whole_pages(cut_path) == whole_pages(filled_path)) << size;
    }
}

TEST_F(DamagedTarget, any_wrong_byte_leaves_a_merge_that_ends) {
    int refused = 0;
    int failed = 0;
    int merged = 0;
    test_support::for_each_damaged_byte(bytes_, [&](const std::string& damaged) {
        const Outcome outcome = merge_into(directory_.write("damaged.db", damaged));
        ++(outcome.opened != DbOpenOk ? refused : outcome.merged ? merged : failed);
    });
    // All three ends are met.
    EXPECT_GT(refused, 1000);
    EXPECT_GT(failed, 100);
    EXPECT_GT(merged, 1000);
}

}  // namespace
}  // namespace hotpath
