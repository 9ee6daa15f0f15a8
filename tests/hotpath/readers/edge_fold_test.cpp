#include "hotpath/readers/edge_fold.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "diag/trace.h"
#include "support/captured_stderr.h"
#include "support/profile_text.h"
#include "support/random_text.h"
#include "support/tracking_allocator.h"

namespace hotpath {
namespace {

using test_support::profile_text;

// The required columns in their order.
const std::string required =
    "FromAddress,TypeOfBranch,FromSourceFile,FromSourceLine,FromFunctionMangled,"
    "DestinationEndOfBlockAddress,DestinationSourceFile,DestinationSourceLine,"
    "DestinationFunctionMangled,HitCount";

EdgeLayout layout_of(const std::string& header) {
    EdgeColumnMap columns;
    EXPECT_TRUE(parse_edge_header(header, columns)) << header;
    return EdgeLayout(columns);
}

TEST(EdgeLayout, without_optional_columns_reads_the_required_ones) {
    const EdgeLayout layout = layout_of(required);
    EXPECT_EQ(layout.min_fields, 10U);
    EXPECT_FALSE(layout.has_entry_block);
    EXPECT_FALSE(layout.has_columns);
    EXPECT_FALSE(layout.has_discriminators);
    EXPECT_FALSE(layout.has_offset_lines);
}

TEST(EdgeLayout, needs_one_field_more_than_the_largest_index_that_is_read) {
    EXPECT_EQ(layout_of("X,Y," + required).min_fields, 12U);
    EXPECT_EQ(layout_of(required + ",X,Y").min_fields, 10U);
    EXPECT_EQ(layout_of(required + ",X,HitCount,Y").min_fields, 12U);
}

TEST(EdgeLayout, an_entry_block_column_is_read) {
    const EdgeLayout layout = layout_of(required + ",X,EntryBlock");
    EXPECT_TRUE(layout.has_entry_block);
    EXPECT_EQ(layout.min_fields, 12U);
}

TEST(EdgeLayout, a_pair_of_columns_is_read) {
    const EdgeLayout layout = layout_of(required + ",FromSourceColumn,DestinationSourceColumn");
    EXPECT_TRUE(layout.has_columns);
    EXPECT_FALSE(layout.has_discriminators);
    EXPECT_FALSE(layout.has_offset_lines);
    EXPECT_EQ(layout.min_fields, 12U);
}

TEST(EdgeLayout, a_pair_of_discriminators_is_read) {
    const EdgeLayout layout =
        layout_of(required + ",DestinationSourceDiscriminator,FromSourceDiscriminator");
    EXPECT_FALSE(layout.has_columns);
    EXPECT_TRUE(layout.has_discriminators);
    EXPECT_FALSE(layout.has_offset_lines);
    EXPECT_EQ(layout.min_fields, 12U);
}

TEST(EdgeLayout, a_pair_of_offset_lines_is_read) {
    const EdgeLayout layout =
        layout_of(required + ",FromSourceOffsetLine,X,DestinationSourceOffsetLine");
    EXPECT_FALSE(layout.has_columns);
    EXPECT_FALSE(layout.has_discriminators);
    EXPECT_TRUE(layout.has_offset_lines);
    EXPECT_EQ(layout.min_fields, 13U);
}

TEST(EdgeLayout, half_a_pair_counts_for_nothing) {
    for (const char* half :
         {"FromSourceColumn", "DestinationSourceColumn", "FromSourceDiscriminator",
          "DestinationSourceDiscriminator", "FromSourceOffsetLine", "DestinationSourceOffsetLine",
          "FromSourceColumn,DestinationSourceDiscriminator"}) {
        const EdgeLayout layout = layout_of(required + "," + half);
        EXPECT_EQ(layout.min_fields, 10U) << half;
        EXPECT_FALSE(layout.has_columns || layout.has_discriminators || layout.has_offset_lines)
            << half;
    }
}

TEST(EdgeLayout, the_destination_address_counts_for_nothing) {
    EXPECT_EQ(layout_of(required + ",DestinationAddress").min_fields, 10U);
}

using Rows = std::vector<std::string>;

// Gives the fold all rows of its file, in batches of this size. The number of rows that were used.
int read_into(EdgeFold& fold, const Rows& rows, std::size_t batch_size) {
    // What stands behind a line must not matter.
    Rows padded = rows;
    for (std::string& row : padded) row += std::string(split_overrun, ',');
    std::vector<std::string_view> lines;
    for (std::size_t i = 0; i < rows.size(); ++i)
        lines.emplace_back(padded[i].data(), rows[i].size());
    std::uint32_t used = 0;
    for (std::span<const std::string_view> rest = lines; !rest.empty();) {
        const std::size_t count = std::min(batch_size, rest.size());
        used += fold.add_rows(rest.first(count));
        rest = rest.subspan(count);
    }
    fold.finish();
    return static_cast<int>(used);
}

// An empty set, which takes the rows of one file after the other.
class EdgeFoldTest : public testing::Test {
protected:
    // Reads the rows of one file. Gives the number of rows that were used.
    int read(const std::string& header, const Rows& rows) {
        EdgeFold fold(layout_of(header), set, factory);
        return read_into(fold, rows, EdgeFold::batch_size);
    }
    int read(const Rows& rows) { return read(required, rows); }
    std::string profile() const { return profile_text(set); }

