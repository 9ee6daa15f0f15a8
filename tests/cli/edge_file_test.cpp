// Edge files: the header, the fields of a row, and what a row becomes in the database.
#include "cli_support.h"

namespace cli {
namespace {

class EdgeFile : public CliTest {
protected:
    std::string count_of_g(const std::string& database) const {
        return rows(database, "SELECT sf_exec_count FROM sf_functions WHERE sf_func_name='g'");
    }

    // What a file does that is no edge file.
    void expect_unreadable(std::string_view text) const {
        write("bad.csv", text);
        EXPECT_EQ(run_plain({"-file", "bad.csv", "-dump"}),
                  (Outcome{0, empty_report, cannot_read("bad.csv")}));
    }
};

std::string replaced(std::string text, const std::string& from, const std::string& to) {
    return text.replace(text.find(from), from.size(), to);
}

// --- The header

TEST_F(EdgeFile, one_row_becomes_one_edge) { EXPECT_EQ(profile_of(one_edge), one_edge_profile); }

class RequiredColumn : public EdgeFile, public testing::WithParamInterface<const char*> {};

TEST_P(RequiredColumn, its_absence_makes_the_file_unreadable) {
    expect_unreadable(replaced(one_edge, GetParam(), "Other"));
}

TEST_P(RequiredColumn, its_name_is_compared_with_case_and_as_a_whole) {
    std::string lower = GetParam();
    lower[0] = static_cast<char>(lower[0] + ('a' - 'A'));
    expect_unreadable(replaced(one_edge, GetParam(), lower));
    expect_unreadable(replaced(one_edge, GetParam(), std::string(GetParam()) + " "));
    expect_unreadable(replaced(one_edge, GetParam(), "\"" + std::string(GetParam()) + "\""));
}

INSTANTIATE_TEST_SUITE_P(Each, RequiredColumn,
                         testing::Values("FromAddress", "TypeOfBranch", "FromSourceFile",
                                         "FromSourceLine", "FromFunctionMangled",
                                         "DestinationEndOfBlockAddress", "DestinationSourceFile",
                                         "DestinationSourceLine", "DestinationFunctionMangled",
                                         "HitCount"));

TEST_F(EdgeFile, columns_may_stand_in_any_order_among_unknown_ones) {
    EXPECT_EQ(profile_of("Module,HitCount,DestinationFunctionMangled,DestinationSourceLine,"
                         "DestinationSourceFile,DestinationEndOfBlockAddress,FromFunctionMangled,"
                         "CPU,FromSourceLine,FromSourceFile,TypeOfBranch,FromAddress,More\n"
                         "m,5,f,2,a.c,20,f,3,1,a.c,Cond,10,x\n"),
              one_edge_profile);
}

TEST_F(EdgeFile, of_two_columns_with_one_name_the_later_counts) {
    EXPECT_EQ(profile_of(replaced(ten_columns, "HitCount", "HitCount,HitCount") +
                         "10,Cond,a.c,1,f,20,a.c,2,f,99,5\n"),
              one_edge_profile);
}

TEST_F(EdgeFile, separators_in_front_of_the_header_are_lost) {
    EXPECT_EQ(profile_of(",," + one_edge), one_edge_profile);
}

TEST_F(EdgeFile, a_header_alone_is_a_run_without_functions) {
    write("a.csv", ten_columns);
    make_database("x");
    EXPECT_EQ(run_plain({"-file", "a.csv", "-append", "x"}), (Outcome{0, "", merged(1)}));
    EXPECT_EQ(profile("x"), "");
    EXPECT_EQ(runs("x"), "num_runs|1\n");
}

TEST_F(EdgeFile, a_header_without_its_line_end_is_a_header) {
    EXPECT_EQ(profile_of(ten_columns.substr(0, ten_columns.size() - 1)), "");
}

TEST_F(EdgeFile, a_header_in_the_second_line_is_none) { expect_unreadable("\n" + one_edge); }

// --- Lines

TEST_F(EdgeFile, cr_lf_ends_a_line_as_lf_does) {
    EXPECT_EQ(profile_of(replaced(one_edge, "HitCount\n", "HitCount\r\n") +
                         "30,Cond,a.c,3,f,40,a.c,4,f,7\r\n"),
              one_edge_profile + "  edge 30 3:0.0.0 > 40 4:0.0.0 x7\n");
}

// With the function name as the last column a CR that stays would show.
const std::string name_last =
    "HitCount,FromAddress,TypeOfBranch,FromSourceFile,FromSourceLine,FromFunctionMangled,"
    "DestinationEndOfBlockAddress,DestinationSourceFile,DestinationSourceLine,"
    "DestinationFunctionMangled";

TEST_F(EdgeFile, the_cr_in_front_of_an_lf_is_not_part_of_the_last_field) {
    EXPECT_EQ(profile_of(name_last + "\r\n5,10,Cond,a.c,1,f,20,a.c,2,f\r\n"), one_edge_profile);
}

TEST_F(EdgeFile, exactly_one_cr_in_front_of_an_lf_is_dropped) {
    EXPECT_EQ(profile_of(name_last + "\n5,10,Jump,a.c,1,f,20,a.c,2,f\r\r\n"),
              "f\r in A.C x5 flags 0\n"
              "f in A.C x0 flags 0\n"
              "  call f\r 1:0 x5\n");
}

TEST_F(EdgeFile, a_cr_at_the_end_of_a_last_line_without_lf_stays) {
    EXPECT_EQ(profile_of(name_last + "\n5,10,Jump,a.c,1,f,20,a.c,2,f\r"),
              "f\r in A.C x5 flags 0\n"
              "f in A.C x0 flags 0\n"
              "  call f\r 1:0 x5\n");
}

TEST_F(EdgeFile, a_cr_inside_of_a_line_is_a_byte_like_others) {
    EXPECT_EQ(profile_of(ten_columns + "10,Cond,a.c,1,f\rg,20,a.c,2,f\rg,5\n"),
              "f\rg in A.C x0 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x5\n");
}

TEST_F(EdgeFile, a_last_line_without_lf_counts) {
    EXPECT_EQ(profile_of(one_edge.substr(0, one_edge.size() - 1)), one_edge_profile);
}

TEST_F(EdgeFile, blank_lines_and_lines_of_separators_are_skipped) {
    EXPECT_EQ(profile_of(ten_columns + "\n,,,,,,,,,,,,\n\r\n10,Cond,a.c,1,f,20,a.c,2,f,5\n\n"),
              one_edge_profile);
}

TEST_F(EdgeFile, a_short_row_is_skipped_without_leaving_a_record) {
    EXPECT_EQ(profile_of(ten_columns + "10,Cond,a.c,1,f,20,a.c,2,f\n"), "");
}

TEST_F(EdgeFile, a_row_may_be_longer_than_the_header) {
    EXPECT_EQ(profile_of(ten_columns + "10,Cond,a.c,1,f,20,a.c,2,f,5,6,[7,8\n"), one_edge_profile);
}

TEST_F(EdgeFile, a_line_may_have_any_length) {
    const std::string name(1'000'000, 'n');
    EXPECT_EQ(profile_of(ten_columns + "10,Cond,a.c,1," + name + ",20,a.c,2," + name + ",5\n"),
              name + " in A.C x0 flags 0\n  edge 10 1:0.0.0 > 20 2:0.0.0 x5\n");
}

TEST_F(EdgeFile, the_byte_1a_is_a_byte_like_others) {
    EXPECT_EQ(profile_of(ten_columns + "10,Cond,a.c,1,f\x1ag,20,a.c,2,f\x1ag,5\n" +
                         "30,Cond,a.c,3,f\x1ag,40,a.c,4,f\x1ag,6\n"),
              "f\x1ag in A.C x0 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x5\n"
              "  edge 30 3:0.0.0 > 40 4:0.0.0 x6\n");
}

TEST_F(EdgeFile, a_nul_ends_the_name_the_file_and_the_number_that_it_stands_in) {
    using std::string_literals::operator""s;
    EXPECT_EQ(profile_of(ten_columns + "10\0ff,Cond,a.c\0x,1\0009,f\0g,20,a.c\0x,2,f\0g,5\0007\n"s),
              one_edge_profile);
}

TEST_F(EdgeFile, bytes_that_are_no_text_are_stored_as_they_stand) {
    EXPECT_EQ(profile_of(ten_columns + "10,Cond,\xff.c,1,\xfe\xe9,20,a.c,2,\xfe\xe9,5\n"),
              "\xfe\xe9 in \xff.C x0 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x5\n");
}

// --- Fields

TEST_F(EdgeFile, a_bracketed_field_may_hold_separators_and_keeps_its_brackets) {
    EXPECT_EQ(profile_of(ten_columns + "10,Cond,[a,b.c],1,[foo<a,b>],20,[a,b.c],2,[foo<a,b>],5\n"),
              "[foo<a,b>] in [A,B.C] x0 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x5\n");
}

TEST_F(EdgeFile, the_character_behind_a_bracketed_field_is_skipped_whatever_it_is) {
    // The "y" is dropped, and the "," after it ends an empty field: one column more.
    EXPECT_EQ(profile_of("X,Y,Z," + ten_columns + "x,[a,b]y,10,Cond,a.c,1,f,20,a.c,2,f,5\n"),
              one_edge_profile);
    EXPECT_EQ(profile_of("X,Y," + ten_columns + "x,[a,b]10,10,Cond,a.c,1,f,20,a.c,2,f,5\n"),
              "1 in COND x0 flags 0\n");
}

TEST_F(EdgeFile, a_bracket_that_never_closes_makes_the_rest_one_field) {
    EXPECT_EQ(profile_of(ten_columns + "10,Cond,a.c,1,[f,20,a.c,2,f,5\n"), "");
}

TEST_F(EdgeFile, a_bracket_that_closes_at_the_lines_end_makes_the_last_field) {
    EXPECT_EQ(profile_of(name_last + "\n5,10,Call,a.c,1,f,20,a.c,2,[g,h]\n"),
              "[g,h] in A.C x5 flags 0\n"
              "f in A.C x0 flags 0\n"
              "  call [g,h] 1:0 x5\n");
}

TEST_F(EdgeFile, the_first_field_can_not_be_bracketed) {
    EXPECT_EQ(profile_of("X," + ten_columns + "[a,10,Cond,a.c,1,f,20,a.c,2,f,5\n"),
              one_edge_profile);
}

TEST_F(EdgeFile, separators_in_front_of_a_row_shift_it_to_the_left) {
    EXPECT_EQ(profile_of("X," + ten_columns + ",,10,Cond,a.c,1,f,20,a.c,2,f,5\n"), "");
    EXPECT_EQ(profile_of(ten_columns + ",10,Cond,a.c,1,f,20,a.c,2,f,5\n"), one_edge_profile);
}

TEST_F(EdgeFile, a_separator_at_a_rows_end_opens_an_empty_field) {
    EXPECT_EQ(profile_of(ten_columns + "10,Cond,a.c,1,f,20,a.c,2,f,\n"),
              "f in A.C x0 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x0\n");
}

TEST_F(EdgeFile, empty_names_are_names) {
    EXPECT_EQ(profile_of(ten_columns + "10,Cond,,1,,20,,2,,5\n"),
              " in  x0 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x5\n");
}

// --- Rows inside one function

TEST_F(EdgeFile, two_rows_of_one_address_pair_add_their_counts) {
    EXPECT_EQ(profile_of(one_edge + "10,Uncond,a.c,1,f,20,a.c,2,f,7\n"),
              "f in A.C x0 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x12\n");
}

TEST_F(EdgeFile, the_first_position_of_an_edge_stays_and_a_differing_rows_count_is_lost) {
    EXPECT_EQ(profile_of(one_edge + "10,Cond,a.c,9,f,20,a.c,2,f,7\n10,Cond,a.c,1,f,20,a.c,8,f,7\n"
                                    "10,Cond,a.c,1,f,20,a.c,2,f,1\n"),
              "f in A.C x0 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x6\n");
}

TEST_F(EdgeFile, a_row_with_a_differing_position_still_marks_the_edge_and_counts_as_entry) {
    EXPECT_EQ(profile_of(entry_columns +
                         "10,Cond,a.c,1,f,20,a.c,2,f,5,no\n10,Cond,a.c,9,f,20,a.c,2,f,7,yes\n"),
              "f in A.C x7 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x5 entry\n");
}

TEST_F(EdgeFile, the_way_back_is_an_edge_of_its_own) {
    EXPECT_EQ(profile_of(one_edge + "20,Cond,a.c,2,f,10,a.c,1,f,7\n"),
              "f in A.C x0 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x5\n"
              "  edge 20 2:0.0.0 > 10 1:0.0.0 x7\n");
}

TEST_F(EdgeFile, a_loop_on_one_address_adds_once) {
    EXPECT_EQ(
        profile_of(ten_columns + "10,Cond,a.c,1,f,10,a.c,1,f,5\n10,Cond,a.c,1,f,10,a.c,1,f,7\n"),
        "f in A.C x0 flags 0\n"
        "  edge 10 1:0.0.0 > 10 1:0.0.0 x12\n");
}

TEST_F(EdgeFile, a_count_of_zero_makes_an_edge) {
    EXPECT_EQ(profile_of(ten_columns + "10,Cond,a.c,1,f,20,a.c,2,f,0\n"),
              "f in A.C x0 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x0\n");
}

TEST_F(EdgeFile, the_type_is_not_looked_at_inside_one_function) {
    EXPECT_EQ(profile_of(ten_columns + "10,Ret,a.c,1,f,20,a.c,2,f,5\n30,Call,a.c,3,f,40,a.c,4,f,6\n"
                                       "50,,a.c,5,f,60,a.c,6,f,7\n"),
              "f in A.C x0 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x5\n"
              "  edge 30 3:0.0.0 > 40 4:0.0.0 x6\n"
              "  edge 50 5:0.0.0 > 60 6:0.0.0 x7\n");
}

TEST_F(EdgeFile, a_row_inside_one_function_without_a_line_leaves_an_empty_record) {
    EXPECT_EQ(profile_of(ten_columns + "10,Cond,a.c,-1,f,20,a.c,2,f,5\n"), "f in A.C x0 flags 0\n");
    EXPECT_EQ(profile_of(ten_columns + "10,Cond,a.c,1,f,20,a.c,-1,f,5\n"), "f in A.C x0 flags 0\n");
}

TEST_F(EdgeFile, a_dropped_row_is_no_entry_either) {
    EXPECT_EQ(profile_of(entry_columns + "10,Cond,a.c,-1,f,20,a.c,2,f,5,yes\n"),
              "f in A.C x0 flags 0\n");
}

TEST_F(EdgeFile, the_edge_belongs_to_the_source_ends_file) {
    EXPECT_EQ(profile_of(ten_columns + "10,Cond,a.c,1,f,20,b.c,2,f,5\n"), one_edge_profile);
}

// --- Rows between two functions

class Transfer : public EdgeFile, public testing::WithParamInterface<const char*> {};

TEST_P(Transfer, is_a_call_and_counts_for_the_callee) {
    EXPECT_EQ(profile_of(ten_columns + "10," + GetParam() + ",a.c,1,f,20,b.c,2,g,5\n"),
              "f in A.C x0 flags 0\n"
              "  call g 1:0 x5\n"
              "g in B.C x5 flags 0\n");
}

TEST_P(Transfer, to_na_leaves_an_empty_record_of_the_caller) {
    EXPECT_EQ(profile_of(ten_columns + "10," + GetParam() + ",a.c,1,f,20,b.c,2,NA,5\n"),
              "f in A.C x0 flags 0\n");
}

INSTANTIATE_TEST_SUITE_P(Each, Transfer, testing::Values("Call", "IndCall", "Jump", "IndJump"));

TEST_F(EdgeFile, other_types_between_two_functions_leave_an_empty_record) {
    for (const std::string type : {"Cond", "call", "CALL", "Call ", "Calls", "", "ret"})
        EXPECT_EQ(profile_of(ten_columns + "10," + type + ",a.c,1,f,20,b.c,2,g,5\n"),
                  "f in A.C x0 flags 0\n");
}

TEST_F(EdgeFile, na_is_compared_as_it_stands_in_the_row) {
    EXPECT_EQ(profile_of(ten_columns + "10,Call,a.c,1,f,20,b.c,2,NA.1,5\n"),
              "NA in B.C x5 flags 0\n"
              "f in A.C x0 flags 0\n"
              "  call NA 1:0 x5\n");
    EXPECT_EQ(profile_of(ten_columns + "10,Call,a.c,1,f,20,b.c,2,na,5\n"),
              "f in A.C x0 flags 0\n"
              "  call na 1:0 x5\n"
              "na in B.C x5 flags 0\n");
}

TEST_F(EdgeFile, a_return_counts_for_the_returning_function) {
    EXPECT_EQ(
        profile_of(ten_columns + "10,Ret,a.c,1,f,20,b.c,2,g,5\n30,Ret,a.c,3,f,40,c.c,4,NA,6\n"),
        "f in A.C x11 flags 0\n");
}

TEST_F(EdgeFile, a_call_may_come_from_no_line) {
    EXPECT_EQ(profile_of(ten_columns + "10,Call,a.c,-1,f,20,b.c,-1,g,5\n"),
              "f in A.C x0 flags 0\n"
              "  call g -1:0 x5\n"
              "g in B.C x5 flags 0\n");
}

TEST_F(EdgeFile, calls_of_one_callee_from_one_line_add_up) {
    EXPECT_EQ(
        profile_of(ten_columns + "10,Call,a.c,1,f,20,b.c,2,g,5\n30,Jump,a.c,1,f,40,c.c,2,g,6\n"
                                 "50,Call,a.c,3,f,20,b.c,2,g,7\n"),
        "f in A.C x0 flags 0\n"
        "  call g 1:0 x11\n"
        "  call g 3:0 x7\n"
        "g in B.C x12 flags 0\n"
        "g in C.C x6 flags 0\n");
}

TEST_F(EdgeFile, calls_are_stored_by_callee_and_then_by_line) {
    EXPECT_EQ(
        profile_of(ten_columns + "10,Call,a.c,3,f,20,a.c,2,g,1\n10,Call,a.c,1,f,20,a.c,2,g,2\n"
                                 "10,Call,a.c,9,f,20,a.c,2,e,3\n"
                                 "10,Call,a.c,-1,f,20,a.c,2,e,4\n"),
        "e in A.C x7 flags 0\n"
        "f in A.C x0 flags 0\n"
        "  call e 9:0 x3\n"
        "  call e -1:0 x4\n"
        "  call g 1:0 x2\n"
        "  call g 3:0 x1\n"
        "g in A.C x3 flags 0\n");
}

TEST_F(EdgeFile, names_are_compared_before_they_are_rewritten) {
    EXPECT_EQ(profile_of(ten_columns + "10,Jump,a.c,1,f.1,20,a.c,2,f,5\n"
                                       "30,Cond,a.c,3,f.1,40,a.c,4,f.1,6\n"),
              "f in A.C x5 flags 0\n"
              "  edge 30 3:0.0.0 > 40 4:0.0.0 x6\n"
              "  call f 1:0 x5\n");
}

// --- Marks

TEST_F(EdgeFile, yes_in_the_entry_column_marks_the_edge_and_counts_as_entries) {
    EXPECT_EQ(profile_of(entry_columns +
                         "10,Cond,a.c,1,f,20,a.c,2,f,5,yes\n10,Cond,a.c,1,f,30,a.c,3,f,6,yes\n"),
              "f in A.C x11 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x5 entry\n"
              "  edge 10 1:0.0.0 > 30 3:0.0.0 x6 entry\n");
}

TEST_F(EdgeFile, only_yes_in_lower_case_marks_an_entry) {
    for (const std::string text : {"Yes", "YES", "yes ", "y", "1", "", "no"})
        EXPECT_EQ(profile_of(entry_columns + "10,Cond,a.c,1,f,20,a.c,2,f,5," + text + "\n"),
                  one_edge_profile);
}

TEST_F(EdgeFile, the_entry_column_is_not_looked_at_between_two_functions) {
    EXPECT_EQ(profile_of(entry_columns + "10,Call,a.c,1,f,20,a.c,2,g,5,yes\n"),
              "f in A.C x0 flags 0\n"
              "  call g 1:0 x5\n"
              "g in A.C x5 flags 0\n");
}

TEST_F(EdgeFile, without_the_entry_column_nothing_is_marked) {
    EXPECT_EQ(profile_of(ten_columns + "10,Cond,a.c,1,f,20,a.c,2,f,5,yes\n"), one_edge_profile);
}

TEST_F(EdgeFile, edges_that_leave_the_block_a_call_reached_are_entries) {
    EXPECT_EQ(
        profile_of(ten_columns + "20,Cond,b.c,2,g,30,b.c,3,g,4\n20,Cond,b.c,2,g,40,b.c,4,g,1\n"
                                 "30,Cond,b.c,3,g,20,b.c,2,g,1\n"
                                 "10,Call,a.c,1,f,20,b.c,2,g,5\n"),
        "f in A.C x0 flags 0\n"
        "  call g 1:0 x5\n"
        "g in B.C x5 flags 0\n"
        "  edge 20 2:0.0.0 > 30 3:0.0.0 x4 entry\n"
        "  edge 20 2:0.0.0 > 40 4:0.0.0 x1 entry\n"
        "  edge 30 3:0.0.0 > 20 2:0.0.0 x1\n");
}

TEST_F(EdgeFile, edges_that_lead_to_a_block_that_returns_are_exits) {
    EXPECT_EQ(profile_of(ten_columns + "40,Ret,b.c,4,g,18,a.c,1,f,5\n20,Cond,b.c,2,g,40,b.c,4,g,4\n"
                                       "30,Cond,b.c,3,g,40,b.c,4,g,1\n"
                                       "40,Cond,b.c,4,g,20,b.c,2,g,1\n"),
              "g in B.C x5 flags 0\n"
              "  edge 20 2:0.0.0 > 40 4:0.0.0 x4 exit\n"
              "  edge 30 3:0.0.0 > 40 4:0.0.0 x1 exit\n"
              "  edge 40 4:0.0.0 > 20 2:0.0.0 x1\n");
}

TEST_F(EdgeFile, an_edge_can_be_entry_and_exit) {
    EXPECT_EQ(profile_of(ten_columns + "10,Call,a.c,1,f,20,b.c,2,g,5\n40,Ret,b.c,4,g,18,a.c,1,f,5\n"
                                       "20,Cond,b.c,2,g,40,b.c,4,g,4\n"),
              "f in A.C x0 flags 0\n"
              "  call g 1:0 x5\n"
              "g in B.C x5 flags 0\n"
              "  edge 20 2:0.0.0 > 40 4:0.0.0 x4 entry exit\n");
}

TEST_F(EdgeFile, marks_go_by_addresses_and_so_reach_any_function) {
    EXPECT_EQ(profile_of(one_edge + "30,Call,a.c,3,f,10,b.c,2,g,5\n20,Ret,b.c,4,g,18,a.c,1,f,5\n"),
              "f in A.C x0 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x5 entry exit\n"
              "  call g 3:0 x5\n"
              "g in B.C x5 flags 0\n");
}

TEST_F(EdgeFile, a_skipped_call_marks_nothing) {
    EXPECT_EQ(profile_of(one_edge + "30,Call,a.c,3,f,10,b.c,2,NA,5\n"), one_edge_profile);
}

TEST_F(EdgeFile, marks_do_not_reach_the_edges_of_another_file) {
    write("a.csv", ten_columns + "30,Call,b.c,3,g,10,a.c,1,f,5\n");
    write("b.csv", one_edge);
    make_database("x");
    merge("a.csv;b.csv", "-append", "x");
    EXPECT_EQ(profile("x"),
              "f in A.C x5 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x5\n"
              "g in B.C x0 flags 0\n"
              "  call f 3:0 x5\n");
}

// --- Execution counts

TEST_F(EdgeFile, the_largest_of_calls_entries_and_returns_is_the_execution_count) {
    const auto file = [](int called, int entries, int returned) {
        return entry_columns + "10,Call,a.c,1,f,20,b.c,2,g," + std::to_string(called) +
               ",no\n20,Cond,b.c,2,g,30,b.c,3,g," + std::to_string(entries) +
               ",yes\n30,Ret,b.c,3,g,10,a.c,1,f," + std::to_string(returned) + ",no\n";
    };
    make_database("x");
    write("called.csv", file(9, 7, 8));
    write("entered.csv", file(7, 9, 8));
    write("returned.csv", file(7, 8, 9));
    merge("called.csv", "-append", "x");
    EXPECT_EQ(count_of_g("x"), "9\n");
    merge("entered.csv", "-append", "x");
    EXPECT_EQ(count_of_g("x"), "18\n");
    merge("returned.csv", "-append", "x");
    EXPECT_EQ(count_of_g("x"), "27\n");
}

TEST_F(EdgeFile, calls_from_all_callers_add_up_in_front_of_the_comparison) {
    EXPECT_EQ(
        profile_of(ten_columns + "10,Call,a.c,1,e,20,b.c,2,g,5\n10,IndJump,a.c,1,f,20,b.c,2,g,"
                                 "6\n30,Ret,b.c,3,g,10,a.c,1,f,10\n"),
        "e in A.C x0 flags 0\n"
        "  call g 1:0 x5\n"
        "f in A.C x0 flags 0\n"
        "  call g 1:0 x6\n"
        "g in B.C x11 flags 0\n");
}

TEST_F(EdgeFile, two_spellings_of_one_file_have_totals_of_their_own_and_both_are_added) {
    EXPECT_EQ(
        profile_of(ten_columns + "10,Call,a.c,1,f,20,b.c,2,g,5\n30,Ret,B.C,3,g,10,a.c,1,f,4\n"),
        "f in A.C x0 flags 0\n"
        "  call g 1:0 x5\n"
        "g in B.C x9 flags 0\n");
}

TEST_F(EdgeFile, two_names_that_are_rewritten_to_one_share_their_totals) {
    EXPECT_EQ(profile_of(ten_columns + "10,Call,a.c,1,f,20,b.c,2,g.1,5\n"
                                       "30,Ret,b.c,3,g.2,10,a.c,1,f,4\n"),
              "f in A.C x0 flags 0\n"
              "  call g 1:0 x5\n"
              "g in B.C x5 flags 0\n");
}

TEST_F(EdgeFile, counts_of_several_files_add_up) {
    write("a.csv", ten_columns + "10,Call,a.c,1,f,20,b.c,2,g,5\n20,Cond,b.c,2,g,30,b.c,3,g,6\n");
    write("b.csv", ten_columns + "10,Call,a.c,1,f,20,b.c,2,g,7\n20,Cond,b.c,2,g,30,b.c,3,g,8\n");
    make_database("x");
    merge("a.csv;b.csv", "-append", "x");
    EXPECT_EQ(profile("x"),
              "f in A.C x0 flags 0\n"
              "  call g 1:0 x12\n"
              "g in B.C x12 flags 0\n"
              "  edge 20 2:0.0.0 > 30 3:0.0.0 x14 entry\n");
}

// --- The optional columns

TEST_F(EdgeFile, offset_lines_columns_and_discriminators_are_stored) {
    EXPECT_EQ(profile_of(position_columns + "10,Cond,a.c,1,f,20,a.c,2,f,5,11,12,21,22,31,32\n"
                                            "10,Call,a.c,1,f,20,a.c,2,g,6,13,14,23,24,33,34\n"),
              "f in A.C x0 flags 3\n"
              "  edge 10 1:11.21.31 > 20 2:12.22.32 x5\n"
              "  call g 1:13 x6\n"
              "g in A.C x6 flags 0\n");
}

TEST_F(EdgeFile, a_column_number_other_than_zero_on_either_end_sets_the_flag) {
    EXPECT_EQ(profile_of(position_columns + "10,Cond,a.c,1,f,20,a.c,2,f,5,0,0,0,1,0,0\n"),
              "f in A.C x0 flags 2\n"
              "  edge 10 1:0.0.0 > 20 2:0.1.0 x5\n");
    EXPECT_EQ(profile_of(position_columns + "10,Cond,a.c,1,f,20,a.c,2,f,5,0,0,1,0,0,0\n"),
              "f in A.C x0 flags 2\n"
              "  edge 10 1:0.1.0 > 20 2:0.0.0 x5\n");
}

TEST_F(EdgeFile, a_discriminator_other_than_zero_on_either_end_sets_the_flag) {
    EXPECT_EQ(profile_of(position_columns + "10,Cond,a.c,1,f,20,a.c,2,f,5,0,0,0,0,0,1\n"),
              "f in A.C x0 flags 1\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.1 x5\n");
    EXPECT_EQ(profile_of(position_columns + "10,Cond,a.c,1,f,20,a.c,2,f,5,0,0,0,0,1,0\n"),
              "f in A.C x0 flags 1\n"
              "  edge 10 1:0.0.1 > 20 2:0.0.0 x5\n");
}

TEST_F(EdgeFile, zeros_and_offset_lines_set_no_flag) {
    EXPECT_EQ(profile_of(position_columns + "10,Cond,a.c,1,f,20,a.c,2,f,5,7,8,0,0,0,0\n"),
              "f in A.C x0 flags 0\n"
              "  edge 10 1:7.0.0 > 20 2:8.0.0 x5\n");
}

TEST_F(EdgeFile, rows_that_are_skipped_set_flags_all_the_same) {
    EXPECT_EQ(profile_of(position_columns + "10,Cond,a.c,-1,f,20,a.c,2,f,5,0,0,1,0,0,0\n"
                                            "10,Other,a.c,1,f,20,a.c,2,g,5,0,0,0,0,1,0\n"),
              "f in A.C x0 flags 3\n");
}

TEST_F(EdgeFile, a_flag_goes_by_the_number_as_written_not_as_cut) {
    EXPECT_EQ(profile_of(position_columns + "10,Cond,a.c,1,f,20,a.c,2,f,5,0,0,65536,0,131072,0\n"),
              "f in A.C x0 flags 3\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x5\n");
}

TEST_F(EdgeFile, columns_and_discriminators_keep_their_low_16_bits) {
    EXPECT_EQ(
        profile_of(position_columns + "10,Cond,a.c,1,f,20,a.c,2,f,5,0,0,65537,-1,65538,70000\n"),
        "f in A.C x0 flags 3\n"
        "  edge 10 1:0.1.2 > 20 2:0.65535.4464 x5\n");
}

TEST_F(EdgeFile, positions_that_differ_in_column_or_discriminator_differ) {
    EXPECT_EQ(profile_of(position_columns + "10,Cond,a.c,1,f,20,a.c,2,f,5,0,0,1,1,1,1\n"
                                            "10,Cond,a.c,1,f,20,a.c,2,f,6,0,0,2,1,1,1\n"
                                            "10,Cond,a.c,1,f,20,a.c,2,f,7,0,0,1,1,1,2\n"),
              "f in A.C x0 flags 3\n"
              "  edge 10 1:0.1.1 > 20 2:0.1.1 x5\n");
}

TEST_F(EdgeFile, the_first_relative_line_stays_where_all_else_agrees) {
    EXPECT_EQ(profile_of(position_columns + "10,Cond,a.c,1,f,20,a.c,2,f,5,1,1,0,0,0,0\n"
                                            "10,Cond,a.c,1,f,20,a.c,2,f,6,2,3,0,0,0,0\n"
                                            "10,Call,a.c,1,f,20,a.c,2,g,7,4,0,0,0,0,0\n"
                                            "10,Call,a.c,1,f,20,a.c,2,g,8,5,0,0,0,0,0\n"),
              "f in A.C x0 flags 0\n"
              "  edge 10 1:1.0.0 > 20 2:1.0.0 x11\n"
              "  call g 1:4 x15\n"
              "g in A.C x15 flags 0\n");
}

class HalfPair : public EdgeFile, public testing::WithParamInterface<const char*> {};

TEST_P(HalfPair, is_ignored_and_asks_for_no_field) {
    const std::string header =
        ten_columns.substr(0, ten_columns.size() - 1) + "," + GetParam() + "\n";
    EXPECT_EQ(profile_of(header + "10,Cond,a.c,1,f,20,a.c,2,f,5,77\n"), one_edge_profile);
    EXPECT_EQ(profile_of(header + "10,Cond,a.c,1,f,20,a.c,2,f,5\n"), one_edge_profile);
}

INSTANTIATE_TEST_SUITE_P(Each, HalfPair,
                         testing::Values("FromSourceOffsetLine", "FromSourceColumn",
                                         "FromSourceDiscriminator", "DestinationSourceOffsetLine",
                                         "DestinationSourceColumn",
                                         "DestinationSourceDiscriminator", "DestinationAddress"));

TEST_F(EdgeFile, a_row_must_reach_the_last_pair_that_is_read) {
    EXPECT_EQ(profile_of(position_columns + "10,Cond,a.c,1,f,20,a.c,2,f,5,1,2,3,4,5\n"), "");
}

TEST_F(EdgeFile, a_row_must_reach_the_entry_column) {
    EXPECT_EQ(profile_of(entry_columns + "10,Cond,a.c,1,f,20,a.c,2,f,5\n"), "");
    EXPECT_EQ(profile_of(entry_columns + "10,Cond,a.c,1,f,20,a.c,2,f,5,\n"), one_edge_profile);
}

// --- Records

TEST_F(EdgeFile, a_files_letters_are_folded_and_a_functions_are_not) {
    EXPECT_EQ(profile_of(ten_columns + "10,Cond,Dir/a.C,1,f,20,a.c,2,f,5\n"
                                       "30,Cond,dir/A.c,3,f,40,a.c,4,f,6\n"
                                       "50,Cond,dir/a.c,5,F,60,a.c,6,F,7\n"),
              "F in DIR/A.C x0 flags 0\n"
              "  edge 50 5:0.0.0 > 60 6:0.0.0 x7\n"
              "f in DIR/A.C x0 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x5\n"
              "  edge 30 3:0.0.0 > 40 4:0.0.0 x6\n");
}

TEST_F(EdgeFile, letters_outside_ascii_are_not_folded) {
    EXPECT_EQ(profile_of(ten_columns + "10,Cond,\xc3\xa9.c,1,f,20,a.c,2,f,5\n"),
              "f in \xc3\xa9.C x0 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x5\n");
}

TEST_F(EdgeFile, one_function_name_in_two_files_is_two_functions) {
    EXPECT_EQ(
        profile_of(ten_columns + "10,Cond,b.c,1,f,20,b.c,2,f,5\n10,Cond,a.c,1,f,20,a.c,2,f,6\n"),
        "f in A.C x0 flags 0\n"
        "  edge 10 1:0.0.0 > 20 2:0.0.0 x6\n"
        "f in B.C x0 flags 0\n"
        "  edge 10 1:0.0.0 > 20 2:0.0.0 x5\n");
}

TEST_F(EdgeFile, functions_are_stored_by_name_then_slash_then_file) {
    EXPECT_EQ(
        profile_of(ten_columns + "1,x,z.c,1,a0,2,z.c,1,a0,5\n1,x,z.c,1,a,2,z.c,1,a,5\n"
                                 "1,x,z.c,1,a!b,2,z.c,1,a!b,5\n1,x,z.c,1,\xff,2,z.c,1,\xff,5\n"
                                 "1,x,b.c,1,a,2,b.c,1,a,5\n"),
        "a!b in Z.C x0 flags 0\n"
        "  edge 1 1:0.0.0 > 2 1:0.0.0 x5\n"
        "a in B.C x0 flags 0\n"
        "  edge 1 1:0.0.0 > 2 1:0.0.0 x5\n"
        "a in Z.C x0 flags 0\n"
        "  edge 1 1:0.0.0 > 2 1:0.0.0 x5\n"
        "a0 in Z.C x0 flags 0\n"
        "  edge 1 1:0.0.0 > 2 1:0.0.0 x5\n"
        "\xff in Z.C x0 flags 0\n"
        "  edge 1 1:0.0.0 > 2 1:0.0.0 x5\n");
}

TEST_F(EdgeFile, names_that_join_to_one_key_are_one_record_with_the_first_names) {
    EXPECT_EQ(
        profile_of(ten_columns + "10,Cond,C,1,a/B,20,C,2,a/B,5\n30,Cond,B/C,3,a,40,B/C,4,a,6\n"),
        "a/B in C x0 flags 0\n"
        "  edge 10 1:0.0.0 > 20 2:0.0.0 x5\n"
        "  edge 30 3:0.0.0 > 40 4:0.0.0 x6\n");
    EXPECT_EQ(
        profile_of(ten_columns + "30,Cond,B/C,3,a,40,B/C,4,a,6\n10,Cond,C,1,a/B,20,C,2,a/B,5\n"),
        "a in B/C x0 flags 0\n"
        "  edge 10 1:0.0.0 > 20 2:0.0.0 x5\n"
        "  edge 30 3:0.0.0 > 40 4:0.0.0 x6\n");
}

TEST_F(EdgeFile, edges_are_stored_by_line_and_then_in_the_order_of_the_rows) {
    EXPECT_EQ(
        profile_of(ten_columns + "50,Cond,a.c,20,f,60,a.c,1,f,1\n30,Cond,a.c,10,f,60,a.c,1,f,2\n"
                                 "10,Cond,a.c,10,f,60,a.c,1,f,3\n"
                                 "20,Cond,a.c,-2,f,60,a.c,1,f,4\n"),
        "f in A.C x0 flags 0\n"
        "  edge 30 10:0.0.0 > 60 1:0.0.0 x2\n"
        "  edge 10 10:0.0.0 > 60 1:0.0.0 x3\n"
        "  edge 50 20:0.0.0 > 60 1:0.0.0 x1\n"
        "  edge 20 -2:0.0.0 > 60 1:0.0.0 x4\n");
}

}  // namespace
}  // namespace cli
