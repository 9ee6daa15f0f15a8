#include "edgescope/counts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "edgescope/scope_fixture.h"
#include "edgescope/texts.h"

namespace {

using edgescope::add_count;
using edgescope::count_of;
using edgescope::largest_count;

std::uint64_t sum_of(std::uint64_t one, std::uint64_t other) {
    add_count(one, other);
    return one;
}

TEST(Counts, sums_stop_at_the_largest_count) {
    EXPECT_EQ(sum_of(2, 3), 5U);
    EXPECT_EQ(sum_of(largest_count - 3, 3), largest_count);
    EXPECT_EQ(sum_of(largest_count - 3, 4), largest_count);
    EXPECT_EQ(sum_of(largest_count, largest_count), largest_count);
}

TEST(Counts, a_number_becomes_the_count_below_it) {
    EXPECT_EQ(count_of(0.0), 0U);
    EXPECT_EQ(count_of(0.99), 0U);
    EXPECT_EQ(count_of(1.99), 1U);
    EXPECT_EQ(count_of(std::ldexp(1.0, 63)), std::uint64_t{1} << 63);
    EXPECT_EQ(count_of(std::nextafter(std::ldexp(1.0, 64), 0)), largest_count - 2047);
}

TEST(Counts, a_number_that_no_count_can_be_becomes_the_nearest_one) {
    EXPECT_EQ(count_of(std::ldexp(1.0, 64)), largest_count);
    EXPECT_EQ(count_of(std::numeric_limits<double>::infinity()), largest_count);
    EXPECT_EQ(count_of(-1.0), 0U);
    EXPECT_EQ(count_of(-std::numeric_limits<double>::infinity()), 0U);
    EXPECT_EQ(count_of(std::numeric_limits<double>::quiet_NaN()), 0U);
}

// 100 times this number, rounded and divided by it again, isn't 100.
TEST(Counts, the_whole_is_a_hundred_percent) {
    EXPECT_EQ(edgescope::percent(907845112304022450, 907845112304022450), 100);
}

using test_support::ProgramRun;
using test_support::small_profile;
using testing::HasSubstr;

class HugeCounts : public test_support::ScopeTest {
protected:
    // The small profile with one count replaced.
    void database_with(const std::string& name, const std::string& count) const {
        database(name, std::string(small_profile) + "; UPDATE sf_edges SET sf_exec_count = " +
                           count + " WHERE sf_from_address = 48");
    }
};

// All other counts of the small profile add up to 140.
TEST_F(HugeCounts, are_summed_up_to_a_limit) {
    database_with("a.db", "4611686018427387763");
    EXPECT_THAT(output_of({"top", "--by", "edges", "a.db"}),
                HasSubstr("Sum: 4,611,686,018,427,387,853\n"));
    database_with("b.db", "4611686018427387764");
    const ProgramRun run = scope({"top", "--by", "edges", "b.db"});
    EXPECT_EQ(run.exit_status, 2);
    EXPECT_EQ(run.standard_output, "");
    EXPECT_EQ(run.standard_error,
              "edgescope: b.db: the counts add up to 2^62 or more; 'edgescope check' tells where "
              "they are\n");
}

// A count of 32 bits that was cut is stored with a sign.
TEST_F(HugeCounts, that_are_negative_in_the_file_are_refused) {
    database_with("a.db", "-2147483648");
    database("b.db", small_profile);
    for (const std::vector<std::string>& command :
         std::vector<std::vector<std::string>>{{"top", "a.db"},
                                               {"compare", "a.db", "b.db"},
                                               {"compare", "b.db", "a.db"},
                                               {"export", "--to", "callgrind", "a.db"}}) {
        const ProgramRun run = scope(command);
        EXPECT_EQ(run.exit_status, 2) << run;
        EXPECT_THAT(run.standard_error, HasSubstr("a.db: the counts add up to 2^62 or more"));
    }
}

TEST_F(HugeCounts, of_several_databases_together_are_refused) {
    database_with("a.db", "4000000000000000000");
    database_with("b.db", "1000000000000000000");
    EXPECT_EQ(scope({"top", "a.db"}).exit_status, 0);
    EXPECT_EQ(scope({"top", "b.db"}).exit_status, 0);
    const ProgramRun run = scope({"top", "a.db", "b.db"});
    EXPECT_EQ(run.exit_status, 2);
    EXPECT_THAT(run.standard_error, HasSubstr("edgescope: the counts add up to 2^62 or more"));
}

// g is entered once and costs 2^40, and f calls it 2^40 times.
TEST_F(HugeCounts, of_estimated_costs_stop_at_the_largest_count) {
    database("a.db",
             "INSERT INTO sf_filenames VALUES (1, 'A.C');"
             "INSERT INTO sf_functions VALUES (1, 'f', 1, 1, 0), (2, 'g', 1, 1, 0);"
             "INSERT INTO sf_edges VALUES"
             " (2, 48, 5, 1, 0, 0, 1, 64, 6, 2, 0, 0, 1099511627776, 2);"
             "INSERT INTO sf_calls VALUES (1, 12, 3, 'g', 1099511627776)");
    EXPECT_THAT(output_of({"export", "--to", "callgrind", "a.db"}),
                HasSubstr("cfn=g\ncalls=1099511627776 4\n12 18446744073709551615\n"));
}

}  // namespace
