// Runs that end early, or that lose something on the way: what is said, and what the file holds
// then.
#include <sqlite3.h>

#include "failures_fixture.h"
#include "trace_texts.h"

namespace cli {
namespace {

// --- The target can't be opened

TEST_F(Failures, a_target_in_a_missing_directory_can_not_be_opened) {
    write("a.csv", one_edge);
    for (const std::string option : {"-out", "-append"})
        EXPECT_EQ(run_plain({"-file", "a.csv", option, "gone/x"}),
                  (Outcome{1, "", "error #30001: Failed to open gone/x for writing.\n"}));
}

TEST_F(Failures, a_directory_as_target_can_not_be_opened) {
    write("a.csv", one_edge);
    std::filesystem::create_directory(path("x"));
    EXPECT_EQ(run_plain({"-file", "a.csv", "-append", "x"}),
              (Outcome{1, "", "error #30001: Failed to open x for writing.\n"}));
}

TEST_F(Failures, a_fatal_report_prints_no_report_of_the_samples) {
    write("a.csv", one_edge);
    EXPECT_EQ(run_plain({"-file", "a.csv", "-append", "gone/x", "-dump"}),
              (Outcome{1, "", "error #30001: Failed to open gone/x for writing.\n"}));
}

// --- The schema can't be made

TEST_F(Failures, to_make_the_schema_for_want_of_a_journal) {
    std::filesystem::create_directory(path("x-journal"));
    write("a.csv", one_edge);
    EXPECT_EQ(run_plain({"-trace", "1", "-file", "a.csv", "-out", "x"}),
              failed("SQL error: unable to open database file\n"
                     "Failed to create version info table\n"
                     "SampleDB::open_writable(x): Error while creating schema\n"));
}

TEST_F(Failures, to_make_the_schema_without_traces_is_an_internal_error) {
    std::filesystem::create_directory(path("x-journal"));
    write("a.csv", one_edge);
    EXPECT_EQ(run_plain({"-file", "a.csv", "-out", "x"}), failed(""));
}

// --- The statements can't be prepared

class StatementFailure : public Failures {
protected:
    void expect_failure_at(std::size_t step, const std::string& damage) const {
        std::filesystem::remove(path("x"));
        make_database("x", damage);
        EXPECT_EQ(append_one_edge("0"), failed(""));
        EXPECT_EQ(append_one_edge("1"),
                  failed("FAILED in: init_sql_statement: " + statements[step - 1] + "\n"));
        EXPECT_EQ(append_one_edge("3"),
                  failed(opened("x") + transaction_prepared + version_read + pragmas_executed +
                         statements_prepared(step) +
                         "FAILED in: init_sql_statement: " + statements[step - 1] + "\n"));
        EXPECT_EQ(runs("x"), "");
    }
};

TEST_F(StatementFailure, where_a_table_is_missing) {
    expect_failure_at(1, "DROP TABLE sf_filenames;");
    expect_failure_at(2, "DROP TABLE sf_functions;");
    expect_failure_at(3, "DROP TABLE sf_edges;");
    expect_failure_at(5, "DROP TABLE sf_calls;");
}

TEST_F(StatementFailure, where_a_column_is_missing) {
    expect_failure_at(9, "ALTER TABLE sf_edges DROP COLUMN sf_flags;");
    expect_failure_at(10, "ALTER TABLE sf_calls DROP COLUMN sf_exec_count;");
}

TEST_F(StatementFailure, where_a_table_is_a_view) {
    expect_failure_at(4,
                      "ALTER TABLE sf_edges RENAME TO e; CREATE VIEW sf_edges AS SELECT * FROM e;");
    expect_failure_at(6,
                      "ALTER TABLE sf_calls RENAME TO c; CREATE VIEW sf_calls AS SELECT * FROM c;");
    expect_failure_at(7,
                      "ALTER TABLE sf_filenames RENAME TO f;"
                      "CREATE VIEW sf_filenames AS SELECT * FROM f;");
}

TEST_F(StatementFailure, at_the_function_insert_passes_until_the_statement_is_used) {
    make_database("x", one_edge_rows + "ALTER TABLE sf_functions DROP COLUMN sf_flags;");
    EXPECT_EQ(append_one_edge("1"),
              (Outcome{0, one_edge_report,
                       "FAILED in: init_sql_statement: " + statements[7] + "\n" + merged(1)}));
}

TEST_F(StatementFailure, at_the_function_insert_is_a_failed_assertion_at_its_use) {
    make_database("x", "ALTER TABLE sf_functions DROP COLUMN sf_flags;");
    const Outcome outcome = append_one_edge("0");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "");
    const std::string begin = "hotpath/";
    const std::string end = " ASSERTX(rc == 0): Internal error: Failed to bind data to stmt\n";
    EXPECT_TRUE(outcome.err.starts_with(begin)) << outcome.err;
    EXPECT_TRUE(outcome.err.ends_with(end)) << outcome.err;
    const std::string place = outcome.err.substr(0, outcome.err.size() - end.size());
    EXPECT_EQ(place.find_last_not_of("0123456789"), place.rfind(':'));
    EXPECT_EQ(place.find('\n'), std::string::npos);
    EXPECT_EQ(runs("x"), "num_runs|1\n");
    EXPECT_EQ(rows("x", "SELECT COUNT(*) FROM sf_filenames"), "0\n");
}

// --- The target can't be read

TEST_F(Failures, a_target_whose_functions_can_not_be_read_is_not_written) {
    make_database("x",
                  "INSERT INTO sf_run_info VALUES('num_runs', '4');"
                  "INSERT INTO sf_filenames VALUES(1, 'A.C');"
                  "INSERT INTO sf_functions VALUES(1, 'e', 1, 7, 0), (2, 'g', 9, 8, 0);");
    EXPECT_EQ(append_one_edge("13"), failed("Load function: A.C(e): proxy created\n"
                                            "Database corrupt. Invalid file_id for g\n"
                                            "Max file id expected was 2 File id was 9\n"));
    EXPECT_EQ(runs("x"), "num_runs|4\n");
    EXPECT_EQ(rows("x", "SELECT COUNT(*) FROM sf_functions"), "2\n");
}

TEST_F(Failures, a_target_whose_files_have_no_ids_is_not_written) {
    make_database("x", "DROP TABLE sf_filenames; CREATE TABLE sf_filenames (sf_filename TEXT);");
    EXPECT_EQ(append_one_edge("15").err, opened("x") + transaction_prepared + version_read +
                                             pragmas_executed + statements_prepared() +
                                             internal_error);
    EXPECT_EQ(runs("x"), "");
}

// --- Rows can't be written. Triggers of the test's own make single steps fail.

class StoreFailure : public Failures {
protected:
    static std::string refuse(const std::string& event) {
        return "CREATE TRIGGER refuse BEFORE " + event +
               " BEGIN SELECT RAISE(ABORT, 'refused'); END;";
    }
    static std::string ignore(const std::string& event) {
        return "CREATE TRIGGER ignore_it BEFORE " + event + " BEGIN SELECT RAISE(IGNORE); END;";
    }
};

TEST_F(StoreFailure, of_a_file_row) {
    make_database("x", refuse("INSERT ON sf_filenames"));
    EXPECT_EQ(append_one_edge("9"),
              failed("Insert function: A.C(f)\n"
                     "SampleDB::insert_function_record: A.C(f)Inserting filename failed\n"
                     "Error while inserting function.\n"));
    EXPECT_EQ(runs("x"), "num_runs|1\n");
    EXPECT_EQ(profile("x"), "");
}

TEST_F(StoreFailure, of_a_file_row_that_is_not_there_afterwards) {
    make_database("x", ignore("INSERT ON sf_filenames"));
    EXPECT_EQ(append_one_edge("1"),
              failed("SampleDB::insert_function_record: A.C(f)Inserting filename failed\n"
                     "Error while inserting function.\n"));
}

TEST_F(StoreFailure, of_a_function_row) {
    make_database("x", refuse("INSERT ON sf_functions"));
    EXPECT_EQ(append_one_edge("9"),
              failed("Insert function: A.C(f)\n"
                     "SampleDB::insert_function_record: A.C(f): Inserting function failed\n"
                     "Error while inserting function.\n"));
    EXPECT_EQ(rows("x", "SELECT * FROM sf_filenames"), "1|A.C\n");
    EXPECT_EQ(rows("x", "SELECT COUNT(*) FROM sf_edges"), "0\n");
}

TEST_F(StoreFailure, of_a_function_row_that_is_not_there_afterwards) {
    make_database("x", ignore("INSERT ON sf_functions"));
    EXPECT_EQ(append_one_edge("1"),
              failed("SampleDB::insert_function_record: A.C(f): Inserting function failed\n"
                     "Error while inserting function.\n"));
}

TEST_F(StoreFailure, of_an_edge_row_leaves_what_was_written_before) {
    write("a.csv", ten_columns +
                       "1,x,a.c,1,e,2,a.c,1,e,1\n3,x,a.c,1,f,4,a.c,1,f,2\n"
                       "5,x,a.c,2,f,6,a.c,1,f,3\n7,x,a.c,3,f,8,a.c,1,f,4\n"
                       "9,Call,a.c,3,f,8,a.c,1,g,5\n");
    make_database("x", refuse("INSERT ON sf_edges WHEN new.sf_from_address = 5"));
    EXPECT_EQ(run_plain({"-trace", "9", "-file", "a.csv", "-append", "x"}),
              failed("Insert function: A.C(e)\n"
                     "Insert function: A.C(f)\n"
                     "Error while inserting function.\n"));
    EXPECT_EQ(profile("x"),
              "e in A.C x0 flags 0\n"
              "  edge 1 1:0.0.0 > 2 1:0.0.0 x1\n"
              "f in A.C x0 flags 0\n"
              "  edge 3 1:0.0.0 > 4 1:0.0.0 x2\n");
    EXPECT_EQ(runs("x"), "num_runs|1\n");
}

TEST_F(StoreFailure, of_an_edge_row_that_is_skipped_goes_unnoticed) {
    make_database("x", ignore("INSERT ON sf_edges"));
    EXPECT_EQ(append_one_edge("1"), (Outcome{0, one_edge_report, merged(1)}));
    EXPECT_EQ(profile("x"), "f in A.C x0 flags 0\n");
}

TEST_F(StoreFailure, of_a_call_row_goes_unnoticed) {
    write("a.csv", ten_columns +
                       "1,Call,a.c,1,f,2,a.c,1,f.1,1\n1,Call,a.c,1,f,2,a.c,1,f.g,2\n"
                       "1,Call,a.c,1,f,2,a.c,1,f.h,3\n");
    make_database("x", refuse("INSERT ON sf_calls WHEN new.sf_to_func_name = 'fg'"));
    EXPECT_EQ(run_plain({"-trace", "1", "-file", "a.csv", "-append", "x"}),
              (Outcome{0, "", merged(1)}));
    EXPECT_EQ(profile("x"),
              "f in A.C x1 flags 0\n"
              "  call f 1:0 x1\n"
              "  call fh 1:0 x3\n"
              "fg in A.C x2 flags 0\n"
              "fh in A.C x3 flags 0\n");
}

TEST_F(StoreFailure, of_a_deletion_of_edges_changes_nothing) {
    make_database("x", one_edge_rows + refuse("DELETE ON sf_edges"));
    EXPECT_EQ(append_one_edge("9"), failed("Update function: A.C(f)\n"
                                           "Error while updating function.\n"));
    EXPECT_EQ(profile("x"), one_edge_profile);
    EXPECT_EQ(runs("x"), "num_runs|2\n");
}

TEST_F(StoreFailure, of_a_deletion_of_calls_leaves_the_function_without_edges) {
    make_database("x", one_edge_rows + "INSERT INTO sf_calls VALUES(1, 1, 0, 'g', 4);" +
                           refuse("DELETE ON sf_calls"));
    EXPECT_EQ(append_one_edge("1"), failed("Error while updating function.\n"));
    EXPECT_EQ(profile("x"),
              "f in A.C x0 flags 0\n"
              "  call g 1:0 x4\n");
}

TEST_F(StoreFailure, of_an_update_leaves_the_function_empty) {
    make_database("x", one_edge_rows + refuse("UPDATE ON sf_functions"));
    EXPECT_EQ(append_one_edge("1"), failed("Error while updating function.\n"));
    EXPECT_EQ(profile("x"), "f in A.C x0 flags 0\n");
}

TEST_F(StoreFailure, of_an_updated_functions_edge_skips_the_rest) {
    make_database("x", one_edge_rows + "INSERT INTO sf_calls VALUES(1, 1, 0, 'g', 4);" +
                           refuse("INSERT ON sf_edges"));
    write("a.csv", one_edge + "1,x,a.c,1,g,2,a.c,1,g,1\n");
    EXPECT_EQ(run_plain({"-trace", "9", "-file", "a.csv", "-append", "x"}),
              failed("Update function: A.C(f)\n"
                     "Error while updating function.\n"));
    EXPECT_EQ(profile("x"), "f in A.C x0 flags 0\n");
}

TEST_F(StoreFailure, of_the_run_count_goes_unnoticed) {
    make_database("x", one_edge_rows + refuse("INSERT ON sf_run_info"));
    EXPECT_EQ(append_one_edge("1"),
              (Outcome{0, one_edge_report, "SQL error: refused\n" + merged(1)}));
    EXPECT_EQ(runs("x"), "");
}

TEST_F(StoreFailure, without_traces_is_an_internal_error) {
    make_database("x", refuse("INSERT ON sf_edges"));
    EXPECT_EQ(append_one_edge("0"), failed(""));
}

// --- Another process holds the database

class Locked : public Failures {
protected:
    ~Locked() override { sqlite3_close(connection_); }