    test_support::HeapFactory factory;
    FunctionRecordSet set{factory};
};

// --- Rows inside one function

TEST_F(EdgeFoldTest, a_row_inside_one_function_is_an_edge) {
    EXPECT_EQ(read({"10,Jump,a.c,1,f,20,b.c,2,f,5"}), 1);
    EXPECT_EQ(profile(),
              "f in A.C x0 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x5\n");
}

TEST_F(EdgeFoldTest, its_type_is_never_looked_at) {
    EXPECT_EQ(read({"1,Ret,a.c,1,f,2,a.c,2,f,5", "2,Call,a.c,1,f,3,a.c,2,f,5",
                    "3,,a.c,1,f,4,a.c,2,f,5", "4,?,a.c,1,f,5,a.c,2,f,5"}),
              4);
    EXPECT_EQ(profile(),
              "f in A.C x0 flags 0\n"
              "  edge 1 1:0.0.0 > 2 2:0.0.0 x5\n"
              "  edge 2 1:0.0.0 > 3 2:0.0.0 x5\n"
              "  edge 3 1:0.0.0 > 4 2:0.0.0 x5\n"
              "  edge 4 1:0.0.0 > 5 2:0.0.0 x5\n");
}

TEST_F(EdgeFoldTest, rows_of_one_address_pair_add_up) {
    EXPECT_EQ(read({"10,Jump,a.c,1,f,20,a.c,2,f,5", "10,Jump,a.c,1,f,20,a.c,2,f,6"}), 2);
    EXPECT_EQ(profile(),
              "f in A.C x0 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x11\n");
}

TEST_F(EdgeFoldTest, mismatched_position_keeps_first_sighting_and_drops_count) {
    EXPECT_EQ(read({"10,Jump,a.c,1,f,20,a.c,2,f,5", "10,Jump,a.c,3,f,20,a.c,2,f,6"}), 2);
    EXPECT_EQ(profile(),
              "f in A.C x0 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x5\n");
}

TEST_F(EdgeFoldTest, a_hit_count_of_0_makes_an_edge_and_no_counts) {
    EXPECT_EQ(read({"10,Jump,a.c,1,f,20,a.c,2,f,0"}), 1);
    EXPECT_EQ(profile(),
              "f in A.C x0 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x0\n");
    EXPECT_FALSE(set.find_record("A.C", "f")->has_counts());
}

TEST_F(EdgeFoldTest, a_hit_count_passes_through_a_32_bit_float) {
    read({"10,Jump,a.c,1,f,20,a.c,2,f,16777217"});
    EXPECT_EQ(profile(),
              "f in A.C x0 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x16777216\n");
}

TEST_F(EdgeFoldTest, numbers_are_read_by_their_columns_rules) {
    read({"0xFFFFFFFFFFFFFFFF,Jump,a.c, 1x,f,-1,a.c,abc,f,12.9"});
    EXPECT_EQ(profile(),
              "f in A.C x0 flags 0\n"
              "  edge ffffffffffffffff 1:0.0.0 > ffffffffffffffff 0:0.0.0 x12\n");
}

TEST_F(EdgeFoldTest, a_line_of_minus_1_at_either_end_drops_the_row_but_not_the_record) {
    EXPECT_EQ(read({"10,Jump,a.c,-1,f,20,a.c,2,f,5", "10,Jump,a.c,1,g,20,a.c,4294967295,g,5"}), 0);
    EXPECT_EQ(profile(),
              "f in A.C x0 flags 0\n"
              "g in A.C x0 flags 0\n");
}

TEST_F(EdgeFoldTest, an_edge_ends_at_the_end_of_its_block_and_not_at_its_destination) {
    read(required + ",DestinationAddress", {"10,Jump,a.c,1,f,20,a.c,2,f,5,18"});
    EXPECT_EQ(profile(),
              "f in A.C x0 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x5\n");
}

TEST_F(EdgeFoldTest, a_function_is_sought_by_the_source_ends_file) {
    read({"10,Jump,a.c,1,f,20,b.c,2,f,5", "10,Jump,b.c,1,f,20,a.c,2,f,6"});
    EXPECT_EQ(profile(),
              "f in A.C x0 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x5\n"
              "f in B.C x0 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x6\n");
}

TEST_F(EdgeFoldTest, a_function_without_file_and_name_is_a_function) {
    EXPECT_EQ(read({"10,Jump,,1,,20,,2,,5"}), 1);
    EXPECT_EQ(profile(),
              " in  x0 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x5\n");
}

TEST_F(EdgeFoldTest, an_unknown_destination_of_an_unknown_source_is_inside_one_function) {
    EXPECT_EQ(read({"10,Call,a.c,1,NA,20,a.c,2,NA,5"}), 1);
    EXPECT_EQ(profile(),
              "NA in A.C x0 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x5\n");
}

// --- Rows between two functions

TEST_F(EdgeFoldTest, a_call_is_a_call_of_the_caller_and_an_entry_of_the_callee) {
    EXPECT_EQ(read({"10,Call,a.c,1,f,20,b.c,2,g,5"}), 1);
    EXPECT_EQ(profile(),
              "f in A.C x0 flags 0\n"
              "  call g 1:0 x5\n"
              "g in B.C x5 flags 0\n");
}

TEST_F(EdgeFoldTest, four_types_are_transfers) {
    EXPECT_EQ(read({"10,Call,a.c,1,f,20,b.c,2,g,1", "10,IndCall,a.c,1,f,20,b.c,2,g,10",
                    "10,Jump,a.c,1,f,20,b.c,2,g,100", "10,IndJump,a.c,1,f,20,b.c,2,g,1000"}),
              4);
    EXPECT_EQ(profile(),
              "f in A.C x0 flags 0\n"
              "  call g 1:0 x1111\n"
              "g in B.C x1111 flags 0\n");
}

TEST_F(EdgeFoldTest, other_types_are_skipped_but_for_the_source_ends_record) {
    EXPECT_EQ(read({"10,call,a.c,1,f,20,b.c,2,g,5", "10,CALL,a.c,1,f,20,b.c,2,g,5",
                    "10, Call,a.c,1,f,20,b.c,2,g,5", "10,Call ,a.c,1,f,20,b.c,2,g,5",
                    "10,Calls,a.c,1,f,20,b.c,2,g,5", "10,,a.c,1,f,20,b.c,2,g,5",
                    "10,Return,a.c,1,f,20,b.c,2,g,5", "10,ret,a.c,1,f,20,b.c,2,g,5",
                    "10,Jmp,a.c,1,f,20,b.c,2,g,5", "10,NA,a.c,1,f,20,b.c,2,g,5"}),
              0);
    EXPECT_EQ(profile(), "f in A.C x0 flags 0\n");
}

TEST_F(EdgeFoldTest, a_transfer_to_an_unknown_function_is_skipped) {
    EXPECT_EQ(read({"10,Call,a.c,1,f,20,b.c,2,NA,5", "10,IndCall,a.c,1,f,20,b.c,2,NA,5",
                    "10,Jump,a.c,1,f,20,b.c,2,NA,5", "10,IndJump,a.c,1,f,20,b.c,2,NA,5"}),
              0);
    EXPECT_EQ(profile(), "f in A.C x0 flags 0\n");
}

TEST_F(EdgeFoldTest, only_the_whole_name_na_is_unknown) {
    EXPECT_EQ(read({"10,Call,a.c,1,f,20,b.c,2,na,5", "10,Call,a.c,1,f,20,b.c,2,NAN,5",
                    "10,Call,a.c,1,f,20,b.c,2,N/A,5"}),
              3);
}

TEST_F(EdgeFoldTest, the_unknown_name_is_looked_for_before_the_rewriting) {
    EXPECT_EQ(read({"10,Call,a.c,1,f,20,b.c,2,NA.1,5"}), 1);
    EXPECT_EQ(profile(),
              "NA in B.C x5 flags 0\n"
              "f in A.C x0 flags 0\n"
              "  call NA 1:0 x5\n");
}

TEST_F(EdgeFoldTest, a_call_from_an_unknown_function_counts) {
    EXPECT_EQ(read({"10,Call,a.c,1,NA,20,b.c,2,g,5"}), 1);
    EXPECT_EQ(profile(),
              "NA in A.C x0 flags 0\n"
              "  call g 1:0 x5\n"
              "g in B.C x5 flags 0\n");
}

TEST_F(EdgeFoldTest, a_return_counts_for_the_returning_function_and_makes_no_other) {
    EXPECT_EQ(read({"10,Ret,a.c,1,f,20,b.c,2,g,5", "11,Ret,a.c,1,f,21,b.c,2,NA,6"}), 2);
    EXPECT_EQ(profile(), "f in A.C x11 flags 0\n");
}

TEST_F(EdgeFoldTest, lines_of_minus_1_drop_neither_a_call_nor_a_return) {
    EXPECT_EQ(read({"10,Call,a.c,-1,f,20,b.c,-1,g,5", "11,Ret,a.c,-1,f,20,b.c,-1,g,6"}), 2);
    EXPECT_EQ(profile(),
              "f in A.C x6 flags 0\n"
              "  call g 4294967295:0 x5\n"
              "g in B.C x5 flags 0\n");
}

TEST_F(EdgeFoldTest, calls_of_one_callee_and_line_add_up_whatever_the_file) {
    read({"10,Call,a.c,1,f,20,b.c,2,g,5", "10,Call,a.c,1,f,20,c.c,2,g,6",
          "10,Call,a.c,2,f,20,b.c,2,g,7"});
    EXPECT_EQ(profile(),
              "f in A.C x0 flags 0\n"
              "  call g 1:0 x11\n"
              "  call g 2:0 x7\n"
              "g in B.C x12 flags 0\n"
              "g in C.C x6 flags 0\n");
}

TEST_F(EdgeFoldTest, raw_names_decide_what_is_inside_one_function) {
    EXPECT_EQ(read({"10,Jump,a.c,1,L_main_1__par_region0_2.1,20,a.c,2,main,5",
                    "30,Jump,a.c,3,f.1,40,a.c,4,f.1,6"}),
              2);
    EXPECT_EQ(profile(),
              "f in A.C x0 flags 0\n"
              "  edge 30 3:0.0.0 > 40 4:0.0.0 x6\n"
              "main in A.C x5 flags 0\n"
              "  call main 1:0 x5\n");
}

TEST_F(EdgeFoldTest, callees_are_named_by_their_rewritten_names) {
    read({"10,Call,a.c,1,f,20,b.c,2,__N_1_x_g.12,5"});
    EXPECT_EQ(profile(),
              "(anon ns)_g in B.C x5 flags 0\n"
              "f in A.C x0 flags 0\n"
              "  call (anon ns)_g 1:0 x5\n");
}

// --- Execution counts

TEST_F(EdgeFoldTest, the_largest_of_three_estimates_counts) {
    const std::string header = required + ",EntryBlock";
    const auto rows = [](const char* called, const char* entered, const char* returned) {
        return Rows{std::string("10,Call,m.c,1,m,20,a.c,2,f,") + called + ",",
                    std::string("20,Jump,a.c,2,f,30,a.c,3,f,") + entered + ",yes",
                    std::string("30,Ret,a.c,3,f,11,m.c,1,m,") + returned + ","};
    };
    const auto count = [&] { return set.find_record("A.C", "f")->get_exec_count(); };
    read(header, rows("7", "5", "6"));
    EXPECT_EQ(count(), 7U);
    read(header, rows("60", "70", "50"));
    EXPECT_EQ(count(), 77U);
    read(header, rows("500", "600", "700"));
    EXPECT_EQ(count(), 777U);
}

TEST_F(EdgeFoldTest, each_estimate_is_a_sum) {
    read({"10,Call,m.c,1,m,20,a.c,2,f,3", "11,Jump,m.c,2,n,20,a.c,2,f,4",
          "30,Ret,a.c,3,f,11,m.c,1,m,5", "31,Ret,a.c,4,f,11,m.c,1,n,1"});
    EXPECT_EQ(set.find_record("A.C", "f")->get_exec_count(), 7U);
}

TEST_F(EdgeFoldTest, two_spellings_of_a_file_are_estimated_apart_and_added) {
    read({"10,Call,m.c,1,m,20,a.c,2,f,3", "30,Ret,A.C,3,f,11,m.c,1,m,5"});
    EXPECT_EQ(set.find_record("A.C", "f")->get_exec_count(), 8U);
}

TEST_F(EdgeFoldTest, two_raw_names_of_a_function_are_estimated_together) {
    read({"10,Call,m.c,1,m,20,a.c,2,f.1,3", "30,Ret,a.c,3,f.2,11,m.c,1,m,5"});
    EXPECT_EQ(set.find_record("A.C", "f")->get_exec_count(), 5U);
}

TEST_F(EdgeFoldTest, an_estimate_of_0_leaves_has_counts_clear) {
    read({"10,Call,a.c,1,f,20,b.c,2,g,0"});
    EXPECT_FALSE(set.find_record("B.C", "g")->has_counts());
}

TEST_F(EdgeFoldTest, two_cuts_of_one_joined_text_are_estimated_apart_and_added) {
    read({"10,Call,m.c,1,m,20,B/C,2,a,3", "11,Call,m.c,2,m,30,C,3,a/B,4"});
    EXPECT_EQ(profile(),
              "a in B/C x7 flags 0\n"
              "m in M.C x0 flags 0\n"
              "  call a 1:0 x3\n"
              "  call a/B 2:0 x4\n");
}

// --- Entry and exit marks

TEST_F(EdgeFoldTest, edges_that_leave_a_called_block_are_entry_edges) {
    read({"10,Call,m.c,1,m,20,a.c,2,f,5", "20,Jump,a.c,2,f,30,a.c,3,f,5",
          "20,Jump,a.c,2,f,40,a.c,4,f,5", "30,Jump,a.c,3,f,20,a.c,2,f,5"});
    EXPECT_EQ(profile(),
              "f in A.C x5 flags 0\n"
              "  edge 20 2:0.0.0 > 30 3:0.0.0 x5 entry\n"
              "  edge 20 2:0.0.0 > 40 4:0.0.0 x5 entry\n"
              "  edge 30 3:0.0.0 > 20 2:0.0.0 x5\n"
              "m in M.C x0 flags 0\n"
              "  call f 1:0 x5\n");
}

TEST_F(EdgeFoldTest, edges_that_lead_into_a_returning_block_are_exit_edges) {
    read({"20,Jump,a.c,2,f,30,a.c,3,f,5", "25,Jump,a.c,2,f,30,a.c,3,f,5",
          "30,Jump,a.c,3,f,20,a.c,2,f,5", "30,Ret,a.c,3,f,11,m.c,1,m,5"});
    EXPECT_EQ(profile(),
              "f in A.C x5 flags 0\n"
              "  edge 20 2:0.0.0 > 30 3:0.0.0 x5 exit\n"
              "  edge 25 2:0.0.0 > 30 3:0.0.0 x5 exit\n"
              "  edge 30 3:0.0.0 > 20 2:0.0.0 x5\n");
}

TEST_F(EdgeFoldTest, an_edge_can_be_both) {
    read({"20,Jump,a.c,2,f,20,a.c,2,f,5", "10,Jump,m.c,1,m,20,a.c,2,f,5",
          "20,Ret,a.c,2,f,11,m.c,1,m,5"});
    EXPECT_EQ(test_support::record_text(*set.find_record("A.C", "f")),
              "f in A.C x5 flags 0\n"
              "  edge 20 2:0.0.0 > 20 2:0.0.0 x5 entry exit\n");
}

TEST_F(EdgeFoldTest, marks_go_by_address_whatever_the_function) {
    read({"10,Call,m.c,1,m,20,a.c,2,f,5", "20,Jump,b.c,2,g,30,b.c,3,g,5"});
    EXPECT_EQ(test_support::record_text(*set.find_record("B.C", "g")),
              "g in B.C x0 flags 0\n"
              "  edge 20 2:0.0.0 > 30 3:0.0.0 x5 entry\n");
}

TEST_F(EdgeFoldTest, rows_that_are_skipped_mark_nothing) {
    read({"20,Jump,a.c,2,f,30,a.c,3,f,5", "10,Call,m.c,1,m,20,a.c,2,NA,5",
          "10,call,m.c,1,m,20,a.c,2,f,5", "30,ret,a.c,3,f,11,m.c,1,m,5"});
    EXPECT_EQ(test_support::record_text(*set.find_record("A.C", "f")),
              "f in A.C x0 flags 0\n"
              "  edge 20 2:0.0.0 > 30 3:0.0.0 x5\n");
}

TEST_F(EdgeFoldTest, a_return_inside_one_function_marks_nothing) {
    read({"20,Jump,a.c,2,f,30,a.c,3,f,5", "30,Ret,a.c,3,f,40,a.c,4,f,5"});
    EXPECT_EQ(profile(),
              "f in A.C x0 flags 0\n"
              "  edge 20 2:0.0.0 > 30 3:0.0.0 x5\n"
              "  edge 30 3:0.0.0 > 40 4:0.0.0 x5\n");
}

TEST_F(EdgeFoldTest, a_row_of_an_entry_block_marks_its_edge) {
    read(required + ",EntryBlock",
         {"20,Jump,a.c,2,f,30,a.c,3,f,5,yes", "20,Jump,a.c,2,f,40,a.c,3,f,6,no"});
    EXPECT_EQ(profile(),
              "f in A.C x5 flags 0\n"
              "  edge 20 2:0.0.0 > 30 3:0.0.0 x5 entry\n"
              "  edge 20 2:0.0.0 > 40 3:0.0.0 x6\n");
}

TEST_F(EdgeFoldTest, only_yes_is_an_entry_block) {
    EXPECT_EQ(read(required + ",EntryBlock",
                   {"1,Jump,a.c,2,f,30,a.c,3,f,5,Yes", "2,Jump,a.c,2,f,30,a.c,3,f,5,YES",
                    "3,Jump,a.c,2,f,30,a.c,3,f,5, yes", "4,Jump,a.c,2,f,30,a.c,3,f,5,yes ",
                    "5,Jump,a.c,2,f,30,a.c,3,f,5,", "6,Jump,a.c,2,f,30,a.c,3,f,5,y",
                    "7,Jump,a.c,2,f,30,a.c,3,f,5,1"}),
              7);
    const FunctionRecord* const record = set.find_record("A.C", "f");
    EXPECT_EQ(record->get_exec_count(), 0U);
    EXPECT_EQ(profile().find("entry"), std::string::npos);
}

TEST_F(EdgeFoldTest, an_entry_block_is_not_looked_at_between_two_functions) {
    read(required + ",EntryBlock", {"20,Ret,a.c,2,f,30,b.c,3,g,5,yes"});
    EXPECT_EQ(profile(), "f in A.C x5 flags 0\n");
}

TEST_F(EdgeFoldTest, an_entry_block_counts_its_hits_also_where_positions_differ) {
    read(required + ",EntryBlock",
         {"20,Jump,a.c,2,f,30,a.c,3,f,5,", "20,Jump,a.c,9,f,30,a.c,3,f,6,yes"});
    EXPECT_EQ(profile(),
              "f in A.C x6 flags 0\n"
              "  edge 20 2:0.0.0 > 30 3:0.0.0 x5 entry\n");
}

TEST_F(EdgeFoldTest, an_entry_block_without_a_line_counts_nothing) {
    read(required + ",EntryBlock", {"20,Jump,a.c,-1,f,30,a.c,3,f,5,yes"});
    EXPECT_EQ(profile(), "f in A.C x0 flags 0\n");
}

TEST_F(EdgeFoldTest, marks_stay_when_later_rows_have_none) {
    read(required + ",EntryBlock",
         {"20,Jump,a.c,2,f,30,a.c,3,f,5,yes", "20,Jump,a.c,2,f,30,a.c,3,f,5,no"});
    EXPECT_EQ(profile(),
              "f in A.C x5 flags 0\n"
              "  edge 20 2:0.0.0 > 30 3:0.0.0 x10 entry\n");
}

TEST_F(EdgeFoldTest, a_file_marks_no_edge_of_an_earlier_file) {
    read({"20,Jump,a.c,2,f,30,a.c,3,f,5"});
    read({"10,Call,m.c,1,m,20,a.c,2,f,5", "30,Ret,a.c,3,f,11,m.c,1,m,5"});
    EXPECT_EQ(test_support::record_text(*set.find_record("A.C", "f")),
              "f in A.C x5 flags 0\n"
              "  edge 20 2:0.0.0 > 30 3:0.0.0 x5\n");
}

TEST_F(EdgeFoldTest, a_file_marks_an_earlier_files_edge_that_it_shows_too) {
    read({"20,Jump,a.c,2,f,30,a.c,3,f,5"});
    read({"10,Call,m.c,1,m,20,a.c,2,f,5", "30,Ret,a.c,3,f,11,m.c,1,m,5",
          "20,Jump,a.c,2,f,30,a.c,3,f,6"});
    EXPECT_EQ(test_support::record_text(*set.find_record("A.C", "f")),
              "f in A.C x5 flags 0\n"
              "  edge 20 2:0.0.0 > 30 3:0.0.0 x11 entry exit\n");
}

TEST_F(EdgeFoldTest, a_sighting_that_loses_its_count_still_counts_for_the_marks) {
    read({"20,Jump,a.c,2,f,30,a.c,3,f,5"});
    read({"10,Call,m.c,1,m,20,a.c,2,f,5", "20,Jump,a.c,9,f,30,a.c,3,f,6"});
    EXPECT_EQ(test_support::record_text(*set.find_record("A.C", "f")),
              "f in A.C x5 flags 0\n"
              "  edge 20 2:0.0.0 > 30 3:0.0.0 x5 entry\n");
}

TEST_F(EdgeFoldTest, each_file_is_estimated_by_itself) {
    read({"10,Call,m.c,1,m,20,a.c,2,f,3"});
    read({"30,Ret,a.c,3,f,11,m.c,1,m,2"});
    read({"40,Jump,a.c,4,f,50,a.c,5,f,7"});
    EXPECT_EQ(set.find_record("A.C", "f")->get_exec_count(), 5U);
}

// --- Optional positions

const std::string with_columns = required + ",FromSourceColumn,DestinationSourceColumn";
const std::string with_discriminators =
    required + ",FromSourceDiscriminator,DestinationSourceDiscriminator";

TEST_F(EdgeFoldTest, a_pair_of_columns_goes_into_the_positions) {
    read(with_columns, {"10,Jump,a.c,1,f,20,a.c,2,f,5,7,8"});
    EXPECT_EQ(profile(),
              "f in A.C x0 flags 2\n"
              "  edge 10 1:0.7.0 > 20 2:0.8.0 x5\n");
}

TEST_F(EdgeFoldTest, a_pair_of_discriminators_goes_into_the_positions) {
    read(with_discriminators, {"10,Jump,a.c,1,f,20,a.c,2,f,5,7,8"});
    EXPECT_EQ(profile(),
              "f in A.C x0 flags 1\n"
              "  edge 10 1:0.0.7 > 20 2:0.0.8 x5\n");
}

TEST_F(EdgeFoldTest, a_pair_of_offset_lines_goes_into_positions_and_calls) {
    EXPECT_EQ(read(required + ",FromSourceOffsetLine,DestinationSourceOffsetLine",
                   {"10,Jump,a.c,1,f,20,a.c,2,f,5,7,8", "11,Call,a.c,1,f,21,a.c,2,g,5,9,10"}),
              2);
    EXPECT_EQ(profile(),
              "f in A.C x0 flags 0\n"
              "  edge 10 1:7.0.0 > 20 2:8.0.0 x5\n"
              "  call g 1:9 x5\n"
              "g in A.C x5 flags 0\n");
}

TEST_F(EdgeFoldTest, half_a_pair_leaves_the_positions_at_0) {
    read(required + ",FromSourceColumn,FromSourceDiscriminator,FromSourceOffsetLine",
         {"10,Jump,a.c,1,f,20,a.c,2,f,5,7,8,9", "11,Call,a.c,1,f,21,a.c,2,g,5,7,8,9"});
    EXPECT_EQ(profile(),
              "f in A.C x0 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x5\n"
              "  call g 1:0 x5\n"
              "g in A.C x5 flags 0\n");
}

TEST_F(EdgeFoldTest, columns_of_0_set_no_mark) {
    read(with_columns, {"10,Jump,a.c,1,f,20,a.c,2,f,5,0,0"});
    EXPECT_EQ(profile(),
              "f in A.C x0 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x5\n");
}

TEST_F(EdgeFoldTest, a_column_at_either_end_sets_the_mark) {
    read(with_columns, {"10,Jump,a.c,1,f,20,a.c,2,f,5,1,0", "10,Jump,a.c,1,g,20,a.c,2,g,5,0,1"});
    EXPECT_EQ(set.find_record("A.C", "f")->function_flags(), 2U);
    EXPECT_EQ(set.find_record("A.C", "g")->function_flags(), 2U);
}

TEST_F(EdgeFoldTest, a_discriminator_at_either_end_sets_the_mark) {
    read(with_discriminators,
         {"10,Jump,a.c,1,f,20,a.c,2,f,5,1,0", "10,Jump,a.c,1,g,20,a.c,2,g,5,0,1"});
    EXPECT_EQ(set.find_record("A.C", "f")->function_flags(), 1U);
    EXPECT_EQ(set.find_record("A.C", "g")->function_flags(), 1U);
}

TEST_F(EdgeFoldTest, marks_look_at_the_number_before_it_is_cut_to_16_bits) {
    read(required +
             ",FromSourceColumn,DestinationSourceColumn,FromSourceDiscriminator,"
             "DestinationSourceDiscriminator",
         {"10,Jump,a.c,1,f,20,a.c,2,f,5,65536,0,0,131072"});
    EXPECT_EQ(profile(),
              "f in A.C x0 flags 3\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x5\n");
}

TEST_F(EdgeFoldTest, rows_that_are_calls_or_skipped_set_marks_of_their_source_end_alone) {
    read(with_columns, {"10,Call,a.c,1,f,20,a.c,2,g,5,0,8", "10,?,a.c,1,h,20,a.c,2,g,5,7,0",
                        "10,Jump,a.c,-1,i,20,a.c,2,i,5,7,0", "10,Ret,a.c,1,j,20,a.c,2,g,0,7,0"});
    EXPECT_EQ(profile(),
              "f in A.C x0 flags 2\n"
              "  call g 1:0 x5\n"
              "g in A.C x5 flags 0\n"
              "h in A.C x0 flags 2\n"
              "i in A.C x0 flags 2\n"
              "j in A.C x0 flags 2\n");
}

// --- Fields

TEST_F(EdgeFoldTest, columns_stand_where_the_header_puts_them) {
    EXPECT_EQ(read("HitCount,X,DestinationFunctionMangled,DestinationSourceLine,"
                   "DestinationSourceFile,DestinationEndOfBlockAddress,FromFunctionMangled,"
                   "FromSourceLine,FromSourceFile,TypeOfBranch,Y,FromAddress",
                   {"5,x,f,2,a.c,20,f,1,a.c,Jump,y,10"}),
              1);
    EXPECT_EQ(profile(),
              "f in A.C x0 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x5\n");
}

TEST_F(EdgeFoldTest, short_and_blank_rows_leave_nothing_behind) {
    EXPECT_EQ(read({"", ",", ",,,,,,,,,,,,", "10", "10,Jump,a.c,1,f,20,a.c,2,f"}), 0);
    EXPECT_EQ(profile(), "");
}

TEST_F(EdgeFoldTest, a_row_that_ends_in_a_separator_has_an_empty_last_field) {
    EXPECT_EQ(read({"10,Jump,a.c,1,f,20,a.c,2,f,"}), 1);
    EXPECT_EQ(profile(),
              "f in A.C x0 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x0\n");
}

TEST_F(EdgeFoldTest, surplus_fields_are_not_looked_at) {
    EXPECT_EQ(read({"10,Jump,a.c,1,f,20,a.c,2,f,5,x,[,,]y"}), 1);
    EXPECT_EQ(profile(),
              "f in A.C x0 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x5\n");
}

TEST_F(EdgeFoldTest, an_empty_field_in_front_is_lost) {
    EXPECT_EQ(read({",10,Jump,a.c,1,f,20,a.c,2,f,5", ",Jump,a.c,1,f,20,a.c,2,f,5"}), 1);
    EXPECT_EQ(profile(),
              "f in A.C x0 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x5\n");
}

TEST_F(EdgeFoldTest, bracketed_names_keep_their_brackets) {
    EXPECT_EQ(read({"10,Jump,[a,b.c],1,[foo<a,b>],20,x,2,[foo<a,b>],5"}), 1);
    EXPECT_EQ(profile(),
              "[foo<a,b>] in [A,B.C] x0 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x5\n");
}

TEST_F(EdgeFoldTest, a_character_behind_a_bracket_shifts_the_row) {
    EXPECT_EQ(read({"10,Jump,a.c,[1]y,f,20,a.c,2,f,5"}), 1);
    EXPECT_EQ(profile(),
              " in A.C x0 flags 0\n"
              "  call 2 0:0 x0\n"
              "2 in 20 x0 flags 0\n");
}

TEST_F(EdgeFoldTest, rows_with_and_without_brackets_stand_side_by_side) {
    EXPECT_EQ(read({"10,Jump,a.c,1,[f],20,a.c,2,[f],5", "short,[row",
                    "10,Jump,a.c,1,g,20,a.c,2,g,6", "10,Jump,a.c,1,[f],20,a.c,2,[f],7"}),
              3);
    EXPECT_EQ(profile(),
              "[f] in A.C x0 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x12\n"
              "g in A.C x0 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x6\n");
}

TEST_F(EdgeFoldTest, a_zero_byte_ends_the_name_or_file_that_it_stands_in) {
    const std::string zero(1, '\0');
    EXPECT_EQ(
        read({"10,Call,a.c" + zero + "x,1,f" + zero + "x,20,b.c" + zero + ",2,g" + zero + "y,5"}),
        1);
    EXPECT_EQ(profile(),
              "f in A.C x0 flags 0\n"
              "  call g 1:0 x5\n"
              "g in B.C x5 flags 0\n");
}

TEST_F(EdgeFoldTest, a_zero_byte_ends_the_number_that_it_stands_in) {
    const std::string zero(1, '\0');
    EXPECT_EQ(
        read({"1" + zero + "0,Jump,a.c,1" + zero + "1,f,2" + zero + "0,a.c,2,f,5" + zero + "5"}),
        1);
    EXPECT_EQ(profile(),
              "f in A.C x0 flags 0\n"
              "  edge 1 1:0.0.0 > 2 2:0.0.0 x5\n");
}

TEST_F(EdgeFoldTest, names_of_a_row_with_a_zero_byte_do_not_shorten_the_next_rows) {
    const std::string zero(1, '\0');
    read({"10,Jump,a.c,1,f" + zero + "x,20,a.c,2,f" + zero + "x,5",
          "10,Jump,a.c,1,fx,20,a.c,2,fx,5"});
    EXPECT_EQ(profile(),
              "f in A.C x0 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x5\n"
              "fx in A.C x0 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x5\n");
}

TEST_F(EdgeFoldTest, invalid_lines_are_traced_whole) {
    const auto read_rows = [&] { read({"", "a,b", "10,Jump,a.c,1,f,20,a.c,2,f,5", "c,[d,"}); };
    EXPECT_EQ(test_support::captured_stderr(read_rows), "");
    EXPECT_EQ(test_support::captured_trace(diag::reader_trace_records, read_rows),
              "Invalid line: \n"
              "Invalid line: a,b\n"
              "Invalid line: c,[d,\n");
}

TEST_F(EdgeFoldTest, rows_that_are_skipped_are_not_traced) {
    EXPECT_EQ(test_support::captured_trace(
                  diag::reader_trace_records,
                  [&] {
                      read({"10,?,a.c,1,f,20,a.c,2,g,5", "10,Jump,a.c,-1,f,20,a.c,2,f,5"});
                  }),
              "");
}

// --- Batches

TEST_F(EdgeFoldTest, no_rows_are_a_batch) {
    EdgeFold fold(layout_of(required), set, factory);
    EXPECT_EQ(fold.add_rows({}), 0U);
    fold.finish();
    EXPECT_TRUE(set.is_empty());
}

TEST_F(EdgeFoldTest, rows_of_one_batch_see_what_the_rows_before_them_made) {
    EXPECT_EQ(read({"10,Call,a.c,1,f,20,a.c,2,g,1", "20,Jump,a.c,2,g,30,a.c,3,g,2",
                    "20,Jump,a.c,2,g,30,a.c,3,g,3", "short", "30,Ret,a.c,3,g,10,a.c,1,f,4",
                    "10,Call,a.c,1,f,20,a.c,2,g,5", "10,Call,b.c,1,f,20,a.c,2,g,6"}),
              6);
    EXPECT_EQ(profile(),
              "f in A.C x0 flags 0\n"
              "  call g 1:0 x6\n"
              "f in B.C x0 flags 0\n"
              "  call g 1:0 x6\n"
              "g in A.C x12 flags 0\n"
              "  edge 20 2:0.0.0 > 30 3:0.0.0 x5 entry exit\n");
}

TEST_F(EdgeFoldTest, records_are_made_in_the_order_of_the_rows) {
    read({"10,Call,z.c,1,m,20,y.c,2,f,1", "20,Jump,x.c,2,f,30,x.c,3,f,2"});
    EXPECT_EQ(set.find_record("", "f")->get_file_name(), "Y.C");
}

// Rows of all kinds over few names and addresses.
Rows random_rows(std::uint64_t seed, int count) {
    test_support::RandomText random(seed);
    Rows rows;
    for (int i = 0; i < count; ++i) {
        std::string row;
        for (const std::string_view field :
             {"0123", "CJR?", "ab", "123-", "fgh", "0123", "ab", "123-", "fghN", "123"})
            row += std::string(row.empty() ? "" : ",") + random.one_of(field);
        const std::pair<const char*, const char*> words[] = {
            {",C,", ",Call,"}, {",J,", ",Jump,"}, {",R,", ",Ret,"}, {",-,", ",-1,"},
            {",N,", ",NA,"},   {",f,", ",f.1,"},  {",g,", ",[g],"}};
        for (const auto& [letter, word] : words)
            if (row.find(letter) != std::string::npos) row.replace(row.find(letter), 3, word);
        rows.push_back(row.substr(0, random.below(20) == 0 ? 9 : row.size()));
    }
    return rows;
}

TEST_F(EdgeFoldTest, the_size_of_the_batches_changes_nothing) {
    const Rows rows = random_rows(17, 3000);
    const int used = read(required, rows);
    for (const std::size_t batch_size : {1U, 2U, 7U, 31U}) {
        test_support::HeapFactory other_factory;
        FunctionRecordSet other_set(other_factory);
        EdgeFold fold(layout_of(required), other_set, other_factory);
        EXPECT_EQ(read_into(fold, rows, batch_size), used);
        EXPECT_EQ(profile_text(other_set), profile());
    }
}

}  // namespace
}  // namespace hotpath
