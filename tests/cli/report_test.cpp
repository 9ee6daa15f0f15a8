// The report of `-dump` on the standard output stream, byte for byte.
#include "cli_support.h"

namespace cli {
namespace {

const std::string edge_title =
    "    StartAddr           EndAddr         StartPosition   EndPosition          Count\n";

std::string file_and_function(const std::string& file, const std::string& function) {
    return report_line + "FILE:         " + file + "\nENTRY:        " + function + "\n\n" +
           "Edge data counts:\n\n" + edge_title;
}

const std::string calls_title = "\nFunction call counts:\n\n";

class Report : public CliTest {
protected:
    std::string report(std::string_view edge_file) const {
        write("a.csv", edge_file);
        const Outcome outcome = run_plain({"-file", "a.csv", "-dump"});
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.err, "");
        return outcome.out;
    }
};

TEST_F(Report, of_one_edge) { EXPECT_EQ(report(one_edge), one_edge_report); }

TEST_F(Report, of_an_empty_set_is_its_header) {
    EXPECT_EQ(report(ten_columns), "Sampling merge header:Input file count: 1\n");
}

TEST_F(Report, shows_calls_behind_edges_and_functions_in_their_order) {
    EXPECT_EQ(
        report(one_edge + "10,Call,a.c,7,f,20,b.c,1,h,1234\n10,Call,a.c,12345,f,20,b.c,1,g,5\n"
                          "10,Call,a.c,9,f,20,b.c,1,g,6\n"),
        "Sampling merge header:Input file count: 1\n" + file_and_function("A.C", "f") +
            "    0x0810\t0x0820\tL1.C0.D0\tL2.C0.D0\t           5\n" + calls_title +
            "    SourceLine       Count      Function\n"
            "       9                   6    g\n"
            "    12345                   5    g\n"
            "       7               1,234    h\n"
            "\n" +
            file_and_function("B.C", "g") + calls_title + file_and_function("B.C", "h") +
            calls_title);
}

TEST_F(Report, shows_columns_and_discriminators_and_no_relative_lines) {
    EXPECT_EQ(report(position_columns + "10,Cond,a.c,1,f,20,a.c,2,f,5,11,12,21,22,31,32\n"),
              "Sampling merge header:Input file count: 1\n" + file_and_function("A.C", "f") +
                  "    0x0810\t0x0820\tL1.C21.D31\tL2.C22.D32\t           5\n" + calls_title);
}

TEST_F(Report, shows_the_largest_numbers_whole) {
    EXPECT_EQ(report(position_columns + "-1,Cond,a.c,-2,f,-2,a.c,-2,f,-1,0,0,-1,-1,-1,-1\n"
                                        "10,Call,a.c,-1,f,20,a.c,2,f.1,-1,0,0,0,0,0,0\n"),
              "Sampling merge header:Input file count: 1\n" + file_and_function("A.C", "f") +
                  "    0x08ffffffffffffffff\t0x08fffffffffffffffe\tL4294967294.C65535.D65535\t"
                  "L4294967294.C65535.D65535\t18,446,744,073,709,551,615\n" +
                  calls_title +
                  "    SourceLine       Count      Function\n"
                  "    4294967295        18,446,744,073,709,551,615    f\n"
                  "\n");
}

TEST_F(Report, shows_a_zero_address_and_a_zero_count) {
    EXPECT_EQ(report(ten_columns + "0,Cond,a.c,0,f,0,a.c,0,f,0\n"),
              "Sampling merge header:Input file count: 1\n" + file_and_function("A.C", "f") +
                  "    0x080\t0x080\tL0.C0.D0\tL0.C0.D0\t           0\n" + calls_title);
}

TEST_F(Report, groups_the_digits_of_a_count_by_three) {
    EXPECT_EQ(
        report(ten_columns + "1,x,a.c,1,f,1,a.c,0,f,999\n2,x,a.c,2,f,2,a.c,0,f,1000\n"
                             "3,x,a.c,3,f,3,a.c,0,f,1000000\n4,x,a.c,4,f,4,a.c,0,f,1234567\n"
                             "5,x,a.c,5,f,5,a.c,0,f,1001\n6,x,a.c,6,f,6,a.c,0,f,4294967296\n"),
        "Sampling merge header:Input file count: 1\n" + file_and_function("A.C", "f") +
            "    0x081\t0x081\tL1.C0.D0\tL0.C0.D0\t         999\n"
            "    0x082\t0x082\tL2.C0.D0\tL0.C0.D0\t       1,000\n"
            "    0x083\t0x083\tL3.C0.D0\tL0.C0.D0\t   1,000,000\n"
            "    0x084\t0x084\tL4.C0.D0\tL0.C0.D0\t   1,234,567\n"
            "    0x085\t0x085\tL5.C0.D0\tL0.C0.D0\t       1,001\n"
            "    0x086\t0x086\tL6.C0.D0\tL0.C0.D0\t4,294,967,296\n" +
            calls_title);
}

TEST_F(Report, prints_names_as_they_stand) {
    EXPECT_EQ(report(ten_columns + "10,Cond,100%s.c,1,%n\xff,20,a.c,2,%n\xff,5\n"),
              "Sampling merge header:Input file count: 1\n" +
                  file_and_function("100%S.C", "%n\xff") +
                  "    0x0810\t0x0820\tL1.C0.D0\tL2.C0.D0\t           5\n" + calls_title);
}

TEST_F(Report, counts_the_runs_of_a_database) {
    make_database("in.db", "INSERT INTO sf_run_info VALUES('num_runs', '5');");
    write("a.csv", one_edge);
    EXPECT_EQ(run_plain({"-file", "in.db", "-dump"}),
              (Outcome{0, "Sampling merge header:Input file count: 5\n", ""}));
    EXPECT_EQ(run_plain({"-file", "in.db;a.csv;in.db", "-dump"}).out.substr(0, 43),
              "Sampling merge header:Input file count: 11\n");
}

TEST_F(Report, shows_a_run_count_with_its_sign) {
    make_database("in.db", "INSERT INTO sf_run_info VALUES('num_runs', '-7');");
    EXPECT_EQ(run_plain({"-file", "in.db", "-dump"}),
              (Outcome{0, "Sampling merge header:Input file count: -7\n", ""}));
}

TEST_F(Report, shows_the_inputs_and_never_the_merged_database) {
    make_database("x",
                  "INSERT INTO sf_run_info VALUES('num_runs', '9');"
                  "INSERT INTO sf_filenames VALUES(1, 'A.C');"
                  "INSERT INTO sf_functions VALUES(1, 'f', 1, 7, 0), (2, 'g', 1, 8, 0);"
                  "INSERT INTO sf_edges VALUES(1, 16, 1, 0, 0, 0, 1, 32, 2, 0, 0, 0, 100, 0);");
    write("a.csv", one_edge);
    EXPECT_EQ(run_plain({"-file", "a.csv", "-append", "x", "-dump"}),
              (Outcome{0, one_edge_report, merged(1)}));
}

TEST_F(Report, of_many_functions_arrives_whole) {
    std::string rows;
    std::string expected = "Sampling merge header:Input file count: 1\n";
    for (int i = 10'000; i < 13'000; ++i) {
        const std::string name = "f" + std::to_string(i);
        rows += "10,Cond,a.c,1," + name + ",20,a.c,2," + name + ",5\n";
        expected += file_and_function("A.C", name) +
                    "    0x0810\t0x0820\tL1.C0.D0\tL2.C0.D0\t           5\n" + calls_title;
    }
    EXPECT_EQ(report(ten_columns + rows), expected);
}

// --- The order of edges

class ReportSort : public CliTest {
protected:
    // The order that a sort code gives these edges, by the last digit of their target lines.
    std::string order(const std::string& code) const {
        write("a.csv", position_columns +
                           "20,x,a.c,3,f,90,a.c,1,f,5,0,0,0,0,0,0\n"
                           "20,x,a.c,1,f,80,a.c,2,f,7,0,0,9,0,0,0\n"
                           "10,x,a.c,1,f,70,a.c,3,f,7,0,0,2,0,1,0\n"
                           "30,x,a.c,1,f,60,a.c,4,f,1000,0,0,2,0,0,0\n"
                           "9,x,a.c,2,f,50,a.c,5,f,9,0,0,0,0,0,0\n");
        const Outcome outcome = run_plain({"-file", "a.csv", "-dump", "-sort", code});
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.err, "");
        std::string order;
        for (std::size_t i = 0; (i = outcome.out.find("\tL", i)) != std::string::npos; ++i) {
            i = outcome.out.find("\tL", i + 1);
            order += outcome.out[i + 2];
        }
        return order;
    }
};

