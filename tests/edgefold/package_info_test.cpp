#include "edgefold/package_info.h"

#include <gtest/gtest.h>

#include <string>

#include "diag/platform.h"
#include "scratch.h"

namespace tool {
namespace {

TEST(VersionNumber, is_the_default_one_without_an_id) { EXPECT_EQ(version_number(""), "2021.8.0"); }

TEST(VersionNumber, goes_on_with_an_id_from_its_last_dot_but_one) {
    EXPECT_EQ(version_number("a.b.c"), "2021.8.b.c");
    EXPECT_EQ(version_number("a.b.c.d"), "2021.8.c.d");
    EXPECT_EQ(version_number(".b.c"), "2021.8.b.c");
    EXPECT_EQ(version_number("foldsuite_update.3.5"), "2021.8.3.5");
}

TEST(VersionNumber, goes_on_with_an_id_from_its_only_dot) {
    EXPECT_EQ(version_number("abc.7"), "2021.8.7");
    EXPECT_EQ(version_number(".7"), "2021.8.7");
    EXPECT_EQ(version_number("update3.5"), "2021.8.5");
}

TEST(VersionNumber, ends_with_the_product_for_an_id_without_a_dot) {
    EXPECT_EQ(version_number("abc"), "2021.8");
    EXPECT_EQ(version_number("foldsuite_update3"), "2021.8");
}

TEST(VersionNumber, of_a_suite_id_with_one_dot_goes_on_behind_the_first_update) {
    EXPECT_EQ(version_number("foldsuite_update3.5"), "2021.8.3.5");
    EXPECT_EQ(version_number("foldsuite.5update"), "2021.8.");
    EXPECT_EQ(version_number("foldsuite_update1update2.5"), "2021.8.1update2.5");
}

TEST(VersionNumber, of_a_suite_id_with_one_dot_and_no_update_has_a_zero) {
    EXPECT_EQ(version_number("foldsuite.5"), "2021.8.0.5");
}

// The id in a file of this content.
std::string id_in(std::string_view content) {
    const ScratchDirectory scratch;
    return read_package_id(scratch.write("package_c.txt", content).c_str());
}

TEST(ReadPackageId, is_empty_without_a_file) {
    const ScratchDirectory scratch;
    EXPECT_EQ(read_package_id(scratch.path("package_c.txt").c_str()), "");
}

TEST(ReadPackageId, is_empty_without_a_marker_line) {
    EXPECT_EQ(id_in(""), "");
    EXPECT_EQ(id_in("Package: a.b.c\nx Package ID: a.b.c\n"), "");
}

TEST(ReadPackageId, is_what_follows_the_marker_and_its_blanks) {
    EXPECT_EQ(id_in("Package ID:a.b.c\n"), "a.b.c");
    EXPECT_EQ(id_in("Name: x\nPackage ID: \t a.b.c\n"), "a.b.c");
    EXPECT_EQ(id_in("Package ID: a b \n"), "a b ");
}

TEST(ReadPackageId, takes_the_first_marker_line_also_if_its_id_is_empty) {
    EXPECT_EQ(id_in("Package ID: a.1\nPackage ID: b.2\n"), "a.1");
    EXPECT_EQ(id_in("Package ID: \t\nPackage ID: b.2\n"), "");
    EXPECT_EQ(id_in("Package ID:"), "");
}

TEST(ReadPackageId, loses_the_last_character_of_a_line_without_newline) {
    EXPECT_EQ(id_in("Package ID: a.b.cd"), "a.b.c");
}

TEST(ReadPackageId, takes_a_line_that_exceeds_the_buffer_for_several) {
    EXPECT_EQ(id_in(std::string(1023, 'x') + "Package ID: a.1\n"), "a.1");
    EXPECT_EQ(id_in(std::string(1022, 'x') + "Package ID: a.1\n"), "");
    // 1023 characters fit: marker, blank and 1011 more, of which the last is taken for the newline.
    EXPECT_EQ(id_in("Package ID: " + std::string(2000, 'x') + "\n"), std::string(1010, 'x'));
}

TEST(PackageId, is_empty_where_no_file_lies_beside_the_program) {
    EXPECT_EQ(package_id(PackageFile::c), "");
    EXPECT_EQ(package_id(PackageFile::fortran), "");
}

TEST(ProgramDirectory, ends_at_the_last_separator_of_either_kind) {
    EXPECT_EQ(program_directory("/opt/tool/bin/edgefold"), "/opt/tool/bin");
    EXPECT_EQ(program_directory("C:\\tool\\bin\\edgefold.exe"), "C:\\tool\\bin");
    EXPECT_EQ(program_directory("C:\\tool/bin\\edgefold.exe"), "C:\\tool/bin");
    EXPECT_EQ(program_directory("/edgefold"), "");
}

TEST(ProgramDirectory, is_absent_without_a_path_or_a_separator) {
    EXPECT_EQ(program_directory(std::nullopt), std::nullopt);
    EXPECT_EQ(program_directory("edgefold"), std::nullopt);
}

TEST(ProgramDirectory, is_absent_for_a_path_of_260_bytes) {
    EXPECT_EQ(program_directory("/" + std::string(256, 'd') + "/e"), "/" + std::string(256, 'd'));
    EXPECT_EQ(program_directory("/" + std::string(257, 'd') + "/e"), std::nullopt);
}

class FindProgramDirectory : public testing::Test {
protected:
    FindProgramDirectory() {
        const std::string program = "qlnc" + std::string(diag::platform::executable_suffix);
        first_.write(program, "");
        second_.write(program, "");
    }

    std::string list(const std::string& a, const std::string& b) const {
        return a + diag::platform::path_list_separator + b;
    }

    ScratchDirectory empty_;
    ScratchDirectory first_;
    ScratchDirectory second_;
};

TEST_F(FindProgramDirectory, takes_the_first_directory_that_holds_the_program) {
    EXPECT_EQ(find_program_directory(list(first_.path(), second_.path()), "qlnc"), first_.path());
    EXPECT_EQ(find_program_directory(list(empty_.path(), second_.path()), "qlnc"), second_.path());
}

TEST_F(FindProgramDirectory, is_absent_where_no_directory_holds_the_program) {
    EXPECT_EQ(find_program_directory(list(first_.path(), second_.path()), "qlnf"), std::nullopt);
    EXPECT_EQ(find_program_directory("", "qlnc"), std::nullopt);
}

TEST_F(FindProgramDirectory, passes_over_empty_entries) {
    EXPECT_EQ(find_program_directory(list("", first_.path()), "qlnc"), first_.path());
    EXPECT_EQ(find_program_directory(list("", ""), "qlnc"), std::nullopt);
}

}  // namespace
}  // namespace tool
