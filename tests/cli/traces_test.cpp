// What `-trace` shows of a run that goes well, or that ends at a file it can't use.
#include "cli_support.h"
#include "trace_texts.h"

namespace cli {
namespace {

class Traces : public CliTest {
protected:
    // What the run with these further arguments says, with connections' addresses taken out.
    std::string traced(const std::string& bits, std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), {"-trace", bits});
        const Outcome outcome = run_plain(arguments);
        EXPECT_EQ(outcome.out, "");
        return without_pointers(outcome.err);
    }

    std::string traced_append(const std::string& bits) const {
        write("a.csv", one_edge);
        return traced(bits, {"-file", "a.csv", "-append", "x"});
    }
};

const std::string two_functions =
    "INSERT INTO sf_run_info VALUES('num_runs', '2');"
    "INSERT INTO sf_filenames VALUES(1, 'a.c'), (2, 'B.C');"
    "INSERT INTO sf_functions VALUES(1, 'g', 2, 0, 0), (2, 'f', 1, 0, 0);"
    "INSERT INTO sf_edges VALUES(2, 16, 1, 0, 0, 0, 2, 32, 2, 0, 0, 0, 5, 0);";

// --- A new database

TEST_F(Traces, without_bits_are_silent) {
    write("a.csv", one_edge);
    EXPECT_EQ(traced("0", {"-file", "a.csv", "-out", "x"}), merged(1));
}

TEST_F(Traces, of_errors_are_silent_where_there_are_none) {
    write("a.csv", one_edge);
    EXPECT_EQ(traced("1", {"-file", "a.csv", "-out", "x"}), merged(1));
    EXPECT_EQ(traced("1", {"-file", "a.csv", "-append", "x"}), merged(1));
}

TEST_F(Traces, of_the_conversation_with_a_new_database) {
    write("a.csv", one_edge);
    EXPECT_EQ(traced("2", {"-file", "a.csv", "-out", "x"}),
              not_opened("x") + closed + opened("x") + transaction_prepared + schema_executed() +
                  pragmas_executed + statements_prepared() + runs_written("1") + merged(1) +
                  closed);
}

TEST_F(Traces, of_loads_are_silent_on_a_new_database) {
    write("a.csv", one_edge);
    EXPECT_EQ(traced("4", {"-file", "a.csv", "-out", "x"}), merged(1));
}

TEST_F(Traces, of_stores_into_a_new_database) {
    write("a.csv", one_edge + "1,Call,a.c,1,f,2,b.c,1,e,1\n");
    EXPECT_EQ(traced("8", {"-file", "a.csv", "-out", "x"}),
              "Insert function: B.C(e)\n"
              "Insert function: A.C(f)\n" +
                  merged(1));
}

TEST_F(Traces, of_all_on_a_new_database) {
    write("a.csv", one_edge);
    EXPECT_EQ(traced("15", {"-file", "a.csv", "-out", "x"}),
              not_opened("x") + closed + opened("x") + transaction_prepared + schema_executed() +
                  pragmas_executed + statements_prepared() + runs_written("1") +
                  "Insert function: A.C(f)\n" + merged(1) + closed);
}

TEST_F(Traces, stand_in_front_of_the_report_and_the_last_behind_the_remark) {
    write("a.csv", one_edge);
    make_database("x");
    EXPECT_EQ(
        without_pointers(run_mixed({"-trace", "10", "-file", "a.csv", "-append", "x", "-dump"})),
        opened("x") + transaction_prepared + version_read + pragmas_executed +
            statements_prepared() + runs_written("1") + "Insert function: A.C(f)\n" +
            one_edge_report + merged(1) + closed);
}