TEST_F(ReportSort, by_line_column_and_discriminator_is_the_default) {
    write("a.csv", ten_columns + "1,x,a.c,2,f,2,a.c,1,f,5\n3,x,a.c,1,f,4,a.c,1,f,5\n");
    EXPECT_EQ(
        run_plain({"-file", "a.csv", "-dump"}),
        (Outcome{0,
                 "Sampling merge header:Input file count: 1\n" + file_and_function("A.C", "f") +
                     "    0x083\t0x084\tL1.C0.D0\tL1.C0.D0\t           5\n"
                     "    0x081\t0x082\tL2.C0.D0\tL1.C0.D0\t           5\n" +
                     calls_title,
                 ""}));
    EXPECT_EQ(order("L"), "43251");
}

TEST_F(ReportSort, by_line_descending) { EXPECT_EQ(order("L-"), "15234"); }

TEST_F(ReportSort, by_address) {
    EXPECT_EQ(order("A"), "53214");
    EXPECT_EQ(order("A-"), "41235");
}

TEST_F(ReportSort, by_count_with_ties_by_address) {
    EXPECT_EQ(order("C"), "13254");
    EXPECT_EQ(order("C-"), "45231");
}

TEST_F(ReportSort, takes_lower_case_as_well) {
    EXPECT_EQ(order("l"), "43251");
    EXPECT_EQ(order("l-"), "15234");
    EXPECT_EQ(order("a"), "53214");
    EXPECT_EQ(order("a-"), "41235");
    EXPECT_EQ(order("c"), "13254");
    EXPECT_EQ(order("c-"), "45231");
}

