// Merging a set of inputs into a database file, and the ids that its rows get.
#include <sstream>

#include "diag/trace.h"
#include "hotpath/database/database_fixture.h"
#include "hotpath/database/sample_db.h"

namespace hotpath {
namespace {

using test_support::DatabaseTest;
using test_support::RawDatabase;
using test_support::traced;

class MergeTest : public DatabaseTest {
protected:
    FunctionRecord& add(const char* file, const char* name, std::uint64_t count = 0) {
        FunctionRecord* const record = inputs.find_or_create_record(file, name);
        record->add_exec_count(count);
        return *record;
    }
    EdgeRecord& add_edge(FunctionRecord& owner, std::uint64_t from, std::uint32_t from_line,
                         std::uint64_t count) {
        return *owner.add_edge(from, {from_line, 0, 0, 0}, from + 1, {from_line + 1, 0, 0, 0},
                               count, factory);
    }

    // Merges the inputs into the file, which is opened and closed for it.
    bool merge() {
        SampleDB database;
        FunctionRecordSet own_records(factory);
        EXPECT_EQ(database.open_writable(&own_records, path.c_str()), DbOpenOk);
        return database.merge_records(inputs, factory);
    }
    // The same with traces; what opening and closing trace is left out.
    std::string traces_of_merge(std::uint32_t bits, bool expected) {
        SampleDB database;
        FunctionRecordSet own_records(factory);
        EXPECT_EQ(database.open_writable(&own_records, path.c_str()), DbOpenOk);
        return traced(bits, [&] { EXPECT_EQ(database.merge_records(inputs, factory), expected); });
    }

    std::string run_info() const { return rows("SELECT * FROM sf_run_info"); }
    std::string files() const { return rows("SELECT * FROM sf_filenames"); }
    std::string functions() const { return rows("SELECT * FROM sf_functions"); }
    std::string edges() const { return rows("SELECT * FROM sf_edges"); }
    std::string calls() const { return rows("SELECT * FROM sf_calls"); }