TEST_F(Traces, show_the_same_connection_opened_and_closed) {
    write("a.csv", one_edge);
    make_database("x");
    const std::string text =
        run_plain({"-quiet", "-trace", "2", "-file", "a.csv", "-append", "x"}).err;
    const std::string connection = text.substr(25, text.find(" Result") - 25);
    EXPECT_EQ(text.substr(0, 25 + connection.size() + 18),
              "DatabaseHandle::open(x) : " + connection.substr(1) + " Result = SUCCESS\n");
    EXPECT_TRUE(text.ends_with("\nDatabaseHandle::close " + connection.substr(1))) << text;
}

TEST_F(Traces, are_left_alone_by_quiet) {
    make_database("x");
    write("a.csv", one_edge);
    EXPECT_EQ(traced("2", {"-quiet", "-file", "a.csv", "-append", "x"}),
              opened("x") + transaction_prepared + version_read + pragmas_executed +
                  statements_prepared() + runs_written("1") + closed);
}

// --- The mode of the database

TEST_F(Traces, failsafe_mode_leaves_the_pragmas_out) {
    make_database("x");
    environment_ = {{"HOTPATH_DB_MODE", "FAILSAFE_MODE"}};
    EXPECT_EQ(traced_append("2"), opened("x") + transaction_prepared + version_read +
                                      statements_prepared() + runs_written("1") + merged(1) +
                                      closed);
}

TEST_F(Traces, any_other_mode_has_the_pragmas) {
    for (const std::string mode :
         {"failsafe_mode", "FAILSAFE_MODE ", "FAILSAFE", "", "1", "XFAILSAFE_MODE"}) {
        std::filesystem::remove(path("x"));
        make_database("x");
        environment_ = {{"HOTPATH_DB_MODE", mode}};
        EXPECT_EQ(traced_append("2"), opened("x") + transaction_prepared + version_read +
                                          pragmas_executed + statements_prepared() +
                                          runs_written("1") + merged(1) + closed);
    }
}

TEST_F(Traces, failsafe_mode_makes_a_new_database_in_the_same_way) {
    write("a.csv", one_edge);
    environment_ = {{"HOTPATH_DB_MODE", "FAILSAFE_MODE"}};
    EXPECT_EQ(traced("2", {"-file", "a.csv", "-out", "x"}),
              not_opened("x") + closed + opened("x") + transaction_prepared + schema_executed() +
                  statements_prepared() + runs_written("1") + merged(1) + closed);
}

// --- A database that is there

TEST_F(Traces, of_the_conversation_with_a_known_database) {
    make_database("x", two_functions);
    EXPECT_EQ(traced_append("2"), opened("x") + transaction_prepared + version_read +
                                      pragmas_executed + statements_prepared() + runs_written("3") +
                                      merged(1) + closed);
}

TEST_F(Traces, of_loads_show_every_function_of_the_target_as_it_is_stored) {
    make_database("x", two_functions);
    EXPECT_EQ(traced_append("4"),
              "Load function: B.C(g): proxy created\n"
              "Load function: a.c(f): proxy created\n" +
                  merged(1));
}

TEST_F(Traces, of_stores_show_each_input_function_updated_or_inserted) {
    make_database("x", two_functions);
    write("a.csv", one_edge + "1,Call,a.c,1,f,2,b.c,1,h,1\n");
    EXPECT_EQ(traced("8", {"-file", "a.csv", "-append", "x"}),
              "Update function: A.C(f)\n"
              "Insert function: B.C(h)\n" +
                  merged(1));
}

TEST_F(Traces, of_an_update_show_the_names_of_the_function_in_the_database) {
    make_database("x", two_functions);
    write("a.csv", ten_columns + "1,Ret,,1,g,2,,1,x,1\n");
    EXPECT_EQ(traced("8", {"-file", "a.csv", "-append", "x"}),
              "Update function: B.C(g)\n" + merged(1));
}

TEST_F(Traces, of_all_on_a_known_database) {
    make_database("x", two_functions);
    EXPECT_EQ(traced_append("15"), opened("x") + transaction_prepared + version_read +
                                       pragmas_executed + statements_prepared() +
                                       "Load function: B.C(g): proxy created\n"
                                       "Load function: a.c(f): proxy created\n" +
                                       runs_written("3") + "Update function: A.C(f)\n" + merged(1) +
                                       closed);
}

