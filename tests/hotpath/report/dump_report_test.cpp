#include "hotpath/report/dump_report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "hotpath/model/function_record_factory_impl.h"
#include "hotpath/model/hotpath_allocator.h"

namespace hotpath {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

constexpr const char* separator =
    "-----------------------------------------------------------------------\n";

class DumpReport : public testing::Test {
protected:
    FunctionRecord& add_function(const char* function, const char* file = "A.C") {
        return *records_.find_or_create_record(file, function);
    }

    void add_edge(FunctionRecord& record, std::uint64_t from, std::uint64_t to,
                  const SourcePosition& from_position, std::uint64_t count,
                  const SourcePosition& to_position = SourcePosition(1, 0, 0, 0)) {
        record.add_edge(from, from_position, to, to_position, count, factory_);
    }

    std::string report(const char* sort = "L") {
        testing::internal::CaptureStdout();
        dump_report(records_, sort);
        return testing::internal::GetCapturedStdout();
    }

    // The start addresses of the edge lines, as printed, from top to bottom.
    std::vector<std::string> start_addresses(const char* sort) {
        const std::string lead = "    0x08";
        std::vector<std::string> addresses;
        const std::string text = report(sort);
        for (std::size_t at = text.find(lead); at != std::string::npos;
             at = text.find(lead, at + 1))
            addresses.push_back(
                text.substr(at + lead.size(), text.find('\t', at) - at - lead.size()));
        return addresses;
    }

