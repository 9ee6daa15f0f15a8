#include "hotpath/database/sql_connection.h"

#include <array>
#include <cstdio>
#include <filesystem>

#include "diag/assertions.h"
#include "diag/trace.h"
#include "hotpath/database/database_fixture.h"
#include "support/text_matchers.h"

namespace hotpath {
namespace {

using test_support::all_trace_bits;
using test_support::captured_stderr;
using test_support::DatabaseTest;
using test_support::NoSqliteMemory;
using test_support::RawDatabase;
using test_support::Refusal;
using test_support::traced;
using test_support::without_pointers;
using testing::ExitedWithCode;

const testing::Matcher<const std::string&> bind_failure = test_support::matches_whole(
    "hotpath/database/sql_connection\\.cpp:[0-9]+ ASSERTX\\(rc == 0\\): "
    "Internal error: Failed to bind data to stmt\n");

std::string pointer_text(const void* pointer) {
    char text[32];
    std::snprintf(text, sizeof text, "%p", pointer);
    return text;
}

class DatabaseHandleTest : public DatabaseTest {
protected:
    DatabaseHandle handle;
};

TEST_F(DatabaseHandleTest, opening_a_missing_file_for_reading_fails) {
    EXPECT_FALSE(handle.open(path.c_str(), OpenMode::ReadOnly));
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(DatabaseHandleTest, opening_a_missing_file_for_writing_fails) {
    EXPECT_FALSE(handle.open(path.c_str(), OpenMode::ReadWrite));
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(DatabaseHandleTest, opening_with_creation_makes_the_file) {
    EXPECT_TRUE(handle.open(path.c_str(), OpenMode::ReadWriteCreate));
    EXPECT_TRUE(std::filesystem::exists(path));
}

TEST_F(DatabaseHandleTest, opening_an_existing_file_succeeds_in_each_mode) {
    create();
    for (const OpenMode mode :
         {OpenMode::ReadOnly, OpenMode::ReadWrite, OpenMode::ReadWriteCreate}) {
        DatabaseHandle opened;
        EXPECT_TRUE(opened.open(path.c_str(), mode));
        EXPECT_NE(opened.connection(), nullptr);
    }
}

TEST_F(DatabaseHandleTest, opening_takes_no_lock_against_threads) {
    ASSERT_TRUE(handle.open(path.c_str(), OpenMode::ReadWriteCreate));
    EXPECT_EQ(sqlite3_db_mutex(handle.connection()), nullptr);
}

TEST_F(DatabaseHandleTest, opening_traces_path_connection_and_success) {
    const std::string text =
        traced(diag::TRACE_DB_CALLS, [&] { handle.open(path.c_str(), OpenMode::ReadWriteCreate); });
    EXPECT_EQ(text, "DatabaseHandle::open(" + path + ") : " + pointer_text(handle.connection()) +
                        " Result = SUCCESS\n");
}

TEST_F(DatabaseHandleTest, a_failed_opening_traces_the_connection_that_was_left) {
    const std::string text =
        traced(diag::TRACE_DB_CALLS, [&] { handle.open(path.c_str(), OpenMode::ReadOnly); });
    EXPECT_EQ(text, "DatabaseHandle::open(" + path + ") : " + pointer_text(handle.connection()) +
                        " Result = FAILED\n");
}

TEST_F(DatabaseHandleTest, closing_traces_the_connection_without_a_line_end) {
    handle.open(path.c_str(), OpenMode::ReadWriteCreate);
    const std::string pointer = pointer_text(handle.connection());
    const std::string text = traced(diag::TRACE_DB_CALLS, [&] { handle.close(); });
    EXPECT_EQ(text, "DatabaseHandle::close " + pointer);
    EXPECT_EQ(handle.connection(), nullptr);
}

TEST_F(DatabaseHandleTest, closing_again_is_silent) {
    handle.open(path.c_str(), OpenMode::ReadWriteCreate);
    handle.close();
    EXPECT_EQ(traced(all_trace_bits, [&] { handle.close(); }), "");
}

TEST_F(DatabaseHandleTest, one_that_is_opened_again_closes_and_traces_again) {
    handle.open(path.c_str(), OpenMode::ReadWriteCreate);
    handle.close();
    EXPECT_TRUE(handle.open(path.c_str(), OpenMode::ReadOnly));
    const std::string pointer = pointer_text(handle.connection());
    EXPECT_EQ(traced(diag::TRACE_DB_CALLS, [&] { handle.close(); }),
              "DatabaseHandle::close " + pointer);
    EXPECT_EQ(handle.connection(), nullptr);
    EXPECT_EQ(traced(all_trace_bits, [&] { handle.close(); }), "");
}

TEST_F(DatabaseHandleTest, its_end_closes_what_is_open) {
    std::string pointer;
    const std::string text = traced(diag::TRACE_DB_CALLS, [&] {
        DatabaseHandle opened;
        opened.open(path.c_str(), OpenMode::ReadWriteCreate);
        pointer = pointer_text(opened.connection());
    });
    EXPECT_EQ(text, "DatabaseHandle::open(" + path + ") : " + pointer +
                        " Result = SUCCESS\nDatabaseHandle::close " + pointer);
}

TEST_F(DatabaseHandleTest, closing_what_never_opened_does_nothing_beyond_the_trace) {
    EXPECT_EQ(traced(diag::TRACE_DB_CALLS, [&] { handle.close(); }),
              "DatabaseHandle::close " + pointer_text(nullptr));
}

TEST_F(DatabaseHandleTest, only_the_calls_bit_traces_opening_and_closing) {
    EXPECT_EQ(traced(~std::uint32_t{diag::TRACE_DB_CALLS},
                     [&] {
                         handle.open(path.c_str(), OpenMode::ReadWriteCreate);
                         handle.close();
                     }),
              "");
}

class SqlConnectionTest : public DatabaseTest {
protected:
    SqlConnection connection;
};

TEST_F(SqlConnectionTest, open_results_have_fixed_numbers) {
    EXPECT_EQ(DbOpenOk, 0);
    EXPECT_EQ(DbOpenCannotOpen, 1);
    EXPECT_EQ(DbOpenIncompatible, 2);
    EXPECT_EQ(DbOpenSchemaError, 3);
}

TEST_F(SqlConnectionTest, open_modes_have_fixed_numbers) {
    EXPECT_EQ(static_cast<int>(OpenMode::ReadOnly), 0);
    EXPECT_EQ(static_cast<int>(OpenMode::ReadWrite), 1);
    EXPECT_EQ(static_cast<int>(OpenMode::ReadWriteCreate), 2);
}

TEST_F(SqlConnectionTest, a_writable_connection_prepares_the_transaction) {
    EXPECT_EQ(without_pointers(traced(
                  diag::TRACE_DB_CALLS,
                  [&] {
                      EXPECT_EQ(connection.open(path.c_str(), OpenMode::ReadWriteCreate), DbOpenOk);
                  })),
              "DatabaseHandle::open(" + path +
                  ") : PTR Result = SUCCESS\n"
                  "init_sql_statement: BEGIN TRANSACTION\n\n"
                  "init_sql_statement: END TRANSACTION\n\n");
}

TEST_F(SqlConnectionTest, a_read_only_connection_has_no_transaction) {
    create();
    EXPECT_EQ(without_pointers(traced(
                  diag::TRACE_DB_CALLS,
                  [&] { EXPECT_EQ(connection.open(path.c_str(), OpenMode::ReadOnly), DbOpenOk); })),
              "DatabaseHandle::open(" + path + ") : PTR Result = SUCCESS\n");
    EXPECT_EQ(connection.end_transaction(), SQLITE_MISUSE);
}

TEST_F(SqlConnectionTest, a_failed_opening_closes_what_was_left) {
    EXPECT_EQ(
        without_pointers(traced(all_trace_bits,
                                [&] {
                                    EXPECT_EQ(connection.open(path.c_str(), OpenMode::ReadWrite),
                                              DbOpenCannotOpen);
                                })),
        "DatabaseHandle::open(" + path + ") : PTR Result = FAILED\nDatabaseHandle::close PTR");
}

TEST_F(SqlConnectionTest, a_refused_begin_is_a_schema_error) {
    create();
    const Refusal refusal(SQLITE_TRANSACTION, "BEGIN");
    EXPECT_EQ(without_pointers(traced(all_trace_bits,
                                      [&] {
                                          EXPECT_EQ(
                                              connection.open(path.c_str(), OpenMode::ReadWrite),
                                              DbOpenSchemaError);
                                      })),
              "DatabaseHandle::open(" + path +
                  ") : PTR Result = SUCCESS\n"
                  "init_sql_statement: BEGIN TRANSACTION\n\n"
                  "FAILED in: init_sql_statement: BEGIN TRANSACTION\n"
                  "DatabaseHandle::close PTR");
}

TEST_F(SqlConnectionTest, a_refused_end_is_a_schema_error) {
    create();
    const Refusal refusal(SQLITE_TRANSACTION, "COMMIT");
    EXPECT_EQ(without_pointers(traced(all_trace_bits,
                                      [&] {
                                          EXPECT_EQ(
                                              connection.open(path.c_str(), OpenMode::ReadWrite),
                                              DbOpenSchemaError);
                                      })),
              "DatabaseHandle::open(" + path +
                  ") : PTR Result = SUCCESS\n"
                  "init_sql_statement: BEGIN TRANSACTION\n\n"
                  "init_sql_statement: END TRANSACTION\n\n"
                  "FAILED in: init_sql_statement: END TRANSACTION\n"
                  "DatabaseHandle::close PTR");
}

TEST_F(SqlConnectionTest, closing_prints_its_trace_once) {
    EXPECT_EQ(without_pointers(traced(diag::TRACE_DB_CALLS,
                                      [&] {
                                          SqlConnection opened;
                                          diag::trace_flags = 0;
                                          opened.open(path.c_str(), OpenMode::ReadWriteCreate);
                                          diag::trace_flags = diag::TRACE_DB_CALLS;
                                          opened.close();
                                          opened.close();
                                      })),
              "DatabaseHandle::close PTR");
}

TEST_F(SqlConnectionTest, the_end_of_one_that_never_opened_is_silent) {
    EXPECT_EQ(traced(all_trace_bits, [] { SqlConnection never_opened; }), "");
}

// A transaction is sound until something in it fails

class SoundTransaction : public SqlConnectionTest {
protected:
    void open() {
        create();
        ASSERT_EQ(connection.open(path.c_str(), OpenMode::ReadWrite), DbOpenOk);
    }
    void begin() {
        open();
        connection.begin_transaction();
    }
};

TEST_F(SoundTransaction, lasts_from_begin_to_end) {
    EXPECT_FALSE(connection.in_sound_transaction());
    open();
    EXPECT_FALSE(connection.in_sound_transaction());
    connection.begin_transaction();
    EXPECT_TRUE(connection.in_sound_transaction());
    connection.end_transaction();
    EXPECT_FALSE(connection.in_sound_transaction());
}

TEST_F(SoundTransaction, ends_where_the_end_fails) {
    begin();
    ASSERT_TRUE(connection.exec_sql("INSERT INTO sf_version VALUES ('k', 'v')"));
    const RawDatabase other(path);
    other.run("BEGIN; SELECT * FROM sf_version");
    EXPECT_EQ(connection.end_transaction(), SQLITE_BUSY);
    EXPECT_FALSE(connection.in_sound_transaction());
}

TEST_F(SoundTransaction, doesnt_begin_where_begin_fails) {
    open();
    ASSERT_TRUE(connection.exec_sql("BEGIN"));
    connection.begin_transaction();
    EXPECT_FALSE(connection.in_sound_transaction());
}

TEST_F(SoundTransaction, goes_on_behind_rows_and_the_ends_of_statements) {
    begin();
    SqlStatement statement;
    ASSERT_TRUE(statement.prepare(connection.db(), "SELECT 1"));
    EXPECT_EQ(statement.step(), step_row);
    EXPECT_TRUE(connection.in_sound_transaction());
    EXPECT_EQ(statement.step(), step_done);
    EXPECT_TRUE(connection.in_sound_transaction());
}

TEST_F(SoundTransaction, ends_with_a_failed_step) {
    begin();
    SqlStatement statement;
    ASSERT_TRUE(statement.prepare(connection.db(), "SELECT abs(-9223372036854775808)"));
    EXPECT_EQ(statement.step(), SQLITE_ERROR);
    EXPECT_FALSE(connection.in_sound_transaction());
}

TEST_F(SoundTransaction, ends_with_failed_sql) {
    begin();
    EXPECT_FALSE(connection.exec_sql("no SQL"));
    EXPECT_FALSE(connection.in_sound_transaction());
}

TEST_F(SoundTransaction, ends_with_a_failed_read) {
    begin();
    TextTable table;
    EXPECT_FALSE(table.read(connection.db(), "no SQL"));
    EXPECT_FALSE(connection.in_sound_transaction());
}

TEST_F(SoundTransaction, ends_with_the_connection) {
    begin();
    connection.close();
    EXPECT_FALSE(connection.in_sound_transaction());
    DatabaseHandle handle;
    handle.open(path.c_str(), OpenMode::ReadOnly);
    handle.begin_sound_transaction();
    handle.close();
    EXPECT_FALSE(handle.in_sound_transaction());
}

TEST_F(SqlConnectionTest, its_data_version_changes_with_what_others_write) {
    create();
    ASSERT_EQ(connection.open(path.c_str(), OpenMode::ReadWrite), DbOpenOk);
    const std::string version = connection.data_version();
    EXPECT_NE(version, "");
    ASSERT_TRUE(connection.exec_sql("INSERT INTO sf_version VALUES ('k', 'v')"));
    EXPECT_EQ(connection.data_version(), version);
    run("INSERT INTO sf_version VALUES ('k', 'v')");
    EXPECT_NE(connection.data_version(), version);
}

TEST_F(SqlConnectionTest, its_data_version_is_empty_where_sqlite_cant_tell) {
    create();
    ASSERT_EQ(connection.open(path.c_str(), OpenMode::ReadWrite), DbOpenOk);
    const RawDatabase other(path);
    other.run("BEGIN EXCLUSIVE");
    EXPECT_EQ(connection.data_version(), "");
}

TEST_F(SqlConnectionTest, a_transaction_holds_back_its_rows_until_its_end) {
    create();
    ASSERT_EQ(connection.open(path.c_str(), OpenMode::ReadWrite), DbOpenOk);
    connection.begin_transaction();
    ASSERT_TRUE(connection.exec_sql("INSERT INTO sf_filenames VALUES (1, 'A.C')"));
    EXPECT_EQ(rows("SELECT * FROM sf_filenames"), "");
    EXPECT_EQ(connection.end_transaction(), step_done);
    EXPECT_EQ(rows("SELECT * FROM sf_filenames"), "1|A.C\n");
}

// Connections on an empty sample database.
class OpenConnectionTest : public SqlConnectionTest {
protected:
    OpenConnectionTest() {
        create();
        EXPECT_EQ(connection.open(path.c_str(), OpenMode::ReadWrite), DbOpenOk);
    }
};

using ExecSql = OpenConnectionTest;

TEST_F(ExecSql, runs_the_text_and_traces_it) {
    EXPECT_EQ(
        traced(all_trace_bits,
               [&] {
                   EXPECT_TRUE(connection.exec_sql("INSERT INTO sf_filenames VALUES (7, 'A.C')"));
               }),
        "Executing DB CMD: INSERT INTO sf_filenames VALUES (7, 'A.C')\n");
    EXPECT_EQ(rows("SELECT * FROM sf_filenames"), "7|A.C\n");
}

TEST_F(ExecSql, a_failure_is_false_and_traced_with_its_text) {
    EXPECT_EQ(traced(diag::TRACE_DB_ERRORS,
                     [&] { EXPECT_FALSE(connection.exec_sql("DELETE FROM missing")); }),
              "SQL error: no such table: missing\n");
}

TEST_F(ExecSql, a_failure_is_silent_without_the_errors_bit) {
    EXPECT_EQ(traced(~std::uint32_t{diag::TRACE_DB_ERRORS | diag::TRACE_DB_CALLS},
                     [&] { EXPECT_FALSE(connection.exec_sql("DELETE FROM missing")); }),
              "");
}

TEST_F(ExecSql, a_failure_without_a_text_counts_as_success) {
    EXPECT_EQ(traced(diag::TRACE_DB_ERRORS,
                     [&] {
                         const NoSqliteMemory no_memory;
                         EXPECT_TRUE(connection.exec_sql("DELETE FROM missing"));
                     }),
              "");
}

using MaxColumnValue = OpenConnectionTest;

TEST_F(MaxColumnValue, is_zero_for_an_empty_table) {
    const OptionalId largest = connection.max_column_value("sf_filenames", "sf_id");
    EXPECT_TRUE(largest.has_value);
    EXPECT_EQ(largest.value, 0U);
}

TEST_F(MaxColumnValue, is_the_largest_and_not_the_last) {
    run("INSERT INTO sf_calls (sf_exec_count) VALUES (3), (9), (4)");
    const OptionalId largest = connection.max_column_value("sf_calls", "sf_exec_count");
    EXPECT_TRUE(largest.has_value);
    EXPECT_EQ(largest.value, 9U);
}

TEST_F(MaxColumnValue, keeps_the_low_32_bits) {
    run("INSERT INTO sf_filenames VALUES (4294967301, 'A.C')");
    EXPECT_EQ(connection.max_column_value("sf_filenames", "sf_id").value, 5U);
}

TEST_F(MaxColumnValue, is_absent_and_silent_for_a_missing_table) {
    EXPECT_EQ(
        traced(all_trace_bits,
               [&] { EXPECT_FALSE(connection.max_column_value("sf_missing", "sf_id").has_value); }),
        "");
}

TEST_F(MaxColumnValue, is_absent_and_silent_for_a_missing_column) {
    EXPECT_EQ(traced(all_trace_bits,
                     [&] {
                         EXPECT_FALSE(
                             connection.max_column_value("sf_filenames", "sf_missing").has_value);
                     }),
              "");
}

TEST_F(MaxColumnValue, is_absent_while_another_connection_locks_the_file) {
    const RawDatabase other(path);
    other.run("BEGIN EXCLUSIVE");
    EXPECT_FALSE(connection.max_column_value("sf_filenames", "sf_id").has_value);
}

TEST_F(MaxColumnValue, isnt_traced) {
    EXPECT_EQ(traced(all_trace_bits, [&] { connection.max_column_value("sf_filenames", "sf_id"); }),
              "");
}

// Statements on an empty sample database.
class SqlStatementTest : public DatabaseHandleTest {
protected:
    SqlStatementTest() {
        create();
        EXPECT_TRUE(handle.open(path.c_str(), OpenMode::ReadWrite));
    }
    ~SqlStatementTest() override { statement.finalize(); }

    SqlStatement statement;
};

TEST_F(SqlStatementTest, preparing_traces_the_text_and_an_empty_line) {
    EXPECT_EQ(traced(all_trace_bits,
                     [&] { EXPECT_TRUE(statement.init_sql_statement(handle, "SELECT 1")); }),
              "init_sql_statement: SELECT 1\n\n");
}

TEST_F(SqlStatementTest, a_failed_preparing_is_traced_behind_the_text) {
    EXPECT_EQ(traced(all_trace_bits,
                     [&] { EXPECT_FALSE(statement.init_sql_statement(handle, "SELECT missing")); }),
              "init_sql_statement: SELECT missing\n\n"
              "FAILED in: init_sql_statement: SELECT missing\n");
}

TEST_F(SqlStatementTest, the_errors_bit_alone_traces_the_failure_alone) {
    EXPECT_EQ(traced(diag::TRACE_DB_ERRORS,
                     [&] { EXPECT_FALSE(statement.init_sql_statement(handle, "SELECT missing")); }),
              "FAILED in: init_sql_statement: SELECT missing\n");
}

TEST_F(SqlStatementTest, a_failed_preparing_is_silent_without_bits) {
    EXPECT_EQ(captured_stderr([&] { statement.init_sql_statement(handle, "SELECT missing"); }), "");
}

TEST_F(SqlStatementTest, stepping_gives_the_plain_code) {
    ASSERT_TRUE(statement.init_sql_statement(handle, "SELECT 1"));
    EXPECT_EQ(statement.step(), 100);
    EXPECT_EQ(statement.step(), 101);
}

TEST_F(SqlStatementTest, stepping_without_a_statement_is_neither_row_nor_done) {
    EXPECT_EQ(statement.step(), SQLITE_MISUSE);
}

TEST_F(SqlStatementTest, finalizing_twice_is_harmless) {
    ASSERT_TRUE(statement.init_sql_statement(handle, "SELECT 1"));
    statement.finalize();
    statement.finalize();
    EXPECT_EQ(statement.step(), SQLITE_MISUSE);
}

TEST_F(SqlStatementTest, reset_forgets_the_bound_values) {
    ASSERT_TRUE(statement.init_sql_statement(handle, "SELECT ?001"));
    statement.bind_uint32(0, 7);
    statement.step();
    statement.reset();
    ASSERT_EQ(statement.step(), step_row);
    EXPECT_EQ(statement.column_text(0), nullptr);
}

TEST_F(SqlStatementTest, a_bind_index_is_the_parameters_number_less_one) {
    ASSERT_TRUE(statement.init_sql_statement(handle, "SELECT ?001, ?002"));
    statement.bind_uint32(1, 7);
    ASSERT_EQ(statement.step(), step_row);
    EXPECT_EQ(statement.column_text(0), nullptr);
    EXPECT_EQ(statement.column_int(1), 7);
}

TEST_F(SqlStatementTest, a_text_is_bound_as_text) {
    ASSERT_TRUE(statement.init_sql_statement(handle, "SELECT ?001, typeof(?001)"));
    statement.bind_text(0, "it's");
    ASSERT_EQ(statement.step(), step_row);
    EXPECT_STREQ(statement.column_text(0), "it's");
    EXPECT_STREQ(statement.column_text(1), "text");
}

TEST_F(SqlStatementTest, a_bound_text_ends_where_the_view_ends) {
    ASSERT_TRUE(statement.init_sql_statement(handle, "SELECT ?001"));
    statement.bind_text(0, std::string_view("abcdef").substr(1, 3));
    ASSERT_EQ(statement.step(), step_row);
    EXPECT_STREQ(statement.column_text(0), "bcd");
}

TEST_F(SqlStatementTest, an_empty_text_is_bound_as_a_text_and_not_as_null) {
    ASSERT_TRUE(statement.init_sql_statement(handle, "SELECT typeof(?001)"));
    statement.bind_text(0, "");
    ASSERT_EQ(statement.step(), step_row);
    EXPECT_STREQ(statement.column_text(0), "text");
}

TEST_F(SqlStatementTest, a_bound_text_is_borrowed) {
    ASSERT_TRUE(statement.init_sql_statement(handle, "SELECT ?001"));
    std::string text = "before";
    statement.bind_text(0, text);
    text.replace(0, 6, "behind");
    ASSERT_EQ(statement.step(), step_row);
    EXPECT_STREQ(statement.column_text(0), "behind");
}

TEST_F(SqlStatementTest, a_64_bit_value_keeps_its_bits) {
    ASSERT_TRUE(statement.init_sql_statement(handle, "SELECT ?001, typeof(?001)"));
    statement.bind_uint64(0, 0xFFFFFFFFFFFFFFFE);
    ASSERT_EQ(statement.step(), step_row);
    EXPECT_EQ(statement.column_int64(0), -2);
    EXPECT_STREQ(statement.column_text(1), "integer");
}

TEST_F(SqlStatementTest, a_32_bit_value_is_stored_signed) {
    ASSERT_TRUE(statement.init_sql_statement(handle, "SELECT ?001"));
    statement.bind_uint32(0, 2147483648U);
    ASSERT_EQ(statement.step(), step_row);
    EXPECT_EQ(statement.column_int64(0), -2147483648LL);
}

TEST_F(SqlStatementTest, a_16_bit_value_is_widened_with_zeros) {
    ASSERT_TRUE(statement.init_sql_statement(handle, "SELECT ?001"));
    statement.bind_uint16(0, 65535);
    ASSERT_EQ(statement.step(), step_row);
    EXPECT_EQ(statement.column_int64(0), 65535);
}

TEST_F(SqlStatementTest, a_32_bit_read_keeps_the_low_bits_with_their_sign) {
    ASSERT_TRUE(statement.init_sql_statement(handle, "SELECT 4294967297, 2147483648"));
    ASSERT_EQ(statement.step(), step_row);
    EXPECT_EQ(statement.column_int(0), 1);
    EXPECT_EQ(statement.column_int(1), -2147483647 - 1);
}

TEST_F(SqlStatementTest, reads_of_a_column_that_isnt_there_are_null_and_zero) {
    ASSERT_TRUE(statement.init_sql_statement(handle, "SELECT 7"));
    ASSERT_EQ(statement.step(), step_row);
    EXPECT_EQ(statement.column_text(1), nullptr);
    EXPECT_EQ(statement.column_int(1), 0);
    EXPECT_EQ(statement.column_int64(1), 0);
}

using SqlStatementDeathTest = SqlStatementTest;

TEST_F(SqlStatementDeathTest, a_failed_bind_of_a_text_ends_the_program) {
    ASSERT_TRUE(statement.init_sql_statement(handle, "SELECT ?001"));
    EXPECT_EXIT(statement.bind_text(1, "x"), ExitedWithCode(1), bind_failure);
}

// The low 32 bits of its size would be those of a short text. The text itself isn't looked at.
TEST_F(SqlStatementDeathTest, a_bind_of_a_text_of_more_than_4_gibibytes_ends_the_program) {
    ASSERT_TRUE(statement.init_sql_statement(handle, "SELECT ?001"));
    const std::string text = "x";
    const std::string_view huge(text.data(), (std::size_t{1} << 32) + 1);
    EXPECT_EXIT(statement.bind_text(0, huge), ExitedWithCode(1), bind_failure);
}

TEST_F(SqlStatementDeathTest, a_failed_bind_of_64_bits_ends_the_program) {
    ASSERT_TRUE(statement.init_sql_statement(handle, "SELECT ?001"));
    EXPECT_EXIT(statement.bind_uint64(1, 7), ExitedWithCode(1), bind_failure);
}

TEST_F(SqlStatementDeathTest, a_failed_bind_of_32_bits_ends_the_program) {
    ASSERT_TRUE(statement.init_sql_statement(handle, "SELECT ?001"));
    EXPECT_EXIT(statement.bind_uint32(1, 7), ExitedWithCode(1), bind_failure);
}

TEST_F(SqlStatementDeathTest, a_failed_bind_of_16_bits_ends_the_program) {
    ASSERT_TRUE(statement.init_sql_statement(handle, "SELECT ?001"));
    EXPECT_EXIT(statement.bind_uint16(1, 7), ExitedWithCode(1), bind_failure);
}

TEST_F(SqlStatementDeathTest, a_bind_without_a_statement_ends_the_program) {
    EXPECT_EXIT(statement.bind_uint32(0, 7), ExitedWithCode(1), bind_failure);
}

// The builders, by the text that they prepare.
class StatementBuilderTest : public DatabaseHandleTest {
protected:
    StatementBuilderTest() {
        create();
        EXPECT_TRUE(handle.open(path.c_str(), OpenMode::ReadWrite));
    }

    template <class Statement, class Columns, class... More>
    std::string text_of(const TableSpec& table, Columns columns, More... more) {
        Statement statement;
        return traced(diag::TRACE_DB_CALLS,
                      [&] { EXPECT_TRUE(statement.init(handle, table, columns, more...)); });
    }
};

TEST_F(StatementBuilderTest, a_select_has_one_condition) {
    EXPECT_EQ(text_of<SelectStatement>(filenames_table, std::array{1U}),
              "init_sql_statement: SELECT * FROM sf_filenames WHERE sf_filename=?002\n\n");
}

TEST_F(StatementBuilderTest, a_selects_conditions_are_joined_by_and) {
    EXPECT_EQ(text_of<SelectStatement>(functions_table, std::array{1U, 2U}),
              "init_sql_statement: SELECT * FROM sf_functions "
              "WHERE sf_func_name=?002 AND sf_file_id=?003\n\n");
}

TEST_F(StatementBuilderTest, an_insert_has_two_blanks_behind_into) {
    EXPECT_EQ(text_of<InsertStatement>(filenames_table, std::array{1U}),
              "init_sql_statement: INSERT INTO  sf_filenames (sf_filename) VALUES (?002)\n\n");
}

TEST_F(StatementBuilderTest, an_insert_keeps_the_order_of_its_list) {
    EXPECT_EQ(text_of<InsertStatement>(edges_table, std::array{13U, 7U, 6U, 9U}),
              "init_sql_statement: INSERT INTO  sf_edges (sf_flags, sf_to_bb_end_address, "
              "sf_to_func_id, sf_to_rel_line) VALUES (?014, ?008, ?007, ?010)\n\n");
}

TEST_F(StatementBuilderTest, a_delete_has_one_condition) {
    EXPECT_EQ(text_of<DeleteStatement>(calls_table, 0U),
              "init_sql_statement: DELETE FROM sf_calls WHERE sf_from_func_id=?001\n\n");
}

TEST_F(StatementBuilderTest, an_update_sets_one_column_under_one_condition) {
    EXPECT_EQ(text_of<UpdateStatement>(functions_table, 3U, 0U),
              "init_sql_statement: UPDATE sf_functions SET sf_exec_count=?004 "
              "WHERE sf_id=?001\n\n");
}

TEST_F(StatementBuilderTest, a_builders_failure_is_false) {
    const TableSpec missing{"sf_missing", filenames_table.columns};
    SelectStatement select;
    InsertStatement insert;
    DeleteStatement remove;
    UpdateStatement update;
    EXPECT_FALSE(select.init(handle, missing, std::array{1U}));
    EXPECT_FALSE(insert.init(handle, missing, std::array{1U}));
    EXPECT_FALSE(remove.init(handle, missing, 0U));
    EXPECT_FALSE(update.init(handle, missing, 1U, 0U));
}

TEST_F(StatementBuilderTest, the_insert_of_a_file_has_a_first_parameter_that_nothing_reads) {
    InsertStatement insert;
    ASSERT_TRUE(insert.init(handle, filenames_table, std::array{1U}));
    insert.bind_uint32(0, 77);
    insert.bind_text(1, "A.C");
    EXPECT_EQ(insert.step(), step_done);
    insert.reset();
    EXPECT_EQ(rows("SELECT * FROM sf_filenames"), "1|A.C\n");
}

TEST_F(StatementBuilderTest, a_select_on_functions_binds_indexes_1_and_2) {
    run("INSERT INTO sf_functions VALUES (4, 'f', 2, 0, 0), (5, 'f', 3, 0, 0)");
    SelectStatement select;
    ASSERT_TRUE(select.init(handle, functions_table, std::array{1U, 2U}));
    select.bind_text(1, "f");
    select.bind_uint32(2, 3);
    ASSERT_EQ(select.step(), step_row);
    EXPECT_EQ(select.column_int(0), 5);
    EXPECT_EQ(select.step(), step_done);
}

class TextTableTest : public DatabaseHandleTest {
protected:
    TextTableTest() {
        create();
        EXPECT_TRUE(handle.open(path.c_str(), OpenMode::ReadWrite));
    }

    TextTable table;
};

TEST_F(TextTableTest, gives_all_cells_as_texts) {
    ASSERT_TRUE(table.read(handle, "SELECT 1, 'a' UNION ALL SELECT 2.5, x'62'"));
    EXPECT_EQ(table.row_count(), 2);
    EXPECT_EQ(table.cell(0, 0), "1");
    EXPECT_EQ(table.cell(0, 1), "a");
    EXPECT_EQ(table.cell(1, 0), "2.5");
    EXPECT_EQ(table.cell(1, 1), "b");
}

TEST_F(TextTableTest, null_reads_as_the_empty_text) {
    ASSERT_TRUE(table.read(handle, "SELECT NULL, 'a'"));
    EXPECT_EQ(table.cell(0, 0), "");
    EXPECT_EQ(table.cell(0, 1), "a");
}

TEST_F(TextTableTest, a_column_behind_the_last_reads_as_the_empty_text) {
    ASSERT_TRUE(table.read(handle, "SELECT 'a' UNION ALL SELECT 'b'"));
    EXPECT_EQ(table.cell(0, 1), "");
    EXPECT_EQ(table.cell(1, 4), "");
}

TEST_F(TextTableTest, a_query_without_rows_is_no_failure) {
    ASSERT_TRUE(table.read(handle, "SELECT * FROM sf_filenames"));
    EXPECT_EQ(table.row_count(), 0);
}

TEST_F(TextTableTest, keeps_the_rows_that_pass_the_test_and_counts_them_all) {
    ASSERT_TRUE(table.read(handle, "SELECT 'a', 1 UNION ALL SELECT 'b', 2 UNION ALL SELECT 'a', 3",
                           [](const TextRow& row) { return row[0] == "a"; }));
    EXPECT_EQ(table.read_count(), 3U);
    ASSERT_EQ(table.row_count(), 2);
    EXPECT_EQ(table.cell(0, 1), "1");
    EXPECT_EQ(table.cell(1, 1), "3");
}

TEST_F(TextTableTest, a_test_sees_null_and_a_column_behind_the_last_as_the_empty_text) {
    ASSERT_TRUE(table.read(handle, "SELECT NULL, 'a'", [](const TextRow& row) {
        return row[0].empty() && row[1] == "a" && row[2].empty();
    }));
    EXPECT_EQ(table.row_count(), 1);
}

TEST_F(TextTableTest, a_failed_query_has_sqlites_text) {
    EXPECT_FALSE(table.read(handle, "SELECT * FROM missing"));
    EXPECT_STREQ(table.error(), "no such table: missing");
    EXPECT_EQ(table.row_count(), 0);
}

TEST_F(TextTableTest, a_failure_without_a_text_is_unknown) {
    {
        const NoSqliteMemory no_memory;
        EXPECT_FALSE(table.read(handle, "SELECT * FROM sf_filenames"));
    }
    EXPECT_STREQ(table.error(), "<UNKNOWN>");
}

}  // namespace
}  // namespace hotpath
