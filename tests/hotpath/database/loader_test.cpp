// Loading: rows that were written past the code under test, and the records that come of them.
#include "diag/trace.h"
#include "hotpath/database/database_fixture.h"
#include "hotpath/database/sample_db.h"
#include "hotpath/model/function_record_proxy.h"

namespace hotpath {
namespace {

using test_support::all_trace_bits;
using test_support::captured_stderr;
using test_support::DatabaseTest;
using test_support::profile_text;
using test_support::RawDatabase;
using test_support::StatementLog;
using test_support::traced;

class LoadTest : public DatabaseTest {
protected:
    bool load(FunctionRecordSet& target, bool proxies = false) {
        EXPECT_EQ(database.open_readonly(path.c_str()), DbOpenOk);
        return database.read_function_records(target, factory, proxies);
    }

    // Makes a database with these rows and gives the profile of a full load.
    std::string profile_of(const std::string& sql) {
        create(sql);
        EXPECT_TRUE(load(set));
        return profile_text(set);
    }

    // The same for the edges of one function 'f', their rows without the owner's id in front, and
    // with the profile's first line left out.
    std::string edges_of(const std::string& cells) {
        create(
            "INSERT INTO sf_functions VALUES (1, 'f', 0, 0, 0);"
            "INSERT INTO sf_edges VALUES (1, " +
            cells + ")");
        EXPECT_TRUE(load(set));
        const std::string text = profile_text(set);
        return text.substr(text.find('\n') + 1);
    }

    std::string calls_of(const std::string& values) {
        create(
            "INSERT INTO sf_functions VALUES (1, 'f', 0, 0, 0);"
            "INSERT INTO sf_calls VALUES " +
            values);
        EXPECT_TRUE(load(set));
        const std::string text = profile_text(set);
        return text.substr(text.find('\n') + 1);
    }

    // The count of a function whose cell is this SQL value.
    std::uint64_t exec_count_of(const std::string& value) {
        create("INSERT INTO sf_functions VALUES (1, 'f', 0, " + value + ", 0)");
        EXPECT_TRUE(load(set));
        return set.find_record("", "f")->get_exec_count();
    }

    // The runs that are added for a `num_runs` row of this SQL value to a set that has ten.
    std::uint32_t runs_of(const std::string& value) {
        create("INSERT INTO sf_run_info VALUES ('num_runs', " + value + ")");
        set.add_runs(10);
        EXPECT_TRUE(load(set));
        return set.num_runs();
    }

