// Edge files of megabytes that were made to cost time. None of these tests looks at a clock: one
// whose work grew with the square of the size would run for minutes.
#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <string_view>

#include "hotpath/readers/db_reader.h"
#include "hotpath/readers/edge_reader.h"
#include "support/profile_text.h"
#include "support/sample_database.h"
#include "support/scratch_directory.h"
#include "support/tracking_allocator.h"

namespace hotpath {
namespace {

const std::string required =
    "FromAddress,TypeOfBranch,FromSourceFile,FromSourceLine,FromFunctionMangled,"
    "DestinationEndOfBlockAddress,DestinationSourceFile,DestinationSourceLine,"
    "DestinationFunctionMangled,HitCount";
const std::string edge_row = "10,Jump,a.c,1,f,20,a.c,2,f,5\n";
const std::string edge_profile =
    "f in A.C x0 flags 0\n"
    "  edge 10 1:0.0.0 > 20 2:0.0.0 x5\n";

std::string repeated(std::string_view text, std::size_t count) {
    std::string result;
    result.reserve(text.size() * count);
    for (std::size_t i = 0; i < count; ++i) result += text;
    return result;
}

// The profile of a file with these bytes.
std::string profile_of(const std::string& bytes) {
    const test_support::ScratchDirectory directory;
    test_support::HeapFactory factory;
    FunctionRecordSet set(factory);
    const auto reader = open_edge_reader(directory.write("edges.csv", bytes).c_str());
    if (reader == nullptr) return "no edge file";
    EXPECT_TRUE(reader->read_function_records(set, factory, false));
    return test_support::profile_text(set);
}

TEST(HostileFile, a_million_short_rows) {
    for (const char* const row : {"\n", ",\n", "x\n", ",x\n", "x,[\n", "\r\n"})
        EXPECT_EQ(profile_of(required + "\n" + repeated(row, 1000000) + edge_row), edge_profile);
}

TEST(HostileFile, many_short_rows_behind_100000_columns) {
    const std::string header = repeated("x,", 100000) + required + "\n";
    const std::string whole_row = repeated("x,", 100000) + edge_row;
    for (const char* const row : {"\n", ",\n", "x\n", ",x\n", "x,[\n"})
        EXPECT_EQ(profile_of(header + repeated(row, 200000) + whole_row), edge_profile);
}

TEST(HostileFile, a_required_column_that_is_named_100000_times) {
    const std::string header = required + repeated(",HitCount", 100000) + "\n";
    EXPECT_EQ(profile_of(header + edge_row), "");
    const std::string row = edge_row.substr(0, edge_row.size() - 1) + repeated(",7", 100000);
    EXPECT_EQ(profile_of(header + row),
              "f in A.C x0 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x7\n");
}

TEST(HostileFile, deep_runs_of_brackets) {
    const std::string header = repeated("x,", 200000) + required + "\n";
    for (const char* const brackets : {"[", "]", "[]", "[,", "[],", "[x],[", ",["}) {
        const std::string row = "x," + repeated(brackets, 190000) + "\n";
        EXPECT_EQ(profile_of(header + repeated(row, 4)), "") << brackets;
    }
}

TEST(HostileFile, names_of_a_megabyte) {
    const std::string name = repeated("N", 1000000);
    const std::string row =
        "10,Call," + name + ",1," + name + ",20," + name + ",2,g" + name + ",5\n";
    EXPECT_TRUE(profile_of(required + "\n" + repeated(row, 8)) ==
                name + " in " + name + " x0 flags 0\n  call g" + name + " 1:0 x40\ng" + name +
                    " in " + name + " x40 flags 0\n");
}

TEST(HostileFile, numbers_of_a_megabyte) {
    const std::string zeros = repeated("0", 1000000);
    const std::string commas = "[" + repeated(",", 1000000) + "]";
    const auto profile = [](const std::string& address, const std::string& line,
                            const std::string& hits) {
        return profile_of(required + "\n" + address + ",Jump,a.c," + line + ",f,20,a.c,2,f," +
                          hits);
    };
    EXPECT_EQ(profile("0x" + zeros + "10", zeros + "1", zeros + "5"), edge_profile);
    EXPECT_EQ(profile("10", "1", "0x" + zeros + "5." + zeros), edge_profile);
    EXPECT_EQ(profile("10", "1", "5." + zeros + "1"), edge_profile);
    EXPECT_EQ(profile("10", "1", "5" + zeros + "e-1000000"), edge_profile);
    EXPECT_EQ(profile("10", "1", "5e" + zeros), edge_profile);
    EXPECT_EQ(profile("10", commas, "5"),
              "f in A.C x0 flags 0\n"
              "  edge 10 0:0.0.0 > 20 2:0.0.0 x5\n");
}

// A copy of the name for each function would take gigabytes, a look at it minutes.
TEST(HostileDatabase, a_file_name_of_500_kilobytes_with_25000_functions) {
    const test_support::ScratchDirectory directory;
    const std::string path = directory.path("long.db");
    test_support::write_sample_database(
        path,
        "INSERT INTO sf_filenames VALUES (1, replace(hex(zeroblob(250000)), '0', 'n'));"
        "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 25000)"
        " INSERT INTO sf_functions SELECT i, 'f' || i, 1, i, 0 FROM n;");
    test_support::HeapFactory factory;
    FunctionRecordSet set(factory);
    for (int i = 0; i < 2; ++i) {
        const auto reader = open_db_reader(path.c_str());
        ASSERT_NE(reader, nullptr);
        EXPECT_TRUE(reader->read_function_records(set, factory, false));
    }
    EXPECT_EQ(set.size(), 25000U);
    const FunctionRecord* const last =
        set.find_record(set.file_name(repeated("N", 500000)), "f25000");
    ASSERT_NE(last, nullptr);
    EXPECT_EQ(last->get_exec_count(), 50000U);
}

TEST(HostileFile, a_first_line_of_20_megabytes_of_commas) {
    const std::string commas(20000000, ',');
    EXPECT_EQ(profile_of(commas), "no edge file");
    EXPECT_EQ(profile_of("x" + commas), "no edge file");
    // Rows that are too short for its columns cost nothing either.
    EXPECT_EQ(profile_of("x" + commas + required + "\n" + repeated(edge_row, 100000)), "");
}

}  // namespace
}  // namespace hotpath