    FunctionRecordSet inputs{factory};
};

// What is written

TEST_F(MergeTest, into_a_new_file_inserts_every_function_in_key_order) {
    inputs.add_runs(2);
    add("b.c", "g", 5);
    add("a.c", "g", 6);
    add("z.c", "f", 7);
    EXPECT_TRUE(merge());
    EXPECT_EQ(run_info(), "num_runs|2\n");
    EXPECT_EQ(files(), "1|Z.C\n2|A.C\n3|B.C\n");
    EXPECT_EQ(functions(), "1|f|1|7|0\n2|g|2|6|0\n3|g|3|5|0\n");
}

TEST_F(MergeTest, without_functions_writes_the_run_count_alone) {
    inputs.add_runs(1);
    EXPECT_TRUE(merge());
    EXPECT_EQ(run_info(), "num_runs|1\n");
    EXPECT_EQ(files() + functions(), "");
}

TEST_F(MergeTest, an_inserted_edge_keeps_the_inputs_bits) {
    add_edge(add("a.c", "f"), 16, 10, 3).set_entry(true);
    EXPECT_TRUE(merge());
    EXPECT_EQ(edges(), "1|16|10|0|0|0|1|17|11|0|0|0|3|1\n");
}

TEST_F(MergeTest, the_same_input_twice_doubles_every_count) {
    inputs.add_runs(1);
    FunctionRecord& f = add("a.c", "f", 7);
    add_edge(f, 16, 10, 3);
    f.add_call("g", 12, 2, 9);
    EXPECT_TRUE(merge());
    EXPECT_TRUE(merge());
    EXPECT_EQ(run_info(), "num_runs|2\n");
    EXPECT_EQ(files(), "1|A.C\n");
    EXPECT_EQ(functions(), "1|f|1|14|0\n");
    EXPECT_EQ(edges(), "1|16|10|0|0|0|1|17|11|0|0|0|6|0\n");
    EXPECT_EQ(calls(), "1|12|2|g|18\n");
}

TEST_F(MergeTest, the_inputs_are_not_changed) {
    create(
        "INSERT INTO sf_filenames VALUES (1, 'A.C');"
        "INSERT INTO sf_functions VALUES (1, 'f', 1, 3, 0);"
        "INSERT INTO sf_calls VALUES (1, 12, 2, 'g', 5)");
    inputs.add_runs(1);
    add("a.c", "f", 7).add_call("g", 12, 2, 9);
    EXPECT_TRUE(merge());
    EXPECT_EQ(inputs.num_runs(), 1U);
    EXPECT_EQ(test_support::profile_text(inputs), "f in A.C x7 flags 0\n  call g 12:2 x9\n");
}

TEST_F(MergeTest, an_update_sums_and_keeps_the_databases_side) {
    create(
        "INSERT INTO sf_filenames VALUES (1, 'A.C');"
        "INSERT INTO sf_functions VALUES (3, 'f', 1, 100, 0);"
        "INSERT INTO sf_edges VALUES (3, 16, 10, 5, 0, 0, 3, 17, 11, 6, 0, 0, 20, 2),"
        " (3, 26, 20, 5, 0, 0, 3, 27, 21, 6, 0, 0, 30, 0);"
        "INSERT INTO sf_calls VALUES (3, 12, 8, 'g', 40)");
    FunctionRecord& f = add("a.c", "f", 7);
    f.set_uses_columns(true);
    add_edge(f, 16, 10, 1).set_entry(true);  // the same place
    add_edge(f, 26, 99, 2);                  // another place
    add_edge(f, 36, 5, 3).set_entry(true);   // new
    f.add_call("g", 12, 2, 4);
    f.add_call("e", 1, 1, 5);
    EXPECT_TRUE(merge());
    EXPECT_EQ(functions(), "3|f|1|107|0\n");
    EXPECT_EQ(edges(),
              "3|36|5|0|0|0|3|37|6|0|0|0|3|0\n"
              "3|16|10|5|0|0|3|17|11|6|0|0|21|2\n"
              "3|26|20|5|0|0|3|27|21|6|0|0|30|0\n");
    EXPECT_EQ(calls(), "3|1|1|e|5\n3|12|8|g|44\n");
}

TEST_F(MergeTest, an_updated_edges_count_is_read_with_32_bits) {
    create(
        "INSERT INTO sf_filenames VALUES (1, 'A.C');"
        "INSERT INTO sf_functions VALUES (3, 'f', 1, 4294967296, 0);"
        "INSERT INTO sf_edges VALUES (3, 16, 10, 0, 0, 0, 3, 17, 11, 0, 0, 0, 4294967299, 0)");
    add_edge(add("a.c", "f", 1), 16, 10, 4);
    EXPECT_TRUE(merge());
    EXPECT_EQ(rows("SELECT sf_exec_count FROM sf_functions"), "4294967297\n");
    EXPECT_EQ(rows("SELECT sf_exec_count FROM sf_edges"), "7\n");
}

TEST_F(MergeTest, an_updated_functions_calls_of_null_are_gone) {
    create(
        "INSERT INTO sf_filenames VALUES (1, 'A.C');"
        "INSERT INTO sf_functions VALUES (1, 'f', 1, 3, 0);"
        "INSERT INTO sf_calls VALUES (1, 12, 2, NULL, 5), (1, 13, 2, 'g', 6)");
    add("a.c", "f");
    EXPECT_TRUE(merge());
    EXPECT_EQ(calls(), "1|13|2|g|6\n");
}

TEST_F(MergeTest, functions_that_no_input_names_are_not_touched) {
    create(
        "INSERT INTO sf_filenames VALUES (1, 'A.C');"
        "INSERT INTO sf_functions VALUES (1, 'f', 1, '12x', 7), (2, 'g', 1, 4, 0);"
        "INSERT INTO sf_calls VALUES (1, 12, 2, NULL, 5), (2, 13, 2, 'h', 6)");
    add("a.c", "g", 1);
    EXPECT_TRUE(merge());
    EXPECT_EQ(functions(), "1|f|1|12x|7\n2|g|1|5|0\n");
    EXPECT_EQ(calls(), "1|12|2|NULL|5\n2|13|2|h|6\n");
}

TEST_F(MergeTest, an_input_without_a_file_merges_into_the_first_function_of_its_name) {
    create(
        "INSERT INTO sf_filenames VALUES (1, 'Z.C'), (2, 'A.C');"
        "INSERT INTO sf_functions VALUES (1, 'f', 1, 3, 0), (2, 'f', 2, 4, 0)");
    add("", "f", 10);
    EXPECT_TRUE(merge());
    EXPECT_EQ(functions(), "1|f|1|13|0\n2|f|2|4|0\n");
}

TEST_F(MergeTest, an_input_without_a_file_is_inserted_where_the_name_is_new) {
    create(
        "INSERT INTO sf_filenames VALUES (1, 'A.C');"
        "INSERT INTO sf_functions VALUES (1, 'f', 1, 3, 0)");
    add("", "g", 10);
    EXPECT_TRUE(merge());
    EXPECT_EQ(files(), "1|A.C\n2|\n");
    EXPECT_EQ(functions(), "1|f|1|3|0\n2|g|2|10|0\n");
}

TEST_F(MergeTest, a_file_beside_one_that_has_no_file_isnt_its_function) {
    create("INSERT INTO sf_functions VALUES (1, 'f', 0, 3, 0)");
    add("a.c", "f", 10);
    EXPECT_TRUE(merge());
    EXPECT_EQ(files(), "1|A.C\n");
    EXPECT_EQ(functions(), "1|f|0|3|0\n2|f|1|10|0\n");
}

TEST_F(MergeTest, two_inputs_may_merge_into_one_function) {
    create(
        "INSERT INTO sf_filenames VALUES (1, 'A.C');"
        "INSERT INTO sf_functions VALUES (1, 'f', 1, 3, 0)");
    add("", "f", 10).add_call("g", 1, 0, 5);
    add("a.c", "f", 20).add_call("g", 1, 0, 6);
    EXPECT_TRUE(merge());
    EXPECT_EQ(functions(), "1|f|1|33|0\n");
    EXPECT_EQ(calls(), "1|1|0|g|11\n");
}

TEST_F(MergeTest, a_function_of_two_rows_is_updated_in_its_first_row_with_the_last_rows_count) {
    create(
        "INSERT INTO sf_filenames VALUES (1, 'A.C'), (2, 'a.c');"
        "INSERT INTO sf_functions VALUES (1, 'f', 1, 3, 0), (2, 'f', 2, 4, 0)");
    add("a.c", "f", 10);
    EXPECT_TRUE(merge());
    EXPECT_EQ(functions(), "1|f|1|14|0\n2|f|2|4|0\n");
}

// Run counts

class MergedRuns : public MergeTest {
protected:
    // The row that a merge of this many runs leaves of what `sql` wrote.
    std::string merged(const std::string& sql, std::uint32_t runs) {
        create(sql);
        inputs.add_runs(runs);
        EXPECT_TRUE(merge());
        return run_info();
    }
    std::string merged_value(const std::string& value, std::uint32_t runs) {
        return merged("INSERT INTO sf_run_info VALUES ('num_runs', " + value + ")", runs);
    }
};

TEST_F(MergedRuns, are_added_to_the_databases) {
    EXPECT_EQ(merged_value("'2'", 1), "num_runs|3\n");
}
TEST_F(MergedRuns, are_written_where_there_were_none) { EXPECT_EQ(merged("", 5), "num_runs|5\n"); }
TEST_F(MergedRuns, are_written_even_if_there_are_none) { EXPECT_EQ(merged("", 0), "num_runs|0\n"); }
TEST_F(MergedRuns, replace_a_damaged_value) { EXPECT_EQ(merged_value("'x'", 1), "num_runs|1\n"); }
TEST_F(MergedRuns, replace_a_value_of_minus_1) {
    EXPECT_EQ(merged_value("'-1'", 1), "num_runs|1\n");
}
TEST_F(MergedRuns, are_added_to_a_negative_value) {
    EXPECT_EQ(merged_value("'-5'", 2), "num_runs|-3\n");
}
TEST_F(MergedRuns, may_come_out_as_minus_1) { EXPECT_EQ(merged_value("'-2'", 1), "num_runs|-1\n"); }
TEST_F(MergedRuns, wrap_to_eleven_characters) {
    EXPECT_EQ(merged_value("'2147483647'", 1), "num_runs|-2147483648\n");
}
TEST_F(MergedRuns, wrap_to_0) { EXPECT_EQ(merged_value("'-2'", 2), "num_runs|0\n"); }
TEST_F(MergedRuns, are_added_to_the_low_32_bits) {
    EXPECT_EQ(merged_value("'4294967299'", 1), "num_runs|4\n");
}
TEST_F(MergedRuns, replace_every_row_of_the_key_and_no_other) {
    EXPECT_EQ(merged("INSERT INTO sf_run_info VALUES ('num_runs', '2'), ('other', '9'),"
                     " ('num_runs', '50')",
                     1),
              "other|9\nnum_runs|3\n");
}
TEST_F(MergedRuns, are_stored_as_text) {
    merged("", 5);
    EXPECT_EQ(rows("SELECT typeof(sf_value) FROM sf_run_info"), "text\n");
}
TEST_F(MergedRuns, that_cant_be_written_dont_stop_the_merge) {
    create("DROP TABLE sf_run_info");
    add("a.c", "f", 7);
    EXPECT_EQ(traces_of_merge(diag::TRACE_DB_ERRORS, true),
              "SQL error: no such table: sf_run_info\nSQL error: no such table: sf_run_info\n");
    EXPECT_EQ(functions(), "1|f|1|7|0\n");
}

// Traces

TEST_F(MergeTest, traces_what_it_loads_and_stores_in_order) {
    create(
        "INSERT INTO sf_run_info VALUES ('num_runs', '2');"
        "INSERT INTO sf_filenames VALUES (1, 'a.c');"
        "INSERT INTO sf_functions VALUES (1, 'f', 1, 3, 0), (2, 'h', 1, 4, 0);"
        "INSERT INTO sf_calls VALUES (1, 12, 2, NULL, 5), (2, 12, 2, NULL, 5)");
    inputs.add_runs(1);
    add("", "f");
    add("b.c", "g");
    EXPECT_EQ(
        traces_of_merge(test_support::all_trace_bits, true),
        "Load function: a.c(f): proxy created\n"
        "Load function: a.c(h): proxy created\n"
        "Executing DB CMD: DELETE FROM sf_run_info WHERE sf_key='num_runs'\n"
        "Executing DB CMD: INSERT INTO sf_run_info (sf_key, sf_value) VALUES('num_runs', '3')\n"
        "Corrupted DB: Callee name missing for function. func_id = 1\n"
        "Update function: A.C(f)\n"
        "Insert function: B.C(g)\n");
}

// Failures

std::string failing(const char* operation, const char* table, const char* condition = "1") {
    return std::string("CREATE TRIGGER t BEFORE ") + operation + " ON " + table + " WHEN " +
           condition + " BEGIN SELECT RAISE(ABORT, 'no'); END;";
}

// The rows of functions that no input names are dropped as they arrive, but for what is told of
// them.
TEST_F(MergeTest, a_row_of_an_untouched_function_is_tested_for_its_file_id_in_its_turn) {
    create(
        "INSERT INTO sf_filenames VALUES (1, 'A.C');"
        "INSERT INTO sf_functions VALUES (1, 'e', 1, 3, 0), (2, 'f', 2, 3, 0), (3, 'g', 3, 3, 0)");
    add("a.c", "g");
    EXPECT_EQ(traces_of_merge(diag::TRACE_DB_ERRORS, false),
              "Database corrupt. Invalid file_id for f\n"
              "Max file id expected was 2 File id was 2\n");
}

TEST_F(MergeTest, the_load_of_an_untouched_function_is_traced) {
    create(
        "INSERT INTO sf_filenames VALUES (1, 'A.C');"
        "INSERT INTO sf_functions VALUES (1, 'f', 1, 3, 0)");
    add("a.c", "g");
    EXPECT_EQ(traces_of_merge(diag::TRACE_DB_LOAD, true), "Load function: A.C(f): proxy created\n");
}

TEST_F(MergeTest, a_failed_load_writes_nothing) {
    create(
        "INSERT INTO sf_run_info VALUES ('num_runs', '2');"
        "INSERT INTO sf_functions VALUES (1, 'f', 9, 3, 0)");
    inputs.add_runs(1);
    add("a.c", "g");
    EXPECT_EQ(traces_of_merge(test_support::all_trace_bits, false),
              "Database corrupt. Invalid file_id for f\n"
              "Max file id expected was 1 File id was 9\n");
    EXPECT_EQ(run_info(), "num_runs|2\n");
    EXPECT_EQ(files(), "");
}

TEST_F(MergeTest, a_failed_insert_keeps_the_runs_and_what_was_written_before) {
    create("INSERT INTO sf_run_info VALUES ('num_runs', '2');" +
           failing("INSERT", "sf_functions", "new.sf_func_name = 'g'"));
    inputs.add_runs(1);
    add("a.c", "f", 7).add_call("x", 1, 2, 3);
    add("b.c", "g", 8);
    add("c.c", "h", 9);
    EXPECT_EQ(traces_of_merge(diag::TRACE_DB_ERRORS, false),
              "SampleDB::insert_function_record: B.C(g): Inserting function failed\n"
              "Error while inserting function.\n");
    EXPECT_EQ(run_info(), "num_runs|3\n");
    EXPECT_EQ(files(), "1|A.C\n2|B.C\n");
    EXPECT_EQ(functions(), "1|f|1|7|0\n");
    EXPECT_EQ(calls(), "1|1|2|x|3\n");
}

TEST_F(MergeTest, a_failed_insert_beside_the_databases_functions_says_the_same) {
    create("INSERT INTO sf_functions VALUES (1, 'a', 0, 3, 0);" +
           failing("INSERT", "sf_filenames"));
    add("a.c", "f");
    EXPECT_EQ(traces_of_merge(diag::TRACE_DB_ERRORS, false),
              "SampleDB::insert_function_record: A.C(f)Inserting filename failed\n"
              "Error while inserting function.\n");
}

TEST_F(MergeTest, a_failed_edge_keeps_the_functions_rows_as_far_as_they_got) {
    create(failing("INSERT", "sf_edges", "new.sf_from_abs_line = 20"));
    FunctionRecord& f = add("a.c", "f", 7);
    add_edge(f, 16, 10, 1);
    add_edge(f, 26, 20, 2);
    f.add_call("x", 1, 2, 3);
    EXPECT_EQ(traces_of_merge(diag::TRACE_DB_ERRORS, false), "Error while inserting function.\n");
    EXPECT_EQ(functions(), "1|f|1|7|0\n");
    EXPECT_EQ(rows("SELECT sf_from_abs_line FROM sf_edges"), "10\n");
    EXPECT_EQ(calls(), "");
}

TEST_F(MergeTest, a_failed_update_keeps_its_deletions_and_skips_what_follows) {
    create(
        "INSERT INTO sf_filenames VALUES (1, 'A.C');"
        "INSERT INTO sf_functions VALUES (1, 'f', 1, 3, 0), (2, 'g', 1, 4, 0);"
        "INSERT INTO sf_calls VALUES (1, 12, 2, 'x', 5), (2, 13, 2, 'y', 6);" +
        failing("UPDATE", "sf_functions"));
    inputs.add_runs(1);
    add("a.c", "f", 7);
    add("a.c", "g", 8);
    EXPECT_EQ(traces_of_merge(diag::TRACE_DB_ERRORS | diag::TRACE_DB_STORE, false),
              "Update function: A.C(f)\n"
              "Error while updating function.\n");
    EXPECT_EQ(run_info(), "num_runs|1\n");
    EXPECT_EQ(functions(), "1|f|1|3|0\n2|g|1|4|0\n");
    EXPECT_EQ(calls(), "2|13|2|y|6\n");
}

TEST_F(MergeTest, failures_are_silent_without_bits) {
    create(failing("INSERT", "sf_functions"));
    add("a.c", "f");
    EXPECT_EQ(traces_of_merge(0, false), "");
}

TEST_F(MergeTest, a_failure_of_the_last_function_is_the_result) {
    create(failing("INSERT", "sf_functions", "new.sf_func_name = 'z'"));
    add("a.c", "f");
    add("a.c", "z");
    EXPECT_FALSE(merge());
}

TEST_F(MergeTest, a_trigger_that_rolls_back_takes_what_was_written_with_it) {
    create(
        "CREATE TRIGGER t BEFORE INSERT ON sf_functions WHEN new.sf_func_name = 'g'"
        " BEGIN SELECT RAISE(ROLLBACK, 'no'); END");
    inputs.add_runs(1);
    add("a.c", "f", 7);
    add("b.c", "g", 8);
    EXPECT_EQ(traces_of_merge(diag::TRACE_DB_ERRORS, false),
              "SampleDB::insert_function_record: B.C(g): Inserting function failed\n"
              "Error while inserting function.\n");
    EXPECT_EQ(run_info(), "num_runs|1\n");
    EXPECT_EQ(files() + functions(), "");
}

// A failed call is skipped even if the transaction ended with it: then the next function's rows
// are written one by one, and its file is new again.
TEST_F(MergeTest, a_call_whose_trigger_rolls_back_leaves_the_later_functions) {
    create(
        "CREATE TRIGGER t BEFORE INSERT ON sf_calls WHEN new.sf_to_func_name = 'x'"
        " BEGIN SELECT RAISE(ROLLBACK, 'no'); END");
    add("a.c", "f", 7).add_call("x", 1, 2, 3);
    add("a.c", "g", 8).add_call("y", 1, 2, 3);
    EXPECT_EQ(traces_of_merge(diag::TRACE_DB_ERRORS, true), "");
    EXPECT_EQ(files(), "1|A.C\n");
    EXPECT_EQ(functions(), "1|g|1|8|0\n");
    EXPECT_EQ(calls(), "1|1|2|y|3\n");
}

// The same by a file that may not grow further.
TEST_F(MergeTest, a_call_for_which_there_is_no_room_leaves_the_later_functions) {
    create();
    const std::string long_name(100000, 'x');
    add("a.c", "f", 7).add_call(long_name, 1, 2, 3);
    add("a.c", "g", 8).add_call("y", 1, 2, 3);
    SampleDB database;
    FunctionRecordSet own_records(factory);
    ASSERT_EQ(database.open_writable(&own_records, path.c_str()), DbOpenOk);
    ASSERT_TRUE(database.exec_sql("PRAGMA max_page_count = 12"));
    EXPECT_TRUE(database.merge_records(inputs, factory));
    database.close();
    EXPECT_EQ(files(), "1|A.C\n");
    EXPECT_EQ(functions(), "1|g|1|8|0\n");
    EXPECT_EQ(calls(), "1|1|2|y|3\n");
}

TEST_F(MergeTest, a_writer_beside_it_fails_the_runs_and_the_first_function) {
    create("INSERT INTO sf_run_info VALUES ('num_runs', '2')");
    inputs.add_runs(1);
    add("a.c", "f");
    const RawDatabase other(path);
    other.run("BEGIN IMMEDIATE");
    EXPECT_EQ(traces_of_merge(diag::TRACE_DB_ERRORS, false),
              "SQL error: database is locked\n"
              "SQL error: database is locked\n"
              "SampleDB::insert_function_record: A.C(f)Inserting filename failed\n"
              "Error while inserting function.\n");
    other.run("COMMIT");
    EXPECT_EQ(run_info(), "num_runs|2\n");
    EXPECT_EQ(files(), "");
}

TEST_F(MergeTest, a_writer_beside_it_fails_the_first_update) {
    create(
        "INSERT INTO sf_filenames VALUES (1, 'A.C');"
        "INSERT INTO sf_functions VALUES (1, 'f', 1, 3, 0)");
    add("a.c", "f", 7);
    const RawDatabase other(path);
    other.run("BEGIN IMMEDIATE");
    EXPECT_EQ(traces_of_merge(diag::TRACE_DB_ERRORS, false),
              "SQL error: database is locked\n"
              "SQL error: database is locked\n"
              "Error while updating function.\n");
    other.run("COMMIT");
    EXPECT_EQ(functions(), "1|f|1|3|0\n");
}

// The end of the transaction can't write while somebody reads, and nobody looks at its result.
TEST_F(MergeTest, a_reader_beside_it_makes_a_merge_succeed_without_effect) {
    create("INSERT INTO sf_run_info VALUES ('num_runs', '2')");
    inputs.add_runs(1);
    add("a.c", "f", 7);
    const RawDatabase other(path);
    other.run("BEGIN; SELECT * FROM sf_version");
    EXPECT_EQ(traces_of_merge(diag::TRACE_DB_ERRORS, true),
              "SQL error: database is locked\n"
              "SQL error: database is locked\n");
    other.run("COMMIT");
    EXPECT_EQ(run_info(), "num_runs|2\n");
    EXPECT_EQ(files() + functions(), "");
}

// Ids. Each input function has one call, whose callee is the function's own name, so that the rows
// tell which id its details went to.

class IdTest : public MergeTest {
protected:
    void add_with_call(const char* file, const char* name) {
        FunctionRecord& record = add(file, name);
        record.add_call(record.get_function_name(), 1, 0, 1);
    }

