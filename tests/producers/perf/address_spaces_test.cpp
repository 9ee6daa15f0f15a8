#include "perf/address_spaces.h"

#include <gmock/gmock.h>

namespace {

using edgefile::foreign;
using edgefile::place_of;
using perf::Image;

// A program linked to 0x1000 and a library that is linked to 0, each with one part.
std::vector<Image> images() {
    return {{"/tmp/steps", "aa", {{0x1000, 0x1000, 0x500}}}, {"/lib/libx.so", "", {{0, 0, 0x800}}}};
}

perf::Mapping mapping(std::int64_t process, std::uint64_t address, std::string_view path,
                      std::uint64_t offset = 0x1000, std::string_view build_id = "") {
    return {process, address, 0x1000, offset, 0, build_id, path};
}

class AddressSpacesTest : public testing::Test {
protected:
    perf::Place place(std::int64_t process, std::uint64_t address) {
        return spaces_.find(std::vector{process}).place(address);
    }

    perf::AddressSpaces spaces_{images()};
};

TEST_F(AddressSpacesTest, program_stands_where_it_was_linked_to_if_no_event_tells_of_a_mapping) {
    EXPECT_EQ(place(77, 0x1000), place_of(0, 0x1000));
    EXPECT_EQ(place(77, 0x14ff), place_of(0, 0x14ff));
    EXPECT_EQ(place(77, 0x1500), foreign);
    EXPECT_EQ(place(77, 0xfff), foreign);
    EXPECT_FALSE(spaces_.has_mappings());
}

TEST_F(AddressSpacesTest, mapping_leads_to_the_linked_address_through_the_files_offset) {
    spaces_.map(mapping(77, 0x555500001000, "/tmp/steps"));
    EXPECT_EQ(place(77, 0x555500001010), place_of(0, 0x1010));
    EXPECT_EQ(place(77, 0x555500001500), foreign);
    EXPECT_EQ(place(77, 0x1010), foreign);
    EXPECT_TRUE(spaces_.has_mapped(0));
    EXPECT_FALSE(spaces_.has_mapped(1));
}

TEST_F(AddressSpacesTest, mapping_that_begins_before_the_segment_holds_it_further_on) {
    spaces_.map(mapping(77, 0x700000, "/tmp/steps", 0xf00));
    EXPECT_EQ(place(77, 0x700100), place_of(0, 0x1000));
    EXPECT_EQ(place(77, 0x7000ff), foreign);
}

TEST_F(AddressSpacesTest,
       address_in_another_file_leads_to_its_offset_until_something_else_lies_there) {
    spaces_.map({77, 0x700000, 0x3000, 0x2000, 42, "cc", "/lib/other.so"});
    spaces_.map(mapping(77, 0x701000, "/tmp/steps"));
    perf::AddressSpace& space = spaces_.find(std::vector<std::int64_t>{77});
    EXPECT_FALSE(space.other_place(0x6fffff));
    EXPECT_EQ(space.other_place(0x700fff).value().offset, 0x2fffU);
    EXPECT_FALSE(space.other_place(0x701000));
    EXPECT_EQ(space.other_place(0x702000).value().offset, 0x4000U);
    EXPECT_FALSE(space.other_place(0x703000));
    const perf::OtherFile& file = spaces_.other_file(space.other_place(0x702000).value().file);
    EXPECT_EQ(file.path, "/lib/other.so");
    EXPECT_EQ(file.build_id, "cc");
    EXPECT_EQ(file.inode, 42U);
}

TEST_F(AddressSpacesTest, files_of_one_name_and_several_builds_are_told_apart) {
    spaces_.map({77, 0x700000, 0x1000, 0, 42, "", "/lib/other.so"});
    spaces_.map({78, 0x700000, 0x1000, 0, 43, "", "/lib/other.so"});
    spaces_.map({79, 0x700000, 0x1000, 0, 42, "", "/lib/other.so"});
    const auto file = [&](std::int64_t process) {
        return spaces_.find(std::vector{process}).other_place(0x700000).value().file;
    };
    EXPECT_NE(file(77), file(78));
    EXPECT_EQ(file(77), file(79));
}

TEST_F(AddressSpacesTest, each_process_has_its_own_addresses) {
    spaces_.map(mapping(77, 0x10000, "/tmp/steps"));
    spaces_.map(mapping(78, 0x20000, "/tmp/steps"));
    EXPECT_EQ(place(77, 0x10000), place_of(0, 0x1000));
    EXPECT_EQ(place(78, 0x20000), place_of(0, 0x1000));
    EXPECT_EQ(place(78, 0x10000), foreign);
}

TEST_F(AddressSpacesTest, libraries_are_told_apart_from_the_program) {
    spaces_.map(mapping(77, 0x10000, "/tmp/steps"));
    spaces_.map(mapping(77, 0x30000, "/usr/lib/libx.so", 0));
    EXPECT_EQ(place(77, 0x30010), place_of(1, 0x10));
}

TEST_F(AddressSpacesTest, process_without_events_has_what_the_programs_first_process_has) {
    spaces_.map(mapping(77, 0x10000, "/tmp/steps"));
    EXPECT_EQ(place(99, 0x10000), place_of(0, 0x1000));
}

TEST_F(AddressSpacesTest, process_of_another_program_has_none_of_this_one) {
    spaces_.map(mapping(77, 0x10000, "/tmp/steps"));
    spaces_.map(mapping(78, 0x10000, "/bin/other"));
    EXPECT_EQ(place(78, 0x10000), foreign);
    EXPECT_THAT(spaces_.others(), testing::ElementsAre("/bin/other"));
}

TEST_F(AddressSpacesTest, forked_process_has_its_parents_mappings_from_then_on) {
    spaces_.map(mapping(77, 0x10000, "/tmp/steps"));
    spaces_.map(mapping(78, 0x20000, "/tmp/steps"));
    spaces_.fork({99, 99, 78});
    spaces_.map(mapping(99, 0x40000, "/usr/lib/libx.so", 0));
    EXPECT_EQ(place(99, 0x20000), place_of(0, 0x1000));
    EXPECT_EQ(place(99, 0x40000), place_of(1, 0));
    EXPECT_EQ(place(78, 0x40000), foreign);
}

TEST_F(AddressSpacesTest, thread_has_the_mappings_of_its_process) {
    spaces_.map(mapping(77, 0x10000, "/tmp/steps"));
    spaces_.map(mapping(78, 0x20000, "/tmp/steps"));
    spaces_.fork({78, 80, 78});
    EXPECT_EQ(place(80, 0x20000), place_of(0, 0x1000));
}

TEST_F(AddressSpacesTest, process_that_begins_another_program_loses_its_mappings) {
    spaces_.map(mapping(77, 0x10000, "/tmp/steps"));
    spaces_.exec(77);
    EXPECT_EQ(place(77, 0x10000), foreign);
}

TEST_F(AddressSpacesTest, later_mapping_takes_the_place_of_an_earlier_one) {
    spaces_.map(mapping(77, 0x10000, "/tmp/steps"));
    perf::Mapping other = mapping(77, 0x10100, "/bin/other");
    other.size = 0x100;
    spaces_.map(other);
    EXPECT_EQ(place(77, 0x100ff), place_of(0, 0x10ff));
    EXPECT_EQ(place(77, 0x10100), foreign);
    EXPECT_EQ(place(77, 0x101ff), foreign);
    EXPECT_EQ(place(77, 0x10200), place_of(0, 0x1200));
}

TEST_F(AddressSpacesTest, first_known_of_several_numbers_names_the_process) {
    spaces_.map(mapping(77, 0x10000, "/tmp/steps"));
    spaces_.map(mapping(78, 0x20000, "/tmp/steps"));
    EXPECT_EQ(spaces_.find(std::vector<std::int64_t>{2, 78, 77}).place(0x20000),
              place_of(0, 0x1000));
}

TEST_F(AddressSpacesTest, build_id_finds_the_file_under_any_name) {
    spaces_.map(mapping(77, 0x10000, "/srv/copy", 0x1000, "aa"));
    EXPECT_EQ(place(77, 0x10000), place_of(0, 0x1000));
}

TEST_F(AddressSpacesTest, file_of_the_name_with_another_build_id_is_another_build) {
    spaces_.map(mapping(77, 0x10000, "/tmp/steps", 0x1000, "bb"));
    EXPECT_EQ(place(77, 0x10000), foreign);
    EXPECT_EQ(spaces_.other_build(0), "bb");
    EXPECT_FALSE(spaces_.has_mapped(0));
}

TEST_F(AddressSpacesTest, file_in_another_directory_or_deleted_since_is_known_by_its_name) {
    spaces_.map(mapping(77, 0x10000, "/srv/steps (deleted)"));
    EXPECT_EQ(place(77, 0x10000), place_of(0, 0x1000));
}

TEST_F(AddressSpacesTest, mapping_up_to_the_last_address_is_held) {
    perf::Mapping huge = mapping(77, 0xFFFFFFFFFFFFF000, "/tmp/steps");
    huge.size = 0xFFFFFFFFFFFFFFFF;
    spaces_.map(huge);
    EXPECT_EQ(place(77, 0xFFFFFFFFFFFFF010), place_of(0, 0x1010));
    spaces_.map(huge);
    EXPECT_EQ(place(77, 0xFFFFFFFFFFFFF010), place_of(0, 0x1010));
}

}  // namespace