    FunctionRecordFactoryImpl<AllocatorOnHeap> factory_;
    FunctionRecordSet records_{factory_};
};

TEST_F(DumpReport, of_an_empty_set_is_the_header_line) {
    EXPECT_EQ(report(), "Sampling merge header:Input file count: 0\n");
}

TEST_F(DumpReport, header_shows_the_run_count_as_a_signed_number) {
    records_.add_runs(7);
    EXPECT_EQ(report(), "Sampling merge header:Input file count: 7\n");
    records_.add_runs(0xFFFFFFF8);
    EXPECT_EQ(report(), "Sampling merge header:Input file count: -1\n");
}

TEST_F(DumpReport, prints_edges_and_calls_of_a_function) {
    records_.add_runs(1);
    FunctionRecord& record = add_function("main", "dir/a.c");
    add_edge(record, 0x1a0, 0xFFFFFFFFFFFFFFFF, {7, 2, 5, 1}, 1234567, {8, 3, 0, 0});
    record.add_call("g", 12, 5, 1000);
    record.add_call("f", 9, 2, 999);
    EXPECT_EQ(report(),
              std::string("Sampling merge header:Input file count: 1\n") + separator +
                  "FILE:         DIR/A.C\n"
                  "ENTRY:        main\n"
                  "\n"
                  "Edge data counts:\n"
                  "\n"
                  "    StartAddr           EndAddr         StartPosition   EndPosition          "
                  "Count\n"
                  "    0x081a0\t0x08ffffffffffffffff\tL7.C5.D1\tL8.C0.D0\t   1,234,567\n"
                  "\n"
                  "Function call counts:\n"
                  "\n"
                  "    SourceLine       Count      Function\n"
                  "       9                 999    f\n"
                  "      12               1,000    g\n"
                  "\n");
}

TEST_F(DumpReport, of_a_function_without_edges_or_calls_has_both_titles_and_no_call_header) {
    add_function("f");
    EXPECT_EQ(report(),
              std::string("Sampling merge header:Input file count: 0\n") + separator +
                  "FILE:         A.C\n"
                  "ENTRY:        f\n"
                  "\n"
                  "Edge data counts:\n"
                  "\n"
                  "    StartAddr           EndAddr         StartPosition   EndPosition          "
                  "Count\n"
                  "\n"
                  "Function call counts:\n"
                  "\n");
}

TEST_F(DumpReport, prints_functions_by_name_and_then_by_file) {
    add_function("g", "A.C");
    add_function("f", "B.C");
    add_function("f", "A.C");
    add_function("f.x", "A.C");  // "." stands before "/"
    const std::string text = report();
    std::vector<std::string> entries;
    for (std::size_t at = text.find("FILE:"); at != std::string::npos;
         at = text.find("FILE:", at + 1))
        entries.push_back(text.substr(at, text.find("\n\n", at) - at));
    EXPECT_THAT(
        entries,
        ElementsAre("FILE:         A.C\nENTRY:        f.x", "FILE:         A.C\nENTRY:        f",
                    "FILE:         B.C\nENTRY:        f", "FILE:         A.C\nENTRY:        g"));
}

TEST_F(DumpReport, prints_names_with_percent_signs_as_they_stand) {
    add_function("%s", "%d").add_call("%n", 1, 0, 1);
    const std::string text = report();
    EXPECT_THAT(text, HasSubstr("FILE:         %D\nENTRY:        %s\n"));
    EXPECT_THAT(text, HasSubstr("    %n\n"));
}

TEST_F(DumpReport, groups_counts_in_threes_right_aligned_in_twelve_columns) {
    const struct {
        std::uint64_t count;
        const char* text;
    } rows[] = {
        {0, "           0"},           {999, "         999"},
        {1000, "       1,000"},        {1001, "       1,001"},
        {1000000, "   1,000,000"},     {1234567, "   1,234,567"},
        {1002003, "   1,002,003"},     {999999999, " 999,999,999"},
        {1000000000, "1,000,000,000"}, {18446744073709551615U, "18,446,744,073,709,551,615"},
    };
    std::uint64_t address = 0;
    FunctionRecord& record = add_function("f");
    for (const auto& row : rows) {
        add_edge(record, ++address, 0, {1, 0, 0, 0}, row.count);
        record.add_call("callee", static_cast<std::uint32_t>(address), 0, row.count);
    }
    const std::string text = report();
    for (const auto& row : rows) {
        EXPECT_THAT(text, HasSubstr("\tL1.C0.D0\t" + std::string(row.text) + "\n"));
        EXPECT_THAT(text, HasSubstr("        " + std::string(row.text) + "    callee\n"));
    }
}

TEST_F(DumpReport, prints_a_call_line_of_more_than_four_digits_whole) {
    FunctionRecord& record = add_function("f");
    record.add_call("g", 4294967295U, 0, 1);
    record.add_call("g", 1234, 0, 1);
    const std::string text = report();
    EXPECT_THAT(text, HasSubstr("\n    4294967295                   1    g\n"));
    EXPECT_THAT(text, HasSubstr("\n    1234                   1    g\n"));
}

TEST_F(DumpReport, prints_the_largest_position_whole) {
    const SourcePosition largest(4294967295U, 0, 65535, 65535);
    add_edge(add_function("f"), 1, 2, largest, 1, largest);
    EXPECT_THAT(report(), HasSubstr("\tL4294967295.C65535.D65535\tL4294967295.C65535.D65535\t"));
}

class DumpReportOrder : public DumpReport {
protected:
    // Start addresses distinguish the edges: counts, lines and addresses rise differently.
    DumpReportOrder() {
        FunctionRecord& record = add_function("f");
        add_edge(record, 0x30, 0x1, {10, 0, 0, 0}, 5);
        add_edge(record, 0x10, 0x2, {20, 0, 0, 0}, 9);
        add_edge(record, 0x20, 0x3, {30, 0, 0, 0}, 1);
    }
};

TEST_F(DumpReportOrder, by_address) {
    EXPECT_THAT(start_addresses("A"), ElementsAre("10", "20", "30"));
    EXPECT_THAT(start_addresses("A-"), ElementsAre("30", "20", "10"));
}

TEST_F(DumpReportOrder, by_count) {
    EXPECT_THAT(start_addresses("C"), ElementsAre("20", "30", "10"));
    EXPECT_THAT(start_addresses("C-"), ElementsAre("10", "30", "20"));
}

TEST_F(DumpReportOrder, by_line) {
    EXPECT_THAT(start_addresses("L"), ElementsAre("30", "10", "20"));
    EXPECT_THAT(start_addresses("L-"), ElementsAre("20", "10", "30"));
}

TEST_F(DumpReportOrder, the_letter_s_case_does_not_matter) {
    EXPECT_THAT(start_addresses("a"), ElementsAre("10", "20", "30"));
    EXPECT_THAT(start_addresses("c-"), ElementsAre("10", "30", "20"));
    EXPECT_THAT(start_addresses("l-"), ElementsAre("20", "10", "30"));
}

TEST_F(DumpReportOrder, any_other_text_means_by_line) {
    EXPECT_THAT(start_addresses("X"), ElementsAre("30", "10", "20"));
    EXPECT_THAT(start_addresses("X-"), ElementsAre("20", "10", "30"));
    EXPECT_THAT(start_addresses("-"), ElementsAre("30", "10", "20"));
    EXPECT_THAT(start_addresses("--"), ElementsAre("20", "10", "30"));
    EXPECT_THAT(start_addresses(""), ElementsAre("30", "10", "20"));
}

TEST_F(DumpReportOrder, only_the_second_character_turns_it_round) {
    EXPECT_THAT(start_addresses("A-x"), ElementsAre("30", "20", "10"));
    EXPECT_THAT(start_addresses("Ax-"), ElementsAre("10", "20", "30"));
    EXPECT_THAT(start_addresses("Address"), ElementsAre("10", "20", "30"));
}

TEST_F(DumpReport, by_address_compares_the_end_addresses_of_equal_start_addresses) {
    FunctionRecord& record = add_function("f");
    add_edge(record, 0x1, 0x8000000000000000, {1, 0, 0, 0}, 1);
    add_edge(record, 0x1, 0x2, {1, 0, 0, 0}, 2);
    const std::string small = "0x082\t";
    const std::string large = "0x088000000000000000\t";
    const std::string ascending = report("A");
    EXPECT_LT(ascending.find(small), ascending.find(large));
    const std::string descending = report("A-");
    EXPECT_LT(descending.find(large), descending.find(small));
}

TEST_F(DumpReport, by_count_compares_the_addresses_of_equal_counts_in_the_same_direction) {
    FunctionRecord& record = add_function("f");
    add_edge(record, 0x20, 0x1, {1, 0, 0, 0}, 5);
    add_edge(record, 0x10, 0x2, {1, 0, 0, 0}, 5);
    add_edge(record, 0x15, 0x2, {1, 0, 0, 0}, 0x8000000000000000);
    EXPECT_THAT(start_addresses("C"), ElementsAre("10", "20", "15"));
    EXPECT_THAT(start_addresses("C-"), ElementsAre("15", "20", "10"));
}

TEST_F(DumpReport, by_line_goes_on_with_column_and_discriminator_and_leaves_the_relative_line) {
    FunctionRecord& record = add_function("f");
    add_edge(record, 0x1, 0x1, {10, 1, 2, 1}, 1);
    add_edge(record, 0x2, 0x1, {10, 2, 1, 2}, 1);
    add_edge(record, 0x3, 0x1, {10, 3, 1, 1}, 1);
    add_edge(record, 0x4, 0x1, {9, 4, 65535, 65535}, 1);
    EXPECT_THAT(start_addresses("L"), ElementsAre("4", "3", "2", "1"));
    EXPECT_THAT(start_addresses("L-"), ElementsAre("1", "2", "3", "4"));
}

TEST_F(DumpReport, edges_of_one_position_keep_the_order_of_creation_in_both_directions) {
    FunctionRecord& record = add_function("f");
    for (std::uint64_t address = 40; address > 0; --address)
        add_edge(record, address, 0x1, {10, 0, 0, 0}, 1);
    std::vector<std::string> created;
    for (std::uint64_t address = 40; address > 0; --address) {
        char text[20];
        std::snprintf(text, sizeof text, "%x", static_cast<unsigned>(address));
        created.push_back(text);
    }
    EXPECT_EQ(start_addresses("L"), created);
    EXPECT_EQ(start_addresses("L-"), created);
}

TEST_F(DumpReport, leaves_the_records_as_they_are) {
    FunctionRecord& record = add_function("f");
    add_edge(record, 0x2, 0x1, {10, 0, 0, 0}, 1);
    add_edge(record, 0x1, 0x1, {10, 0, 0, 0}, 2);
    EXPECT_EQ(report("A"), report("A"));
    EXPECT_THAT(start_addresses("L"), ElementsAre("2", "1"));
}

TEST_F(DumpReport, is_whole_where_it_is_larger_than_its_buffer) {
    const std::string long_name(200000, 'x');
    add_function(long_name.c_str());
    const std::string text = report();
    EXPECT_THAT(text, HasSubstr("ENTRY:        " + long_name + "\n\nEdge data counts:\n"));
    EXPECT_THAT(text, testing::EndsWith("Function call counts:\n\n"));
}

}  // namespace
}  // namespace hotpath