    SampleDB database;
    FunctionRecordSet set{factory};
};

// Whole files

TEST_F(LoadTest, an_empty_database_changes_nothing) {
    create();
    EXPECT_EQ(traced(~std::uint32_t{diag::TRACE_DB_CALLS}, [&] { EXPECT_TRUE(load(set)); }), "");
    EXPECT_TRUE(set.is_empty());
    EXPECT_EQ(set.num_runs(), 0U);
}

TEST_F(LoadTest, a_full_load_makes_records_with_edges_and_calls) {
    EXPECT_EQ(profile_of("INSERT INTO sf_filenames VALUES (1, 'A.C'), (2, 'B.C');"
                         "INSERT INTO sf_functions VALUES (1, 'f', 1, 7, 0), (2, 'g', 2, 8, 3);"
                         "INSERT INTO sf_edges VALUES"
                         " (1, 26, 10, 1, 2, 3, 1, 43, 11, 4, 5, 6, 9, 1),"
                         " (2, 27, 20, 0, 0, 0, 2, 44, 21, 0, 0, 0, 10, 2);"
                         "INSERT INTO sf_calls VALUES (1, 12, 2, 'g', 5), (1, 13, 3, 'e', 6)"),
              "f in A.C x7 flags 0\n"
              "  edge 1a 10:1.2.3 > 2b 11:4.5.6 x9 entry\n"
              "  call e 13:3 x6\n"
              "  call g 12:2 x5\n"
              "g in B.C x8 flags 3\n"
              "  edge 1b 20:0.0.0 > 2c 21:0.0.0 x10 exit\n");
}

TEST_F(LoadTest, file_names_are_folded_to_upper_case_and_function_names_are_not) {
    EXPECT_EQ(profile_of("INSERT INTO sf_filenames VALUES (1, 'dir/a.c');"
                         "INSERT INTO sf_functions VALUES (1, 'f', 1, 7, 0), (2, 'F', 1, 8, 0)"),
              "F in DIR/A.C x8 flags 0\n"
              "f in DIR/A.C x7 flags 0\n");
}

TEST_F(LoadTest, a_full_load_adds_to_what_the_set_holds) {
    create(
        "INSERT INTO sf_run_info VALUES ('num_runs', '2');"
        "INSERT INTO sf_filenames VALUES (1, 'A.C');"
        "INSERT INTO sf_functions VALUES (1, 'f', 1, 7, 2);"
        "INSERT INTO sf_edges VALUES (1, 26, 10, 1, 0, 0, 1, 43, 11, 0, 0, 0, 9, 1);"
        "INSERT INTO sf_calls VALUES (1, 12, 2, 'g', 5)");
    EXPECT_TRUE(load(set));
    run("UPDATE sf_functions SET sf_flags = 1; UPDATE sf_edges SET sf_flags = 2;"
        "UPDATE sf_run_info SET sf_value = '3'");
    EXPECT_TRUE(database.read_function_records(set, factory, false));
    EXPECT_EQ(set.num_runs(), 5U);
    EXPECT_EQ(profile_text(set),
              "f in A.C x14 flags 3\n"
              "  edge 1a 10:1.0.0 > 2b 11:0.0.0 x18 exit\n"
              "  call g 12:2 x10\n");
}

TEST_F(LoadTest, two_rows_of_one_function_add_up) {
    EXPECT_EQ(profile_of("INSERT INTO sf_filenames VALUES (1, 'A.C'), (2, 'a.c');"
                         "INSERT INTO sf_functions VALUES (1, 'f', 1, 7, 1), (2, 'f', 2, 8, 0)"),
              "f in A.C x15 flags 1\n");
}

TEST_F(LoadTest, of_one_joined_text_the_first_sighting_gives_the_names) {
    EXPECT_EQ(profile_of("INSERT INTO sf_filenames VALUES (1, 'C'), (2, 'B/C');"
                         "INSERT INTO sf_functions VALUES (1, 'a/B', 1, 7, 0), (2, 'a', 2, 8, 0)"),
              "a/B in C x15 flags 0\n");
}

// Proxies

TEST_F(LoadTest, a_proxy_load_makes_proxies_with_the_rows_ids) {
    create(
        "INSERT INTO sf_filenames VALUES (1, 'A.C');"
        "INSERT INTO sf_functions VALUES (4, 'f', 1, 7, 3)");
    EXPECT_TRUE(load(set, true));
    ASSERT_EQ(set.records_by_key().size(), 1U);
    FunctionRecordInterface* const record = set.records_by_key()[0];
    ASSERT_TRUE(record->is_proxy());
    EXPECT_EQ(record->get_proxy()->function_id(), 4U);
    EXPECT_EQ(record->get_exec_count(), 7U);
    EXPECT_EQ(record->get_full_record()->function_flags(), 3U);
}

TEST_F(LoadTest, a_proxy_load_reads_four_texts_and_no_edges_or_calls) {
    create(
        "INSERT INTO sf_functions VALUES (1, 'f', 0, 7, 0);"
        "INSERT INTO sf_calls VALUES (1, 0, 0, NULL, 0)");
    const StatementLog log;
    ASSERT_EQ(database.open_readonly(path.c_str()), DbOpenOk);
    StatementLog::text().clear();
    EXPECT_EQ(traced(diag::TRACE_DB_ERRORS,
                     [&] { EXPECT_TRUE(database.read_function_records(set, factory, true)); }),
              "");
    EXPECT_EQ(StatementLog::text(),
              "SELECT * FROM sf_run_info WHERE sf_key='num_runs'\n"
              "SELECT MAX(sf_id) FROM sf_filenames\n"
              "SELECT * FROM sf_filenames\n"
              "SELECT * FROM sf_functions\n");
}

TEST_F(LoadTest, a_second_row_of_a_proxys_function_keeps_the_id_and_assigns_count_and_flags) {
    create(
        "INSERT INTO sf_filenames VALUES (1, 'A.C'), (2, 'a.c');"
        "INSERT INTO sf_functions VALUES (1, 'f', 1, 7, 3), (2, 'f', 2, 8, 0)");
    EXPECT_TRUE(load(set, true));
    ASSERT_EQ(set.records_by_key().size(), 1U);
    FunctionRecordProxy* const proxy = set.records_by_key()[0]->get_proxy();
    EXPECT_EQ(proxy->function_id(), 1U);
    EXPECT_EQ(proxy->get_exec_count(), 8U);
    EXPECT_EQ(proxy->get_full_record()->function_flags(), 0U);
}

TEST_F(LoadTest, an_edge_of_0_loads_with_a_proxys_record) {
    create(
        "INSERT INTO sf_functions VALUES (1, 'f', 0, 0, 0);"
        "INSERT INTO sf_edges VALUES (1, 26, 10, 0, 0, 0, 1, 43, 11, 0, 0, 0, 0, 0)");
    EXPECT_TRUE(load(set, true));
    EXPECT_EQ(profile_text(set),
              "f in  x0 flags 0\n"
              "  edge 1a 10:0.0.0 > 2b 11:0.0.0 x0\n");
}

// Traces

TEST_F(LoadTest, traces_each_proxy_with_the_file_name_as_stored) {
    create(
        "INSERT INTO sf_filenames VALUES (1, 'a.c');"
        "INSERT INTO sf_functions VALUES (1, 'f', 1, 7, 0), (2, 'g', 0, 8, 0)");
    EXPECT_EQ(traced(diag::TRACE_DB_LOAD, [&] { EXPECT_TRUE(load(set, true)); }),
              "Load function: a.c(f): proxy created\n"
              "Load function: (g): proxy created\n");
}

TEST_F(LoadTest, traces_each_full_record) {
    create(
        "INSERT INTO sf_filenames VALUES (1, 'a.c');"
        "INSERT INTO sf_functions VALUES (1, 'f', 1, 7, 0)");
    EXPECT_EQ(traced(diag::TRACE_DB_LOAD, [&] { EXPECT_TRUE(load(set)); }),
              "Load function: a.c(f): full record loaded created\n");
}

TEST_F(LoadTest, is_silent_without_the_load_bit) {
    create("INSERT INTO sf_functions VALUES (1, 'f', 0, 7, 0)");
    const std::uint32_t bits = diag::TRACE_DB_LOAD | diag::TRACE_DB_CALLS;
    EXPECT_EQ(traced(~bits, [&] { EXPECT_TRUE(load(set)); }), "");
}

// Run counts

TEST_F(LoadTest, a_run_count_is_added) { EXPECT_EQ(runs_of("'3'"), 13U); }
TEST_F(LoadTest, a_run_count_of_0_adds_nothing) { EXPECT_EQ(runs_of("'0'"), 10U); }
TEST_F(LoadTest, a_run_count_of_minus_1_adds_nothing) { EXPECT_EQ(runs_of("'-1'"), 10U); }
TEST_F(LoadTest, any_other_negative_run_count_adds_in_32_bits) { EXPECT_EQ(runs_of("'-2'"), 8U); }
TEST_F(LoadTest, the_smallest_run_count_adds_in_32_bits) {
    EXPECT_EQ(runs_of("'-2147483648'"), 2147483658U);
}
TEST_F(LoadTest, a_run_count_keeps_its_low_32_bits) { EXPECT_EQ(runs_of("'4294967299'"), 13U); }
TEST_F(LoadTest, a_run_count_whose_low_bits_are_all_set_adds_nothing) {
    EXPECT_EQ(runs_of("'4294967295'"), 10U);
}
TEST_F(LoadTest, a_run_count_beyond_64_bits_is_minus_1) {
    EXPECT_EQ(runs_of("'99999999999999999999'"), 10U);
}
TEST_F(LoadTest, a_run_count_far_below_0_is_0) {
    EXPECT_EQ(runs_of("'-99999999999999999999'"), 10U);
}
TEST_F(LoadTest, a_run_count_without_digits_is_0) { EXPECT_EQ(runs_of("'many'"), 10U); }
TEST_F(LoadTest, a_run_count_of_null_adds_nothing) { EXPECT_EQ(runs_of("NULL"), 10U); }
TEST_F(LoadTest, a_run_count_may_be_a_blob) { EXPECT_EQ(runs_of("x'3132'"), 22U); }
TEST_F(LoadTest, a_run_count_may_be_real) { EXPECT_EQ(runs_of("3.9"), 13U); }

TEST_F(LoadTest, the_runs_stay_added_where_the_load_fails) {
    create(
        "INSERT INTO sf_run_info VALUES ('num_runs', '3');"
        "INSERT INTO sf_functions VALUES (1, 'f', 9, 7, 0)");
    EXPECT_FALSE(load(set));
    EXPECT_EQ(set.num_runs(), 3U);
}

// Cells of function rows

TEST_F(LoadTest, a_count_of_more_than_32_bits_is_kept) {
    EXPECT_EQ(exec_count_of("4294967296"), 4294967296U);
}
TEST_F(LoadTest, a_negative_count_keeps_its_bits) {
    EXPECT_EQ(exec_count_of("-1"), 0xFFFFFFFFFFFFFFFF);
}
TEST_F(LoadTest, the_smallest_count_keeps_its_bits) {
    EXPECT_EQ(exec_count_of("-9223372036854775807 - 1"), 0x8000000000000000);
}
TEST_F(LoadTest, a_count_of_null_is_0) { EXPECT_EQ(exec_count_of("NULL"), 0U); }
TEST_F(LoadTest, a_real_count_ends_at_its_point) { EXPECT_EQ(exec_count_of("12.75"), 12U); }
TEST_F(LoadTest, a_huge_real_count_is_read_as_its_text) { EXPECT_EQ(exec_count_of("3e20"), 3U); }
TEST_F(LoadTest, a_count_of_text_is_its_leading_digits) {
    EXPECT_EQ(exec_count_of("'12abc'"), 12U);
}
TEST_F(LoadTest, a_count_of_letters_is_0) { EXPECT_EQ(exec_count_of("'abc'"), 0U); }
TEST_F(LoadTest, a_count_of_hexadecimal_text_is_0) { EXPECT_EQ(exec_count_of("'0x10'"), 0U); }
TEST_F(LoadTest, a_count_of_long_text_saturates) {
    EXPECT_EQ(exec_count_of("'99999999999999999999x'"), 9223372036854775807U);
}
TEST_F(LoadTest, a_count_may_be_a_blob) { EXPECT_EQ(exec_count_of("x'3132'"), 12U); }

TEST_F(LoadTest, further_flags_mean_nothing) {
    EXPECT_EQ(profile_of("INSERT INTO sf_functions VALUES (1, 'd', 0, 0, 4), (2, 'e', 0, 0, 5),"
                         " (3, 'f', 0, 0, -2), (4, 'g', 0, 0, NULL), (5, 'h', 0, 0, '1x'),"
                         " (6, 'i', 0, 0, 4294967296)"),
              "d in  x0 flags 0\n"
              "e in  x0 flags 1\n"
              "f in  x0 flags 2\n"
              "g in  x0 flags 0\n"
              "h in  x0 flags 1\n"
              "i in  x0 flags 0\n");
}

TEST_F(LoadTest, names_of_null_are_empty) {
    EXPECT_EQ(profile_of("INSERT INTO sf_filenames VALUES (1, NULL);"
                         "INSERT INTO sf_functions VALUES (1, NULL, 1, 7, 0)"),
              " in  x7 flags 0\n");
}

TEST_F(LoadTest, names_may_be_blobs) {
    EXPECT_EQ(profile_of("INSERT INTO sf_filenames VALUES (1, x'612E63');"
                         "INSERT INTO sf_functions VALUES (1, x'66', 1, 7, 0)"),
              "f in A.C x7 flags 0\n");
}

TEST_F(LoadTest, names_end_at_a_nul) {
    EXPECT_EQ(profile_of("INSERT INTO sf_filenames VALUES (1, 'a.c' || char(0) || 'x');"
                         "INSERT INTO sf_functions VALUES (1, 'f' || char(0) || 'x', 1, 7, 0)"),
              "f in A.C x7 flags 0\n");
}

TEST_F(LoadTest, a_functions_id_is_read_as_32_bits) {
    create("INSERT INTO sf_functions VALUES (4294967301, 'f', 0, 7, 0), (-2, 'g', 0, 8, 0)");
    EXPECT_TRUE(load(set, true));
    ASSERT_EQ(set.records_by_key().size(), 2U);
    EXPECT_EQ(set.records_by_key()[0]->get_proxy()->function_id(), 5U);
    EXPECT_EQ(set.records_by_key()[1]->get_proxy()->function_id(), 0xFFFFFFFEU);
}

TEST_F(LoadTest, an_id_of_more_than_32_bits_owns_the_edges_of_its_low_bits) {
    EXPECT_EQ(
        profile_of("INSERT INTO sf_functions VALUES (4294967301, 'f', 0, 7, 0);"
                   "INSERT INTO sf_calls VALUES (5, 1, 1, 'g', 3), (4294967301, 2, 2, 'h', 4)"),
        "f in  x7 flags 0\n"
        "  call g 1:1 x3\n");
}

// File ids

TEST_F(LoadTest, file_id_0_of_an_empty_file_table_is_the_empty_name) {
    EXPECT_EQ(profile_of("INSERT INTO sf_functions VALUES (1, 'f', 0, 7, 0)"),
              "f in  x7 flags 0\n");
}

TEST_F(LoadTest, a_file_id_of_null_is_0) {
    EXPECT_EQ(profile_of("INSERT INTO sf_functions VALUES (1, 'f', NULL, 7, 0)"),
              "f in  x7 flags 0\n");
}

TEST_F(LoadTest, a_file_id_without_a_row_is_the_empty_name) {
    EXPECT_EQ(profile_of("INSERT INTO sf_filenames VALUES (3, 'C.C');"
                         "INSERT INTO sf_functions VALUES (1, 'f', 2, 7, 0), (2, 'g', 3, 8, 0)"),
              "f in  x7 flags 0\n"
              "g in C.C x8 flags 0\n");
}

TEST_F(LoadTest, a_file_id_equal_to_the_tables_size_is_invalid) {
    create(
        "INSERT INTO sf_filenames VALUES (1, 'A.C');"
        "INSERT INTO sf_functions VALUES (1, 'f', 2, 7, 0)");
    EXPECT_EQ(traced(diag::TRACE_DB_ERRORS, [&] { EXPECT_FALSE(load(set)); }),
              "Database corrupt. Invalid file_id for f\n"
              "Max file id expected was 2 File id was 2\n");
}

TEST_F(LoadTest, a_larger_file_id_is_invalid) {
    create(
        "INSERT INTO sf_filenames VALUES (1, 'A.C');"
        "INSERT INTO sf_functions VALUES (1, 'f', 3, 7, 0)");
    EXPECT_EQ(traced(diag::TRACE_DB_ERRORS, [&] { EXPECT_FALSE(load(set)); }),
              "Database corrupt. Invalid file_id for f\n"
              "Max file id expected was 2 File id was 3\n");
}

TEST_F(LoadTest, a_negative_file_id_is_invalid) {
    create("INSERT INTO sf_functions VALUES (1, 'f', -1, 7, 0)");
    EXPECT_EQ(traced(diag::TRACE_DB_ERRORS, [&] { EXPECT_FALSE(load(set)); }),
              "Database corrupt. Invalid file_id for f\n"
              "Max file id expected was 1 File id was 4294967295\n");
}

TEST_F(LoadTest, a_file_id_keeps_its_low_32_bits) {
    EXPECT_EQ(profile_of("INSERT INTO sf_filenames VALUES (1, 'A.C');"
                         "INSERT INTO sf_functions VALUES (1, 'f', 4294967297, 7, 0)"),
              "f in A.C x7 flags 0\n");
}

TEST_F(LoadTest, an_invalid_file_id_is_silent_without_bits) {
    create("INSERT INTO sf_functions VALUES (1, 'f', 1, 7, 0)");
    EXPECT_EQ(captured_stderr([&] { EXPECT_FALSE(load(set)); }), "");
}

TEST_F(LoadTest, records_before_an_invalid_file_id_stay_and_later_ones_dont_come) {
    create(
        "INSERT INTO sf_functions VALUES (1, 'f', 0, 7, 0), (2, 'g', 1, 8, 0),"
        " (3, 'h', 0, 9, 0)");
    EXPECT_FALSE(load(set));
    EXPECT_EQ(profile_text(set), "f in  x7 flags 0\n");
}

TEST_F(LoadTest, the_largest_32_bit_file_id_costs_no_memory) {
    EXPECT_EQ(profile_of("INSERT INTO sf_filenames VALUES (1, 'A.C'), (2147483647, 'Z.C');"
                         "INSERT INTO sf_functions VALUES (1, 'f', 1, 7, 0),"
                         " (2, 'g', 2147483647, 8, 0), (3, 'h', 2147483646, 9, 0)"),
              "f in A.C x7 flags 0\n"
              "g in Z.C x8 flags 0\n"
              "h in  x9 flags 0\n");
}

TEST_F(LoadTest, file_ids_from_2_to_the_31st_on_are_like_others) {
    EXPECT_EQ(profile_of("INSERT INTO sf_filenames VALUES (1, 'A.C'), (2147483648, 'Y.C'),"
                         " (4294967294, 'Z.C');"
                         "INSERT INTO sf_functions VALUES (1, 'f', 1, 7, 0),"
                         " (2, 'g', -2147483648, 8, 0), (3, 'h', 4294967294, 9, 0),"
                         " (4, 'i', 2147483649, 10, 0)"),
              "f in A.C x7 flags 0\n"
              "g in Y.C x8 flags 0\n"
              "h in Z.C x9 flags 0\n"
              "i in  x10 flags 0\n");
}

TEST_F(LoadTest, a_file_id_above_the_largest_is_invalid_from_2_to_the_31st_on_too) {
    create(
        "INSERT INTO sf_filenames VALUES (4294967293, 'Z.C');"
        "INSERT INTO sf_functions VALUES (1, 'f', -2, 7, 0)");
    EXPECT_EQ(traced(diag::TRACE_DB_ERRORS, [&] { EXPECT_FALSE(load(set)); }),
              "Database corrupt. Invalid file_id for f\n"
              "Max file id expected was 4294967294 File id was 4294967294\n");
}

TEST_F(LoadTest, a_largest_file_id_of_2_to_the_32nd_leaves_one_element_with_its_name) {
    EXPECT_EQ(profile_of("INSERT INTO sf_filenames VALUES (4294967296, 'Z.C');"
                         "INSERT INTO sf_functions VALUES (1, 'f', 0, 7, 0)"),
              "f in Z.C x7 flags 0\n");
}

TEST_F(LoadTest, the_largest_file_id_of_all_leaves_room_for_every_id) {
    EXPECT_EQ(profile_of("INSERT INTO sf_filenames VALUES (9223372036854775807, 'Z.C');"
                         "INSERT INTO sf_functions VALUES (1, 'f', 0, 7, 0), (2, 'g', -1, 8, 0)"),
              "f in  x7 flags 0\n"
              "g in Z.C x8 flags 0\n");
}

TEST_F(LoadTest, negative_file_ids_are_the_largest_unsigned_ones) {
    EXPECT_EQ(profile_of("INSERT INTO sf_filenames VALUES (-5, 'A.C'), (-1, 'B.C');"
                         "INSERT INTO sf_functions VALUES (1, 'f', 0, 7, 0), (2, 'g', -5, 8, 0),"
                         " (3, 'h', 4294967295, 9, 0)"),
              "f in  x7 flags 0\n"
              "g in A.C x8 flags 0\n"
              "h in B.C x9 flags 0\n");
}

// Tables of another shape

class OtherShapes : public LoadTest {
protected:
    std::string profile_with(const std::string& sql) {
        create_with(sql);
        EXPECT_TRUE(load(set));
        return profile_text(set);
    }
    const std::string filenames = test_support::filenames_sql;
    const std::string functions = test_support::functions_sql;
    const std::string edges = test_support::edges_sql;
    const std::string calls = test_support::calls_sql;
};

TEST_F(OtherShapes, further_columns_dont_shift_the_rows) {
    EXPECT_EQ(profile_of("ALTER TABLE sf_filenames ADD COLUMN more;"
                         "ALTER TABLE sf_functions ADD COLUMN more;"
                         "ALTER TABLE sf_functions ADD COLUMN still;"
                         "ALTER TABLE sf_edges ADD COLUMN more;"
                         "ALTER TABLE sf_calls ADD COLUMN more;"
                         "INSERT INTO sf_filenames VALUES (1, 'A.C', 'x'), (2, 'B.C', 'y');"
                         "INSERT INTO sf_functions VALUES (1, 'f', 1, 7, 0, 'x', 1),"
                         " (2, 'g', 2, 8, 3, 'y', 2);"
                         "INSERT INTO sf_edges VALUES"
                         " (1, 26, 10, 0, 0, 0, 1, 43, 11, 0, 0, 0, 9, 1, 5);"
                         "INSERT INTO sf_calls VALUES (2, 12, 2, 'h', 5, 6)"),
              "f in A.C x7 flags 0\n"
              "  edge 1a 10:0.0.0 > 2b 11:0.0.0 x9 entry\n"
              "g in B.C x8 flags 3\n"
              "  call h 12:2 x5\n");
}

TEST_F(OtherShapes, a_missing_last_column_of_functions_reads_as_0) {
    EXPECT_EQ(profile_with(filenames + edges + calls +
                           "CREATE TABLE sf_functions (sf_id INTEGER PRIMARY KEY, sf_func_name,"
                           " sf_file_id, sf_exec_count);"
                           "INSERT INTO sf_functions VALUES (1, 'f', 0, 7), (2, 'g', 0, 8)"),
              "f in  x7 flags 0\n"
              "g in  x8 flags 0\n");
}

TEST_F(OtherShapes, columns_are_taken_by_their_place) {
    EXPECT_EQ(profile_with(filenames + edges + calls +
                           "CREATE TABLE sf_functions (sf_id INTEGER PRIMARY KEY, sf_func_name,"
                           " sf_exec_count, sf_file_id, sf_flags);"
                           "INSERT INTO sf_functions VALUES (1, 'f', 0, 7, 1)"),
              "f in  x7 flags 1\n");
}

TEST_F(OtherShapes, a_file_tables_columns_are_taken_by_their_place) {
    EXPECT_EQ(profile_with(functions + edges + calls +
                           "CREATE TABLE sf_filenames (sf_filename, sf_id);"
                           "INSERT INTO sf_filenames VALUES ('1', 2);"
                           "INSERT INTO sf_functions VALUES (1, 'f', 1, 7, 0),"
                           " (2, 'g', 2, 8, 0)"),
              "f in 2 x7 flags 0\n"
              "g in  x8 flags 0\n");
}

TEST_F(OtherShapes, of_two_rows_of_one_file_id_the_last_gives_the_name) {
    EXPECT_EQ(profile_with(functions + edges + calls +
                           "CREATE TABLE sf_filenames (sf_id INTEGER, sf_filename TEXT);"
                           "INSERT INTO sf_filenames VALUES (1, 'A.C'), (1, 'B.C');"
                           "INSERT INTO sf_functions VALUES (1, 'f', 1, 7, 0)"),
              "f in B.C x7 flags 0\n");
}

TEST_F(OtherShapes, tables_without_indexes_load_alike) {
    EXPECT_EQ(profile_of("DROP INDEX idx1; DROP INDEX idx2;"
                         "INSERT INTO sf_functions VALUES (1, 'f', 0, 7, 0);"
                         "INSERT INTO sf_calls VALUES (1, 1, 2, 'g', 3)"),
              "f in  x7 flags 0\n"
              "  call g 1:2 x3\n");
}

// Edges

TEST_F(LoadTest, an_edge_count_of_2_to_the_32nd_is_0_and_marks_nothing) {
    EXPECT_EQ(edges_of("26, 10, 0, 0, 0, 1, 43, 11, 0, 0, 0, 4294967296, 0"),
              "  edge 1a 10:0.0.0 > 2b 11:0.0.0 x0\n");
    EXPECT_FALSE(set.find_record("", "f")->has_counts());
}

TEST_F(LoadTest, an_edge_count_with_bit_31_set_comes_back_sign_extended) {
    EXPECT_EQ(edges_of("26, 10, 0, 0, 0, 1, 43, 11, 0, 0, 0, 2147483648, 0"),
              "  edge 1a 10:0.0.0 > 2b 11:0.0.0 x18446744071562067968\n");
    EXPECT_TRUE(set.find_record("", "f")->has_counts());
}

TEST_F(LoadTest, an_edge_count_of_more_than_32_bits_keeps_the_low_ones) {
    EXPECT_EQ(edges_of("26, 10, 0, 0, 0, 1, 43, 11, 0, 0, 0, 4294967303, 0"),
              "  edge 1a 10:0.0.0 > 2b 11:0.0.0 x7\n");
}

TEST_F(LoadTest, an_edge_count_of_minus_1_wraps) {
    EXPECT_EQ(edges_of("26, 10, 0, 0, 0, 1, 43, 11, 0, 0, 0, -1, 0"),
              "  edge 1a 10:0.0.0 > 2b 11:0.0.0 x18446744073709551615\n");
}

TEST_F(LoadTest, addresses_keep_64_bits_and_lines_32) {
    EXPECT_EQ(edges_of("-1, -2, -3, 0, 0, 1, 4294967296, 4294967297, 4294967298, 0, 0, 1, 0"),
              "  edge ffffffffffffffff 4294967294:4294967293.0.0 > 100000000 1:2.0.0 x1\n");
}

TEST_F(LoadTest, columns_and_discriminators_keep_16_bits) {
    EXPECT_EQ(edges_of("26, 10, 0, 65537, 65538, 1, 43, 11, 0, -1, 131075, 1, 0"),
              "  edge 1a 10:0.1.2 > 2b 11:0.65535.3 x1\n");
}

TEST_F(LoadTest, the_far_function_of_an_edge_isnt_read) {
    EXPECT_EQ(edges_of("26, 10, 0, 0, 0, 'anything', 43, 11, 0, 0, 0, 1, 0"),
              "  edge 1a 10:0.0.0 > 2b 11:0.0.0 x1\n");
}

TEST_F(LoadTest, edge_cells_of_null_are_0) {
    EXPECT_EQ(edges_of("NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, "
                       "NULL"),
              "  edge 0 0:0.0.0 > 0 0:0.0.0 x0\n");
}

TEST_F(LoadTest, edge_cells_may_be_texts_reals_and_blobs) {
    EXPECT_EQ(edges_of("'26x', 10.9, 'x', x'37', -0.5, 1, 43.5, '11 ', 0, 0, 0, '5e', 2.9"),
              "  edge 1a 10:0.7.0 > 2b 11:0.0.0 x5 exit\n");
}

TEST_F(LoadTest, further_edge_flags_mean_nothing) {
    EXPECT_EQ(edges_of("26, 10, 0, 0, 0, 1, 43, 11, 0, 0, 0, 1, 4294967300"),
              "  edge 1a 10:0.0.0 > 2b 11:0.0.0 x1\n");
}

TEST_F(LoadTest, negative_edge_flags_set_both) {
    EXPECT_EQ(edges_of("26, 10, 0, 0, 0, 1, 43, 11, 0, 0, 0, 1, -1"),
              "  edge 1a 10:0.0.0 > 2b 11:0.0.0 x1 entry exit\n");
}

TEST_F(LoadTest, a_second_row_of_an_edge_adds_its_count_and_overwrites_the_flags) {
    EXPECT_EQ(edges_of("26, 10, 1, 0, 0, 1, 43, 11, 0, 0, 0, 5, 3), "
                       "(1, 26, 10, 2, 0, 0, 1, 43, 11, 0, 0, 0, 6, 0"),
              "  edge 1a 10:1.0.0 > 2b 11:0.0.0 x11\n");
}

TEST_F(LoadTest, a_second_row_at_another_place_loses_its_count_but_not_its_flags) {
    EXPECT_EQ(edges_of("26, 10, 0, 0, 0, 1, 43, 11, 0, 0, 0, 5, 1), "
                       "(1, 26, 12, 0, 0, 0, 1, 43, 11, 0, 0, 0, 6, 2"),
              "  edge 1a 10:0.0.0 > 2b 11:0.0.0 x5 exit\n");
}

// Calls

TEST_F(LoadTest, call_counts_keep_64_bits) {
    EXPECT_EQ(calls_of("(1, 12, 2, 'g', 4294967296), (1, 13, 3, 'g', -1)"),
              "  call g 12:2 x4294967296\n"
              "  call g 13:3 x18446744073709551615\n");
}

TEST_F(LoadTest, rows_of_one_call_add_up_and_keep_the_first_relative_line) {
    EXPECT_EQ(calls_of("(1, 12, 2, 'g', 4), (1, 12, 3, 'g', 5)"), "  call g 12:2 x9\n");
}

TEST_F(LoadTest, call_lines_keep_32_bits) {
    EXPECT_EQ(calls_of("(1, -1, 4294967297, 'g', 4)"), "  call g 4294967295:1 x4\n");
}

TEST_F(LoadTest, call_cells_of_null_are_0) {
    EXPECT_EQ(calls_of("(1, NULL, NULL, 'g', NULL)"), "  call g 0:0 x0\n");
}

TEST_F(LoadTest, a_callee_may_be_empty_a_blob_or_end_at_a_nul) {
    EXPECT_EQ(calls_of("(1, 1, 0, '', 4), (1, 2, 0, x'67', 5), (1, 3, 0, x'', 6),"
                       " (1, 4, 0, 'h' || char(0) || 'i', 7), (1, 5, 0, 8, 9)"),
              "  call  1:0 x4\n"
              "  call  3:0 x6\n"
              "  call 8 5:0 x9\n"
              "  call g 2:0 x5\n"
              "  call h 4:0 x7\n");
}

TEST_F(LoadTest, a_callee_of_null_is_skipped_and_traced) {
    create(
        "INSERT INTO sf_functions VALUES (4, 'f', 0, 7, 0);"
        "INSERT INTO sf_calls VALUES (4, 1, 0, 'g', 4), (4, 2, 0, NULL, 5), (4, 3, 0, 'h', 6)");
    EXPECT_EQ(traced(diag::TRACE_DB_ERRORS, [&] { EXPECT_TRUE(load(set)); }),
              "Corrupted DB: Callee name missing for function. func_id = 4\n");
    EXPECT_EQ(profile_text(set),
              "f in  x7 flags 0\n"
              "  call g 1:0 x4\n"
              "  call h 3:0 x6\n");
}

TEST_F(LoadTest, each_callee_of_null_is_traced) {
    create(
        "INSERT INTO sf_functions VALUES (-1, 'f', 0, 7, 0);"
        "INSERT INTO sf_calls VALUES (-1, 1, 0, NULL, 4), (-1, 2, 0, NULL, 5)");
    EXPECT_EQ(traced(diag::TRACE_DB_ERRORS, [&] { EXPECT_TRUE(load(set)); }),
              "Corrupted DB: Callee name missing for function. func_id = 4294967295\n"
              "Corrupted DB: Callee name missing for function. func_id = 4294967295\n");
}

TEST_F(LoadTest, a_callee_of_null_is_silent_without_bits) {
    EXPECT_EQ(captured_stderr([&] { EXPECT_EQ(calls_of("(1, 1, 0, NULL, 4)"), ""); }), "");
}

TEST_F(LoadTest, the_callee_trace_stands_within_the_load_trace) {
    create(
        "INSERT INTO sf_functions VALUES (1, 'f', 0, 7, 0);"
        "INSERT INTO sf_calls VALUES (1, 1, 0, NULL, 4)");
    EXPECT_EQ(traced(diag::TRACE_DB_ERRORS | diag::TRACE_DB_LOAD, [&] { EXPECT_TRUE(load(set)); }),
              "Load function: (f)Corrupted DB: Callee name missing for function. func_id = 1\n"
              ": full record loaded created\n");
}

TEST_F(LoadTest, details_are_always_loaded_with_success) {
    create();
    ASSERT_EQ(database.open_readonly(path.c_str()), DbOpenOk);
    run("DROP TABLE sf_edges; DROP TABLE sf_calls");
    FunctionRecord* const record = set.find_or_create_record("A.C", "f");
    EXPECT_EQ(traced(all_trace_bits,
                     [&] { EXPECT_TRUE(database.load_function_details(1, factory, *record)); }),
              "");
    EXPECT_EQ(profile_text(set), "f in A.C x0 flags 0\n");
}

// Failures of tables

TEST_F(LoadTest, a_missing_file_table_is_a_silent_failure) {
    create();
    ASSERT_EQ(database.open_readonly(path.c_str()), DbOpenOk);
    run("DROP TABLE sf_filenames");
    EXPECT_EQ(traced(all_trace_bits,
                     [&] { EXPECT_FALSE(database.read_function_records(set, factory, false)); }),
              "");
}

TEST_F(LoadTest, a_file_table_that_cant_be_read_whole_is_traced) {
    create_with(test_support::functions_sql + test_support::edges_sql + test_support::calls_sql +
                "CREATE TABLE t (sf_id, sf_filename);"
                "CREATE VIEW sf_filenames AS SELECT sf_id, abs(sf_filename) AS sf_filename FROM t;"
                "CREATE TRIGGER i INSTEAD OF INSERT ON sf_filenames BEGIN SELECT 1; END;"
                "INSERT INTO t VALUES (1, -9223372036854775807 - 1)");
    EXPECT_EQ(traced(diag::TRACE_DB_ERRORS, [&] { EXPECT_FALSE(load(set)); }),
              "SampleDB::load_filenames_table: SQL error: integer overflow\n");
}

TEST_F(LoadTest, a_missing_function_table_is_traced_with_a_blank_before_the_colon) {
    create("INSERT INTO sf_run_info VALUES ('num_runs', '3')");
    ASSERT_EQ(database.open_readonly(path.c_str()), DbOpenOk);
    run("DROP TABLE sf_functions");
    EXPECT_EQ(traced(diag::TRACE_DB_ERRORS,
                     [&] { EXPECT_FALSE(database.read_function_records(set, factory, false)); }),
              "SampleDB::read_function_records: SQL error : no such table: sf_functions\n");
    EXPECT_EQ(set.num_runs(), 3U);
}

// Another process that writes while the file is read, at the first read and at one of the last.
TEST_F(LoadTest, a_full_load_reads_one_state_of_the_file) {
    create(
        "INSERT INTO sf_functions VALUES (1, 'f', 0, 5, 0), (2, 'g', 0, 6, 0);"
        "INSERT INTO sf_calls VALUES (2, 1, 2, 'h', 3)");
    for (const char* const moment : {"SELECT * FROM sf_run_info", "SELECT * FROM sf_calls"}) {
        int refused = 0;
        const test_support::StatementHook hook(moment, [&] {
            sqlite3* other = nullptr;
            EXPECT_EQ(sqlite3_open(path.c_str(), &other), SQLITE_OK);
            if (sqlite3_exec(other, "UPDATE sf_calls SET sf_exec_count = 9", nullptr, nullptr,
                             nullptr) == SQLITE_BUSY)
                ++refused;
            sqlite3_close(other);
        });
        SampleDB input;
        ASSERT_EQ(input.open_readonly(path.c_str()), DbOpenOk);
        FunctionRecordSet loaded(factory);
        EXPECT_TRUE(input.read_function_records(loaded, factory, false));
        EXPECT_GT(refused, 0) << moment;
        EXPECT_EQ(profile_text(loaded),
                  "f in  x5 flags 0\n"
                  "g in  x6 flags 0\n"
                  "  call h 1:2 x3\n")
            << moment;
    }
}

TEST_F(LoadTest, a_locked_file_is_a_silent_failure) {
    create();
    ASSERT_EQ(database.open_readonly(path.c_str()), DbOpenOk);
    const RawDatabase other(path);
    other.run("BEGIN EXCLUSIVE");
    EXPECT_EQ(traced(all_trace_bits,
                     [&] { EXPECT_FALSE(database.read_function_records(set, factory, false)); }),
              "");
}

TEST_F(LoadTest, failures_of_tables_are_silent_without_bits) {
    create();
    ASSERT_EQ(database.open_readonly(path.c_str()), DbOpenOk);
    run("DROP TABLE sf_functions");
    EXPECT_EQ(
        captured_stderr([&] { EXPECT_FALSE(database.read_function_records(set, factory, false)); }),
        "");
}

}  // namespace
}  // namespace hotpath
