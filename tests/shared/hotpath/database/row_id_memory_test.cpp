#include "shared/hotpath/database/row_id_memory.h"

#include "shared/hotpath/database/database_fixture.h"

namespace hotpath {
namespace {

class RowIdMemoryTest : public test_support::DatabaseTest {
protected:
    // Starts the memory on the file; true if it holds.
    bool start() {
        DatabaseHandle handle;
        EXPECT_TRUE(handle.open(path.c_str(), OpenMode::ReadOnly));
        memory.start(handle);
        return memory.holds();
    }

    bool holds_with_files(const std::string& values) {
        create("INSERT INTO sf_filenames VALUES " + values);
        return start();
    }

    RowIdMemory memory;
};

TEST_F(RowIdMemoryTest, knows_nothing_before_it_starts) {
    EXPECT_FALSE(memory.is_started());
    EXPECT_FALSE(memory.holds());
    EXPECT_FALSE(memory.find_file("A.C").has_value);
    EXPECT_FALSE(memory.added_file("A.C").has_value);
    EXPECT_FALSE(memory.added_function("f", 1).has_value);
}

TEST_F(RowIdMemoryTest, counts_from_one_in_empty_tables) {
    create();
    ASSERT_TRUE(start());
    EXPECT_TRUE(memory.is_started());
    EXPECT_EQ(memory.added_file("A.C").value, 1U);
    EXPECT_EQ(memory.added_file("B.C").value, 2U);
    EXPECT_EQ(memory.added_function("f", 1).value, 1U);
    EXPECT_EQ(memory.added_function("f", 2).value, 2U);
}

TEST_F(RowIdMemoryTest, counts_on_from_the_largest_ids) {
    create(
        "INSERT INTO sf_filenames VALUES (9, 'A.C'), (4, 'B.C');"
        "INSERT INTO sf_functions VALUES (30, 'f', 9, 0, 0), (7, 'g', 4, 0, 0)");
    ASSERT_TRUE(start());
    EXPECT_EQ(memory.added_file("C.C").value, 10U);
    EXPECT_EQ(memory.added_function("h", 10).value, 31U);
}

TEST_F(RowIdMemoryTest, finds_files_exactly_as_stored) {
    ASSERT_TRUE(holds_with_files("(2, 'A.C'), (3, 'b.c'), (5, '')"));
    EXPECT_EQ(memory.find_file("A.C").value, 2U);
    EXPECT_EQ(memory.find_file("b.c").value, 3U);
    EXPECT_FALSE(memory.find_file("B.C").has_value);
    EXPECT_TRUE(memory.find_file("").has_value);
    EXPECT_EQ(memory.find_file("").value, 5U);
}

TEST_F(RowIdMemoryTest, of_equal_texts_the_first_row_counts) {
    ASSERT_TRUE(holds_with_files("(2, 'A.C'), (4, 'A.C')"));
    EXPECT_EQ(memory.find_file("A.C").value, 2U);
}

TEST_F(RowIdMemoryTest, finds_files_that_were_added) {
    create();
    ASSERT_TRUE(start());
    memory.added_file("A.C");
    EXPECT_TRUE(memory.find_file("A.C").has_value);
    EXPECT_EQ(memory.find_file("A.C").value, 1U);
}

TEST_F(RowIdMemoryTest, a_second_row_of_one_function_asks_for_a_search_and_counts_all_the_same) {
    create();
    ASSERT_TRUE(start());
    EXPECT_EQ(memory.added_function("f", 1).value, 1U);
    EXPECT_FALSE(memory.added_function("f", 1).has_value);
    EXPECT_EQ(memory.added_function("g", 1).value, 3U);
}

TEST_F(RowIdMemoryTest, gives_nothing_once_it_forgot) {
    ASSERT_TRUE(holds_with_files("(2, 'A.C')"));
    memory.forget();
    EXPECT_TRUE(memory.is_started());
    EXPECT_FALSE(memory.holds());
    EXPECT_FALSE(memory.find_file("A.C").has_value);
    EXPECT_FALSE(memory.added_file("B.C").has_value);
    EXPECT_FALSE(memory.added_function("f", 2).has_value);
}

TEST_F(RowIdMemoryTest, stops_at_the_last_id_that_31_bits_hold) {
    ASSERT_TRUE(holds_with_files("(2147483646, 'A.C')"));
    EXPECT_EQ(memory.added_file("B.C").value, 2147483647U);
    EXPECT_FALSE(memory.added_file("C.C").has_value);
    EXPECT_FALSE(memory.holds());
}

TEST_F(RowIdMemoryTest, doesnt_hold_with_larger_ids) {
    EXPECT_FALSE(holds_with_files("(2147483648, 'A.C')"));
}

TEST_F(RowIdMemoryTest, doesnt_hold_with_the_largest_id_of_all) {
    create("INSERT INTO sf_functions VALUES (9223372036854775807, 'f', 0, 0, 0)");
    EXPECT_FALSE(start());
}

TEST_F(RowIdMemoryTest, doesnt_hold_with_an_id_below_zero) {
    EXPECT_FALSE(holds_with_files("(-1, 'A.C')"));
}

TEST_F(RowIdMemoryTest, counts_on_behind_an_id_of_zero) {
    ASSERT_TRUE(holds_with_files("(0, 'A.C')"));
    EXPECT_TRUE(memory.find_file("A.C").has_value);
    EXPECT_EQ(memory.find_file("A.C").value, 0U);
    EXPECT_EQ(memory.added_file("B.C").value, 1U);
}

TEST_F(RowIdMemoryTest, passes_over_names_that_no_search_finds) {
    ASSERT_TRUE(
        holds_with_files("(1, 'A.C'), (2, NULL), (3, x'422E43'), (4, 'C.C' || char(0) || 'x')"));
    EXPECT_EQ(memory.find_file("A.C").value, 1U);
    EXPECT_FALSE(memory.find_file("").has_value);
    EXPECT_FALSE(memory.find_file("B.C").has_value);
    EXPECT_FALSE(memory.find_file("C.C").has_value);
    EXPECT_EQ(memory.added_file("D.C").value, 5U);
}

TEST_F(RowIdMemoryTest, holds_whatever_the_function_rows_say) {
    create("INSERT INTO sf_functions VALUES (8, NULL, 7, 6, 5)");
    EXPECT_TRUE(start());
}

TEST_F(RowIdMemoryTest, doesnt_hold_with_a_trigger_in_the_file) {
    create("CREATE TRIGGER t AFTER INSERT ON sf_edges BEGIN DELETE FROM sf_filenames; END");
    EXPECT_FALSE(start());
}

TEST_F(RowIdMemoryTest, doesnt_hold_with_an_index_on_one_of_the_tables) {
    create("CREATE UNIQUE INDEX i ON sf_functions (sf_func_name)");
    EXPECT_FALSE(start());
}

TEST_F(RowIdMemoryTest, doesnt_hold_where_a_declaration_differs) {
    create_with("CREATE TABLE sf_filenames (sf_id INTEGER DEFAULT 1, sf_filename TEXT);" +
                std::string(test_support::functions_sql));
    EXPECT_FALSE(start());
}

TEST_F(RowIdMemoryTest, doesnt_hold_where_a_table_is_missing) {
    create_with(test_support::filenames_sql);
    EXPECT_FALSE(start());
}

TEST_F(RowIdMemoryTest, doesnt_hold_in_a_file_of_16_bit_texts) {
    run("PRAGMA encoding = 'UTF-16le';" + std::string(test_support::filenames_sql) +
        test_support::functions_sql);
    EXPECT_FALSE(start());
}

// Reading the ids works, reading the names doesn't.
TEST_F(RowIdMemoryTest, doesnt_hold_where_the_names_cant_be_read) {
    create();
    DatabaseHandle handle;
    ASSERT_TRUE(handle.open(path.c_str(), OpenMode::ReadOnly));
    const auto decide = [](void*, int action, const char*, const char* column, const char*,
                           const char*) {
        const bool is_name = action == SQLITE_READ && std::string_view(column) == "sf_filename";
        return is_name ? SQLITE_DENY : SQLITE_OK;
    };
    ASSERT_EQ(sqlite3_set_authorizer(handle.connection(), decide, nullptr), SQLITE_OK);
    memory.start(handle);
    EXPECT_FALSE(memory.holds());
}

TEST_F(RowIdMemoryTest, doesnt_hold_in_a_file_that_is_no_database) {
    path = directory.write("text.db", "FromAddress,HitCount\n1,2\n");
    EXPECT_FALSE(start());
}

}  // namespace
}  // namespace hotpath
