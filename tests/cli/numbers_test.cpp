// The numbers of edge files: how the text of a field becomes a stored number.
#include "cli_support.h"

namespace cli {
namespace {

struct Reading {
    const char* text;
    const char* stored;  // as the database's signed integer
};

void PrintTo(const Reading& reading, std::ostream* stream) {
    *stream << '"' << reading.text << '"';
}

class NumberTest : public CliTest, public testing::WithParamInterface<Reading> {
protected:
    // The one cell that the query gives after this row was merged.
    std::string stored(const std::string& row, const std::string& sql) const {
        write("a.csv", ten_columns + row + "\n");
        make_database("x");
        merge("a.csv", "-append", "x");
        return rows("x", sql);
    }
};

class HitCount : public NumberTest {};

TEST_P(HitCount, goes_through_a_32_bit_float) {
    EXPECT_EQ(stored(std::string("10,Cond,a.c,1,f,20,a.c,2,f,") + GetParam().text,
                     "SELECT sf_exec_count FROM sf_edges"),
              GetParam().stored + std::string("\n"));
}

INSTANTIATE_TEST_SUITE_P(Plain, HitCount,
                         testing::Values(Reading{"0", "0"}, Reading{"1", "1"}, Reading{"+7", "7"},
                                         Reading{"007", "7"}, Reading{" \t\v\f7", "7"},
                                         Reading{"7x", "7"}, Reading{"7 8", "7"},
                                         Reading{"1_000", "1"}, Reading{"1.5.5", "1"}));

INSTANTIATE_TEST_SUITE_P(Fraction, HitCount,
                         testing::Values(Reading{"12.9", "12"}, Reading{"12.", "12"},
                                         Reading{".9", "0"}, Reading{"0.99999999", "1"},
                                         Reading{"3302264080.000000", "3302264064"}));

INSTANTIATE_TEST_SUITE_P(Exponent, HitCount,
                         testing::Values(Reading{"1e3", "1000"}, Reading{"1E3", "1000"},
                                         Reading{".5e1", "5"}, Reading{"1500e-3", "1"},
                                         Reading{"1e+2", "100"}, Reading{"1e", "1"},
                                         Reading{"1e+", "1"}, Reading{"1d3", "1"},
                                         Reading{"1e-50", "0"}));

INSTANTIATE_TEST_SUITE_P(
    Rounded, HitCount,
    testing::Values(Reading{"16777215", "16777215"}, Reading{"16777216", "16777216"},
                    Reading{"16777217", "16777216"}, Reading{"16777218", "16777218"},
                    Reading{"16777219", "16777220"},
                    // Rounding to 64 bits first would make the tie of the number above.
                    Reading{"16777217.0000000000000000001", "16777218"},
                    Reading{"4294967295", "4294967296"}, Reading{"123456789", "123456792"}));

INSTANTIATE_TEST_SUITE_P(Negative, HitCount,
                         testing::Values(Reading{"-5", "-5"}, Reading{"-0.9", "0"},
                                         Reading{"-0", "0"}, Reading{"- 5", "0"},
                                         Reading{"-9223372036854775808", "-9223372036854775808"},
                                         Reading{"-1e19", "-9223372036854775808"},
                                         Reading{"-inf", "-9223372036854775808"}));

INSTANTIATE_TEST_SUITE_P(Large, HitCount,
                         testing::Values(Reading{"9223371487098961920", "9223371487098961920"},
                                         Reading{"9223372036854775807", "-9223372036854775808"},
                                         Reading{"9223372036854775808", "-9223372036854775808"},
                                         Reading{"9223373136366403584", "-9223370937343148032"},
                                         Reading{"1e19", "-8446744093203103744"},
                                         Reading{"18446742974197923840", "-1099511627776"},
                                         Reading{"18446744073709551615", "0"},
                                         Reading{"18446744073709551616", "0"}, Reading{"1e20", "0"},
                                         Reading{"1e38", "0"}, Reading{"1e39", "0"},
                                         Reading{"1e400", "0"}));

INSTANTIATE_TEST_SUITE_P(Special, HitCount,
                         testing::Values(Reading{"inf", "0"}, Reading{"INFINITY", "0"},
                                         Reading{"+infinite", "0"},
                                         Reading{"nan", "-9223372036854775808"},
                                         Reading{"NaN", "-9223372036854775808"},
                                         Reading{"-nan", "-9223372036854775808"},
                                         Reading{"nan(7)", "-9223372036854775808"}));

INSTANTIATE_TEST_SUITE_P(Hexadecimal, HitCount,
                         testing::Values(Reading{"0x10", "16"}, Reading{"0X1p4", "16"},
                                         Reading{"0x.8p1", "1"}, Reading{"0x1.8", "1"},
                                         Reading{"0x1.8p+1", "3"}, Reading{"0x", "0"},
                                         Reading{"0xg", "0"}, Reading{"0x1000001", "16777216"},
                                         Reading{"0x1000003", "16777220"}));

INSTANTIATE_TEST_SUITE_P(None, HitCount,
                         testing::Values(Reading{"", "0"}, Reading{"abc", "0"}, Reading{".", "0"},
                                         Reading{"[1]", "0"}, Reading{"'5'", "0"}));

class Address : public NumberTest {};

TEST_P(Address, is_read_as_hexadecimal) {
    EXPECT_EQ(stored("1,Cond,a.c,1,f," + std::string(GetParam().text) + ",a.c,2,f,5",
                     "SELECT sf_to_bb_end_address FROM sf_edges"),
              GetParam().stored + std::string("\n"));
}

TEST_P(Address, is_read_alike_at_the_end_that_is_left) {
    write("a.csv", "X," + ten_columns + "x," + GetParam().text + ",Cond,a.c,1,f,1,a.c,2,f,5\n");
    make_database("x");
    merge("a.csv", "-append", "x");
    EXPECT_EQ(rows("x", "SELECT sf_from_address FROM sf_edges"),
              GetParam().stored + std::string("\n"));
}

INSTANTIATE_TEST_SUITE_P(
    Each, Address,
    testing::Values(Reading{"1a0", "416"}, Reading{"0x1a0", "416"}, Reading{"0X1A0", "416"},
                    Reading{" \t1a0", "416"}, Reading{"+1a0", "416"}, Reading{"001a0", "416"},
                    Reading{"12zz", "18"}, Reading{"12 34", "18"}, Reading{"0x1a0h", "416"},
                    Reading{"", "0"}, Reading{"zz", "0"}, Reading{"0x", "0"}, Reading{"0xg", "0"},
                    Reading{"0x0x10", "0"}, Reading{"[10]", "0"},
                    Reading{"7fffffffffffffff", "9223372036854775807"},
                    Reading{"8000000000000000", "-9223372036854775808"},
                    Reading{"ffffffffffffffff", "-1"}, Reading{"10000000000000000", "-1"},
                    Reading{"-1", "-1"}, Reading{"-0x10", "-16"}, Reading{"-ffffffffffffffff", "1"},
                    Reading{"-10000000000000000", "-1"}));

// Lines are looked at on a call, which may carry any of them.
class Line : public NumberTest {};

TEST_P(Line, is_read_as_decimal_and_keeps_32_bits) {
    EXPECT_EQ(stored("1,Call,a.c," + std::string(GetParam().text) + ",f,2,a.c,2,g,5",
                     "SELECT sf_from_abs_line FROM sf_calls"),
              GetParam().stored + std::string("\n"));
}

INSTANTIATE_TEST_SUITE_P(
    Each, Line,
    testing::Values(Reading{"0", "0"}, Reading{"10", "10"}, Reading{"010", "10"},
                    Reading{" \t+7", "7"}, Reading{"7x", "7"}, Reading{"1.9", "1"},
                    Reading{"1e3", "1"}, Reading{"0x10", "0"}, Reading{"", "0"}, Reading{"x", "0"},
                    Reading{"-1", "-1"}, Reading{"-2", "-2"}, Reading{"- 2", "0"},
                    Reading{"2147483647", "2147483647"}, Reading{"2147483648", "-2147483648"},
                    Reading{"4294967295", "-1"}, Reading{"4294967296", "0"},
                    Reading{"4294967297", "1"}, Reading{"9223372036854775807", "-1"},
                    Reading{"9223372036854775808", "-1"}, Reading{"99999999999999999999", "-1"},
                    Reading{"-9223372036854775809", "0"}, Reading{"[1,234]", "0"}));

class Numbers : public CliTest {};

TEST_F(Numbers, every_spelling_of_line_minus_one_drops_a_row_inside_one_function) {
    EXPECT_EQ(profile_of(ten_columns + "1,Cond,a.c,4294967295,f,2,a.c,2,f,5\n"
                                       "1,Cond,a.c,1,f,2,a.c,99999999999999999999,f,5\n"
                                       "1,Cond,a.c, -1x,f,2,a.c,2,f,5\n"),
              "f in A.C x0 flags 0\n");
}

TEST_F(Numbers, sums_wrap_at_64_bits) {
    EXPECT_EQ(profile_of(entry_columns + "1,Cond,a.c,1,f,2,a.c,2,f,9223372036854775808,yes\n"
                                         "1,Cond,a.c,1,f,2,a.c,2,f,9223372036854775808,yes\n"
                                         "1,Cond,a.c,1,f,2,a.c,2,f,3,yes\n"
                                         "4,Call,a.c,4,f,5,a.c,5,g,-5,no\n"
                                         "4,Call,a.c,4,f,5,a.c,5,g,7,no\n"),
              "f in A.C x3 flags 0\n"
              "  edge 1 1:0.0.0 > 2 2:0.0.0 x3 entry\n"
              "  call g 4:0 x2\n"
              "g in A.C x2 flags 0\n");
}

TEST_F(Numbers, the_largest_total_is_found_without_a_sign) {
    EXPECT_EQ(profile_of(ten_columns + "1,Call,a.c,1,f,2,a.c,2,g,-5\n3,Ret,a.c,3,g,1,a.c,1,f,9\n"),
              "f in A.C x0 flags 0\n"
              "  call g 1:0 x-5\n"
              "g in A.C x-5 flags 0\n");
}

// A locale of the environment may have a comma for the point. Here it is one that each system has,
// and one that this one may have.
TEST_F(Numbers, are_read_alike_in_every_locale) {
    write("a.csv", ten_columns + "10,Cond,a.c,1,f,20,a.c,2,f,12.9\n");
    const Outcome expected = run_plain({"-file", "a.csv", "-dump"});
    for (const char* const locale : {"C.UTF-8", "de_DE.UTF-8"}) {
        environment_ = {{"LC_ALL", locale}};
        EXPECT_EQ(run_plain({"-file", "a.csv", "-dump"}), expected) << locale;
    }
}

}  // namespace
}  // namespace cli