    // "file 1 'A.C'", "function 1 'f' in 1", "call 1 'f'": the rows in the order of the tables.
    std::string ids() const {
        return rows(
                   "SELECT 'file ' || quote(sf_id) || ' ' || quote(sf_filename)"
                   " FROM sf_filenames") +
               rows(
                   "SELECT 'function ' || quote(sf_id) || ' ' || quote(sf_func_name) || ' in ' ||"
                   " quote(sf_file_id) FROM sf_functions") +
               rows(
                   "SELECT 'call ' || sf_from_func_id || ' ' || quote(sf_to_func_name)"
                   " FROM sf_calls");
    }
    std::string ids_after_merge() {
        EXPECT_TRUE(merge());
        return ids();
    }

    const std::string details = test_support::edges_sql + test_support::calls_sql;
};

TEST_F(IdTest, old_and_new_files_mix_in_one_merge) {
    create(
        "INSERT INTO sf_filenames VALUES (1, 'A.C');"
        "INSERT INTO sf_functions VALUES (1, 'f', 1, 0, 0)");
    add_with_call("a.c", "f");
    add_with_call("a.c", "g");
    add_with_call("b.c", "h");
    add_with_call("b.c", "i");
    add_with_call("a.c", "j");
    add_with_call("c.c", "k");
    EXPECT_EQ(ids_after_merge(),
              "file 1 'A.C'\nfile 2 'B.C'\nfile 3 'C.C'\n"
              "function 1 'f' in 1\nfunction 2 'g' in 1\nfunction 3 'h' in 2\n"
              "function 4 'i' in 2\nfunction 5 'j' in 1\nfunction 6 'k' in 3\n"
              "call 1 'f'\ncall 2 'g'\ncall 3 'h'\ncall 4 'i'\ncall 5 'j'\ncall 6 'k'\n");
}

TEST_F(IdTest, new_ids_go_on_behind_the_largest_and_fill_no_gap) {
    create(
        "INSERT INTO sf_filenames VALUES (2, 'A.C'), (7, 'B.C');"
        "INSERT INTO sf_functions VALUES (3, 'f', 2, 0, 0), (9, 'g', 7, 0, 0)");
    add_with_call("c.c", "a");
    add_with_call("d.c", "b");
    add_with_call("b.c", "c");
    EXPECT_EQ(ids_after_merge(),
              "file 2 'A.C'\nfile 7 'B.C'\nfile 8 'C.C'\nfile 9 'D.C'\n"
              "function 3 'f' in 2\nfunction 9 'g' in 7\nfunction 10 'a' in 8\n"
              "function 11 'b' in 9\nfunction 12 'c' in 7\n"
              "call 10 'a'\ncall 11 'b'\ncall 12 'c'\n");
}

TEST_F(IdTest, of_equal_file_names_the_lowest_id_wins) {
    create(
        "INSERT INTO sf_filenames VALUES (3, 'A.C'), (5, 'A.C'), (6, 'B.C');"
        "INSERT INTO sf_functions VALUES (1, 'x', 5, 0, 0)");
    add_with_call("a.c", "f");
    add_with_call("b.c", "g");
    add_with_call("a.c", "h");
    EXPECT_EQ(ids_after_merge(),
              "file 3 'A.C'\nfile 5 'A.C'\nfile 6 'B.C'\n"
              "function 1 'x' in 5\nfunction 2 'f' in 3\nfunction 3 'g' in 6\n"
              "function 4 'h' in 3\n"
              "call 2 'f'\ncall 3 'g'\ncall 4 'h'\n");
}

TEST_F(IdTest, equal_file_names_are_found_without_functions_too) {
    create("INSERT INTO sf_filenames VALUES (3, 'A.C'), (5, 'A.C')");
    add_with_call("a.c", "f");
    EXPECT_EQ(ids_after_merge(), "file 3 'A.C'\nfile 5 'A.C'\nfunction 1 'f' in 3\ncall 1 'f'\n");
}

TEST_F(IdTest, a_file_name_stored_as_a_blob_isnt_found) {
    create(
        "INSERT INTO sf_filenames VALUES (1, x'412E43');"
        "INSERT INTO sf_functions VALUES (1, 'f', 1, 0, 0)");
    add_with_call("a.c", "f");
    add_with_call("a.c", "g");
    add_with_call("a.c", "h");
    EXPECT_EQ(ids_after_merge(),
              "file 1 X'412E43'\nfile 2 'A.C'\n"
              "function 1 'f' in 1\nfunction 2 'g' in 2\nfunction 3 'h' in 2\n"
              "call 1 'f'\ncall 2 'g'\ncall 3 'h'\n");
}

TEST_F(IdTest, a_file_name_with_a_nul_isnt_found) {
    create(
        "INSERT INTO sf_filenames VALUES (1, 'A.C' || char(0) || 'x');"
        "INSERT INTO sf_functions VALUES (1, 'f', 1, 0, 0)");
    add_with_call("a.c", "f");
    add_with_call("a.c", "g");
    EXPECT_TRUE(merge());
    EXPECT_EQ(rows("SELECT sf_id, hex(sf_filename) FROM sf_filenames"), "1|412E430078\n2|412E43\n");
    EXPECT_EQ(functions(), "1|f|1|0|0\n2|g|2|0|0\n");
    EXPECT_EQ(calls(), "1|1|0|f|1\n2|1|0|g|1\n");
}

TEST_F(IdTest, a_file_name_of_null_isnt_the_empty_name) {
    create(
        "INSERT INTO sf_filenames VALUES (1, NULL);"
        "INSERT INTO sf_functions VALUES (1, 'f', 1, 0, 0)");
    add_with_call("", "g");
    add_with_call("", "h");
    EXPECT_EQ(ids_after_merge(),
              "file 1 NULL\nfile 2 ''\n"
              "function 1 'f' in 1\nfunction 2 'g' in 2\nfunction 3 'h' in 2\n"
              "call 2 'g'\ncall 3 'h'\n");
}

TEST_F(IdTest, an_empty_file_name_is_found) {
    create("INSERT INTO sf_filenames VALUES (4, '')");
    add_with_call("", "g");
    EXPECT_EQ(ids_after_merge(), "file 4 ''\nfunction 1 'g' in 4\ncall 1 'g'\n");
}

TEST_F(IdTest, a_file_name_in_lower_case_leads_to_its_functions_but_isnt_found_for_new_ones) {
    create(
        "INSERT INTO sf_filenames VALUES (1, 'a.c');"
        "INSERT INTO sf_functions VALUES (1, 'f', 1, 0, 0)");
    add_with_call("a.c", "f");
    add_with_call("a.c", "g");
    add_with_call("a.c", "h");
    EXPECT_EQ(ids_after_merge(),
              "file 1 'a.c'\nfile 2 'A.C'\n"
              "function 1 'f' in 1\nfunction 2 'g' in 2\nfunction 3 'h' in 2\n"
              "call 1 'f'\ncall 2 'g'\ncall 3 'h'\n");
}

TEST_F(IdTest, a_file_name_that_looks_like_a_number_is_a_text) {
    create("INSERT INTO sf_filenames VALUES (1, 12)");
    add_with_call("12", "f");
    add_with_call("012", "g");
    EXPECT_EQ(ids_after_merge(),
              "file 1 '12'\nfile 2 '012'\n"
              "function 1 'f' in 1\nfunction 2 'g' in 2\n"
              "call 1 'f'\ncall 2 'g'\n");
}

TEST_F(IdTest, another_cut_of_one_joined_text_is_inserted) {
    create(
        "INSERT INTO sf_filenames VALUES (1, 'C');"
        "INSERT INTO sf_functions VALUES (1, 'a/B', 1, 0, 0)");
    add_with_call("B/C", "a");
    add_with_call("C", "z");
    EXPECT_EQ(ids_after_merge(),
              "file 1 'C'\nfile 2 'B/C'\n"
              "function 1 'a/B' in 1\nfunction 2 'a' in 2\nfunction 3 'z' in 1\n"
              "call 2 'a'\ncall 3 'z'\n");
}

// The second row has no record of its own, so its function is inserted again, but the search for
// the new row finds the old one.
TEST_F(IdTest, a_row_behind_another_cut_of_its_joined_text_gets_the_details_of_its_second_row) {
    create(
        "INSERT INTO sf_filenames VALUES (1, 'C'), (2, 'B/C');"
        "INSERT INTO sf_functions VALUES (1, 'a/B', 1, 0, 0), (2, 'a', 2, 0, 0)");
    add_with_call("C", "A");
    add_with_call("C", "B");
    add_with_call("B/C", "a");
    add_with_call("C", "z");
    EXPECT_EQ(ids_after_merge(),
              "file 1 'C'\nfile 2 'B/C'\n"
              "function 1 'a/B' in 1\nfunction 2 'a' in 2\nfunction 3 'A' in 1\n"
              "function 4 'B' in 1\nfunction 5 'a' in 2\nfunction 6 'z' in 1\n"
              "call 3 'A'\ncall 4 'B'\ncall 2 'a'\ncall 6 'z'\n");
}

TEST_F(IdTest, a_file_id_that_is_no_primary_key_reads_as_0) {
    create_with("CREATE TABLE sf_filenames (sf_id INTEGER, sf_filename TEXT);" +
                test_support::functions_sql + details);
    add_with_call("a.c", "f");
    add_with_call("b.c", "g");
    add_with_call("a.c", "h");
    EXPECT_EQ(ids_after_merge(),
              "file NULL 'A.C'\nfile NULL 'B.C'\n"
              "function 1 'f' in 0\nfunction 2 'g' in 0\nfunction 3 'h' in 0\n"
              "call 1 'f'\ncall 2 'g'\ncall 3 'h'\n");
}

TEST_F(IdTest, a_function_id_that_is_no_primary_key_reads_as_0) {
    create_with(
        "CREATE TABLE sf_functions (sf_id INTEGER, sf_func_name TEXT, sf_file_id INTEGER,"
        " sf_exec_count INTEGER, sf_flags INTEGER);" +
        test_support::filenames_sql + details);
    add_with_call("a.c", "f");
    add_with_call("b.c", "g");
    EXPECT_EQ(ids_after_merge(),
              "file 1 'A.C'\nfile 2 'B.C'\n"
              "function NULL 'f' in 1\nfunction NULL 'g' in 2\n"
              "call 0 'f'\ncall 0 'g'\n");
}

TEST_F(IdTest, ids_by_default_are_all_the_same) {
    create_with(
        "CREATE TABLE sf_filenames (sf_id INTEGER DEFAULT 1, sf_filename TEXT);"
        "CREATE TABLE sf_functions (sf_id INTEGER DEFAULT 1, sf_func_name TEXT,"
        " sf_file_id INTEGER, sf_exec_count INTEGER, sf_flags INTEGER);" +
        details);
    add_with_call("a.c", "f");
    add_with_call("b.c", "g");
    add_with_call("c.c", "h");
    EXPECT_EQ(ids_after_merge(),
              "file 1 'A.C'\nfile 1 'B.C'\nfile 1 'C.C'\n"
              "function 1 'f' in 1\nfunction 1 'g' in 1\nfunction 1 'h' in 1\n"
              "call 1 'f'\ncall 1 'g'\ncall 1 'h'\n");
}

TEST_F(IdTest, a_file_id_of_two_rows_hides_the_first_rows_functions_from_the_merge) {
    create_with(
        "CREATE TABLE sf_filenames (sf_id INTEGER, sf_filename TEXT);"
        "INSERT INTO sf_filenames VALUES (1, 'A.C'), (1, 'B.C');" +
        test_support::functions_sql + "INSERT INTO sf_functions VALUES (1, 'f', 1, 0, 0);" +
        details);
    add_with_call("a.c", "d");
    add_with_call("a.c", "e");
    add_with_call("a.c", "f");
    EXPECT_EQ(ids_after_merge(),
              "file 1 'A.C'\nfile 1 'B.C'\n"
              "function 1 'f' in 1\nfunction 2 'd' in 1\nfunction 3 'e' in 1\n"
              "function 4 'f' in 1\n"
              "call 2 'd'\ncall 3 'e'\ncall 1 'f'\n");
}

TEST_F(IdTest, autoincrement_goes_on_behind_its_sequence) {
    create_with(
        "CREATE TABLE sf_filenames (sf_id INTEGER PRIMARY KEY AUTOINCREMENT,"
        " sf_filename TEXT);"
        "CREATE TABLE sf_functions (sf_id INTEGER PRIMARY KEY AUTOINCREMENT,"
        " sf_func_name TEXT, sf_file_id INTEGER, sf_exec_count INTEGER, sf_flags INTEGER);"
        "INSERT INTO sf_filenames VALUES (1, 'A.C'), (100, 'X.C');"
        "DELETE FROM sf_filenames WHERE sf_id = 100;"
        "INSERT INTO sf_functions VALUES (1, 'f', 1, 0, 0), (200, 'x', 1, 0, 0);"
        "DELETE FROM sf_functions WHERE sf_id = 200;" +
        details);
    add_with_call("a.c", "g");
    add_with_call("b.c", "h");
    add_with_call("c.c", "i");
    EXPECT_EQ(ids_after_merge(),
              "file 1 'A.C'\nfile 101 'B.C'\nfile 102 'C.C'\n"
              "function 1 'f' in 1\nfunction 201 'g' in 1\nfunction 202 'h' in 101\n"
              "function 203 'i' in 102\n"
              "call 201 'g'\ncall 202 'h'\ncall 203 'i'\n");
}

TEST_F(IdTest, a_file_column_that_ignores_case_finds_other_spellings) {
    create_with(
        "CREATE TABLE sf_filenames (sf_id INTEGER PRIMARY KEY,"
        " sf_filename TEXT COLLATE NOCASE);"
        "INSERT INTO sf_filenames VALUES (1, 'a.c');" +
        test_support::functions_sql + details);
    add_with_call("a.c", "f");
    EXPECT_EQ(ids_after_merge(), "file 1 'a.c'\nfunction 1 'f' in 1\ncall 1 'f'\n");
}

TEST_F(IdTest, a_name_column_that_ignores_case_finds_other_spellings) {
    create_with(
        "CREATE TABLE sf_functions (sf_id INTEGER PRIMARY KEY,"
        " sf_func_name TEXT COLLATE NOCASE, sf_file_id INTEGER, sf_exec_count INTEGER,"
        " sf_flags INTEGER);" +
        test_support::filenames_sql + details);
    add_with_call("a.c", "F");
    add_with_call("a.c", "f");
    EXPECT_EQ(ids_after_merge(),
              "file 1 'A.C'\nfunction 1 'F' in 1\nfunction 2 'f' in 1\ncall 1 'F'\ncall 1 'f'\n");
}

TEST_F(IdTest, rows_that_a_constraint_drops_silently_are_missed) {
    create(
        "CREATE TRIGGER t BEFORE INSERT ON sf_functions WHEN new.sf_func_name = 'h'"
        " BEGIN SELECT RAISE(IGNORE); END");
    add_with_call("a.c", "f");
    add_with_call("a.c", "g");
    add_with_call("a.c", "h");
    EXPECT_EQ(traces_of_merge(diag::TRACE_DB_ERRORS, false),
              "SampleDB::insert_function_record: A.C(h): Inserting function failed\n"
              "Error while inserting function.\n");
    EXPECT_EQ(ids(),
              "file 1 'A.C'\nfunction 1 'f' in 1\nfunction 2 'g' in 1\n"
              "call 1 'f'\ncall 2 'g'\n");
}

TEST_F(IdTest, a_file_row_that_a_trigger_renames_is_missed) {
    create(
        "CREATE TRIGGER t AFTER INSERT ON sf_filenames BEGIN UPDATE sf_filenames"
        " SET sf_filename = lower(sf_filename) WHERE sf_id = new.sf_id; END");
    add_with_call("1", "f");
    add_with_call("a.c", "g");
    EXPECT_EQ(traces_of_merge(diag::TRACE_DB_ERRORS, false),
              "SampleDB::insert_function_record: A.C(g)Inserting filename failed\n"
              "Error while inserting function.\n");
    EXPECT_EQ(ids(), "file 1 '1'\nfile 2 'a.c'\nfunction 1 'f' in 1\ncall 1 'f'\n");
}

TEST_F(IdTest, function_ids_pass_2_to_the_31st) {
    create(
        "INSERT INTO sf_filenames VALUES (1, 'A.C');"
        "INSERT INTO sf_functions VALUES (2147483646, 'x', 1, 0, 0)");
    add_with_call("a.c", "f");
    add_with_call("a.c", "g");
    add_with_call("a.c", "h");
    EXPECT_EQ(ids_after_merge(),
              "file 1 'A.C'\n"
              "function 2147483646 'x' in 1\nfunction 2147483647 'f' in 1\n"
              "function 2147483648 'g' in 1\nfunction 2147483649 'h' in 1\n"
              "call 2147483647 'f'\ncall -2147483648 'g'\ncall -2147483647 'h'\n");
}

TEST_F(IdTest, file_ids_pass_2_to_the_31st) {
    create("INSERT INTO sf_filenames VALUES (2147483646, 'X.C')");
    add_with_call("a.c", "f");
    add_with_call("b.c", "g");
    add_with_call("c.c", "h");
    EXPECT_EQ(ids_after_merge(),
              "file 2147483646 'X.C'\nfile 2147483647 'A.C'\nfile 2147483648 'B.C'\n"
              "file 2147483649 'C.C'\n"
              "function 1 'f' in 2147483647\nfunction 2 'g' in -2147483648\n"
              "function 3 'h' in -2147483647\n"
              "call 1 'f'\ncall 2 'g'\ncall 3 'h'\n");
}

TEST_F(IdTest, function_ids_pass_2_to_the_32nd) {
    create(
        "INSERT INTO sf_filenames VALUES (1, 'A.C');"
        "INSERT INTO sf_functions VALUES (4294967293, 'x', 1, 0, 0)");
    add_with_call("a.c", "e");
    add_with_call("a.c", "f");
    add_with_call("a.c", "g");
    add_with_call("a.c", "h");
    EXPECT_EQ(ids_after_merge(),
              "file 1 'A.C'\n"
              "function 4294967293 'x' in 1\nfunction 4294967294 'e' in 1\n"
              "function 4294967295 'f' in 1\nfunction 4294967296 'g' in 1\n"
              "function 4294967297 'h' in 1\n"
              "call -2 'e'\ncall -1 'f'\ncall 0 'g'\ncall 1 'h'\n");
}

TEST_F(IdTest, file_ids_pass_2_to_the_32nd) {
    create("INSERT INTO sf_filenames VALUES (4294967293, 'X.C')");
    add_with_call("a.c", "e");
    add_with_call("b.c", "f");
    add_with_call("c.c", "g");
    add_with_call("d.c", "h");
    EXPECT_EQ(ids_after_merge(),
              "file 4294967293 'X.C'\nfile 4294967294 'A.C'\nfile 4294967295 'B.C'\n"
              "file 4294967296 'C.C'\nfile 4294967297 'D.C'\n"
              "function 1 'e' in -2\nfunction 2 'f' in -1\nfunction 3 'g' in 0\n"
              "function 4 'h' in 1\n"
              "call 1 'e'\ncall 2 'f'\ncall 3 'g'\ncall 4 'h'\n");
}

// The new file's id has the low bits of an old one, under which a function of that name stands.
TEST_F(IdTest, a_file_id_beyond_32_bits_can_lead_to_the_row_of_another_file) {
    create(
        "INSERT INTO sf_filenames VALUES (1, 'A.C'), (4294967297, 'B.C');"
        "INSERT INTO sf_functions VALUES (1, 'f', 1, 0, 0)");
    add_with_call("a.c", "d");
    add_with_call("a.c", "e");
    add_with_call("a.c", "f");
    EXPECT_EQ(ids_after_merge(),
              "file 1 'A.C'\nfile 4294967297 'B.C'\n"
              "function 1 'f' in 1\nfunction 2 'd' in 1\nfunction 3 'e' in 1\n"
              "function 4 'f' in 1\n"
              "call 2 'd'\ncall 3 'e'\ncall 1 'f'\n");
}

TEST_F(IdTest, a_new_file_of_id_0_can_lead_to_the_row_of_a_function_without_a_file) {
    create(
        "INSERT INTO sf_filenames VALUES (-1, 'B.C');"
        "INSERT INTO sf_functions VALUES (1, 'f', 0, 0, 0)");
    add_with_call("a.c", "d");
    add_with_call("a.c", "e");
    add_with_call("a.c", "f");
    EXPECT_EQ(ids_after_merge(),
              "file -1 'B.C'\nfile 0 'A.C'\n"
              "function 1 'f' in 0\nfunction 2 'd' in 0\nfunction 3 'e' in 0\n"
              "function 4 'f' in 0\n"
              "call 2 'd'\ncall 3 'e'\ncall 1 'f'\n");
}

TEST_F(IdTest, negative_ids_rise_through_0) {
    create(
        "INSERT INTO sf_filenames VALUES (-2, 'X.C');"
        "INSERT INTO sf_functions VALUES (-2, 'x', 0, 0, 0)");
    add_with_call("a.c", "f");
    add_with_call("b.c", "g");
    add_with_call("c.c", "h");
    EXPECT_EQ(ids_after_merge(),
              "file -2 'X.C'\nfile -1 'A.C'\nfile 0 'B.C'\nfile 1 'C.C'\n"
              "function -2 'x' in 0\nfunction -1 'f' in -1\nfunction 0 'g' in 0\n"
              "function 1 'h' in 1\n"
              "call -1 'f'\ncall 0 'g'\ncall 1 'h'\n");
}

// What others do beside a merge, and what is taken back in it

using test_support::Interruption;
using test_support::StatementHook;

TEST_F(IdTest, a_row_that_another_process_adds_before_the_transaction_gets_the_details) {
    create(
        "INSERT INTO sf_filenames VALUES (1, 'A.C');"
        "INSERT INTO sf_functions VALUES (1, 'e', 1, 0, 0)");
    add_with_call("a.c", "f");
    add_with_call("b.c", "g");
    const StatementHook hook("BEGIN TRANSACTION", [&] {
        run("INSERT INTO sf_filenames VALUES (2, 'B.C');"
            "INSERT INTO sf_functions VALUES (2, 'f', 1, 0, 0), (3, 'g', 2, 0, 0)");
    });
    EXPECT_EQ(ids_after_merge(),
              "file 1 'A.C'\nfile 2 'B.C'\n"
              "function 1 'e' in 1\nfunction 2 'f' in 1\nfunction 3 'g' in 2\n"
              "function 4 'f' in 1\nfunction 5 'g' in 2\n"
              "call 2 'f'\ncall 3 'g'\n");
}

TEST_F(IdTest, a_row_that_another_process_adds_to_a_file_without_functions_gets_the_details) {
    create();
    add_with_call("a.c", "f");
    const StatementHook hook("BEGIN TRANSACTION", [&] {
        run("INSERT INTO sf_filenames VALUES (1, 'A.C');"
            "INSERT INTO sf_functions VALUES (5, 'f', 1, 0, 0)");
    });
    EXPECT_EQ(ids_after_merge(),
              "file 1 'A.C'\nfunction 5 'f' in 1\nfunction 6 'f' in 1\ncall 5 'f'\n");
}

TEST_F(IdTest, a_function_that_is_inserted_again_after_the_merge_adds_to_its_first_row) {
    create(
        "INSERT INTO sf_filenames VALUES (1, 'A.C');"
        "INSERT INTO sf_functions VALUES (1, 'e', 1, 0, 0)");
    add_with_call("a.c", "f");
    FunctionRecordSet others(factory);
    FunctionRecord* const e = others.find_or_create_record("a.c", "e");
    e->add_call("e", 1, 0, 1);
    FunctionRecord* const f = others.find_or_create_record("a.c", "f");
    f->add_call("F", 1, 0, 1);
    SampleDB database;
    FunctionRecordSet own_records(factory);
    ASSERT_EQ(database.open_writable(&own_records, path.c_str()), DbOpenOk);
    EXPECT_TRUE(database.merge_records(inputs, factory));
    EXPECT_TRUE(database.insert_function_record(*e));
    EXPECT_TRUE(database.insert_function_record(*f));
    EXPECT_EQ(ids(),
              "file 1 'A.C'\n"
              "function 1 'e' in 1\nfunction 2 'f' in 1\nfunction 3 'e' in 1\n"
              "function 4 'f' in 1\n"
              "call 2 'f'\ncall 1 'e'\ncall 2 'F'\n");
}

// Insertions by hand, in a transaction by hand.
class Interrupted : public IdTest {
protected:
    void open() {
        ASSERT_EQ(database.open_writable(&own_records, path.c_str()), DbOpenOk);
        database.begin_transaction();
    }
    FunctionRecord& function(const char* name) {
        FunctionRecord& record = add("a.c", name);
        add_edge(record, 16, 10, 1);
        record.add_call(record.get_function_name(), 1, 0, 1);
        return record;
    }