    void hold(const std::string& statements_text) {
        ASSERT_EQ(sqlite3_open(path("x").c_str(), &connection_), SQLITE_OK);
        ASSERT_EQ(sqlite3_exec(connection_, statements_text.c_str(), nullptr, nullptr, nullptr),
                  SQLITE_OK);
    }

    void let_go() { sqlite3_exec(connection_, "ROLLBACK", nullptr, nullptr, nullptr); }

private:
    sqlite3* connection_ = nullptr;
};

TEST_F(Locked, for_itself_alone_it_counts_as_incompatible) {
    make_database("x", one_edge_rows);
    hold("BEGIN EXCLUSIVE");
    EXPECT_EQ(append_one_edge("1"),
              (Outcome{1, "",
                       "SampleDB::open_writable(x): Error due to incompatible schema\n" +
                           incompatible("x")}));
}

TEST_F(Locked, for_itself_alone_it_can_not_be_read_as_an_input) {
    make_database("x", one_edge_rows);
    hold("BEGIN EXCLUSIVE");
    EXPECT_EQ(run_plain({"-file", "x", "-dump"}), (Outcome{0, empty_report, cannot_read("x")}));
}

TEST_F(Locked, for_writing_it_takes_no_row) {
    make_database("x", one_edge_rows);
    hold("BEGIN IMMEDIATE");
    EXPECT_EQ(append_one_edge("1"), failed("SQL error: database is locked\n"
                                           "SQL error: database is locked\n"
                                           "Error while updating function.\n"));
    let_go();
    EXPECT_EQ(profile("x"), one_edge_profile);
    EXPECT_EQ(runs("x"), "num_runs|1\n");
}

TEST_F(Locked, for_writing_it_takes_no_new_function) {
    make_database("x", one_edge_rows + "UPDATE sf_functions SET sf_func_name='g';");
    hold("BEGIN IMMEDIATE");
    EXPECT_EQ(append_one_edge("1"),
              failed("SQL error: database is locked\n"
                     "SQL error: database is locked\n"
                     "SampleDB::insert_function_record: A.C(f): Inserting function failed\n"
                     "Error while inserting function.\n"));
}

TEST_F(Locked, for_writing_it_takes_no_new_file) {
    make_database("x");
    hold("BEGIN IMMEDIATE");
    EXPECT_EQ(append_one_edge("1"),
              failed("SQL error: database is locked\n"
                     "SQL error: database is locked\n"
                     "SampleDB::insert_function_record: A.C(f)Inserting filename failed\n"
                     "Error while inserting function.\n"));
}

TEST_F(Locked, for_writing_it_can_be_read_as_an_input) {
    make_database("x", one_edge_rows);
    hold("BEGIN IMMEDIATE");
    EXPECT_EQ(run_plain({"-file", "x", "-dump"}), (Outcome{0, one_edge_report, ""}));
}

TEST_F(Locked, for_reading_the_lost_commit_goes_unnoticed) {
    make_database("x", one_edge_rows);
    hold("BEGIN; SELECT * FROM sf_functions");
    EXPECT_EQ(append_one_edge("1"), (Outcome{0, one_edge_report,
                                             "SQL error: database is locked\n"
                                             "SQL error: database is locked\n" +
                                                 merged(1)}));
    let_go();
    EXPECT_EQ(profile("x"), one_edge_profile);
    EXPECT_EQ(runs("x"), "num_runs|1\n");
}

}  // namespace
}  // namespace cli