TEST_F(Traces, show_names_with_percent_signs_as_they_stand) {
    make_database("x");
    write("a.csv", ten_columns + "1,Ret,%s.c,1,%n%d,2,,1,x,1\n");
    EXPECT_EQ(traced("8", {"-file", "a.csv", "-append", "x"}),
              "Insert function: %S.C(%n%d)\n" + merged(1));
}

// --- Databases as inputs

TEST_F(Traces, of_an_input_database_show_no_pragma_and_no_close) {
    make_database("in.db", two_functions);
    EXPECT_EQ(traced("15", {"-file", "in.db", "-append", "gone/x"}),
              opened("in.db") + version_read + statements_prepared() +
                  "Load function: B.C(g): full record loaded created\n"
                  "Load function: a.c(f): full record loaded created\n" +
                  not_opened("gone/x") + closed + not_opened("gone/x") + closed +
                  "error #30001: Failed to open gone/x for writing.\n");
}

TEST_F(Traces, of_an_input_and_a_target_stand_in_the_order_of_the_run) {
    make_database("in.db", one_edge_rows);
    make_database("x", one_edge_rows);
    EXPECT_EQ(traced("15", {"-file", "in.db", "-append", "x"}),
              opened("in.db") + version_read + statements_prepared() +
                  "Load function: A.C(f): full record loaded created\n" + opened("x") +
                  transaction_prepared + version_read + pragmas_executed + statements_prepared() +
                  "Load function: A.C(f): proxy created\n" + runs_written("2") +
                  "Update function: A.C(f)\n" + merged(1) + closed);
}

TEST_F(Traces, of_a_reported_database_end_with_its_load) {
    make_database("in.db", one_edge_rows);
    const Outcome outcome = run_plain({"-trace", "6", "-file", "in.db", "-dump"});
    EXPECT_EQ(outcome.out, one_edge_report);
    EXPECT_EQ(without_pointers(outcome.err),
              opened("in.db") + version_read + statements_prepared() +
                  "Load function: A.C(f): full record loaded created\n");
}

TEST_F(Traces, of_an_edge_file_are_silent) {
    write("a.csv", one_edge);
    EXPECT_EQ(run_plain({"-trace", "0x7fffffff", "-file", "a.csv", "-dump"}),
              (Outcome{0, one_edge_report, ""}));
}

TEST_F(Traces, of_an_input_that_is_neither_show_that_it_was_tried_as_a_database) {
    write("text", "no samples at all\n");
    EXPECT_EQ(traced("15", {"-file", "text", "-append", "x"}),
              opened("text") + no_version_read + closed + cannot_read("text") + merged(0));
}

TEST_F(Traces, of_an_input_of_another_version_are_silent_on_errors) {
    make_database("old.db", "UPDATE sf_version SET sf_value='15' WHERE sf_key='edges_columns';");
    EXPECT_EQ(traced("1", {"-file", "old.db", "-append", "x"}), cannot_read("old.db") + merged(0));
    EXPECT_EQ(traced("2", {"-file", "old.db", "-append", "x"}), opened("old.db") +
                                                                    "read_db_version()\n"
                                                                    "  m_schema_version: 1\n"
                                                                    "  m_filenames_tbl_col_cnt: 2\n"
                                                                    "  m_functions_tbl_col_cnt: 5\n"
                                                                    "  m_edges_tbl_col_cnt: 15\n"
                                                                    "  m_calls_tbl_col_cnt: 5\n" +
                                                                    closed + cannot_read("old.db") +
                                                                    merged(0));
}

TEST_F(Traces, of_a_missing_input_are_silent) {
    EXPECT_EQ(traced("15", {"-file", "gone", "-append", "x"}), cannot_open("gone") + merged(0));
}

// --- Targets that can't be used

