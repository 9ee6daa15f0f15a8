#include "hotpath/database/sample_db.h"

#include <fstream>
#include <iterator>
#include <sstream>

#include "diag/platform.h"
#include "diag/trace.h"
#include "hotpath/database/database_fixture.h"

namespace hotpath {
namespace {

using test_support::all_trace_bits;
using test_support::DatabaseTest;
using test_support::RawDatabase;
using test_support::Refusal;
using test_support::set_environment;
using test_support::traced;
using test_support::without_pointers;

constexpr const char* transaction_traces =
    "init_sql_statement: BEGIN TRANSACTION\n\n"
    "init_sql_statement: END TRANSACTION\n\n";

constexpr const char* version_traces =
    "read_db_version()\n"
    "  m_schema_version: 1\n"
    "  m_filenames_tbl_col_cnt: 2\n"
    "  m_functions_tbl_col_cnt: 5\n"
    "  m_edges_tbl_col_cnt: 14\n"
    "  m_calls_tbl_col_cnt: 5\n";

constexpr const char* pragma_traces =
    "Executing DB CMD: PRAGMA synchronous = OFF\n"
    "Executing DB CMD: PRAGMA journal_mode = MEMORY\n";

std::string schema_traces() {
    std::string text;
    for (const std::string_view statement : test_support::schema)
        text.append("Executing DB CMD: ").append(statement).append("\n");
    return text;
}

// The texts of the eleven statements in the order of their preparing.
constexpr const char* statement_texts[] = {
    "SELECT * FROM sf_filenames WHERE sf_filename=?002",
    "SELECT * FROM sf_functions WHERE sf_func_name=?002 AND sf_file_id=?003",
    "SELECT * FROM sf_edges WHERE sf_from_func_id=?001",
    "DELETE FROM sf_edges WHERE sf_from_func_id=?001",
    "SELECT * FROM sf_calls WHERE sf_from_func_id=?001",
    "DELETE FROM sf_calls WHERE sf_from_func_id=?001",
    "INSERT INTO  sf_filenames (sf_filename) VALUES (?002)",
    "INSERT INTO  sf_functions (sf_func_name, sf_file_id, sf_file_id, sf_exec_count, sf_flags) "
    "VALUES (?002, ?003, ?003, ?004, ?005)",
    "INSERT INTO  sf_edges (sf_from_func_id, sf_from_address, sf_from_abs_line, sf_from_rel_line, "
    "sf_from_column, sf_from_discr, sf_to_bb_end_address, sf_to_func_id, sf_to_abs_line, "
    "sf_to_rel_line, sf_to_column, sf_to_discr, sf_exec_count, sf_flags) VALUES (?001, ?002, "
    "?003, ?004, ?005, ?006, ?008, ?007, ?009, ?010, ?011, ?012, ?013, ?014)",
    "INSERT INTO  sf_calls (sf_from_func_id, sf_from_abs_line, sf_from_rel_line, sf_to_func_name, "
    "sf_exec_count) VALUES (?001, ?002, ?003, ?004, ?005)",
    "UPDATE sf_functions SET sf_exec_count=?004 WHERE sf_id=?001",
};

// The traces of the first `count` statements.
std::string statement_traces(std::size_t count = 11) {
    std::string text;
    for (std::size_t i = 0; i < count; ++i)
        text += std::string("init_sql_statement: ") + statement_texts[i] + "\n\n";
    return text;
}

class SampleDbTest : public DatabaseTest {
protected:
    DbOpenResult open_writable() { return database.open_writable(nullptr, path.c_str()); }
    DbOpenResult open_readonly() { return database.open_readonly(path.c_str()); }

    std::string opened_trace(const char* result) const {
        return "DatabaseHandle::open(" + path + ") : PTR Result = " + result + "\n";
    }
    std::string open_failure(const char* reason) const {
        return "SampleDB::open_writable(" + path + "): Error " + reason + "\n";
    }

    // Opens for writing and gives the traces of these bits.
    std::string traces_of_open_writable(std::uint32_t bits, DbOpenResult expected) {
        return without_pointers(traced(bits, [&] { EXPECT_EQ(open_writable(), expected); }));
    }
    std::string traces_of_open_readonly(std::uint32_t bits, DbOpenResult expected) {
        return without_pointers(traced(bits, [&] { EXPECT_EQ(open_readonly(), expected); }));
    }