TEST_F(ReportSort, takes_any_other_letter_for_line) {
    EXPECT_EQ(order("X"), "43251");
    EXPECT_EQ(order("x-"), "15234");
    EXPECT_EQ(order("1"), "43251");
    EXPECT_EQ(order(" C"), "43251");
}

TEST_F(ReportSort, takes_the_empty_text_for_line) { EXPECT_EQ(order(""), "43251"); }

TEST_F(ReportSort, looks_at_the_second_character_only) {
    EXPECT_EQ(order("A-x"), "41235");
    EXPECT_EQ(order("Ax-"), "53214");
    EXPECT_EQ(order("Address"), "53214");
    EXPECT_EQ(order("A+"), "53214");
}

TEST_F(ReportSort, large_addresses_and_counts_have_no_sign) {
    write("a.csv", ten_columns + "-1,x,a.c,1,f,1,a.c,1,f,-5\n1,x,a.c,1,f,1,a.c,1,f,5\n");
    const std::string small = "    0x081\t0x081\tL1.C0.D0\tL1.C0.D0\t           5\n";
    const std::string large =
        "    0x08ffffffffffffffff\t0x081\tL1.C0.D0\tL1.C0.D0\t18,446,744,073,709,551,611\n";
    for (const std::string code : {"A", "C"})
        EXPECT_EQ(run_plain({"-file", "a.csv", "-dump", "-sort", code}),
                  (Outcome{0,
                           "Sampling merge header:Input file count: 1\n" +
                               file_and_function("A.C", "f") + small + large + calls_title,
                           ""}));
}

TEST_F(ReportSort, does_not_reach_the_database) {
    write("a.csv", ten_columns + "1,x,a.c,1,f,2,a.c,1,f,5\n3,x,a.c,2,f,4,a.c,1,f,6\n");
    make_database("x");
    EXPECT_EQ(run_plain({"-file", "a.csv", "-append", "x", "-dump", "-sort", "C-"}).status, 0);
    EXPECT_EQ(profile("x"),
              "f in A.C x0 flags 0\n"
              "  edge 1 1:0.0.0 > 2 1:0.0.0 x5\n"
              "  edge 3 2:0.0.0 > 4 1:0.0.0 x6\n");
}

}  // namespace
}  // namespace cli