TEST_F(Traces, of_a_target_that_can_not_be_made_show_two_tries) {
    write("a.csv", one_edge);
    EXPECT_EQ(traced("15", {"-file", "a.csv", "-out", "gone/x"}),
              not_opened("gone/x") + closed + not_opened("gone/x") + closed +
                  "error #30001: Failed to open gone/x for writing.\n");
}

class IncompatibleTarget : public Traces {
protected:
    void expect_refused(const std::string& version) const {
        EXPECT_EQ(traced_append("0"), incompatible("x"));
        EXPECT_EQ(
            traced_append("1"),
            "SampleDB::open_writable(x): Error due to incompatible schema\n" + incompatible("x"));
        EXPECT_EQ(traced_append("2"),
                  opened("x") + transaction_prepared + version + incompatible("x"));
        EXPECT_EQ(traced_append("15"),
                  opened("x") + transaction_prepared + version +
                      "SampleDB::open_writable(x): Error due to incompatible schema\n" +
                      incompatible("x"));
    }
};

TEST_F(IncompatibleTarget, a_text) {
    write("x",
          "this is no database, but it is long enough to be looked at as if it were one; "
          "SQLite reads the first hundred bytes of a file before it says what it is.\n");
    expect_refused(no_version_read);
}

TEST_F(IncompatibleTarget, an_edge_file) {
    write("x", one_edge);
    expect_refused(no_version_read);
    EXPECT_EQ(read("x"), one_edge);
}

TEST_F(IncompatibleTarget, an_empty_file) {
    write("x", "");
    expect_refused(no_version_read);
    EXPECT_EQ(read("x"), "");
}

TEST_F(IncompatibleTarget, a_database_without_version_rows) {
    execute("x", "CREATE TABLE other (sf_key TEXT, sf_value TEXT);");
    expect_refused(no_version_read);
}

TEST_F(IncompatibleTarget, a_database_of_another_version) {
    make_database("x",
                  "UPDATE sf_version SET sf_value='300' WHERE sf_key='schema_version';"
                  "DELETE FROM sf_version WHERE sf_key='calls_columns';");
    expect_refused(
        "read_db_version()\n"
        "  m_schema_version: 44\n"
        "  m_filenames_tbl_col_cnt: 2\n"
        "  m_functions_tbl_col_cnt: 5\n"
        "  m_edges_tbl_col_cnt: 14\n"
        "  m_calls_tbl_col_cnt: 255\n");
}

// --- Damaged databases

TEST_F(Traces, of_a_call_without_a_callee_show_its_function) {
    make_database("in.db", one_edge_rows +
                               "UPDATE sf_functions SET sf_id=7;"
                               "INSERT INTO sf_calls VALUES(7, 1, 0, NULL, 5), "
                               "(7, 2, 0, NULL, 6);");
    make_database("x");
    EXPECT_EQ(traced("5", {"-file", "in.db", "-append", "x"}),
              "Load function: A.C(f)"
              "Corrupted DB: Callee name missing for function. func_id = 7\n"
              "Corrupted DB: Callee name missing for function. func_id = 7\n"
              ": full record loaded created\n" +
                  merged(1));
}

TEST_F(Traces, of_a_call_without_a_callee_show_it_when_the_target_is_updated) {
    make_database("x", one_edge_rows + "INSERT INTO sf_calls VALUES(1, 1, 0, NULL, 5);");
    EXPECT_EQ(traced_append("13"),
              "Load function: A.C(f): proxy created\n"
              "Corrupted DB: Callee name missing for function. func_id = 1\n"
              "Update function: A.C(f)\n" +
                  merged(1));
}

