// Merging into a database that holds something: what adds up, what stays, and what is rewritten.
#include "cli_support.h"

namespace cli {
namespace {

class Append : public CliTest {
protected:
    // The profile of a database with these rows after the edge file was merged into it.
    std::string appended(const std::string& statements, std::string_view edge_file) const {
        write("a.csv", edge_file);
        std::filesystem::remove(path("x"));
        make_database("x", statements);
        merge("a.csv", "-append", "x");
        return profile("x");
    }

    // The run count of a database with this row after one more run.
    std::string runs_after(const std::string& row) const {
        appended(row.empty() ? "" : "INSERT INTO sf_run_info VALUES " + row + ";", one_edge);
        return rows("x", "SELECT sf_value FROM sf_run_info");
    }
};

TEST_F(Append, makes_the_database_where_there_is_none) {
    write("a.csv", one_edge);
    EXPECT_EQ(run_plain({"-file", "a.csv", "-append", "x"}), (Outcome{0, "", merged(1)}));
    EXPECT_EQ(profile("x"), one_edge_profile);
    EXPECT_EQ(runs("x"), "num_runs|1\n");
}

TEST_F(Append, the_same_file_twice_doubles_every_count) {
    const std::string file = ten_columns +
                             "10,Cond,a.c,1,f,20,a.c,2,f,5\n10,Call,a.c,1,f,20,a.c,2,"
                             "g,6\n30,Ret,a.c,3,f,40,b.c,1,h,7\n";
    EXPECT_EQ(appended("", file),
              "f in A.C x7 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x5\n"
              "  call g 1:0 x6\n"
              "g in A.C x6 flags 0\n");
    merge("a.csv", "-append", "x");
    EXPECT_EQ(profile("x"),
              "f in A.C x14 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x10\n"
              "  call g 1:0 x12\n"
              "g in A.C x12 flags 0\n");
    EXPECT_EQ(runs("x"), "num_runs|2\n");
}

TEST_F(Append, without_readable_input_leaves_the_file_alone) {
    make_database("x", one_edge_rows);
    const std::string before = read("x");
    EXPECT_EQ(run_plain({"-file", "gone", "-append", "x"}),
              (Outcome{0, "", cannot_open("gone") + merged(0)}));
    EXPECT_TRUE(read("x") == before);
}

TEST_F(Append, without_readable_input_does_not_look_at_the_target) {
    write("x", "no database");
    EXPECT_EQ(run_plain({"-file", "gone", "-append", "x"}),
              (Outcome{0, "", cannot_open("gone") + merged(0)}));
}

TEST_F(Append, an_input_with_a_header_alone_counts_as_a_run) {
    EXPECT_EQ(appended(one_edge_rows, ten_columns), one_edge_profile);
    EXPECT_EQ(runs("x"), "num_runs|2\n");
}

// --- Which function is which

TEST_F(Append, other_functions_and_files_are_added_at_the_end) {
    EXPECT_EQ(
        appended(one_edge_rows, ten_columns + "1,x,a.c,1,e,2,a.c,1,e,1\n1,x,b.c,1,f,2,b.c,1,f,"
                                              "2\n"),
        one_edge_profile +
            "e in A.C x0 flags 0\n"
            "  edge 1 1:0.0.0 > 2 1:0.0.0 x1\n"
            "f in B.C x0 flags 0\n"
            "  edge 1 1:0.0.0 > 2 1:0.0.0 x2\n");
    EXPECT_EQ(rows("x", "SELECT * FROM sf_filenames ORDER BY sf_id"), "1|A.C\n2|B.C\n");
}

TEST_F(Append, function_names_are_compared_with_case) {
    EXPECT_EQ(appended(one_edge_rows, ten_columns + "1,x,a.c,1,F,2,a.c,1,F,1\n"),
              one_edge_profile +
                  "F in A.C x0 flags 0\n"
                  "  edge 1 1:0.0.0 > 2 1:0.0.0 x1\n");
}

TEST_F(Append, untouched_functions_keep_their_rows) {
    appended(one_edge_rows +
                 "INSERT INTO sf_functions VALUES(2, 'g', 1, 9, 3);"
                 "INSERT INTO sf_edges VALUES(2, 1, 1, 1, 1, 1, 77, 2, 2, 2, 2, 2, 4294967301, 7);"
                 "INSERT INTO sf_calls VALUES(2, 1, 1, NULL, 3);",
             one_edge);
    EXPECT_EQ(rows("x", "SELECT rowid, * FROM sf_edges WHERE sf_from_func_id=2"),
              "2|2|1|1|1|1|1|77|2|2|2|2|2|4294967301|7\n");
    EXPECT_EQ(rows("x", "SELECT rowid, * FROM sf_calls"), "1|2|1|1|NULL|3\n");
    EXPECT_EQ(rows("x", "SELECT * FROM sf_functions WHERE sf_id=2"), "2|g|1|9|3\n");
}

TEST_F(Append, an_updated_functions_rows_move_behind_the_others_and_its_id_stays) {
    appended(one_edge_rows +
                 "INSERT INTO sf_functions VALUES(2, 'g', 1, 0, 0);"
                 "INSERT INTO sf_edges VALUES(2, 1, 1, 0, 0, 0, 2, 2, 2, 0, 0, 0, 9, 0);",
             one_edge);
    EXPECT_EQ(rows("x",
                   "SELECT sf_from_func_id, sf_to_func_id, sf_exec_count FROM sf_edges "
                   "ORDER BY rowid"),
              "2|2|9\n"
              "1|1|10\n");
}

TEST_F(Append, an_input_without_a_file_name_merges_into_the_first_function_of_its_name) {
    EXPECT_EQ(appended("INSERT INTO sf_filenames VALUES(1, 'A.C'), (2, 'B.C');"
                       "INSERT INTO sf_functions VALUES(1, 'f', 2, 1, 0), (2, 'f', 1, 2, 0);",
                       ten_columns + "1,Ret,,1,f,2,x.c,1,g,10\n"),
              "f in B.C x11 flags 0\n"
              "f in A.C x2 flags 0\n");
}

TEST_F(Append, an_input_without_a_file_name_is_added_where_its_name_is_new) {
    EXPECT_EQ(appended(one_edge_rows, ten_columns + "1,Ret,,1,g,2,x.c,1,h,10\n"),
              one_edge_profile + "g in  x10 flags 0\n");
}

TEST_F(Append, a_function_without_a_file_name_takes_in_no_other) {
    EXPECT_EQ(appended("INSERT INTO sf_filenames VALUES(1, '');"
                       "INSERT INTO sf_functions VALUES(1, 'f', 1, 1, 0);",
                       ten_columns + "1,Ret,a.c,1,f,2,x.c,1,g,10\n"),
              "f in  x1 flags 0\n"
              "f in A.C x10 flags 0\n");
}

TEST_F(Append, a_file_stored_in_lower_case_matches_and_stays) {
    EXPECT_EQ(appended("INSERT INTO sf_filenames VALUES(1, 'a.c');"
                       "INSERT INTO sf_functions VALUES(1, 'f', 1, 1, 0);",
                       ten_columns + "1,Ret,A.c,1,f,2,x.c,1,g,10\n"),
              "f in a.c x11 flags 0\n");
}

TEST_F(Append, a_file_stored_in_lower_case_is_not_the_file_of_an_added_function) {
    EXPECT_EQ(appended("INSERT INTO sf_filenames VALUES(1, 'a.c');"
                       "INSERT INTO sf_functions VALUES(1, 'f', 1, 1, 0);",
                       ten_columns + "1,Ret,A.c,1,g,2,x.c,1,h,10\n"),
              "f in a.c x1 flags 0\n"
              "g in A.C x10 flags 0\n");
    EXPECT_EQ(rows("x", "SELECT * FROM sf_filenames ORDER BY sf_id"), "1|a.c\n2|A.C\n");
}

TEST_F(Append, of_two_rows_of_one_function_the_first_id_and_the_last_count_stand_together) {
    EXPECT_EQ(appended("INSERT INTO sf_filenames VALUES(1, 'A.C');"
                       "INSERT INTO sf_functions VALUES(1, 'f', 1, 100, 0), (2, 'f', 1, 200, 0);",
                       ten_columns + "1,Ret,a.c,1,f,2,x.c,1,g,10\n"),
              "f in A.C x210 flags 0\n"
              "f in A.C x200 flags 0\n");
}

TEST_F(Append, a_function_that_shares_its_key_with_another_goes_to_the_first_row_of_its_names) {
    // Both rows join to "a/B/C", so the second has no record and its function is added again; the
    // new row's id is then looked up by the names, which finds the row that was there.
    EXPECT_EQ(appended("INSERT INTO sf_filenames VALUES(1, 'C'), (2, 'B/C');"
                       "INSERT INTO sf_functions VALUES(1, 'a/B', 1, 1, 0), (2, 'a', 2, 2, 0);",
                       ten_columns + "1,x,b/c,1,a,2,b/c,1,a,5\n3,Ret,b/c,1,a,2,x.c,1,g,10\n"),
              "a/B in C x1 flags 0\n"
              "a in B/C x2 flags 0\n"
              "  edge 1 1:0.0.0 > 2 1:0.0.0 x5\n"
              "a in B/C x10 flags 0\n");
}

// The first function's record is both, with the second one's count.
TEST_F(Append, of_functions_that_share_a_key_an_input_without_a_file_finds_the_first_alone) {
    EXPECT_EQ(appended("INSERT INTO sf_filenames VALUES(1, 'C'), (2, 'B/C');"
                       "INSERT INTO sf_functions VALUES(1, 'a/B', 1, 1, 0), (2, 'a', 2, 2, 0);",
                       ten_columns + "1,x,,1,a,2,,1,a,5\n1,x,,1,a/B,2,,1,a/B,7\n"),
              "a/B in C x2 flags 0\n"
              "  edge 1 1:0.0.0 > 2 1:0.0.0 x7\n"
              "a in B/C x2 flags 0\n"
              "a in  x0 flags 0\n"
              "  edge 1 1:0.0.0 > 2 1:0.0.0 x5\n");
}

// --- What adds up and what stays

TEST_F(Append, edges_and_calls_that_are_new_come_to_those_that_are_there) {
    EXPECT_EQ(appended(one_edge_rows + "INSERT INTO sf_calls VALUES(1, 3, 0, 'g', 4);",
                       ten_columns + "30,x,a.c,0,f,40,a.c,4,f,6\n50,Call,a.c,5,f,60,a.c,1,f.1,7\n"),
              "f in A.C x7 flags 0\n"
              "  edge 30 0:0.0.0 > 40 4:0.0.0 x6\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x5\n"
              "  call f 5:0 x7\n"
              "  call g 3:0 x4\n");
}

TEST_F(Append, where_positions_differ_the_stored_edge_stays_as_it_is) {
    EXPECT_EQ(appended(one_edge_rows, ten_columns + "10,Cond,a.c,1,f,20,a.c,3,f,7\n"),
              one_edge_profile);
}

TEST_F(Append, a_file_with_columns_adds_nothing_to_edges_without) {
    EXPECT_EQ(
        appended(one_edge_rows, position_columns + "10,Cond,a.c,1,f,20,a.c,2,f,7,0,0,5,0,0,0\n"
                                                   "30,Cond,a.c,3,f,40,a.c,4,f,8,0,0,5,6,7,8\n"),
        "f in A.C x0 flags 0\n"
        "  edge 10 1:0.0.0 > 20 2:0.0.0 x5\n"
        "  edge 30 3:0.5.7 > 40 4:0.6.8 x8\n");
}

TEST_F(Append, function_flags_never_change) {
    EXPECT_EQ(appended("INSERT INTO sf_filenames VALUES(1, 'A.C');"
                       "INSERT INTO sf_functions VALUES(1, 'f', 1, 0, 0), (2, 'g', 1, 0, 3), "
                       "(3, 'h', 1, 0, 77);",
                       position_columns + "1,x,a.c,1,f,2,a.c,1,f,5,0,0,1,1,1,1\n"
                                          "1,x,a.c,1,g,2,a.c,1,g,5,0,0,0,0,0,0\n"
                                          "1,x,a.c,1,h,2,a.c,1,h,5,0,0,0,0,0,0\n"),
              "f in A.C x0 flags 0\n"
              "  edge 1 1:0.1.1 > 2 1:0.1.1 x5\n"
              "g in A.C x0 flags 3\n"
              "  edge 1 1:0.0.0 > 2 1:0.0.0 x5\n"
              "h in A.C x0 flags 77\n"
              "  edge 1 1:0.0.0 > 2 1:0.0.0 x5\n");
}

TEST_F(Append, stored_relative_lines_stay) {
    EXPECT_EQ(appended("INSERT INTO sf_filenames VALUES(1, 'A.C');"
                       "INSERT INTO sf_functions VALUES(1, 'f', 1, 0, 0);"
                       "INSERT INTO sf_edges VALUES(1, 16, 1, 7, 0, 0, 1, 32, 2, 8, 0, 0, 5, 0);"
                       "INSERT INTO sf_calls VALUES(1, 3, 9, 'g', 4);",
                       position_columns + "10,Cond,a.c,1,f,20,a.c,2,f,6,1,2,0,0,0,0\n"
                                          "10,Call,a.c,3,f,20,NA,2,g,7,1,2,0,0,0,0\n"),
              "f in A.C x0 flags 0\n"
              "  edge 10 1:7.0.0 > 20 2:8.0.0 x11\n"
              "  call g 3:9 x11\n"
              "g in NA x7 flags 0\n");
}

TEST_F(Append, stored_marks_of_an_edge_stay) {
    EXPECT_EQ(appended("INSERT INTO sf_filenames VALUES(1, 'A.C');"
                       "INSERT INTO sf_functions VALUES(1, 'f', 1, 0, 0);"
                       "INSERT INTO sf_edges VALUES(1, 16, 1, 0, 0, 0, 1, 32, 2, 0, 0, 0, 5, 0), "
                       "(1, 48, 3, 0, 0, 0, 1, 64, 4, 0, 0, 0, 5, 3);",
                       entry_columns + "10,Cond,a.c,1,f,20,a.c,2,f,1,yes\n"
                                       "30,Cond,a.c,3,f,40,a.c,4,f,1,no\n"),
              "f in A.C x1 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x6\n"
              "  edge 30 3:0.0.0 > 40 4:0.0.0 x6 entry exit\n");
}

TEST_F(Append, an_edge_that_is_new_to_a_known_function_loses_its_marks) {
    EXPECT_EQ(appended(one_edge_rows, entry_columns + "30,Cond,a.c,3,f,40,a.c,4,f,1,yes\n"
                                                      "40,Ret,a.c,4,f,1,b.c,1,g,1,no\n"),
              "f in A.C x1 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x5\n"
              "  edge 30 3:0.0.0 > 40 4:0.0.0 x1\n");
}

TEST_F(Append, a_new_functions_edges_keep_their_marks) {
    EXPECT_EQ(appended(one_edge_rows, entry_columns + "30,Cond,a.c,3,g,40,a.c,4,g,1,yes\n"
                                                      "40,Ret,a.c,4,g,1,b.c,1,f,1,no\n"),
              one_edge_profile +
                  "g in A.C x1 flags 0\n"
                  "  edge 30 3:0.0.0 > 40 4:0.0.0 x1 entry exit\n");
}

// --- What a stored value is worth

TEST_F(Append, of_a_stored_edge_count_the_low_32_bits_survive_with_their_sign) {
    EXPECT_EQ(appended("INSERT INTO sf_filenames VALUES(1, 'A.C');"
                       "INSERT INTO sf_functions VALUES(1, 'f', 1, 0, 0);"
                       "INSERT INTO sf_edges VALUES(1, 16, 1, 0, 0, 0, 1, 32, 2, 0, 0, 0, "
                       "4294967301, 0), (1, 48, 1, 0, 0, 0, 1, 64, 2, 0, 0, 0, 2147483648, 0), "
                       "(1, 80, 1, 0, 0, 0, 1, 96, 2, 0, 0, 0, 4294967296, 0);",
                       ten_columns + "10,Cond,a.c,1,f,20,a.c,2,f,7\n"),
              "f in A.C x0 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x12\n"
              "  edge 30 1:0.0.0 > 40 2:0.0.0 x-2147483648\n"
              "  edge 50 1:0.0.0 > 60 2:0.0.0 x0\n");
}

TEST_F(Append, function_and_call_counts_have_64_bits_and_wrap) {
    EXPECT_EQ(appended("INSERT INTO sf_filenames VALUES(1, 'A.C');"
                       "INSERT INTO sf_functions VALUES(1, 'f', 1, 4294967296, 0), "
                       "(2, 'g', 1, 9223372036854775807, 0);"
                       "INSERT INTO sf_calls VALUES(1, 1, 0, 'g', 4294967296);",
                       ten_columns + "1,Call,a.c,1,f,2,a.c,2,g,1\n3,Ret,a.c,1,f,4,a.c,2,g,5\n"),
              "f in A.C x4294967301 flags 0\n"
              "  call g 1:0 x4294967297\n"
              "g in A.C x-9223372036854775808 flags 0\n");
}

TEST_F(Append, a_functions_numbers_are_read_from_their_texts) {
    EXPECT_EQ(appended("INSERT INTO sf_filenames VALUES(1, 'A.C');"
                       "INSERT INTO sf_functions VALUES(1, 'e', '1x', '12x', 0), "
                       "(2, 'f', 1, 'abc', 0), (3, 'g', 1, 12.5, 0), (4, 'h', 1, NULL, NULL);",
                       ten_columns + "1,Ret,a.c,1,e,2,x.c,1,x,1\n1,Ret,a.c,1,f,2,x.c,1,x,1\n"
                                     "1,Ret,a.c,1,g,2,x.c,1,x,1\n1,Ret,a.c,1,h,2,x.c,1,x,1\n"),
              "e in NO FILE x13 flags 0\n"
              "f in A.C x1 flags 0\n"
              "g in A.C x13 flags 0\n"
              "h in A.C x1 flags NULL\n");
}

TEST_F(Append, of_two_rows_of_one_edge_counts_add_up_and_the_later_marks_stand) {
    EXPECT_EQ(appended("INSERT INTO sf_filenames VALUES(1, 'A.C');"
                       "INSERT INTO sf_functions VALUES(1, 'f', 1, 0, 0);"
                       "INSERT INTO sf_edges VALUES(1, 16, 1, 0, 0, 0, 1, 32, 2, 0, 0, 0, 5, 1), "
                       "(1, 16, 1, 0, 0, 0, 1, 32, 2, 0, 0, 0, 6, 2);",
                       ten_columns + "10,Cond,a.c,1,f,20,a.c,2,f,7\n"),
              "f in A.C x0 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x18 exit\n");
}

TEST_F(Append, other_bits_of_edge_flags_are_lost_in_a_rewrite) {
    EXPECT_EQ(appended("INSERT INTO sf_filenames VALUES(1, 'A.C');"
                       "INSERT INTO sf_functions VALUES(1, 'f', 1, 0, 0);"
                       "INSERT INTO sf_edges VALUES(1, 16, 1, 0, 0, 0, 77, 32, 2, 0, 0, 0, 5, 14);",
                       ten_columns + "10,Cond,a.c,1,f,20,a.c,2,f,7\n"),
              "f in A.C x0 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x12 exit\n");
    EXPECT_EQ(rows("x", "SELECT sf_to_func_id FROM sf_edges"), "1\n");
}

TEST_F(Append, a_call_without_a_callee_is_lost_in_a_rewrite) {
    EXPECT_EQ(appended(one_edge_rows + "INSERT INTO sf_calls VALUES(1, 1, 0, NULL, 4), "
                                       "(1, 1, 0, '', 5);",
                       one_edge),
              "f in A.C x0 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x10\n"
              "  call  1:0 x5\n");
}

TEST_F(Append, empty_cells_of_an_edge_are_zeros) {
    EXPECT_EQ(appended("INSERT INTO sf_filenames VALUES(1, 'A.C');"
                       "INSERT INTO sf_functions VALUES(1, 'f', 1, 0, 0);"
                       "INSERT INTO sf_edges (sf_from_func_id) VALUES(1);",
                       ten_columns + "0,Cond,a.c,0,f,0,a.c,0,f,7\n"),
              "f in A.C x0 flags 0\n"
              "  edge 0 0:0.0.0 > 0 0:0.0.0 x7\n");
}

TEST_F(Append, stored_columns_and_discriminators_keep_their_low_16_bits) {
    EXPECT_EQ(appended("INSERT INTO sf_filenames VALUES(1, 'A.C');"
                       "INSERT INTO sf_functions VALUES(1, 'f', 1, 0, 0);"
                       "INSERT INTO sf_edges VALUES(1, 16, 1, -1, 65537, -1, 1, 32, 2, -2, 65538, "
                       "-2, 5, 0);",
                       ten_columns + "1,Ret,a.c,1,f,2,x.c,1,x,1\n"),
              "f in A.C x1 flags 0\n"
              "  edge 10 1:-1.1.65535 > 20 2:-2.2.65534 x5\n");
}

TEST_F(Append, more_columns_than_expected_do_no_harm) {
    EXPECT_EQ(appended("ALTER TABLE sf_filenames ADD COLUMN more TEXT DEFAULT 'm';"
                       "ALTER TABLE sf_functions ADD COLUMN more TEXT DEFAULT 'm';"
                       "ALTER TABLE sf_edges ADD COLUMN more TEXT DEFAULT 'm';"
                       "ALTER TABLE sf_calls ADD COLUMN more TEXT DEFAULT 'm';"
                       "INSERT INTO sf_filenames VALUES(1, 'A.C', 1), (2, 'B.C', 2);"
                       "INSERT INTO sf_functions VALUES(1, 'f', 1, 1, 0, 1), (2, 'f', 2, 2, 0, 1);",
                       ten_columns + "1,Ret,a.c,1,f,2,x.c,1,x,10\n1,Ret,b.c,1,f,2,x.c,1,x,20\n"
                                     "1,Ret,b.c,1,g,2,x.c,1,x,30\n"),
              "f in A.C x11 flags 0\n"
              "f in B.C x22 flags 0\n"
              "g in B.C x30 flags 0\n");
}

TEST_F(Append, a_function_table_without_flags_serves_for_known_functions) {
    write("a.csv", ten_columns + "1,Ret,a.c,1,f,2,x.c,1,x,10\n");
    make_database("x",
                  "ALTER TABLE sf_functions DROP COLUMN sf_flags;"
                  "INSERT INTO sf_filenames VALUES(1, 'A.C');"
                  "INSERT INTO sf_functions VALUES(1, 'e', 1, 4), (2, 'f', 1, 5);");
    merge("a.csv", "-append", "x");
    EXPECT_EQ(rows("x", "SELECT * FROM sf_functions"),
              "1|e|1|4\n"
              "2|f|1|15\n");
}

// --- File rows

class AppendFiles : public Append {
protected:
    // The file rows after a function "f" of "a.c" came to a database with these.
    std::string files_after(const std::string& statements) const {
        appended(statements, one_edge);
        return rows("x", "SELECT sf_id, sf_filename FROM sf_filenames ORDER BY sf_id");
    }

