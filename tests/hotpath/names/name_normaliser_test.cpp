#include "hotpath/names/name_normaliser.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using hotpath::NameNormaliser;

std::string normalised(const char* raw) { return NameNormaliser().normalise(raw); }

TEST(NameNormaliser, plain_name_is_handed_back_itself) {
    NameNormaliser normaliser;
    const char name[] = "main";
    EXPECT_EQ(name, normaliser.normalise(name));
}

TEST(NameNormaliser, empty_name_passes_unchanged) { EXPECT_EQ("", normalised("")); }

TEST(NameNormaliser, each_stage_is_in_the_chain) {
    EXPECT_EQ("main", normalised("L_main_23__par_region0_2.1"));
    EXPECT_EQ("foo", normalised("foo.a.123"));
    EXPECT_EQ("(anon ns)_Helper", normalised("__N_10_src_main_c_Helper"));
}

TEST(NameNormaliser, fortran_names_keep_their_underscore) { EXPECT_EQ("foo_", normalised("foo_")); }

TEST(NameNormaliser, suffix_behind_an_openmp_name_is_lost_with_it) {
    EXPECT_EQ("a", normalised("L_a_1__par_loop0_2.5.7"));
}

TEST(NameNormaliser, parent_of_an_openmp_routine_may_be_in_an_unnamed_namespace) {
    EXPECT_EQ("(anon ns)_f", normalised("L___N_3_a_c_f_7__par_loop0_2.1"));
}

TEST(NameNormaliser, name_that_is_no_openmp_name_goes_on_to_the_suffix_stage) {
    EXPECT_EQ("L_main_1__par_unknown0_2", normalised("L_main_1__par_unknown0_2.1"));
}

TEST(NameNormaliser, suffix_is_removed_before_the_path_is_measured) {
    EXPECT_EQ("(anon ns)f", normalised("__N_3.1_abcf"));
    EXPECT_EQ("__N_4_a_c", normalised("__N_4_a.1_c"));
}

TEST(NameNormaliser, results_of_different_lengths_follow_each_other) {
    NameNormaliser normaliser;
    const std::string longer(2000, 'x');
    EXPECT_EQ(longer, normaliser.normalise((longer + ".1").c_str()));
    EXPECT_STREQ("y", normaliser.normalise("y.1"));
}

}  // namespace