TEST_F(Traces, of_a_file_id_beyond_the_file_table_show_both_numbers) {
    make_database("in.db",
                  "INSERT INTO sf_filenames VALUES(1, 'A.C');"
                  "INSERT INTO sf_functions VALUES(1, 'e', 1, 7, 0), (2, 'f', 3, 8, 0);");
    EXPECT_EQ(traced("5", {"-file", "in.db", "-append", "x"}),
              "Load function: A.C(e): full record loaded created\n"
              "Database corrupt. Invalid file_id for f\n"
              "Max file id expected was 2 File id was 3\n" +
                  cannot_read("in.db") + merged(0));
}

TEST_F(Traces, of_a_file_id_at_the_file_tables_end_show_both_numbers) {
    make_database("in.db",
                  "INSERT INTO sf_filenames VALUES(1, 'A.C');"
                  "INSERT INTO sf_functions VALUES(1, 'f', 2, 8, 0);");
    EXPECT_EQ(traced("5", {"-file", "in.db", "-append", "x"}),
              "Database corrupt. Invalid file_id for f\n"
              "Max file id expected was 2 File id was 2\n" +
                  cannot_read("in.db") + merged(0));
}

TEST_F(Traces, of_a_negative_file_id_show_it_without_a_sign) {
    make_database("in.db", "INSERT INTO sf_functions VALUES(1, '%s', -1, 8, 0);");
    EXPECT_EQ(traced("5", {"-file", "in.db", "-append", "x"}),
              "Database corrupt. Invalid file_id for %s\n"
              "Max file id expected was 1 File id was 4294967295\n" +
                  cannot_read("in.db") + merged(0));
}

TEST_F(Traces, of_an_input_that_lacks_a_table_show_the_statement_that_failed) {
    make_database("in.db", "DROP TABLE sf_calls;");
    EXPECT_EQ(traced("3", {"-file", "in.db", "-append", "x"}),
              opened("in.db") + version_read + statements_prepared(5) +
                  "FAILED in: init_sql_statement: " + statements[4] + "\n" + closed +
                  cannot_read("in.db") + merged(0));
}

// A value that fails to be computed stands in for a table that can't be read.
const std::string failing_number = "abs(-9223372036854775807 - 1)";

TEST_F(Traces, of_function_rows_that_can_not_be_read_show_why) {
    make_database("in.db",
                  "DROP TABLE sf_functions;"
                  "CREATE VIEW sf_functions AS SELECT 1 AS sf_id, 'f' AS sf_func_name, "
                  "1 AS sf_file_id, " +
                      failing_number +
                      " AS sf_exec_count, 0 AS sf_flags;"
                      "CREATE TRIGGER u INSTEAD OF UPDATE ON sf_functions BEGIN SELECT 1; END;");
    EXPECT_EQ(traced("5", {"-file", "in.db", "-append", "x"}),
              "FAILED in: init_sql_statement: " + statements[7] + "\n" +
                  "SampleDB::read_function_records: SQL error : integer overflow\n" +
                  cannot_read("in.db") + merged(0));
}

TEST_F(Traces, of_file_rows_that_can_not_be_read_show_why) {
    // The column takes no room in the rows, so the schema's text alone brings it in.
    make_database("in.db",
                  "INSERT INTO sf_filenames VALUES(1, 'A.C');"
                  "PRAGMA writable_schema = ON;"
                  "UPDATE sqlite_master SET sql='CREATE TABLE sf_filenames (sf_id "
                  "INTEGER PRIMARY KEY, sf_filename TEXT, failing AS (" +
                      failing_number + "))' WHERE name='sf_filenames';");
    EXPECT_EQ(traced("5", {"-file", "in.db", "-append", "x"}),
              "SampleDB::load_filenames_table: SQL error: integer overflow\n" +
                  cannot_read("in.db") + merged(0));
}

TEST_F(Traces, of_a_file_table_without_ids_are_silent) {
    make_database("in.db",
                  "DROP TABLE sf_filenames; CREATE TABLE sf_filenames (sf_filename TEXT);");
    EXPECT_EQ(traced("5", {"-file", "in.db", "-append", "x"}), cannot_read("in.db") + merged(0));
}

}  // namespace
}  // namespace cli
