// Writing single functions: the rows that come of records, and what failures leave.
#include "diag/assertions.h"
#include "diag/trace.h"
#include "hotpath/database/database_fixture.h"
#include "hotpath/database/sample_db.h"
#include "support/text_matchers.h"

namespace hotpath {
namespace {

using test_support::captured_stderr;
using test_support::DatabaseTest;
using test_support::RawDatabase;
using test_support::Refusal;
using test_support::traced;
using testing::ExitedWithCode;

class StoreTest : public DatabaseTest {
protected:
    // Makes the file and opens it for writing.
    void open(const std::string& sql = "") {
        create(sql);
        ASSERT_EQ(database.open_writable(nullptr, path.c_str()), DbOpenOk);
    }

    FunctionRecord& record(const char* file, const char* name, std::uint64_t count = 0) {
        FunctionRecord* const made = records.find_or_create_record(file, name);
        made->add_exec_count(count);
        return *made;
    }
    EdgeRecord& add_edge(FunctionRecord& owner, std::uint64_t from, std::uint32_t from_line,
                         std::uint64_t count = 0) {
        return *owner.add_edge(from, {from_line, 0, 0, 0}, from + 1, {from_line + 1, 0, 0, 0},
                               count, factory);
    }

    std::string files() const { return rows("SELECT * FROM sf_filenames"); }
    std::string functions() const { return rows("SELECT * FROM sf_functions"); }
    std::string edges() const { return rows("SELECT * FROM sf_edges"); }
    std::string calls() const { return rows("SELECT * FROM sf_calls"); }