    SampleDB database;
    FunctionRecordSet own_records{factory};
};

TEST_F(Interrupted, an_edges_insertion_takes_the_earlier_rows_with_it) {
    create();
    const Interruption interruption("INSERT INTO  sf_edges");
    open();
    EXPECT_FALSE(database.insert_function_record(function("f")));
    EXPECT_TRUE(database.insert_function_record(function("g")));
    EXPECT_EQ(ids(), "file 1 'A.C'\nfunction 1 'g' in 1\ncall 1 'g'\n");
}

TEST_F(Interrupted, a_deletion_of_edges_takes_the_earlier_rows_with_it) {
    create();
    const Interruption interruption("DELETE FROM sf_edges");
    open();
    EXPECT_TRUE(database.insert_function_record(function("f")));
    EXPECT_FALSE(database.update_function_record(1, function("f")));
    EXPECT_TRUE(database.insert_function_record(function("g")));
    EXPECT_EQ(ids(), "file 1 'A.C'\nfunction 1 'g' in 1\ncall 1 'g'\n");
}

TEST_F(Interrupted, a_deletion_of_calls_takes_the_earlier_rows_with_it) {
    create();
    const Interruption interruption("DELETE FROM sf_calls");
    open();
    EXPECT_TRUE(database.insert_function_record(function("f")));
    EXPECT_FALSE(database.update_function_record(1, function("f")));
    EXPECT_TRUE(database.insert_function_record(function("g")));
    EXPECT_EQ(ids(), "file 1 'A.C'\nfunction 1 'g' in 1\ncall 1 'g'\n");
}

TEST_F(Interrupted, an_update_takes_the_earlier_rows_with_it) {
    create();
    const Interruption interruption("UPDATE sf_functions");
    open();
    EXPECT_TRUE(database.insert_function_record(function("f")));
    EXPECT_FALSE(database.update_function_record(1, function("f")));
    EXPECT_TRUE(database.insert_function_record(function("g")));
    EXPECT_EQ(ids(), "file 1 'A.C'\nfunction 1 'g' in 1\ncall 1 'g'\n");
}

// No table is searched where the ids follow from what was read.

using test_support::StatementLog;

class Searches : public IdTest {
protected:
    // The searches of a merge, a line each.
    std::string searches() {
        const StatementLog log;
        EXPECT_TRUE(merge());
        std::string found;
        std::istringstream lines(StatementLog::text());
        for (std::string line; std::getline(lines, line);) {
            if (line.starts_with("SELECT * FROM sf_filenames WHERE") ||
                line.starts_with("SELECT * FROM sf_functions WHERE"))
                found += line + "\n";
        }
        return found;
    }
};

TEST_F(Searches, a_new_file_takes_none) {
    add_with_call("a.c", "f");
    add_with_call("b.c", "g");
    EXPECT_EQ(searches(), "");
}

TEST_F(Searches, an_update_takes_none) {
    create(
        "INSERT INTO sf_filenames VALUES (1, 'A.C');"
        "INSERT INTO sf_functions VALUES (1, 'f', 1, 0, 0)");
    add_with_call("a.c", "f");
    add_with_call("a.c", "g");
    add_with_call("b.c", "h");
    EXPECT_EQ(searches(), "");
}

TEST_F(Searches, another_cut_of_a_joined_text_takes_none) {
    create(
        "INSERT INTO sf_filenames VALUES (1, 'C');"
        "INSERT INTO sf_functions VALUES (1, 'a/B', 1, 0, 0)");
    add_with_call("B/C", "a");
    EXPECT_EQ(searches(), "");
}

TEST_F(Searches, a_file_id_of_2_to_the_31st_takes_none) {
    create("INSERT INTO sf_filenames VALUES (2147483648, 'A.C')");
    add_with_call("a.c", "f");
    add_with_call("b.c", "g");
    EXPECT_EQ(searches(), "");
}

TEST_F(Searches, sixteen_bit_texts_take_none) {
    RawDatabase(path).run("PRAGMA encoding = 'UTF-16le';" + test_support::version_tables_sql +
                          test_support::filenames_sql + test_support::functions_sql + details);
    add_with_call("a.c", "f");
    add_with_call("\xC3\xA4.c", "\xC3\xA4");
    EXPECT_EQ(searches(), "");
}

TEST_F(IdTest, a_row_that_another_process_adds_before_the_transaction_has_its_own_id) {
    create("INSERT INTO sf_functions VALUES (1, 'e', 0, 0, 0)");
    const StatementHook hook("DELETE FROM sf_run_info",
                             [&] { run("INSERT INTO sf_functions VALUES (2, 'e', 0, 0, 0)"); });
    add_with_call("a.c", "f");
    EXPECT_EQ(ids_after_merge(),
              "file 1 'A.C'\nfunction 1 'e' in 0\nfunction 2 'e' in 0\nfunction 3 'f' in 1\n"
              "call 3 'f'\n");
}

// Behind the largest id SQLite takes ids by chance; their low 32 bits are what other rows hold.
class IdsByChance : public IdTest {
protected:
    void merge_four() {
        add_with_call("a.c", "e");
        add_with_call("b.c", "f");
        add_with_call("c.c", "g");
        add_with_call("b.c", "h");
        EXPECT_TRUE(merge());
    }
    static constexpr const char* low_bits = " & 4294967295";