    std::string file_of_function() const {
        return rows("x", "SELECT sf_file_id FROM sf_functions");
    }
};

TEST_F(AppendFiles, a_file_row_that_is_there_is_taken) {
    EXPECT_EQ(files_after("INSERT INTO sf_filenames VALUES(7, 'A.C');"), "7|A.C\n");
    EXPECT_EQ(file_of_function(), "7\n");
}

TEST_F(AppendFiles, of_two_equal_file_rows_the_lower_id_is_taken) {
    files_after("INSERT INTO sf_filenames VALUES(9, 'A.C'), (5, 'A.C'), (7, 'A.C');");
    EXPECT_EQ(file_of_function(), "5\n");
}

TEST_F(AppendFiles, a_new_file_row_gets_the_next_id) {
    EXPECT_EQ(files_after("INSERT INTO sf_filenames VALUES(9, 'B.C');"), "9|B.C\n10|A.C\n");
    EXPECT_EQ(file_of_function(), "10\n");
}

TEST_F(AppendFiles, a_file_id_of_2_to_the_31st_is_like_others) {
    EXPECT_EQ(files_after("INSERT INTO sf_filenames VALUES(2147483648, 'B.C');"),
              "2147483648|B.C\n2147483649|A.C\n");
    EXPECT_EQ(file_of_function(), "-2147483647\n");
}

TEST_F(AppendFiles, a_file_row_that_is_no_text_is_not_the_file) {
    EXPECT_EQ(files_after("INSERT INTO sf_filenames VALUES(1, x'412E43'), (2, NULL);"),
              "1|A.C\n2|NULL\n3|A.C\n");
    EXPECT_EQ(file_of_function(), "3\n");
}

TEST_F(AppendFiles, a_file_row_that_goes_on_behind_a_nul_is_not_the_file) {
    files_after("INSERT INTO sf_filenames VALUES(1, 'A.C' || char(0) || 'x');");
    EXPECT_EQ(file_of_function(), "2\n");
}

TEST_F(AppendFiles, ids_are_read_back_from_the_tables) {
    const std::string move =
        " BEGIN UPDATE sf_%s SET sf_id = sf_id + 100 WHERE sf_id = new.sf_id; END;";
    const auto moving = [&](const std::string& table) {
        std::string text = "CREATE TRIGGER move_" + table + " AFTER INSERT ON sf_" + table + move;
        return text.replace(text.find("%s"), 2, table);
    };
    appended(moving("filenames") + moving("functions"),
             ten_columns + "1,x,a.c,1,f,2,a.c,1,f,5\n1,x,a.c,1,g,2,a.c,1,g,6\n");
    EXPECT_EQ(rows("x", "SELECT * FROM sf_filenames"), "101|A.C\n");
    EXPECT_EQ(rows("x", "SELECT sf_id, sf_func_name, sf_file_id FROM sf_functions"),
              "101|f|101\n202|g|101\n");
    EXPECT_EQ(rows("x", "SELECT sf_from_func_id, sf_exec_count FROM sf_edges"), "101|5\n202|6\n");
}

// --- The run count

class AppendRuns : public Append {};

TEST_F(AppendRuns, adds_to_the_stored_count) { EXPECT_EQ(runs_after("('num_runs', '2')"), "3\n"); }

TEST_F(AppendRuns, begins_at_the_inputs_where_none_is_stored) {
    EXPECT_EQ(runs_after(""), "1\n");
    EXPECT_EQ(runs_after("('num_runs', NULL)"), "1\n");
    EXPECT_EQ(runs_after("('num_runs', '')"), "1\n");
}

TEST_F(AppendRuns, reads_the_stored_text_as_far_as_it_is_a_number) {
    EXPECT_EQ(runs_after("('num_runs', '3x')"), "4\n");
    EXPECT_EQ(runs_after("('num_runs', ' 3')"), "4\n");
    EXPECT_EQ(runs_after("('num_runs', 'abc')"), "1\n");
    EXPECT_EQ(runs_after("('num_runs', '99999999999')"), "1215752192\n");
}

TEST_F(AppendRuns, takes_minus_one_for_none_and_adds_other_negative_numbers) {
    EXPECT_EQ(runs_after("('num_runs', '-1')"), "1\n");
    EXPECT_EQ(runs_after("('num_runs', '-5')"), "-4\n");
    EXPECT_EQ(runs_after("('num_runs', '-2')"), "-1\n");
}

TEST_F(AppendRuns, wraps_at_32_bits_and_is_written_whole) {
    EXPECT_EQ(runs_after("('num_runs', '2147483647')"), "-2147483648\n");
    EXPECT_EQ(runs_after("('num_runs', '4294967295')"), "1\n");
}

TEST_F(AppendRuns, of_several_rows_the_first_counts_and_one_is_left) {
    EXPECT_EQ(runs_after("('num_runs', '2'), ('num_runs', '70')"), "3\n");
}

TEST_F(AppendRuns, other_rows_stay) {
    EXPECT_EQ(runs_after("('other', 'kept'), ('num_runs', '2'), ('NUM_RUNS', '9')"),
              "kept\n9\n3\n");
}

TEST_F(AppendRuns, adds_the_runs_of_an_input_database) {
    make_database("in.db", "INSERT INTO sf_run_info VALUES('num_runs', '5');");
    make_database("x", "INSERT INTO sf_run_info VALUES('num_runs', '2');");
    merge("in.db", "-append", "x");
    EXPECT_EQ(runs("x"), "num_runs|7\n");
}

// --- The version test

class AppendVersion : public Append {
protected:
    Outcome with_version(const std::string& key, const std::string& value) const {
        std::filesystem::remove(path("x"));
        make_database("x",
                      "UPDATE sf_version SET sf_value=" + value + " WHERE sf_key='" + key + "';");
        write("a.csv", one_edge);
        return run_plain({"-quiet", "-file", "a.csv", "-append", "x"});
    }