    SampleDB database;
    FunctionRecordSet records{factory};
};

class InsertFunction : public StoreTest {};

TEST_F(InsertFunction, without_edges_and_calls_writes_a_file_and_a_function_row) {
    open();
    FunctionRecord& f = record("a.c", "f", 7);
    f.set_uses_columns(true);
    EXPECT_TRUE(database.insert_function_record(f));
    EXPECT_EQ(files(), "1|A.C\n");
    EXPECT_EQ(functions(), "1|f|1|7|2\n");
    EXPECT_EQ(edges(), "");
    EXPECT_EQ(calls(), "");
}

TEST_F(InsertFunction, stores_texts_as_texts_and_numbers_as_integers) {
    open();
    FunctionRecord& f = record("1", "2", 3);
    add_edge(f, 16, 10, 4);
    f.add_call("5", 12, 2, 9);
    EXPECT_TRUE(database.insert_function_record(f));
    EXPECT_EQ(rows("SELECT typeof(sf_id), typeof(sf_filename) FROM sf_filenames"),
              "integer|text\n");
    EXPECT_EQ(rows("SELECT typeof(sf_id), typeof(sf_func_name), typeof(sf_file_id),"
                   " typeof(sf_exec_count), typeof(sf_flags) FROM sf_functions"),
              "integer|text|integer|integer|integer\n");
    EXPECT_EQ(rows("SELECT typeof(sf_from_func_id), typeof(sf_from_address),"
                   " typeof(sf_from_abs_line), typeof(sf_from_rel_line), typeof(sf_from_column),"
                   " typeof(sf_from_discr), typeof(sf_to_func_id), typeof(sf_to_bb_end_address),"
                   " typeof(sf_to_abs_line), typeof(sf_to_rel_line), typeof(sf_to_column),"
                   " typeof(sf_to_discr), typeof(sf_exec_count), typeof(sf_flags) FROM sf_edges"),
              "integer|integer|integer|integer|integer|integer|integer|integer|integer|integer|"
              "integer|integer|integer|integer\n");
    EXPECT_EQ(rows("SELECT typeof(sf_from_func_id), typeof(sf_from_abs_line),"
                   " typeof(sf_from_rel_line), typeof(sf_to_func_name), typeof(sf_exec_count)"
                   " FROM sf_calls"),
              "integer|integer|integer|text|integer\n");
}

TEST_F(InsertFunction, writes_both_flags_in_their_database_form) {
    open();
    record("a.c", "d");
    record("a.c", "e").set_uses_discriminators(true);
    FunctionRecord& f = record("a.c", "f");
    f.set_uses_discriminators(true);
    f.set_uses_columns(true);
    for (FunctionRecordInterface* each : records.records_by_key())
        EXPECT_TRUE(database.insert_function_record(*each->get_full_record()));
    EXPECT_EQ(rows("SELECT sf_func_name, sf_flags FROM sf_functions"), "d|0\ne|1\nf|3\n");
}

TEST_F(InsertFunction, a_count_above_63_bits_keeps_its_bits) {
    open();
    EXPECT_TRUE(database.insert_function_record(record("a.c", "f", 0xFFFFFFFFFFFFFFFE)));
    EXPECT_EQ(functions(), "1|f|1|-2|0\n");
}

TEST_F(InsertFunction, puts_each_part_of_an_edge_into_its_column) {
    open();
    FunctionRecord& f = record("a.c", "f");
    f.add_edge(101, {102, 103, 104, 105}, 107, {108, 109, 110, 111}, 112, factory)->set_exit(true);
    EXPECT_TRUE(database.insert_function_record(f));
    EXPECT_EQ(rows("SELECT sf_from_func_id, sf_from_address, sf_from_abs_line, sf_from_rel_line,"
                   " sf_from_column, sf_from_discr, sf_to_func_id, sf_to_bb_end_address,"
                   " sf_to_abs_line, sf_to_rel_line, sf_to_column, sf_to_discr, sf_exec_count,"
                   " sf_flags FROM sf_edges"),
              "1|101|102|103|104|105|1|107|108|109|110|111|112|2\n");
}

TEST_F(InsertFunction, the_widest_edge_comes_out_signed_where_sqlite_signs_it) {
    open();
    FunctionRecord& f = record("a.c", "f");
    f.add_edge(0xFFFFFFFFFFFFFFFF, {0xFFFFFFFF, 0x80000000, 0xFFFF, 0xFFFF}, 0x8000000000000000,
               {0x80000000, 0xFFFFFFFF, 0xFFFF, 0xFFFF}, 0xFFFFFFFFFFFFFFFF, factory);
    EXPECT_TRUE(database.insert_function_record(f));
    EXPECT_EQ(edges(),
              "1|-1|-1|-2147483648|65535|65535|1|-9223372036854775808|-2147483648|-1|65535|65535|"
              "-1|0\n");
}

TEST_F(InsertFunction, an_edge_count_is_written_with_64_bits) {
    open();
    FunctionRecord& f = record("a.c", "f");
    add_edge(f, 16, 10, 4294967296);
    EXPECT_TRUE(database.insert_function_record(f));
    EXPECT_EQ(rows("SELECT sf_exec_count FROM sf_edges"), "4294967296\n");
}

TEST_F(InsertFunction, an_edge_of_count_0_is_written) {
    open();
    FunctionRecord& f = record("a.c", "f");
    add_edge(f, 16, 10, 0);
    EXPECT_TRUE(database.insert_function_record(f));
    EXPECT_EQ(edges(), "1|16|10|0|0|0|1|17|11|0|0|0|0|0\n");
}

TEST_F(InsertFunction, writes_the_four_values_of_edge_flags) {
    open();
    FunctionRecord& f = record("a.c", "f");
    add_edge(f, 10, 1);
    add_edge(f, 20, 2).set_entry(true);
    add_edge(f, 30, 3).set_exit(true);
    EdgeRecord& both = add_edge(f, 40, 4);
    both.set_entry(true);
    both.set_exit(true);
    EXPECT_TRUE(database.insert_function_record(f));
    EXPECT_EQ(rows("SELECT sf_from_address, sf_flags FROM sf_edges"), "10|0\n20|1\n30|2\n40|3\n");
}

TEST_F(InsertFunction, writes_edges_by_line_and_then_by_creation) {
    open();
    FunctionRecord& f = record("a.c", "f");
    add_edge(f, 50, 20);
    add_edge(f, 40, 10);
    add_edge(f, 30, 10);
    EXPECT_TRUE(database.insert_function_record(f));
    EXPECT_EQ(rows("SELECT rowid, sf_from_address FROM sf_edges ORDER BY rowid"),
              "1|40\n2|30\n3|50\n");
}

TEST_F(InsertFunction, writes_calls_by_callee_and_line) {
    open();
    FunctionRecord& f = record("a.c", "f");
    f.add_call("f", 3, 31, 1);
    f.add_call("f", 1, 11, 2);
    f.add_call("e", 9, 91, 3);
    EXPECT_TRUE(database.insert_function_record(f));
    EXPECT_EQ(rows("SELECT rowid, * FROM sf_calls ORDER BY rowid"),
              "1|1|9|91|e|3\n"
              "2|1|1|11|f|2\n"
              "3|1|3|31|f|1\n");
}

TEST_F(InsertFunction, the_widest_call_comes_out_signed_where_sqlite_signs_it) {
    open();
    FunctionRecord& f = record("a.c", "f");
    f.add_call("", 0xFFFFFFFF, 0x80000000, 0xFFFFFFFFFFFFFFFF);
    EXPECT_TRUE(database.insert_function_record(f));
    EXPECT_EQ(calls(), "1|-1|-2147483648||-1\n");
    EXPECT_EQ(rows("SELECT typeof(sf_to_func_name) FROM sf_calls"), "text\n");
}

TEST_F(InsertFunction, one_name_in_two_files_makes_two_rows) {
    open();
    EXPECT_TRUE(database.insert_function_record(record("a.c", "f", 7)));
    EXPECT_TRUE(database.insert_function_record(record("b.c", "f", 8)));
    EXPECT_EQ(files(), "1|A.C\n2|B.C\n");
    EXPECT_EQ(functions(), "1|f|1|7|0\n2|f|2|8|0\n");
}

TEST_F(InsertFunction, a_second_function_of_a_file_adds_no_file_row) {
    open();
    EXPECT_TRUE(database.insert_function_record(record("a.c", "f", 7)));
    EXPECT_TRUE(database.insert_function_record(record("a.c", "g", 8)));
    EXPECT_EQ(files(), "1|A.C\n");
    EXPECT_EQ(functions(), "1|f|1|7|0\n2|g|1|8|0\n");
}

TEST_F(InsertFunction, uses_the_file_row_that_was_there) {
    open("INSERT INTO sf_filenames VALUES (4, 'A.C')");
    EXPECT_TRUE(database.insert_function_record(record("a.c", "f", 7)));
    EXPECT_EQ(files(), "4|A.C\n");
    EXPECT_EQ(functions(), "1|f|4|7|0\n");
}

TEST_F(InsertFunction, names_with_quotes_are_stored_as_they_stand) {
    open();
    FunctionRecord& f = record("it's.c", "f'); DROP TABLE sf_calls; --");
    f.add_call("o'g", 1, 2, 3);
    EXPECT_TRUE(database.insert_function_record(f));
    EXPECT_EQ(files(), "1|IT'S.C\n");
    EXPECT_EQ(functions(), "1|f'); DROP TABLE sf_calls; --|1|0|0\n");
    EXPECT_EQ(calls(), "1|1|2|o'g|3\n");
}

TEST_F(InsertFunction, empty_names_are_texts_like_others) {
    open();
    EXPECT_TRUE(database.insert_function_record(record("", "", 7)));
    EXPECT_TRUE(database.insert_function_record(record("", "f", 8)));
    EXPECT_EQ(rows("SELECT *, typeof(sf_filename) FROM sf_filenames"), "1||text\n");
    EXPECT_EQ(functions(), "1||1|7|0\n2|f|1|8|0\n");
}

TEST_F(InsertFunction, further_columns_stay_null) {
    open(
        "ALTER TABLE sf_filenames ADD COLUMN more; ALTER TABLE sf_functions ADD COLUMN more;"
        "ALTER TABLE sf_edges ADD COLUMN more; ALTER TABLE sf_calls ADD COLUMN more");
    FunctionRecord& f = record("a.c", "f", 7);
    add_edge(f, 16, 10, 4);
    f.add_call("g", 12, 2, 9);
    EXPECT_TRUE(database.insert_function_record(f));
    EXPECT_EQ(files(), "1|A.C|NULL\n");
    EXPECT_EQ(functions(), "1|f|1|7|0|NULL\n");
    EXPECT_EQ(edges(), "1|16|10|0|0|0|1|17|11|0|0|0|4|0|NULL\n");
    EXPECT_EQ(calls(), "1|12|2|g|9|NULL\n");
}

// Nothing keeps the pair of name and file unique; the details go to the row that a scan meets
// first.
TEST_F(InsertFunction, a_second_insert_makes_a_second_row_and_adds_to_the_first) {
    open();
    FunctionRecord& f = record("a.c", "f", 7);
    f.add_call("g", 12, 2, 9);
    EXPECT_TRUE(database.insert_function_record(f));
    EXPECT_TRUE(database.insert_function_record(f));
    EXPECT_EQ(functions(), "1|f|1|7|0\n2|f|1|7|0\n");
    EXPECT_EQ(calls(), "1|12|2|g|9\n1|12|2|g|9\n");
}

TEST_F(InsertFunction, an_insert_beside_a_row_that_was_there_adds_to_that_row) {
    open(
        "INSERT INTO sf_filenames VALUES (1, 'A.C');"
        "INSERT INTO sf_functions VALUES (5, 'f', 1, 3, 0)");
    FunctionRecord& f = record("a.c", "f", 7);
    f.add_call("g", 12, 2, 9);
    EXPECT_TRUE(database.insert_function_record(f));
    EXPECT_EQ(functions(), "5|f|1|3|0\n6|f|1|7|0\n");
    EXPECT_EQ(calls(), "5|12|2|g|9\n");
}

TEST_F(InsertFunction, traces_file_and_function_name) {
    open();
    FunctionRecord& f = record("a.c", "f");
    EXPECT_EQ(
        traced(diag::TRACE_DB_STORE, [&] { EXPECT_TRUE(database.insert_function_record(f)); }),
        "Insert function: A.C(f)\n");
}

TEST_F(InsertFunction, is_silent_without_the_store_bit) {
    open();
    FunctionRecord& f = record("a.c", "f");
    EXPECT_EQ(traced(~std::uint32_t{diag::TRACE_DB_STORE},
                     [&] { EXPECT_TRUE(database.insert_function_record(f)); }),
              "");
}

// A trigger that makes writes to a table fail, some of them if `condition` says so.
std::string failing(const char* operation, const char* table, const char* condition = "1") {
    return std::string("CREATE TRIGGER t BEFORE ") + operation + " ON " + table + " WHEN " +
           condition + " BEGIN SELECT RAISE(ABORT, 'no'); END";
}

TEST_F(InsertFunction, a_failed_file_row_ends_it) {
    open(failing("INSERT", "sf_filenames"));
    FunctionRecord& f = record("a.c", "f", 7);
    EXPECT_EQ(traced(diag::TRACE_DB_ERRORS | diag::TRACE_DB_STORE,
                     [&] { EXPECT_FALSE(database.insert_function_record(f)); }),
              "Insert function: A.C(f)\n"
              "SampleDB::insert_function_record: A.C(f)Inserting filename failed\n");
    EXPECT_EQ(files(), "");
    EXPECT_EQ(functions(), "");
}

TEST_F(InsertFunction, a_file_row_that_vanishes_ends_it) {
    open("CREATE TRIGGER t BEFORE INSERT ON sf_filenames BEGIN SELECT RAISE(IGNORE); END");
    FunctionRecord& f = record("a.c", "f", 7);
    EXPECT_EQ(
        traced(diag::TRACE_DB_ERRORS, [&] { EXPECT_FALSE(database.insert_function_record(f)); }),
        "SampleDB::insert_function_record: A.C(f)Inserting filename failed\n");
    EXPECT_EQ(functions(), "");
}

TEST_F(InsertFunction, a_failed_function_row_ends_it_and_keeps_the_file_row) {
    open(failing("INSERT", "sf_functions"));
    FunctionRecord& f = record("a.c", "f", 7);
    add_edge(f, 16, 10, 4);
    f.add_call("g", 12, 2, 9);
    EXPECT_EQ(
        traced(diag::TRACE_DB_ERRORS, [&] { EXPECT_FALSE(database.insert_function_record(f)); }),
        "SampleDB::insert_function_record: A.C(f): Inserting function failed\n");
    EXPECT_EQ(files(), "1|A.C\n");
    EXPECT_EQ(functions(), "");
    EXPECT_EQ(edges(), "");
    EXPECT_EQ(calls(), "");
}

TEST_F(InsertFunction, a_failed_function_row_beside_an_older_one_goes_unnoticed) {
    open(
        "INSERT INTO sf_filenames VALUES (1, 'A.C');"
        "INSERT INTO sf_functions VALUES (5, 'f', 1, 3, 0);" +
        failing("INSERT", "sf_functions"));
    FunctionRecord& f = record("a.c", "f", 7);
    f.add_call("g", 12, 2, 9);
    EXPECT_EQ(
        traced(diag::TRACE_DB_ERRORS, [&] { EXPECT_TRUE(database.insert_function_record(f)); }),
        "");
    EXPECT_EQ(functions(), "5|f|1|3|0\n");
    EXPECT_EQ(calls(), "5|12|2|g|9\n");
}

TEST_F(InsertFunction, a_failed_edge_ends_it_silently_and_keeps_what_was_written) {
    open(failing("INSERT", "sf_edges", "new.sf_from_abs_line = 20"));
    FunctionRecord& f = record("a.c", "f", 7);
    add_edge(f, 16, 10);
    add_edge(f, 26, 20);
    add_edge(f, 36, 30);
    f.add_call("g", 12, 2, 9);
    EXPECT_EQ(
        traced(diag::TRACE_DB_ERRORS, [&] { EXPECT_FALSE(database.insert_function_record(f)); }),
        "");
    EXPECT_EQ(functions(), "1|f|1|7|0\n");
    EXPECT_EQ(rows("SELECT sf_from_abs_line FROM sf_edges"), "10\n");
    EXPECT_EQ(calls(), "");
}

TEST_F(InsertFunction, a_failed_call_is_skipped_silently) {
    open(failing("INSERT", "sf_calls", "new.sf_to_func_name = 'g'"));
    FunctionRecord& f = record("a.c", "f", 7);
    f.add_call("e", 12, 2, 9);
    f.add_call("g", 13, 3, 9);
    f.add_call("h", 14, 4, 9);
    EXPECT_EQ(
        traced(diag::TRACE_DB_ERRORS, [&] { EXPECT_TRUE(database.insert_function_record(f)); }),
        "");
    EXPECT_EQ(calls(), "1|12|2|e|9\n1|14|4|h|9\n");
}

TEST_F(InsertFunction, a_failed_statement_serves_again) {
    open(failing("INSERT", "sf_edges", "new.sf_from_abs_line = 20"));
    FunctionRecord& f = record("a.c", "f");
    add_edge(f, 26, 20);
    FunctionRecord& g = record("a.c", "g");
    add_edge(g, 16, 10);
    EXPECT_FALSE(database.insert_function_record(f));
    EXPECT_TRUE(database.insert_function_record(g));
    EXPECT_EQ(edges(), "2|16|10|0|0|0|2|17|11|0|0|0|0|0\n");
}

TEST_F(InsertFunction, failures_are_silent_without_bits) {
    open(failing("INSERT", "sf_functions"));
    FunctionRecord& f = record("a.c", "f");
    EXPECT_EQ(captured_stderr([&] { EXPECT_FALSE(database.insert_function_record(f)); }), "");
}

TEST_F(InsertFunction, a_lock_by_another_connection_fails_the_file_row) {
    open();
    FunctionRecord& f = record("a.c", "f");
    const RawDatabase other(path);
    other.run("BEGIN IMMEDIATE");
    EXPECT_EQ(
        traced(diag::TRACE_DB_ERRORS, [&] { EXPECT_FALSE(database.insert_function_record(f)); }),
        "SampleDB::insert_function_record: A.C(f)Inserting filename failed\n");
}

TEST_F(InsertFunction, a_lock_by_another_connection_fails_the_function_row_of_a_known_file) {
    open("INSERT INTO sf_filenames VALUES (1, 'A.C')");
    FunctionRecord& f = record("a.c", "f");
    const RawDatabase other(path);
    other.run("BEGIN IMMEDIATE");
    EXPECT_EQ(
        traced(diag::TRACE_DB_ERRORS, [&] { EXPECT_FALSE(database.insert_function_record(f)); }),
        "SampleDB::insert_function_record: A.C(f): Inserting function failed\n");
}

using InsertFunctionDeathTest = InsertFunction;

TEST_F(InsertFunctionDeathTest, an_insert_that_wasnt_prepared_ends_the_program_at_its_first_bind) {
    {
        const Refusal refusal(SQLITE_INSERT, "sf_functions");
        open();
    }
    FunctionRecord& f = record("a.c", "f");
    EXPECT_EXIT(database.insert_function_record(f), ExitedWithCode(1),
                test_support::matches_whole(
                    "hotpath/database/sql_connection\\.cpp:[0-9]+ ASSERTX\\(rc == 0\\): "
                    "Internal error: Failed to bind data to stmt\n"));
}

// Updates

class UpdateFunction : public StoreTest {
protected:
    // Two functions with two edges and two calls each.
    void open_with_functions(const std::string& sql = "") {
        open(
            "INSERT INTO sf_filenames VALUES (1, 'A.C');"
            "INSERT INTO sf_functions VALUES (4, 'f', 1, 3, 1), (5, 'g', 1, 4, 2);"
            "INSERT INTO sf_edges VALUES (4, 1, 1, 0, 0, 0, 4, 2, 2, 0, 0, 0, 5, 0),"
            " (5, 1, 1, 0, 0, 0, 5, 2, 2, 0, 0, 0, 6, 0),"
            " (4, 3, 3, 0, 0, 0, 4, 4, 4, 0, 0, 0, 7, 0);"
            "INSERT INTO sf_calls VALUES (4, 1, 0, 'x', 1), (5, 1, 0, 'y', 2), (4, 2, 0, 'z', 3);" +
            sql);
    }
    static constexpr const char* edges_before =
        "4|1|1|0|0|0|4|2|2|0|0|0|5|0\n"
        "5|1|1|0|0|0|5|2|2|0|0|0|6|0\n"
        "4|3|3|0|0|0|4|4|4|0|0|0|7|0\n";
    static constexpr const char* calls_before = "4|1|0|x|1\n5|1|0|y|2\n4|2|0|z|3\n";
};

TEST_F(UpdateFunction, leaves_the_new_edges_and_calls_only) {
    open_with_functions();
    FunctionRecord& f = record("a.c", "f", 9);
    add_edge(f, 16, 10, 8);
    f.add_call("h", 12, 2, 7);
    EXPECT_TRUE(database.update_function_record(4, f));
    EXPECT_EQ(edges(),
              "5|1|1|0|0|0|5|2|2|0|0|0|6|0\n"
              "4|16|10|0|0|0|4|17|11|0|0|0|8|0\n");
    EXPECT_EQ(calls(), "5|1|0|y|2\n4|12|2|h|7\n");
}

TEST_F(UpdateFunction, changes_the_count_and_no_other_column_of_its_row) {
    open_with_functions();
    FunctionRecord& f = record("other.c", "other", 9);
    f.set_uses_columns(true);
    EXPECT_TRUE(database.update_function_record(4, f));
    EXPECT_EQ(functions(), "4|f|1|9|1\n5|g|1|4|2\n");
    EXPECT_EQ(files(), "1|A.C\n");
}

TEST_F(UpdateFunction, without_edges_and_calls_removes_the_old_ones) {
    open_with_functions();
    EXPECT_TRUE(database.update_function_record(4, record("a.c", "f", 9)));
    EXPECT_EQ(edges(), "5|1|1|0|0|0|5|2|2|0|0|0|6|0\n");
    EXPECT_EQ(calls(), "5|1|0|y|2\n");
}

TEST_F(UpdateFunction, of_a_missing_row_writes_edges_and_calls_all_the_same) {
    open_with_functions();
    FunctionRecord& f = record("a.c", "f", 9);
    f.add_call("h", 12, 2, 7);
    EXPECT_TRUE(database.update_function_record(77, f));
    EXPECT_EQ(functions(), "4|f|1|3|1\n5|g|1|4|2\n");
    EXPECT_EQ(calls(), "4|1|0|x|1\n5|1|0|y|2\n4|2|0|z|3\n77|12|2|h|7\n");
}

TEST_F(UpdateFunction, binds_an_id_above_31_bits_signed) {
    open_with_functions("INSERT INTO sf_functions VALUES (-2, 'h', 1, 5, 0)");
    FunctionRecord& f = record("a.c", "h", 9);
    f.add_call("i", 12, 2, 7);
    EXPECT_TRUE(database.update_function_record(0xFFFFFFFE, f));
    EXPECT_EQ(rows("SELECT * FROM sf_functions WHERE sf_id < 0"), "-2|h|1|9|0\n");
    EXPECT_EQ(rows("SELECT * FROM sf_calls WHERE sf_from_func_id < 0"), "-2|12|2|i|7\n");
}

TEST_F(UpdateFunction, traces_the_records_names) {
    open_with_functions();
    FunctionRecord& f = record("a.c", "f");
    EXPECT_EQ(
        traced(diag::TRACE_DB_STORE, [&] { EXPECT_TRUE(database.update_function_record(4, f)); }),
        "Update function: A.C(f)\n");
}

TEST_F(UpdateFunction, a_failed_deletion_of_edges_ends_it_silently) {
    open_with_functions(failing("DELETE", "sf_edges"));
    FunctionRecord& f = record("a.c", "f", 9);
    EXPECT_EQ(
        traced(diag::TRACE_DB_ERRORS, [&] { EXPECT_FALSE(database.update_function_record(4, f)); }),
        "");
    EXPECT_EQ(functions(), "4|f|1|3|1\n5|g|1|4|2\n");
    EXPECT_EQ(edges(), edges_before);
    EXPECT_EQ(calls(), calls_before);
}

TEST_F(UpdateFunction, a_failed_deletion_of_calls_comes_behind_the_edges) {
    open_with_functions(failing("DELETE", "sf_calls"));
    EXPECT_FALSE(database.update_function_record(4, record("a.c", "f", 9)));
    EXPECT_EQ(functions(), "4|f|1|3|1\n5|g|1|4|2\n");
    EXPECT_EQ(edges(), "5|1|1|0|0|0|5|2|2|0|0|0|6|0\n");
    EXPECT_EQ(calls(), calls_before);
}

TEST_F(UpdateFunction, a_failed_update_comes_behind_both_deletions) {
    open_with_functions(failing("UPDATE", "sf_functions"));
    FunctionRecord& f = record("a.c", "f", 9);
    add_edge(f, 16, 10, 8);
    f.add_call("h", 12, 2, 7);
    EXPECT_FALSE(database.update_function_record(4, f));
    EXPECT_EQ(functions(), "4|f|1|3|1\n5|g|1|4|2\n");
    EXPECT_EQ(edges(), "5|1|1|0|0|0|5|2|2|0|0|0|6|0\n");
    EXPECT_EQ(calls(), "5|1|0|y|2\n");
}

TEST_F(UpdateFunction, a_failed_edge_ends_it_before_the_calls) {
    open_with_functions(failing("INSERT", "sf_edges"));
    FunctionRecord& f = record("a.c", "f", 9);
    add_edge(f, 16, 10, 8);
    f.add_call("h", 12, 2, 7);
    EXPECT_FALSE(database.update_function_record(4, f));
    EXPECT_EQ(functions(), "4|f|1|9|1\n5|g|1|4|2\n");
    EXPECT_EQ(edges(), "5|1|1|0|0|0|5|2|2|0|0|0|6|0\n");
    EXPECT_EQ(calls(), "5|1|0|y|2\n");
}

TEST_F(UpdateFunction, a_failed_call_is_skipped) {
    open_with_functions(failing("INSERT", "sf_calls", "new.sf_to_func_name = 'h'"));
    FunctionRecord& f = record("a.c", "f", 9);
    f.add_call("h", 12, 2, 7);
    f.add_call("i", 13, 3, 8);
    EXPECT_TRUE(database.update_function_record(4, f));
    EXPECT_EQ(calls(), "5|1|0|y|2\n4|13|3|i|8\n");
}

TEST_F(UpdateFunction, a_lock_by_another_connection_fails_it_silently) {
    open_with_functions();
    FunctionRecord& f = record("a.c", "f", 9);
    const RawDatabase other(path);
    other.run("BEGIN IMMEDIATE");
    EXPECT_EQ(
        traced(diag::TRACE_DB_ERRORS, [&] { EXPECT_FALSE(database.update_function_record(4, f)); }),
        "");
    other.run("COMMIT");
    EXPECT_EQ(edges(), edges_before);
}

}  // namespace
}  // namespace hotpath
