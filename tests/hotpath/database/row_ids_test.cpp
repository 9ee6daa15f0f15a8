#include "hotpath/database/row_ids.h"

#include "hotpath/database/database_fixture.h"
#include "hotpath/model/file_name_pool.h"

namespace hotpath {
namespace {

using test_support::RawDatabase;

// "found 7", "absent" or "must search".
std::string text(const RowIdAnswer& answer) {
    if (answer.kind == RowIdAnswer::found) return "found " + std::to_string(answer.id);
    return answer.kind == RowIdAnswer::absent ? "absent" : "must search";
}

class RowIdsTest : public test_support::DatabaseTest {
protected:
    // Opens the file, begins a transaction and lets the file be read.
    void begin() {
        ASSERT_EQ(connection.open(path.c_str(), OpenMode::ReadWrite), DbOpenOk);
        connection.begin_transaction();
        (void)find_file("");
    }
    void create_and_begin(const std::string& sql = "") {
        create(sql);
        begin();
    }
    void begin_with_files(const std::string& values) {
        create_and_begin("INSERT INTO sf_filenames VALUES " + values);
    }
    void begin_with_functions(const std::string& values) {
        create_and_begin("INSERT INTO sf_functions VALUES " + values);
    }

    // Add the row with the next id, and give the answer for it.
    std::string add_file(const std::string& name) {
        write("INSERT INTO sf_filenames (sf_filename) VALUES ('" + name + "')");
        return text(ids.added_file(names.keep(name)));
    }
    std::string add_function(const std::string& name, std::uint32_t file_id, OlderRow older) {
        write("INSERT INTO sf_functions (sf_func_name, sf_file_id) VALUES ('" + name + "', " +
              std::to_string(static_cast<std::int32_t>(file_id)) + ")");
        return text(ids.added_function(name, file_id, older));
    }
    std::string find_file(const std::string& name) { return text(ids.find_file(names.keep(name))); }

    void write(const std::string& sql) const { ASSERT_TRUE(connection.exec_sql(sql.c_str())); }
    void fail() const { ASSERT_FALSE(connection.exec_sql("no SQL")); }

    // From now on no statement may be prepared that reads this column.
    void refuse_to_read(const char* column) const {
        const auto decide = [](void* refused, int action, const char*, const char* read,
                               const char*, const char*) {
            const bool is_it =
                action == SQLITE_READ && std::string_view(read) == static_cast<char*>(refused);
            return is_it ? SQLITE_DENY : SQLITE_OK;
        };
        ASSERT_EQ(
            sqlite3_set_authorizer(connection.db().connection(), decide, const_cast<char*>(column)),
            SQLITE_OK);
    }

    // True if it can tell nothing in this file.
    bool must_search() {
        begin();
        return find_file("A.C") == "must search";
    }

