// Sample databases in the input list.
#include "cli_support.h"

namespace cli {
namespace {

class DatabaseInput : public CliTest {
protected:
    // The profile of the list's inputs, taken together in a database without functions.
    std::string together(const std::string& list) const {
        make_database("together.db");
        merge(list, "-append", "together.db");
        return profile("together.db");
    }

    // What is left of a damaged input: the warning, and the profile of what was read before.
    std::string rest_of(const std::string& statements, const std::string& profile_text) const {
        make_database("in.db", "INSERT INTO sf_run_info VALUES('num_runs', '5');" + statements);
        write("a.csv", ten_columns);
        make_database("x");
        EXPECT_EQ(run_plain({"-file", "in.db;a.csv", "-append", "x"}),
                  (Outcome{0, "", cannot_read("in.db") + merged(1)}));
        EXPECT_EQ(profile("x"), profile_text);
        return runs("x");
    }
};

TEST_F(DatabaseInput, is_read_with_all_that_it_holds) {
    make_database("in.db",
                  "INSERT INTO sf_run_info VALUES('num_runs', '5');"
                  "INSERT INTO sf_filenames VALUES(1, 'A.C'), (4, 'B.C');"
                  "INSERT INTO sf_functions VALUES(3, 'f', 1, 7, 3), (9, 'g', 4, 8, 0);"
                  "INSERT INTO sf_edges VALUES(3, 16, 1, 11, 21, 31, 3, 32, 2, 12, 22, 32, 5, 3), "
                  "(9, 48, 3, 0, 0, 0, 9, 64, 4, 0, 0, 0, 6, 1);"
                  "INSERT INTO sf_calls VALUES(3, 1, 11, 'g', 8);");
    EXPECT_EQ(together("in.db"),
              "f in A.C x7 flags 3\n"
              "  edge 10 1:11.21.31 > 20 2:12.22.32 x5 entry exit\n"
              "  call g 1:11 x8\n"
              "g in B.C x8 flags 0\n"
              "  edge 30 3:0.0.0 > 40 4:0.0.0 x6 entry\n");
    EXPECT_EQ(runs("together.db"), "num_runs|5\n");
}

TEST_F(DatabaseInput, is_not_changed) {
    make_database("in.db", one_edge_rows);
    const std::string before = read("in.db");
    together("in.db");
    EXPECT_TRUE(read("in.db") == before);
}

TEST_F(DatabaseInput, can_be_reported) {
    make_database("in.db", one_edge_rows);
    EXPECT_EQ(run_plain({"-file", "in.db", "-dump"}), (Outcome{0, one_edge_report, ""}));
}

TEST_F(DatabaseInput, given_twice_counts_twice) {
    make_database("in.db", one_edge_rows);
    EXPECT_EQ(together("in.db;in.db"),
              "f in A.C x0 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x10\n");
    EXPECT_EQ(runs("together.db"), "num_runs|2\n");
}

TEST_F(DatabaseInput, adds_to_an_edge_file) {
    make_database("in.db", one_edge_rows);
    write("a.csv", ten_columns + "10,Cond,a.c,1,f,20,a.c,2,f,7\n10,Call,a.c,1,f,20,a.c,2,g,6\n");
    EXPECT_EQ(together("in.db;a.csv"),
              "f in A.C x0 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x12\n"
              "  call g 1:0 x6\n"
              "g in A.C x6 flags 0\n");
    EXPECT_EQ(runs("together.db"), "num_runs|2\n");
}

TEST_F(DatabaseInput, can_be_the_target_as_well) {
    make_database("x", one_edge_rows);
    merge("x", "-append", "x");
    EXPECT_EQ(profile("x"),
              "f in A.C x0 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x10\n");
    EXPECT_EQ(runs("x"), "num_runs|2\n");
}

TEST_F(DatabaseInput, adds_its_counts_and_flags_to_another) {
    make_database("one.db",
                  "INSERT INTO sf_filenames VALUES(1, 'A.C');"
                  "INSERT INTO sf_functions VALUES(1, 'f', 1, 10, 1);");
    make_database("two.db",
                  "INSERT INTO sf_filenames VALUES(1, 'a.c');"
                  "INSERT INTO sf_functions VALUES(1, 'f', 1, 20, 2);");
    EXPECT_EQ(together("one.db;two.db"), "f in A.C x30 flags 3\n");
}

TEST_F(DatabaseInput, the_marks_of_the_row_read_last_stand) {
    make_database("one.db", one_edge_rows + "UPDATE sf_edges SET sf_flags=3;");
    make_database("two.db", one_edge_rows);
    EXPECT_EQ(together("one.db;two.db"),
              "f in A.C x0 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x10\n");
    std::filesystem::remove(path("together.db"));
    EXPECT_EQ(together("two.db;one.db"),
              "f in A.C x0 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x10 entry exit\n");
}

TEST_F(DatabaseInput, the_marks_of_a_row_with_other_positions_stand_without_its_count) {
    make_database("one.db", one_edge_rows);
    make_database("two.db", one_edge_rows + "UPDATE sf_edges SET sf_flags=1, sf_to_abs_line=9;");
    EXPECT_EQ(together("one.db;two.db"),
              "f in A.C x0 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x5 entry\n");
}

TEST_F(DatabaseInput, its_edges_are_marked_by_no_edge_file) {
    make_database("in.db", one_edge_rows);
    write("a.csv", ten_columns + "90,Call,b.c,1,g,10,a.c,1,f,5\n20,Ret,a.c,2,f,90,b.c,1,g,5\n");
    EXPECT_EQ(together("in.db;a.csv"),
              "f in A.C x5 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x5\n"
              "g in B.C x0 flags 0\n"
              "  call f 1:0 x5\n");
}

TEST_F(DatabaseInput, its_files_are_folded_to_upper_case) {
    make_database("in.db", one_edge_rows + "UPDATE sf_filenames SET sf_filename='dir/a.c';");
    EXPECT_EQ(together("in.db"),
              "f in DIR/A.C x0 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x5\n");
}

TEST_F(DatabaseInput, its_function_names_are_not_rewritten) {
    make_database("in.db", one_edge_rows +
                               "UPDATE sf_functions SET sf_func_name='f.1';"
                               "INSERT INTO sf_calls VALUES(1, 1, 0, 'g.1', 4);");
    EXPECT_EQ(together("in.db"),
              "f.1 in A.C x0 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x5\n"
              "  call g.1 1:0 x4\n");
}

TEST_F(DatabaseInput, of_an_edge_count_the_low_32_bits_are_read_with_their_sign) {
    make_database("in.db",
                  "INSERT INTO sf_filenames VALUES(1, 'A.C');"
                  "INSERT INTO sf_functions VALUES(1, 'f', 1, 4294967296, 0);"
                  "INSERT INTO sf_edges VALUES"
                  "(1, 1, 1, 0, 0, 0, 1, 1, 2, 0, 0, 0, 4294967296, 0), "
                  "(1, 2, 1, 0, 0, 0, 1, 2, 2, 0, 0, 0, 2147483648, 0), "
                  "(1, 3, 1, 0, 0, 0, 1, 3, 2, 0, 0, 0, 2147483647, 0), "
                  "(1, 4, 1, 0, 0, 0, 1, 4, 2, 0, 0, 0, -1, 0);"
                  "INSERT INTO sf_calls VALUES(1, 1, 0, 'g', 4294967296);");
    EXPECT_EQ(together("in.db"),
              "f in A.C x4294967296 flags 0\n"
              "  edge 1 1:0.0.0 > 1 2:0.0.0 x0\n"
              "  edge 2 1:0.0.0 > 2 2:0.0.0 x-2147483648\n"
              "  edge 3 1:0.0.0 > 3 2:0.0.0 x2147483647\n"
              "  edge 4 1:0.0.0 > 4 2:0.0.0 x-1\n"
              "  call g 1:0 x4294967296\n");
}

TEST_F(DatabaseInput, without_a_run_count_adds_no_run) {
    make_database("in.db");
    EXPECT_EQ(run_plain({"-file", "in.db", "-dump"}), (Outcome{0, empty_report, ""}));
    EXPECT_EQ(together("in.db"), "");
    EXPECT_EQ(runs("together.db"), "num_runs|0\n");
}

TEST_F(DatabaseInput, a_call_without_a_callee_is_skipped) {
    make_database("in.db", one_edge_rows +
                               "INSERT INTO sf_calls VALUES(1, 1, 0, 'g', 4), "
                               "(1, 1, 0, NULL, 5), (1, 2, 0, 'g', 6);");
    EXPECT_EQ(together("in.db"), one_edge_profile + "  call g 1:0 x4\n  call g 2:0 x6\n");
}

TEST_F(DatabaseInput, a_file_id_of_zero_is_the_empty_name) {
    make_database("in.db", "INSERT INTO sf_functions VALUES(1, 'f', 0, 7, 0);");
    EXPECT_EQ(together("in.db"), "f in  x7 flags 0\n");
}

TEST_F(DatabaseInput, a_file_id_without_a_row_is_the_empty_name) {
    make_database("in.db",
                  "INSERT INTO sf_filenames VALUES(3, 'A.C');"
                  "INSERT INTO sf_functions VALUES(1, 'f', 2, 7, 0);");
    EXPECT_EQ(together("in.db"), "f in  x7 flags 0\n");
}

TEST_F(DatabaseInput, empty_names_are_read_for_missing_ones) {
    make_database("in.db",
                  "INSERT INTO sf_filenames VALUES(1, NULL);"
                  "INSERT INTO sf_functions VALUES(1, NULL, 1, 7, 0);");
    EXPECT_EQ(together("in.db"), " in  x7 flags 0\n");
}

TEST_F(DatabaseInput, a_huge_file_id_costs_no_memory) {
    make_database("in.db",
                  "INSERT INTO sf_filenames VALUES(2147483646, 'A.C');"
                  "INSERT INTO sf_functions VALUES(1, 'f', 2147483646, 7, 0), "
                  "(2, 'g', 2000000000, 8, 0);");
    EXPECT_EQ(together("in.db"),
              "f in A.C x7 flags 0\n"
              "g in  x8 flags 0\n");
}

TEST_F(DatabaseInput, a_file_id_of_2_to_the_31st_is_like_others) {
    make_database("in.db",
                  "INSERT INTO sf_filenames VALUES(1, 'A.C'), (2147483648, 'B.C');"
                  "INSERT INTO sf_functions VALUES(1, 'f', 1, 7, 0), (2, 'g', -2147483648, 8, 0);");
    EXPECT_EQ(together("in.db"),
              "f in A.C x7 flags 0\n"
              "g in B.C x8 flags 0\n");
}

TEST_F(DatabaseInput, rows_of_edges_without_a_function_are_skipped) {
    make_database("in.db",
                  one_edge_rows +
                      "INSERT INTO sf_edges SELECT 77, 1, 1, 0, 0, 0, 1, 1, 1, 0, 0, 0, 1, 0;"
                      "INSERT INTO sf_calls VALUES(77, 1, 0, 'g', 5);");
    EXPECT_EQ(together("in.db"), one_edge_profile);
}

// --- Damage

TEST_F(DatabaseInput, a_file_id_beyond_the_file_table_ends_the_read_and_what_was_read_stays) {
    EXPECT_EQ(rest_of("INSERT INTO sf_filenames VALUES(1, 'A.C');"
                      "INSERT INTO sf_functions VALUES(1, 'e', 1, 7, 0), (2, 'f', 3, 8, 0), "
                      "(3, 'g', 1, 9, 0);",
                      "e in A.C x7 flags 0\n"),
              "num_runs|6\n");
}

TEST_F(DatabaseInput, a_file_id_just_behind_the_file_table_ends_the_read) {
    EXPECT_EQ(rest_of("INSERT INTO sf_filenames VALUES(1, 'A.C');"
                      "INSERT INTO sf_functions VALUES(1, 'f', 2, 8, 0);",
                      ""),
              "num_runs|6\n");
}

TEST_F(DatabaseInput, a_negative_file_id_ends_the_read) {
    EXPECT_EQ(rest_of("INSERT INTO sf_filenames VALUES(1, 'A.C');"
                      "INSERT INTO sf_functions VALUES(1, 'f', -1, 8, 0);",
                      ""),
              "num_runs|6\n");
}

TEST_F(DatabaseInput, a_file_table_without_ids_ends_the_read) {
    EXPECT_EQ(rest_of("DROP TABLE sf_filenames; CREATE TABLE sf_filenames (sf_filename TEXT);"
                      "INSERT INTO sf_functions VALUES(1, 'f', 0, 8, 0);",
                      ""),
              "num_runs|6\n");
}

class MissingTable : public CliTest, public testing::WithParamInterface<const char*> {};

TEST_P(MissingTable, makes_a_database_unreadable) {
    make_database("in.db", one_edge_rows + "DROP TABLE " + GetParam() + ";");
    EXPECT_EQ(run_plain({"-file", "in.db", "-dump"}),
              (Outcome{0, empty_report, cannot_read("in.db")}));
}

INSTANTIATE_TEST_SUITE_P(Each, MissingTable,
                         testing::Values("sf_version", "sf_filenames", "sf_functions", "sf_edges",
                                         "sf_calls"));

TEST_F(DatabaseInput, without_the_table_of_run_counts_is_read) {
    make_database("in.db", one_edge_rows + "DROP TABLE sf_run_info;");
    EXPECT_EQ(together("in.db"), one_edge_profile);
    EXPECT_EQ(runs("together.db"), "num_runs|0\n");
}

TEST_F(DatabaseInput, without_its_indexes_is_read) {
    make_database("in.db", one_edge_rows + "DROP INDEX idx1; DROP INDEX idx2;");
    EXPECT_EQ(together("in.db"), one_edge_profile);
}

TEST_F(DatabaseInput, cut_behind_its_first_page_can_not_be_read) {
    make_database("in.db", one_edge_rows);
    write("cut.db", read("in.db").substr(0, 4096));
    EXPECT_EQ(run_plain({"-file", "cut.db", "-dump"}),
              (Outcome{0, empty_report, cannot_read("cut.db")}));
}

TEST_F(DatabaseInput, overwritten_behind_its_first_page_can_not_be_read) {
    make_database("in.db", one_edge_rows);
    const std::string whole = read("in.db");
    write("bad.db", whole.substr(0, 4096) + std::string(whole.size() - 4096, '\xa5'));
    EXPECT_EQ(run_plain({"-file", "bad.db", "-dump"}),
              (Outcome{0, empty_report, cannot_read("bad.db")}));
}

}  // namespace
}  // namespace cli