    // The functions whose row leads to their file, and whose call leads to their row.
    std::string resolved() const {
        return rows(std::string("SELECT f.sf_func_name, n.sf_filename, c.sf_to_func_name"
                                " FROM sf_functions f"
                                " JOIN sf_filenames n ON n.sf_id") +
                    low_bits + " = f.sf_file_id" + low_bits + " JOIN sf_calls c ON f.sf_id" +
                    low_bits + " = c.sf_from_func_id" + low_bits + " ORDER BY 1");
    }
    static constexpr const char* all_four = "e|A.C|e\nf|B.C|f\ng|C.C|g\nh|B.C|h\n";
};

TEST_F(IdsByChance, come_behind_the_largest_function_id) {
    create(
        "INSERT INTO sf_filenames VALUES (1, 'A.C');"
        "INSERT INTO sf_functions VALUES (9223372036854775807, 'x', 1, 0, 0)");
    merge_four();
    EXPECT_EQ(resolved(), all_four);
    EXPECT_EQ(rows("SELECT sf_id, sf_filename FROM sf_filenames"), "1|A.C\n2|B.C\n3|C.C\n");
}

TEST_F(IdsByChance, come_behind_the_largest_file_id) {
    create("INSERT INTO sf_filenames VALUES (9223372036854775807, 'X.C')");
    merge_four();
    EXPECT_EQ(resolved(), all_four);
    EXPECT_EQ(rows("SELECT sf_id, sf_func_name FROM sf_functions"), "1|e\n2|f\n3|g\n4|h\n");
}

TEST_F(IdsByChance, come_once_counting_has_reached_the_largest_ids) {
    create(
        "INSERT INTO sf_filenames VALUES (9223372036854775806, 'X.C');"
        "INSERT INTO sf_functions VALUES (9223372036854775805, 'x', 0, 0, 0)");
    merge_four();
    EXPECT_EQ(resolved(), all_four);
    EXPECT_EQ(rows("SELECT sf_filename FROM sf_filenames WHERE sf_id > 9223372036854775805"
                   " ORDER BY sf_id"),
              "X.C\nA.C\n");
    EXPECT_EQ(rows("SELECT sf_func_name FROM sf_functions WHERE sf_id > 9223372036854775804"
                   " ORDER BY sf_id"),
              "x\ne\nf\n");
}

// A database of 16-bit texts has no byte that isn't text, so different bytes are one name there.
TEST_F(IdTest, bytes_that_are_no_text_are_one_file_name_in_a_database_of_16_bit_texts) {
    RawDatabase(path).run("PRAGMA encoding = 'UTF-16le';" + test_support::version_tables_sql +
                          test_support::filenames_sql + test_support::functions_sql + details);
    add_with_call("\xE8.c", "f");
    add_with_call("\xE9.c", "g");
    EXPECT_TRUE(merge());
    EXPECT_EQ(files(), "1|\xEF\xBF\xBD.C\n");
    EXPECT_EQ(functions(), "1|f|1|0|0\n2|g|1|0|0\n");
}

TEST_F(IdTest, bytes_that_are_no_text_are_one_function_name_in_a_database_of_16_bit_texts) {
    RawDatabase(path).run("PRAGMA encoding = 'UTF-16le';" + test_support::version_tables_sql +
                          test_support::filenames_sql + test_support::functions_sql + details);
    add_with_call("a.c", "\xE8");
    add_with_call("a.c", "\xE9");
    EXPECT_TRUE(merge());
    EXPECT_EQ(functions(), "1|\xEF\xBF\xBD|1|0|0\n2|\xEF\xBF\xBD|1|0|0\n");
    EXPECT_EQ(rows("SELECT sf_from_func_id FROM sf_calls"), "1\n1\n");
}

}  // namespace
}  // namespace hotpath