    SqlConnection connection;
    FileNamePool names;
    RowIds ids{connection};
};

// When it can tell

TEST_F(RowIdsTest, cant_tell_without_a_connection) {
    EXPECT_EQ(find_file("A.C"), "must search");
    EXPECT_EQ(text(ids.added_file(names.keep("A.C"))), "must search");
    EXPECT_EQ(text(ids.added_function("f", 1, OlderRow::none)), "must search");
}

TEST_F(RowIdsTest, cant_tell_outside_of_a_transaction) {
    create("INSERT INTO sf_filenames VALUES (2, 'A.C')");
    ASSERT_EQ(connection.open(path.c_str(), OpenMode::ReadWrite), DbOpenOk);
    EXPECT_EQ(find_file("A.C"), "must search");
    EXPECT_EQ(add_file("B.C"), "must search");
    EXPECT_EQ(add_function("f", 2, OlderRow::none), "must search");
    connection.begin_transaction();
    EXPECT_EQ(find_file("A.C"), "found 2");
    EXPECT_EQ(find_file("B.C"), "found 3");
    connection.end_transaction();
    EXPECT_EQ(find_file("A.C"), "must search");
}

TEST_F(RowIdsTest, cant_tell_of_rows_that_were_added_before_the_file_was_read) {
    create();
    ASSERT_EQ(connection.open(path.c_str(), OpenMode::ReadWrite), DbOpenOk);
    connection.begin_transaction();
    EXPECT_EQ(add_file("A.C"), "must search");
    EXPECT_EQ(add_function("f", 1, OlderRow::none), "must search");
    EXPECT_EQ(find_file("A.C"), "found 1");
    EXPECT_EQ(add_function("g", 1, OlderRow::none), "found 2");
}

TEST_F(RowIdsTest, cant_tell_where_the_transaction_doesnt_begin) {
    create();
    ASSERT_EQ(connection.open(path.c_str(), OpenMode::ReadWrite), DbOpenOk);
    write("BEGIN");
    connection.begin_transaction();
    EXPECT_EQ(find_file("A.C"), "must search");
}

TEST_F(RowIdsTest, cant_tell_once_something_failed) {
    begin_with_files("(2, 'A.C')");
    EXPECT_EQ(find_file("A.C"), "found 2");
    fail();
    EXPECT_EQ(find_file("A.C"), "must search");
    EXPECT_EQ(text(ids.added_file(names.keep("B.C"))), "must search");
    EXPECT_EQ(text(ids.added_function("f", 2, OlderRow::none)), "must search");
}

// Files

TEST_F(RowIdsTest, counts_files_from_1_in_an_empty_table) {
    create_and_begin();
    EXPECT_EQ(find_file("A.C"), "absent");
    EXPECT_EQ(add_file("A.C"), "found 1");
    EXPECT_EQ(add_file("B.C"), "found 2");
    EXPECT_EQ(find_file("A.C"), "found 1");
}

TEST_F(RowIdsTest, counts_on_from_the_largest_file_id) {
    begin_with_files("(9, 'A.C'), (4, 'B.C')");
    EXPECT_EQ(find_file("C.C"), "absent");
    EXPECT_EQ(add_file("C.C"), "found 10");
}

TEST_F(RowIdsTest, finds_files_exactly_as_stored) {
    begin_with_files("(2, 'A.C'), (3, 'b.c'), (5, '')");
    EXPECT_EQ(find_file("A.C"), "found 2");
    EXPECT_EQ(find_file("b.c"), "found 3");
    EXPECT_EQ(find_file("B.C"), "absent");
    EXPECT_EQ(find_file(""), "found 5");
}

TEST_F(RowIdsTest, of_equal_file_names_the_first_row_counts) {
    begin_with_files("(2, 'A.C'), (4, 'A.C')");
    EXPECT_EQ(find_file("A.C"), "found 2");
}

TEST_F(RowIdsTest, doesnt_find_file_names_that_no_search_finds) {
    begin_with_files("(1, 'A.C'), (2, NULL), (3, x'422E43'), (4, 'C.C' || char(0) || 'x')");
    EXPECT_EQ(find_file("A.C"), "found 1");
    EXPECT_EQ(find_file(""), "absent");
    EXPECT_EQ(find_file("B.C"), "absent");
    EXPECT_EQ(find_file("C.C"), "absent");
    EXPECT_EQ(add_file("D.C"), "found 5");
}

TEST_F(RowIdsTest, finds_file_names_of_any_bytes) {
    begin_with_files("(1, CAST(x'FF25' AS TEXT))");
    EXPECT_EQ(find_file("\xFF%"), "found 1");
    EXPECT_EQ(find_file("\xFE%"), "absent");
}

TEST_F(RowIdsTest, gives_the_low_32_bits_of_file_ids) {
    begin_with_files("(-1, 'A.C'), (2147483648, 'B.C'), (4294967297, 'C.C')");
    EXPECT_EQ(find_file("A.C"), "found 4294967295");
    EXPECT_EQ(find_file("B.C"), "found 2147483648");
    EXPECT_EQ(find_file("C.C"), "found 1");
    EXPECT_EQ(add_file("D.C"), "found 2");
}

TEST_F(RowIdsTest, counts_on_behind_file_ids_below_0) {
    begin_with_files("(-2, 'A.C')");
    EXPECT_EQ(find_file("A.C"), "found 4294967294");
    EXPECT_EQ(add_file("B.C"), "found 4294967295");
    EXPECT_EQ(add_file("C.C"), "found 0");
}

// Functions

TEST_F(RowIdsTest, counts_functions_from_1_in_an_empty_table) {
    create_and_begin();
    EXPECT_EQ(add_function("f", 1, OlderRow::none), "found 1");
    EXPECT_EQ(add_function("f", 2, OlderRow::none), "found 2");
}

TEST_F(RowIdsTest, counts_on_from_the_largest_function_id) {
    begin_with_functions("(30, 'f', 9, 0, 0), (7, 'g', 4, 0, 0)");
    EXPECT_EQ(add_function("h", 9, OlderRow::none), "found 31");
    EXPECT_EQ(add_function("i", 9, OlderRow::possible), "found 32");
}

TEST_F(RowIdsTest, gives_the_first_of_two_added_rows) {
    create_and_begin();
    EXPECT_EQ(add_function("f", 1, OlderRow::possible), "found 1");
    EXPECT_EQ(add_function("f", 1, OlderRow::possible), "found 1");
    EXPECT_EQ(add_function("g", 1, OlderRow::possible), "found 3");
    EXPECT_EQ(add_function("g", 1, OlderRow::possible), "found 3");
}

TEST_F(RowIdsTest, gives_a_row_that_was_added_as_new) {
    create_and_begin();
    EXPECT_EQ(add_function("f", 1, OlderRow::none), "found 1");
    EXPECT_EQ(add_function("f", 1, OlderRow::possible), "found 1");
    EXPECT_EQ(add_function("g", 1, OlderRow::none), "found 3");
    EXPECT_EQ(add_function("g", 1, OlderRow::possible), "found 3");
}

TEST_F(RowIdsTest, gives_a_row_that_was_there) {
    begin_with_functions("(5, 'f', 1, 0, 0), (6, 'f', 2, 0, 0), (7, 'f', 1, 0, 0)");
    EXPECT_EQ(add_function("f", 1, OlderRow::possible), "found 5");
    EXPECT_EQ(add_function("f", 2, OlderRow::possible), "found 6");
    EXPECT_EQ(add_function("f", 3, OlderRow::possible), "found 10");
}

TEST_F(RowIdsTest, doesnt_give_function_rows_that_no_search_finds) {
    begin_with_functions(
        "(1, NULL, 1, 0, 0), (2, x'66', 1, 0, 0), (3, 'f' || char(0) || 'x', 1, 0, 0),"
        " (4, 'f', NULL, 0, 0), (5, 'f', '1x', 0, 0), (6, 'f', x'31', 0, 0), (7, 'f', 1.5, 0, 0),"
        " (8, 'f', 4294967297, 0, 0)");
    EXPECT_EQ(add_function("f", 1, OlderRow::possible), "found 9");
    EXPECT_EQ(add_function("", 1, OlderRow::possible), "found 10");
}

TEST_F(RowIdsTest, gives_function_rows_whose_file_id_is_a_number_all_the_same) {
    begin_with_functions("(1, 'f', '1', 0, 0), (2, 'g', 2.0, 0, 0), (3, 'h', -3, 0, 0)");
    EXPECT_EQ(add_function("f", 1, OlderRow::possible), "found 1");
    EXPECT_EQ(add_function("g", 2, OlderRow::possible), "found 2");
    EXPECT_EQ(add_function("h", 4294967293, OlderRow::possible), "found 3");
}

// Two files then can have one id in function rows.
TEST_F(RowIdsTest, looks_for_new_functions_too_where_file_ids_have_more_than_32_bits) {
    create_and_begin(
        "INSERT INTO sf_filenames VALUES (1, 'A.C'), (4294967297, 'B.C');"
        "INSERT INTO sf_functions VALUES (7, 'f', 1, 0, 0)");
    EXPECT_EQ(add_function("f", 1, OlderRow::none), "found 7");
}

TEST_F(RowIdsTest, looks_for_new_functions_too_where_file_ids_are_below_0) {
    create_and_begin(
        "INSERT INTO sf_filenames VALUES (-1, 'A.C'), (4294967295, 'B.C');"
        "INSERT INTO sf_functions VALUES (7, 'f', -1, 0, 0)");
    EXPECT_EQ(add_function("f", 4294967295, OlderRow::none), "found 7");
}

TEST_F(RowIdsTest, takes_new_functions_for_new_up_to_the_last_file_id_of_32_bits) {
    begin_with_files("(4294967294, 'A.C')");
    EXPECT_EQ(add_file("B.C"), "found 4294967295");
    EXPECT_EQ(add_function("f", 4294967295, OlderRow::none), "found 1");
    EXPECT_EQ(add_function("f", 4294967295, OlderRow::none), "found 2");
    EXPECT_EQ(add_file("C.C"), "found 0");
    EXPECT_EQ(add_function("f", 4294967295, OlderRow::none), "found 1");
}

// Files in which ids don't follow from the rows

TEST_F(RowIdsTest, cant_tell_behind_the_largest_id_of_all) {
    create("INSERT INTO sf_functions VALUES (9223372036854775807, 'f', 0, 0, 0)");
    EXPECT_TRUE(must_search());
}

TEST_F(RowIdsTest, can_tell_behind_ids_far_below_the_largest_of_all) {
    create("INSERT INTO sf_functions VALUES (4611686018427387902, 'f', 0, 0, 0)");
    EXPECT_FALSE(must_search());
}

TEST_F(RowIdsTest, cant_tell_with_a_trigger_in_the_file) {
    create("CREATE TRIGGER t AFTER INSERT ON sf_edges BEGIN DELETE FROM sf_filenames; END");
    EXPECT_TRUE(must_search());
}

TEST_F(RowIdsTest, cant_tell_with_an_index_on_one_of_the_tables) {
    create("CREATE UNIQUE INDEX i ON sf_functions (sf_func_name)");
    EXPECT_TRUE(must_search());
}

TEST_F(RowIdsTest, cant_tell_where_a_declaration_differs) {
    create_with("CREATE TABLE sf_filenames (sf_id INTEGER DEFAULT 1, sf_filename TEXT);" +
                test_support::functions_sql);
    EXPECT_TRUE(must_search());
}

TEST_F(RowIdsTest, cant_tell_where_a_table_is_missing) {
    create_with(test_support::filenames_sql);
    EXPECT_TRUE(must_search());
}

// Reading the ids works, reading the names doesn't.
TEST_F(RowIdsTest, cant_tell_where_the_names_cant_be_read) {
    create();
    ASSERT_EQ(connection.open(path.c_str(), OpenMode::ReadWrite), DbOpenOk);
    connection.begin_transaction();
    refuse_to_read("sf_filename");
    EXPECT_EQ(find_file("A.C"), "must search");
    ASSERT_EQ(sqlite3_set_authorizer(connection.db().connection(), nullptr, nullptr), SQLITE_OK);
    EXPECT_EQ(find_file("A.C"), "must search");
}

TEST_F(RowIdsTest, cant_tell_of_functions_whose_names_cant_be_read) {
    create_and_begin();
    EXPECT_EQ(find_file("A.C"), "absent");
    refuse_to_read("sf_func_name");
    EXPECT_EQ(text(ids.added_function("f", 1, OlderRow::possible)), "must search");
}

TEST_F(RowIdsTest, cant_tell_in_a_file_that_is_no_database) {
    path = directory.write("text.db", "FromAddress,HitCount\n1,2\n");
    EXPECT_TRUE(must_search());
}

// A database of 16-bit texts holds characters: what is none is stored as U+FFFD.

class RowIdsOf16Bits : public RowIdsTest {
protected:
    void begin_of_16_bits(const std::string& sql = "") {
        run("PRAGMA encoding = 'UTF-16le';" + test_support::version_tables_sql +
            test_support::filenames_sql + test_support::functions_sql + sql);
        begin();
    }
};

TEST_F(RowIdsOf16Bits, finds_files_by_their_characters) {
    begin_of_16_bits("INSERT INTO sf_filenames VALUES (3, 'A.C'), (4, '\xC3\x84'), (5, 'B.C')");
    EXPECT_EQ(find_file("B.C"), "found 5");
    EXPECT_EQ(find_file("\xC3\x84"), "found 4");
    EXPECT_EQ(find_file("\xC3\x85"), "absent");
    EXPECT_EQ(add_file("\xC3\x85"), "found 6");
    EXPECT_EQ(find_file("\xC3\x85"), "found 6");
}

// The form of a long name costs time: it is asked for as long as the name has no id.
TEST_F(RowIdsOf16Bits, asks_for_the_form_of_a_long_file_name_once) {
    const test_support::StatementLog log;
    const std::string a(256, 'A');
    const std::string b(256, 'B');
    begin_of_16_bits("INSERT INTO sf_filenames VALUES (3, '" + a + "')");
    const auto forms_asked_for = [&](const auto& operation) {
        log.text().clear();
        operation();
        return log.text();
    };
    const auto find = [&](const std::string& name) { return [&] { find_file(name); }; };
    EXPECT_EQ(forms_asked_for(find(a)), "SELECT ?1\n");
    EXPECT_EQ(forms_asked_for(find(a)), "");
    EXPECT_EQ(forms_asked_for(find(b)), "SELECT ?1\n");
    EXPECT_EQ(forms_asked_for([&] { (void)ids.added_file(names.keep(b)); }), "SELECT ?1\n");
    EXPECT_EQ(forms_asked_for(find(b)), "");
    EXPECT_EQ(find_file(a) + " " + find_file(b), "found 3 found 4");
}

TEST_F(RowIdsOf16Bits, takes_bytes_that_are_no_text_for_one_file_name) {
    begin_of_16_bits();
    EXPECT_EQ(find_file("\xE8.C"), "absent");
    EXPECT_EQ(add_file("\xE8.C"), "found 1");
    EXPECT_EQ(find_file("\xE9.C"), "found 1");
    EXPECT_EQ(find_file("\xEF\xBF\xBD.C"), "found 1");
}

TEST_F(RowIdsOf16Bits, takes_bytes_that_are_no_text_for_one_function_name) {
    begin_of_16_bits();
    EXPECT_EQ(add_function("\xE8", 1, OlderRow::none), "found 1");
    EXPECT_EQ(add_function("\xE9", 1, OlderRow::none), "found 1");
    EXPECT_EQ(add_function("\xE9", 2, OlderRow::none), "found 3");
    EXPECT_EQ(add_function("f", 1, OlderRow::none), "found 4");
}

// Half of a pair reads as a character that a search doesn't take for it.
TEST_F(RowIdsOf16Bits, doesnt_find_names_that_are_no_text) {
    begin_of_16_bits(
        "INSERT INTO sf_filenames VALUES (1, CAST(x'41004100DC' AS TEXT)), (2, x'4100'),"
        " (3, CAST(x'41000000' AS TEXT)), (4, CAST(x'00D84100' AS TEXT))");
    const std::string half_a_pair = rows("SELECT sf_filename FROM sf_filenames WHERE sf_id = 4");
    EXPECT_EQ(find_file(half_a_pair.substr(0, half_a_pair.size() - 1)), "absent");
    EXPECT_EQ(find_file("A"), "absent");
}

}  // namespace
}  // namespace hotpath