    const Outcome accepted{0, "", ""};
    const Outcome refused{1, "", incompatible("x")};
};

TEST_F(AppendVersion, each_of_the_five_rows_must_match) {
    EXPECT_EQ(with_version("schema_version", "'2'"), refused);
    EXPECT_EQ(with_version("schema_version", "'0'"), refused);
    EXPECT_EQ(with_version("filename_columns", "'3'"), refused);
    EXPECT_EQ(with_version("functions_columns", "'6'"), refused);
    EXPECT_EQ(with_version("edges_columns", "'15'"), refused);
    EXPECT_EQ(with_version("calls_columns", "'4'"), refused);
}

TEST_F(AppendVersion, a_row_without_a_value_does_not_match) {
    EXPECT_EQ(with_version("schema_version", "NULL"), refused);
    EXPECT_EQ(with_version("schema_version", "''"), refused);
}

TEST_F(AppendVersion, the_low_8_bits_of_a_row_count) {
    EXPECT_EQ(with_version("schema_version", "'257'"), accepted);
    EXPECT_EQ(with_version("edges_columns", "'-242'"), accepted);
}

TEST_F(AppendVersion, a_row_is_read_as_far_as_it_is_a_number) {
    EXPECT_EQ(with_version("schema_version", "'1.7 beta'"), accepted);
    EXPECT_EQ(with_version("schema_version", "' +1'"), accepted);
    EXPECT_EQ(with_version("schema_version", "'v1'"), refused);
}

TEST_F(AppendVersion, the_first_of_several_rows_counts) {
    write("a.csv", one_edge);
    make_database("x", "INSERT INTO sf_version VALUES('schema_version', '2');");
    EXPECT_EQ(run_plain({"-quiet", "-file", "a.csv", "-append", "x"}), accepted);
}

TEST_F(AppendVersion, rows_are_all_that_is_looked_at) {
    write("a.csv", one_edge);
    make_database("x", "DROP INDEX idx1; DROP INDEX idx2; CREATE TABLE other (x);");
    EXPECT_EQ(run_plain({"-quiet", "-file", "a.csv", "-append", "x"}), accepted);
    EXPECT_EQ(profile("x"), one_edge_profile);
}

}  // namespace
TEST_F(AppendFiles, a_file_row_that_is_equal_to_sqlite_is_the_file) {
    EXPECT_EQ(files_after("DROP TABLE sf_filenames;"
                          "CREATE TABLE sf_filenames (sf_id INTEGER PRIMARY KEY, "
                          "sf_filename TEXT COLLATE NOCASE);"
                          "INSERT INTO sf_filenames VALUES(3, 'a.c');"),
              "3|a.c\n");
    EXPECT_EQ(file_of_function(), "3\n");
}

}  // namespace cli
