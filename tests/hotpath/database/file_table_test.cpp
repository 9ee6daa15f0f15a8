#include "hotpath/database/file_table.h"

#include "hotpath/database/database_fixture.h"

namespace hotpath {
namespace {

using test_support::DatabaseTest;
using test_support::NoSqliteMemory;

class FileTableTest : public DatabaseTest {
protected:
    // Makes the file table with these rows and reads it, for ids up to the largest.
    void read(const std::string& sql, std::uint32_t largest_id) {
        create_with(sql);
        ASSERT_TRUE(handle.open(path.c_str(), OpenMode::ReadOnly));
        files.set_largest_id(largest_id);
        ASSERT_TRUE(files.read(handle));
    }
    void read_rows(const std::string& values, std::uint32_t largest_id) {
        read(test_support::filenames_sql + "INSERT INTO sf_filenames VALUES " + values, largest_id);
    }

    DatabaseHandle handle;
    FileTable files;
};

TEST_F(FileTableTest, has_at_least_one_element) {
    EXPECT_EQ(files.size(), 1U);
    files.set_largest_id(0);
    EXPECT_EQ(files.size(), 1U);
    EXPECT_EQ(files[0], "");
}

TEST_F(FileTableTest, gives_a_name_by_its_id) {
    read_rows("(1, 'A.C'), (2, 'B.C'), (3, 'C.C')", 3);
    EXPECT_EQ(files.size(), 4U);
    EXPECT_EQ(files[1], "A.C");
    EXPECT_EQ(files[2], "B.C");
    EXPECT_EQ(files[3], "C.C");
}

TEST_F(FileTableTest, an_id_without_a_row_has_the_empty_name) {
    read_rows("(2, 'B.C'), (5, 'E.C')", 5);
    EXPECT_EQ(files[0], "");
    EXPECT_EQ(files[1], "");
    EXPECT_EQ(files[2], "B.C");
    EXPECT_EQ(files[3], "");
    EXPECT_EQ(files[4], "");
    EXPECT_EQ(files[5], "E.C");
}

TEST_F(FileTableTest, a_row_of_id_0_names_element_0) {
    read_rows("(0, 'ZERO.C'), (1, 'A.C')", 1);
    EXPECT_EQ(files[0], "ZERO.C");
    EXPECT_EQ(files[1], "A.C");
}

TEST_F(FileTableTest, a_negative_id_doesnt_move_the_others) {
    read_rows("(-1, 'MINUS.C'), (1, 'A.C'), (2, 'B.C')", 2);
    EXPECT_EQ(files[0], "");
    EXPECT_EQ(files[1], "A.C");
    EXPECT_EQ(files[2], "B.C");
}

TEST_F(FileTableTest, of_rows_with_one_id_the_last_counts) {
    read(
        "CREATE TABLE sf_filenames (sf_id, sf_filename);"
        "INSERT INTO sf_filenames VALUES (1, 'A.C'), (2, 'B.C'), (1, 'C.C'), (2, 'D.C')",
        2);
    EXPECT_EQ(files[1], "C.C");
    EXPECT_EQ(files[2], "D.C");
}

TEST_F(FileTableTest, rows_in_falling_order_of_ids_are_found) {
    read(
        "CREATE TABLE sf_filenames (sf_id, sf_filename);"
        "INSERT INTO sf_filenames VALUES (3, 'C.C'), (2, 'B.C'), (1, 'A.C')",
        3);
    EXPECT_EQ(files[1], "A.C");
    EXPECT_EQ(files[2], "B.C");
    EXPECT_EQ(files[3], "C.C");
}

TEST_F(FileTableTest, ids_keep_their_low_32_bits) {
    read_rows("(1, 'A.C'), (4294967298, 'B.C')", 2);
    EXPECT_EQ(files[1], "A.C");
    EXPECT_EQ(files[2], "B.C");
}

TEST_F(FileTableTest, a_huge_id_costs_no_memory) {
    read_rows("(1, 'A.C'), (2147483647, 'MIDDLE.C'), (4294967295, 'LAST.C')", 4294967295);
    EXPECT_EQ(files.size(), 4294967296U);
    EXPECT_EQ(files[1], "A.C");
    EXPECT_EQ(files[2147483646], "");
    EXPECT_EQ(files[2147483647], "MIDDLE.C");
    EXPECT_EQ(files[4294967294], "");
    EXPECT_EQ(files[4294967295], "LAST.C");
}

TEST_F(FileTableTest, a_null_name_is_empty) {
    read_rows("(1, NULL), (2, 'B.C')", 2);
    EXPECT_EQ(files[1], "");
    EXPECT_EQ(files[2], "B.C");
}

TEST_F(FileTableTest, an_id_of_null_is_0) {
    read(
        "CREATE TABLE sf_filenames (sf_id, sf_filename);"
        "INSERT INTO sf_filenames VALUES (NULL, 'A.C')",
        0);
    EXPECT_EQ(files[0], "A.C");
}

TEST_F(FileTableTest, further_columns_dont_shift_the_rows) {
    read(
        "CREATE TABLE sf_filenames (sf_id INTEGER PRIMARY KEY, sf_filename TEXT, more, still);"
        "INSERT INTO sf_filenames VALUES (1, 'A.C', 5, 'x'), (2, 'B.C', 6, 'y')",
        2);
    EXPECT_EQ(files[1], "A.C");
    EXPECT_EQ(files[2], "B.C");
}

TEST_F(FileTableTest, a_table_of_one_column_has_empty_names) {
    read(
        "CREATE TABLE sf_filenames (sf_id INTEGER PRIMARY KEY);"
        "INSERT INTO sf_filenames VALUES (1), (2)",
        2);
    EXPECT_EQ(files[1], "");
    EXPECT_EQ(files[2], "");
}

TEST_F(FileTableTest, a_missing_table_is_a_failure_with_sqlites_text) {
    create_with("");
    ASSERT_TRUE(handle.open(path.c_str(), OpenMode::ReadOnly));
    EXPECT_FALSE(files.read(handle));
    EXPECT_STREQ(files.error(), "no such table: sf_filenames");
}

TEST_F(FileTableTest, a_failure_without_a_text_is_unknown) {
    create();
    ASSERT_TRUE(handle.open(path.c_str(), OpenMode::ReadOnly));
    {
        const NoSqliteMemory no_memory;
        EXPECT_FALSE(files.read(handle));
    }
    EXPECT_STREQ(files.error(), "<UNKNOWN>");
}

}  // namespace
}  // namespace hotpath