    SampleDB database;
};

// Creation

TEST_F(SampleDbTest, a_new_path_gets_six_tables_and_two_indexes) {
    EXPECT_EQ(open_writable(), DbOpenOk);
    EXPECT_EQ(rows("SELECT type, name, tbl_name, sql FROM sqlite_master"),
              "table|sf_version|sf_version|"
              "CREATE TABLE sf_version (sf_key TEXT, sf_value TEXT)\n"
              "table|sf_run_info|sf_run_info|"
              "CREATE TABLE sf_run_info (sf_key TEXT, sf_value TEXT)\n"
              "table|sf_filenames|sf_filenames|"
              "CREATE TABLE sf_filenames (sf_id INTEGER PRIMARY KEY, sf_filename TEXT)\n"
              "table|sf_functions|sf_functions|"
              "CREATE TABLE sf_functions (sf_id INTEGER PRIMARY KEY, sf_func_name TEXT, "
              "sf_file_id INTEGER, sf_exec_count INTEGER, sf_flags INTEGER)\n"
              "table|sf_edges|sf_edges|"
              "CREATE TABLE sf_edges (sf_from_func_id INTEGER, sf_from_address INTEGER, "
              "sf_from_abs_line INTEGER, sf_from_rel_line INTEGER, sf_from_column INTEGER, "
              "sf_from_discr INTEGER, sf_to_func_id INTEGER, sf_to_bb_end_address INTEGER, "
              "sf_to_abs_line INTEGER, sf_to_rel_line INTEGER, sf_to_column INTEGER, "
              "sf_to_discr INTEGER, sf_exec_count INTEGER, sf_flags INTEGER)\n"
              "table|sf_calls|sf_calls|"
              "CREATE TABLE sf_calls (sf_from_func_id INTEGER, sf_from_abs_line INTEGER, "
              "sf_from_rel_line INTEGER, sf_to_func_name TEXT, sf_exec_count INTEGER)\n"
              "index|idx1|sf_edges|CREATE INDEX idx1 ON sf_edges(sf_from_func_id)\n"
              "index|idx2|sf_calls|CREATE INDEX idx2 ON sf_calls(sf_from_func_id)\n");
}

TEST_F(SampleDbTest, a_new_file_has_five_version_rows_of_text) {
    EXPECT_EQ(open_writable(), DbOpenOk);
    EXPECT_EQ(rows("SELECT rowid, sf_key, sf_value, typeof(sf_value) FROM sf_version"),
              "1|schema_version|1|text\n"
              "2|filename_columns|2|text\n"
              "3|functions_columns|5|text\n"
              "4|edges_columns|14|text\n"
              "5|calls_columns|5|text\n");
}

TEST_F(SampleDbTest, a_new_file_has_no_further_rows) {
    EXPECT_EQ(open_writable(), DbOpenOk);
    EXPECT_EQ(rows("SELECT (SELECT count(*) FROM sf_run_info),"
                   " (SELECT count(*) FROM sf_filenames), (SELECT count(*) FROM sf_functions),"
                   " (SELECT count(*) FROM sf_edges), (SELECT count(*) FROM sf_calls)"),
              "0|0|0|0|0\n");
}

TEST_F(SampleDbTest, a_new_file_can_be_opened_again) {
    EXPECT_EQ(open_writable(), DbOpenOk);
    SampleDB again;
    EXPECT_EQ(again.open_writable(nullptr, path.c_str()), DbOpenOk);
    SampleDB reader;
    EXPECT_EQ(reader.open_readonly(path.c_str()), DbOpenOk);
}

TEST_F(SampleDbTest, traces_the_whole_creation) {
    EXPECT_EQ(traces_of_open_writable(all_trace_bits, DbOpenOk),
              opened_trace("FAILED") + "DatabaseHandle::close PTR" + opened_trace("SUCCESS") +
                  transaction_traces + schema_traces() + pragma_traces + statement_traces());
}

TEST_F(SampleDbTest, a_path_in_a_missing_directory_cant_be_opened) {
    path = directory.path("missing/samples.db");
    EXPECT_EQ(traces_of_open_writable(all_trace_bits, DbOpenCannotOpen),
              opened_trace("FAILED") + "DatabaseHandle::close PTR" + opened_trace("FAILED") +
                  "DatabaseHandle::close PTR");
}

TEST_F(SampleDbTest, a_directory_cant_be_opened) {
    path = directory.path();
    EXPECT_EQ(open_writable(), DbOpenCannotOpen);
    EXPECT_EQ(open_readonly(), DbOpenCannotOpen);
}

struct FailingStep {
    int action;
    const char* object;
    const char* trace;
    const char* left;  // names of the catalogue's rows that stand there afterwards
    DbOpenResult next_opening;
};

class FailingCreation : public SampleDbTest, public testing::WithParamInterface<FailingStep> {};

TEST_P(FailingCreation, stops_and_leaves_what_it_made) {
    const FailingStep& step = GetParam();
    {
        const Refusal refusal(step.action, step.object);
        EXPECT_EQ(traces_of_open_writable(diag::TRACE_DB_ERRORS, DbOpenSchemaError),
                  "SQL error: not authorized\n" + std::string(step.trace) +
                      open_failure("while creating schema"));
    }
    EXPECT_EQ(rows("SELECT group_concat(name, ' ') FROM sqlite_master"), step.left);
    SampleDB next;
    EXPECT_EQ(next.open_writable(nullptr, path.c_str()), step.next_opening);
}

INSTANTIATE_TEST_SUITE_P(
    Steps, FailingCreation,
    testing::Values(
        FailingStep{SQLITE_CREATE_TABLE, "sf_version", "Failed to create version info table\n",
                    "NULL\n", DbOpenIncompatible},
        FailingStep{SQLITE_CREATE_TABLE, "sf_run_info", "Failed to create run info table\n",
                    "sf_version\n", DbOpenIncompatible},
        FailingStep{SQLITE_CREATE_TABLE, "sf_filenames", "Failed to create filenames table\n",
                    "sf_version sf_run_info\n", DbOpenIncompatible},
        FailingStep{SQLITE_CREATE_TABLE, "sf_functions", "Failed to create functions table\n",
                    "sf_version sf_run_info sf_filenames\n", DbOpenIncompatible},
        FailingStep{SQLITE_CREATE_TABLE, "sf_edges", "Failed to create edges table\n",
                    "sf_version sf_run_info sf_filenames sf_functions\n", DbOpenIncompatible},
        FailingStep{SQLITE_CREATE_TABLE, "sf_calls", "Failed to create calls table\n",
                    "sf_version sf_run_info sf_filenames sf_functions sf_edges\n",
                    DbOpenIncompatible},
        FailingStep{SQLITE_CREATE_INDEX, "idx1", "Failed to create 'edges' index on 'func_id'.\n",
                    "sf_version sf_run_info sf_filenames sf_functions sf_edges sf_calls\n",
                    DbOpenOk},
        FailingStep{SQLITE_CREATE_INDEX, "idx2", "Failed to create 'calls' index on 'func_id'.\n",
                    "sf_version sf_run_info sf_filenames sf_functions sf_edges sf_calls idx1\n",
                    DbOpenOk}));

TEST_F(SampleDbTest, a_failed_creation_after_the_third_table_has_no_version_rows) {
    {
        const Refusal refusal(SQLITE_CREATE_TABLE, "sf_functions");
        EXPECT_EQ(open_writable(), DbOpenSchemaError);
    }
    EXPECT_EQ(rows("SELECT count(*) FROM sf_version"), "0\n");
}

TEST_F(SampleDbTest, a_failed_creation_is_silent_without_bits) {
    const Refusal refusal(SQLITE_CREATE_TABLE, "sf_calls");
    EXPECT_EQ(traces_of_open_writable(0, DbOpenSchemaError), "");
}

TEST_F(SampleDbTest, failed_version_rows_dont_stop_the_creation) {
    {
        const Refusal refusal(SQLITE_INSERT, "sf_version");
        EXPECT_EQ(traces_of_open_writable(diag::TRACE_DB_ERRORS, DbOpenOk),
                  "SQL error: not authorized\nSQL error: not authorized\n"
                  "SQL error: not authorized\nSQL error: not authorized\n"
                  "SQL error: not authorized\n");
    }
    EXPECT_EQ(rows("SELECT count(*) FROM sqlite_master"), "8\n");
    EXPECT_EQ(rows("SELECT count(*) FROM sf_version"), "0\n");
}

// Existing files

TEST_F(SampleDbTest, an_existing_database_opens_for_writing) {
    create();
    EXPECT_EQ(traces_of_open_writable(all_trace_bits, DbOpenOk),
              opened_trace("SUCCESS") + transaction_traces + version_traces + pragma_traces +
                  statement_traces());
}

TEST_F(SampleDbTest, an_existing_database_opens_for_reading_without_transaction_and_pragmas) {
    create();
    EXPECT_EQ(traces_of_open_readonly(all_trace_bits, DbOpenOk),
              opened_trace("SUCCESS") + version_traces + statement_traces());
}

TEST_F(SampleDbTest, opening_for_reading_changes_no_byte) {
    create("INSERT INTO sf_filenames VALUES (1, 'A.C')");
    const auto content = [&] {
        std::ifstream stream(path, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(stream), {});
    };
    const std::string before = content();
    ASSERT_EQ(open_readonly(), DbOpenOk);
    EXPECT_FALSE(database.exec_sql("DELETE FROM sf_filenames"));
    EXPECT_EQ(content(), before);
}

TEST_F(SampleDbTest, reading_a_missing_file_creates_nothing) {
    EXPECT_EQ(traces_of_open_readonly(all_trace_bits, DbOpenCannotOpen),
              opened_trace("FAILED") + "DatabaseHandle::close PTR");
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(SampleDbTest, an_incompatible_file_is_traced_in_writing_only) {
    directory.write("samples.db", "");
    EXPECT_EQ(traces_of_open_writable(diag::TRACE_DB_ERRORS, DbOpenIncompatible),
              open_failure("due to incompatible schema"));
    SampleDB reader;
    EXPECT_EQ(traced(diag::TRACE_DB_ERRORS,
                     [&] { EXPECT_EQ(reader.open_readonly(path.c_str()), DbOpenIncompatible); }),
              "");
}

TEST_F(SampleDbTest, an_incompatible_file_is_silent_without_bits) {
    directory.write("samples.db", "");
    EXPECT_EQ(traces_of_open_writable(0, DbOpenIncompatible), "");
}

TEST_F(SampleDbTest, a_zero_length_file_isnt_taken_for_a_new_one) {
    directory.write("samples.db", "");
    EXPECT_EQ(traces_of_open_writable(diag::TRACE_DB_CALLS, DbOpenIncompatible),
              opened_trace("SUCCESS") + transaction_traces +
                  "read_db_version()\n"
                  "  m_schema_version: 255\n"
                  "  m_filenames_tbl_col_cnt: 255\n"
                  "  m_functions_tbl_col_cnt: 255\n"
                  "  m_edges_tbl_col_cnt: 255\n"
                  "  m_calls_tbl_col_cnt: 255\n");
    EXPECT_EQ(std::filesystem::file_size(path), 0U);
}

TEST_F(SampleDbTest, a_text_file_is_incompatible) {
    directory.write("samples.db", std::string(2000, 'x'));
    EXPECT_EQ(open_writable(), DbOpenIncompatible);
    SampleDB reader;
    EXPECT_EQ(reader.open_readonly(path.c_str()), DbOpenIncompatible);
    EXPECT_EQ(std::filesystem::file_size(path), 2000U);
}

TEST_F(SampleDbTest, a_foreign_database_is_incompatible) {
    run("CREATE TABLE t (a); INSERT INTO t VALUES (1)");
    EXPECT_EQ(open_writable(), DbOpenIncompatible);
    SampleDB reader;
    EXPECT_EQ(reader.open_readonly(path.c_str()), DbOpenIncompatible);
    EXPECT_EQ(rows("SELECT name FROM sqlite_master"), "t\n");
}

TEST_F(SampleDbTest, a_file_that_another_connection_locks_is_incompatible) {
    create();
    const RawDatabase other(path);
    other.run("BEGIN EXCLUSIVE");
    EXPECT_EQ(open_writable(), DbOpenIncompatible);
}

// A change of the version rows, and what then comes of opening the file.
struct VersionCase {
    const char* sql;
    DbOpenResult expected;
};

class VersionRows : public SampleDbTest, public testing::WithParamInterface<VersionCase> {};

TEST_P(VersionRows, decide_on_compatibility_in_both_openings) {
    create(GetParam().sql);
    EXPECT_EQ(open_writable(), GetParam().expected) << GetParam().sql;
    SampleDB reader;
    EXPECT_EQ(reader.open_readonly(path.c_str()), GetParam().expected) << GetParam().sql;
}

INSTANTIATE_TEST_SUITE_P(
    Mismatches, VersionRows,
    testing::Values(
        VersionCase{"UPDATE sf_version SET sf_value = '2' WHERE sf_key = 'schema_version'",
                    DbOpenIncompatible},
        VersionCase{"UPDATE sf_version SET sf_value = '0' WHERE sf_key = 'schema_version'",
                    DbOpenIncompatible},
        VersionCase{"UPDATE sf_version SET sf_value = '3' WHERE sf_key = 'filename_columns'",
                    DbOpenIncompatible},
        VersionCase{"UPDATE sf_version SET sf_value = '4' WHERE sf_key = 'functions_columns'",
                    DbOpenIncompatible},
        VersionCase{"UPDATE sf_version SET sf_value = '15' WHERE sf_key = 'edges_columns'",
                    DbOpenIncompatible},
        VersionCase{"UPDATE sf_version SET sf_value = '6' WHERE sf_key = 'calls_columns'",
                    DbOpenIncompatible},
        VersionCase{"DELETE FROM sf_version WHERE sf_key = 'schema_version'", DbOpenIncompatible},
        VersionCase{"DELETE FROM sf_version WHERE sf_key = 'filename_columns'", DbOpenIncompatible},
        VersionCase{"DELETE FROM sf_version WHERE sf_key = 'functions_columns'",
                    DbOpenIncompatible},
        VersionCase{"DELETE FROM sf_version WHERE sf_key = 'edges_columns'", DbOpenIncompatible},
        VersionCase{"DELETE FROM sf_version WHERE sf_key = 'calls_columns'", DbOpenIncompatible},
        VersionCase{"UPDATE sf_version SET sf_value = NULL WHERE sf_key = 'schema_version'",
                    DbOpenIncompatible},
        VersionCase{"UPDATE sf_version SET sf_value = '' WHERE sf_key = 'schema_version'",
                    DbOpenIncompatible},
        VersionCase{"UPDATE sf_version SET sf_value = 'one' WHERE sf_key = 'schema_version'",
                    DbOpenIncompatible},
        VersionCase{"UPDATE sf_version SET sf_key = 'SCHEMA_VERSION' "
                    "WHERE sf_key = 'schema_version'",
                    DbOpenIncompatible},
        VersionCase{"UPDATE sf_version SET sf_value = '2' WHERE sf_key = 'schema_version';"
                    "INSERT INTO sf_version VALUES ('schema_version', '1')",
                    DbOpenIncompatible},
        VersionCase{"DROP TABLE sf_version", DbOpenIncompatible}));

INSTANTIATE_TEST_SUITE_P(
    Matches, VersionRows,
    testing::Values(
        VersionCase{"UPDATE sf_version SET sf_value = '257' WHERE sf_key = 'schema_version'",
                    DbOpenOk},
        VersionCase{"UPDATE sf_version SET sf_value = '-255' WHERE sf_key = 'schema_version'",
                    DbOpenOk},
        VersionCase{"UPDATE sf_version SET sf_value = '4294967297' "
                    "WHERE sf_key = 'schema_version'",
                    DbOpenOk},
        VersionCase{"UPDATE sf_version SET sf_value = ' +1x' WHERE sf_key = 'schema_version'",
                    DbOpenOk},
        VersionCase{"UPDATE sf_version SET sf_value = '270' WHERE sf_key = 'edges_columns'",
                    DbOpenOk},
        VersionCase{"UPDATE sf_version SET sf_value = x'31' WHERE sf_key = 'schema_version'",
                    DbOpenOk},
        VersionCase{"INSERT INTO sf_version VALUES ('schema_version', '2')", DbOpenOk},
        VersionCase{"INSERT INTO sf_version VALUES ('more', '2')", DbOpenOk},
        VersionCase{"DELETE FROM sf_version; INSERT INTO sf_version VALUES ('calls_columns', '5'),"
                    " ('edges_columns', '14'), ('functions_columns', '5'),"
                    " ('filename_columns', '2'), ('schema_version', '1')",
                    DbOpenOk},
        VersionCase{"CREATE TABLE more (a); DROP TABLE sf_run_info", DbOpenOk}));

TEST_F(SampleDbTest, the_traced_versions_are_the_low_8_bits) {
    create(
        "UPDATE sf_version SET sf_value = '258' WHERE sf_key = 'filename_columns';"
        "UPDATE sf_version SET sf_value = '-1' WHERE sf_key = 'calls_columns'");
    EXPECT_EQ(traces_of_open_readonly(diag::TRACE_DB_CALLS, DbOpenIncompatible),
              opened_trace("SUCCESS") +
                  "read_db_version()\n"
                  "  m_schema_version: 1\n"
                  "  m_filenames_tbl_col_cnt: 2\n"
                  "  m_functions_tbl_col_cnt: 5\n"
                  "  m_edges_tbl_col_cnt: 14\n"
                  "  m_calls_tbl_col_cnt: 255\n");
}

// Durability

class DurabilityMode : public SampleDbTest {
protected:
    std::string executed_in_mode(const char* mode) {
        create();
        set_environment("HOTPATH_DB_MODE", mode);
        const std::string text = traces_of_open_writable(diag::TRACE_DB_CALLS, DbOpenOk);
        std::string executed;
        std::istringstream lines(text);
        for (std::string line; std::getline(lines, line);)
            if (line.rfind("Executing DB CMD: ", 0) == 0) executed += line + "\n";
        return executed;
    }
};

TEST_F(DurabilityMode, failsafe_runs_no_pragma) {
    EXPECT_EQ(executed_in_mode("FAILSAFE_MODE"), "");
}

TEST_F(DurabilityMode, the_word_in_lower_case_doesnt_count) {
    EXPECT_EQ(executed_in_mode("failsafe_mode"), pragma_traces);
}

TEST_F(DurabilityMode, any_other_value_doesnt_count) {
    EXPECT_EQ(executed_in_mode("FAILSAFE_MODE "), pragma_traces);
    EXPECT_EQ(diag::platform::environment_value("HOTPATH_DB_MODE"), "FAILSAFE_MODE ");
}

TEST_F(DurabilityMode, an_empty_value_doesnt_count) {
    EXPECT_EQ(executed_in_mode(""), pragma_traces);
}

TEST_F(DurabilityMode, failsafe_creates_a_new_file_without_pragmas) {
    set_environment("HOTPATH_DB_MODE", "FAILSAFE_MODE");
    EXPECT_EQ(traces_of_open_writable(all_trace_bits, DbOpenOk),
              opened_trace("FAILED") + "DatabaseHandle::close PTR" + opened_trace("SUCCESS") +
                  transaction_traces + schema_traces() + statement_traces());
}

TEST_F(DurabilityMode, has_no_effect_on_reading) {
    create();
    set_environment("HOTPATH_DB_MODE", "FAILSAFE_MODE");
    EXPECT_EQ(traces_of_open_readonly(all_trace_bits, DbOpenOk),
              opened_trace("SUCCESS") + version_traces + statement_traces());
}

TEST_F(DurabilityMode, failed_pragmas_arent_looked_at) {
    create();
    const Refusal refusal(SQLITE_PRAGMA, "journal_mode");
    EXPECT_EQ(traces_of_open_writable(diag::TRACE_DB_ERRORS, DbOpenOk),
              "SQL error: not authorized\n");
}

// Statements

struct FailingStatement {
    int action;
    const char* object;
    std::size_t place;  // in the order of preparing, from 0
};

class FailingPreparation : public SampleDbTest,
                           public testing::WithParamInterface<FailingStatement> {
protected:
    std::string expected_traces() const {
        return statement_traces(GetParam().place + 1) +
               "FAILED in: init_sql_statement: " + statement_texts[GetParam().place] + "\n";
    }
};

TEST_P(FailingPreparation, ends_the_opening_for_writing) {
    create();
    const Refusal refusal(GetParam().action, GetParam().object);
    EXPECT_EQ(
        traces_of_open_writable(diag::TRACE_DB_CALLS | diag::TRACE_DB_ERRORS, DbOpenSchemaError),
        opened_trace("SUCCESS") + transaction_traces + version_traces + pragma_traces +
            expected_traces());
}

TEST_P(FailingPreparation, ends_the_opening_for_reading) {
    create();
    const Refusal refusal(GetParam().action, GetParam().object);
    EXPECT_EQ(
        traces_of_open_readonly(diag::TRACE_DB_CALLS | diag::TRACE_DB_ERRORS, DbOpenSchemaError),
        opened_trace("SUCCESS") + version_traces + expected_traces());
}

INSTANTIATE_TEST_SUITE_P(Statements, FailingPreparation,
                         testing::Values(FailingStatement{SQLITE_READ, "sf_filenames", 0},
                                         FailingStatement{SQLITE_READ, "sf_functions", 1},
                                         FailingStatement{SQLITE_READ, "sf_edges", 2},
                                         FailingStatement{SQLITE_DELETE, "sf_edges", 3},
                                         FailingStatement{SQLITE_READ, "sf_calls", 4},
                                         FailingStatement{SQLITE_DELETE, "sf_calls", 5},
                                         FailingStatement{SQLITE_INSERT, "sf_filenames", 6},
                                         FailingStatement{SQLITE_INSERT, "sf_edges", 8},
                                         FailingStatement{SQLITE_INSERT, "sf_calls", 9},
                                         FailingStatement{SQLITE_UPDATE, "sf_functions", 10}));

TEST_F(SampleDbTest, a_failed_preparing_of_the_function_insert_goes_unnoticed) {
    create();
    const Refusal refusal(SQLITE_INSERT, "sf_functions");
    EXPECT_EQ(traces_of_open_readonly(diag::TRACE_DB_CALLS | diag::TRACE_DB_ERRORS, DbOpenOk),
              opened_trace("SUCCESS") + version_traces + statement_traces(8) +
                  "FAILED in: init_sql_statement: " + statement_texts[7] + "\n" +
                  statement_traces().substr(statement_traces(8).size()));
}

TEST_F(SampleDbTest, version_rows_alone_pass_the_test_and_fail_at_the_statements) {
    create_with("");
    EXPECT_EQ(traces_of_open_writable(diag::TRACE_DB_ERRORS, DbOpenSchemaError),
              "FAILED in: init_sql_statement: SELECT * FROM sf_filenames WHERE sf_filename=?002\n");
}

TEST_F(SampleDbTest, a_table_without_a_column_that_a_statement_names_fails_at_that_statement) {
    create("ALTER TABLE sf_edges DROP COLUMN sf_to_discr");
    EXPECT_EQ(traces_of_open_readonly(diag::TRACE_DB_ERRORS, DbOpenSchemaError),
              std::string("FAILED in: init_sql_statement: ") + statement_texts[8] + "\n");
}

// Closing

TEST_F(SampleDbTest, closing_prints_its_trace_once) {
    create();
    EXPECT_EQ(without_pointers(traced(all_trace_bits,
                                      [&] {
                                          diag::trace_flags = 0;
                                          SampleDB opened;
                                          opened.open_writable(nullptr, path.c_str());
                                          diag::trace_flags = all_trace_bits;
                                          opened.close();
                                          opened.close();
                                      })),
              "DatabaseHandle::close PTR");
}

TEST_F(SampleDbTest, its_end_closes_the_connection) {
    create();
    EXPECT_EQ(without_pointers(traced(all_trace_bits,
                                      [&] {
                                          diag::trace_flags = 0;
                                          SampleDB opened;
                                          opened.open_readonly(path.c_str());
                                          diag::trace_flags = all_trace_bits;
                                      })),
              "DatabaseHandle::close PTR");
}

TEST_F(SampleDbTest, the_end_of_one_that_never_opened_touches_nothing) {
    EXPECT_EQ(traced(all_trace_bits, [] { SampleDB never_opened; }), "");
}

TEST_F(SampleDbTest, a_transaction_that_wasnt_ended_is_gone_with_the_connection) {
    create();
    ASSERT_EQ(open_writable(), DbOpenOk);
    database.begin_transaction();
    ASSERT_TRUE(database.exec_sql("INSERT INTO sf_filenames VALUES (1, 'A.C')"));
    database.close();
    EXPECT_EQ(rows("SELECT count(*) FROM sf_filenames"), "0\n");
    run("INSERT INTO sf_filenames VALUES (1, 'B.C')");
}

// Keys and values

class KeyValueTest : public SampleDbTest {
protected:
    KeyValueTest() {
        create();
        EXPECT_EQ(open_writable(), DbOpenOk);
    }
    std::string run_info() const {
        return rows("SELECT rowid, sf_key, sf_value, typeof(sf_value) FROM sf_run_info");
    }
};

TEST_F(KeyValueTest, a_missing_key_is_empty_or_minus_one) {
    EXPECT_EQ(database.get_value(run_info_table, "num_runs"), "");
    EXPECT_EQ(database.get_int_value(run_info_table, "num_runs"), -1);
}

TEST_F(KeyValueTest, a_missing_table_is_empty_or_minus_one) {
    run("DROP TABLE sf_run_info");
    EXPECT_EQ(traced(all_trace_bits,
                     [&] {
                         EXPECT_EQ(database.get_value(run_info_table, "num_runs"), "");
                         EXPECT_EQ(database.get_int_value(run_info_table, "num_runs"), -1);
                     }),
              "");
}

TEST_F(KeyValueTest, a_null_value_is_empty_or_minus_one) {
    run("INSERT INTO sf_run_info VALUES ('num_runs', NULL)");
    EXPECT_EQ(database.get_value(run_info_table, "num_runs"), "");
    EXPECT_EQ(database.get_int_value(run_info_table, "num_runs"), -1);
}

TEST_F(KeyValueTest, the_first_row_of_a_key_counts) {
    run("INSERT INTO sf_run_info VALUES ('other', '9'), ('num_runs', '4'), ('num_runs', '5')");
    EXPECT_EQ(database.get_value(run_info_table, "num_runs"), "4");
    EXPECT_EQ(database.get_int_value(run_info_table, "num_runs"), 4);
}

TEST_F(KeyValueTest, the_first_row_counts_even_if_it_is_null) {
    run("INSERT INTO sf_run_info VALUES ('num_runs', NULL), ('num_runs', '5')");
    EXPECT_EQ(database.get_int_value(run_info_table, "num_runs"), -1);
}

TEST_F(KeyValueTest, a_text_without_digits_is_0) {
    run("INSERT INTO sf_run_info VALUES ('num_runs', 'many')");
    EXPECT_EQ(database.get_value(run_info_table, "num_runs"), "many");
    EXPECT_EQ(database.get_int_value(run_info_table, "num_runs"), 0);
}

TEST_F(KeyValueTest, a_number_ends_at_the_first_other_character) {
    run("INSERT INTO sf_run_info VALUES ('num_runs', '12.9')");
    EXPECT_EQ(database.get_int_value(run_info_table, "num_runs"), 12);
}

TEST_F(KeyValueTest, adding_writes_one_row_of_text) {
    EXPECT_EQ(
        traced(all_trace_bits,
               [&] { EXPECT_TRUE(database.add_value(run_info_table, "num_runs", "3")); }),
        "Executing DB CMD: INSERT INTO sf_run_info (sf_key, sf_value) VALUES('num_runs', '3')\n");
    EXPECT_EQ(run_info(), "1|num_runs|3|text\n");
}

TEST_F(KeyValueTest, adding_a_number_writes_its_decimal_text) {
    EXPECT_TRUE(database.add_value(run_info_table, "num_runs", 2147483647));
    EXPECT_EQ(run_info(), "1|num_runs|2147483647|text\n");
}

TEST_F(KeyValueTest, a_number_of_eleven_characters_is_written_whole) {
    EXPECT_TRUE(database.add_value(run_info_table, "num_runs", -2147483647 - 1));
    EXPECT_EQ(run_info(), "1|num_runs|-2147483648|text\n");
}

TEST_F(KeyValueTest, adding_fails_without_the_table) {
    run("DROP TABLE sf_run_info");
    EXPECT_EQ(traced(diag::TRACE_DB_ERRORS,
                     [&] { EXPECT_FALSE(database.add_value(run_info_table, "num_runs", "3")); }),
              "SQL error: no such table: sf_run_info\n");
}

TEST_F(KeyValueTest, setting_deletes_and_then_adds) {
    run("INSERT INTO sf_run_info VALUES ('num_runs', '2'), ('other', '9'), ('num_runs', '7')");
    EXPECT_EQ(
        traced(all_trace_bits,
               [&] { EXPECT_TRUE(database.set_value(run_info_table, "num_runs", 3)); }),
        "Executing DB CMD: DELETE FROM sf_run_info WHERE sf_key='num_runs'\n"
        "Executing DB CMD: INSERT INTO sf_run_info (sf_key, sf_value) VALUES('num_runs', '3')\n");
    EXPECT_EQ(run_info(), "2|other|9|text\n3|num_runs|3|text\n");
}

TEST_F(KeyValueTest, setting_adds_although_the_deletion_failed) {
    run("INSERT INTO sf_run_info VALUES ('num_runs', '2');"
        "CREATE TRIGGER t BEFORE DELETE ON sf_run_info BEGIN SELECT RAISE(ABORT, 'kept'); END");
    EXPECT_EQ(traced(diag::TRACE_DB_ERRORS,
                     [&] { EXPECT_TRUE(database.set_value(run_info_table, "num_runs", "3")); }),
              "SQL error: kept\n");
    EXPECT_EQ(run_info(), "1|num_runs|2|text\n2|num_runs|3|text\n");
}

TEST_F(KeyValueTest, setting_fails_where_adding_fails) {
    run("DROP TABLE sf_run_info");
    EXPECT_EQ(traced(diag::TRACE_DB_ERRORS,
                     [&] { EXPECT_FALSE(database.set_value(run_info_table, "num_runs", 3)); }),
              "SQL error: no such table: sf_run_info\n"
              "SQL error: no such table: sf_run_info\n");
}

}  // namespace
}  // namespace hotpath
