// Names and patterns of a megabyte that were made to cost time. None of these tests looks at a
// clock: one whose work grew with the square of the size would run for minutes.
#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <string_view>

#include "hotpath/names/name_normaliser.h"
#include "hotpath/names/regex_engine.h"
#include "support/random_text.h"

namespace {

using hotpath::NameNormaliser;
using hotpath::RegexEngine;

constexpr std::size_t megabyte = 1000000;

std::string repeated(std::string_view text, std::size_t size = megabyte) {
    std::string result;
    while (result.size() < size) result += text;
    return result;
}

std::string normalised(const std::string& raw) { return NameNormaliser().normalise(raw.c_str()); }

TEST(HostileName, many_marks_of_outlined_routines) {
    for (const char* const text : {"__par_", "_1__par_", "_1__par_loop0", "_1__par_loop0_2_",
                                   "L__1__par_loop0_2", "_2_2_2"}) {
        const std::string marks = "L_" + repeated(text);
        EXPECT_EQ(normalised(marks), marks) << text;
        EXPECT_EQ(normalised(marks + "_2."), marks + "_2") << text;
        EXPECT_EQ(normalised(marks + "_1__par_other0_2.1"), marks + "_1__par_other0_2") << text;
    }
}

TEST(HostileName, many_beginnings_of_outlined_routines) {
    const std::string beginnings = repeated("L_");
    EXPECT_EQ(normalised(beginnings + ".L_f_1__par_loop0_2.1"), "f");
    EXPECT_EQ(normalised(beginnings + "_1__par_loop0_2.1"), beginnings.substr(2));
    EXPECT_EQ(normalised("L_f_1__par_loop0_2." + beginnings), "L_f_1__par_loop0_2" + beginnings);
}

TEST(HostileName, many_ends_of_outlined_routines) {
    const std::string ends = repeated("_1__par_loop0_2.1");
    EXPECT_EQ(normalised(ends + "L_f" + ends), "f");
    // The first dot goes with the digit after it, as a suffix.
    EXPECT_EQ(normalised(ends), "_1__par_loop0_2" + ends.substr(17));
}

TEST(HostileName, long_numbers_of_outlined_routines) {
    const std::string digits = repeated("0123456789", 300000);
    EXPECT_EQ(normalised("L_f_" + digits + "__par_loop" + digits + "_2." + digits), "f");
    EXPECT_EQ(normalised("L_f" + digits + "__par_loop0_2.1"), "L_f" + digits + "__par_loop0_2");
}

TEST(HostileName, many_dots) {
    EXPECT_EQ(normalised(repeated(".")).size(), megabyte - 3);
    EXPECT_EQ(normalised(repeated(".1")).size(), megabyte - 3);
}

TEST(HostileName, many_paths_of_unnamed_namespaces) {
    const std::string empty_paths = repeated("__N_0_");
    EXPECT_EQ(normalised(empty_paths), repeated("(anon ns)", empty_paths.size() / 6 * 9));
    // The first underscore of the next mark ends a length of 0.
    EXPECT_EQ(normalised(repeated("__N_")), repeated("(anon ns)_N_", megabyte / 8 * 12));
    const std::string long_path = repeated("__N_1_x") + "__N_9_";
    EXPECT_EQ(normalised(long_path), long_path);
    const std::string digits = "__N_" + repeated("0");
    EXPECT_EQ(normalised(digits), digits);
    EXPECT_EQ(normalised(digits + "_x"), "(anon ns)x");
}

TEST(HostilePattern, a_deep_run_of_brackets_counts_as_one_that_memory_does_not_hold) {
    for (const char* const opener : {"(", "{", "!", "(a{", "!("}) {
        RegexEngine engine;
        EXPECT_EQ(engine.compile(repeated(opener).c_str()), hotpath::RegexOutOfMemory) << opener;
    }
}

TEST(HostilePattern, brackets_may_be_hundreds_deep) {
    const std::size_t depth = 900;
    RegexEngine engine;
    ASSERT_EQ(engine.compile((std::string(depth, '(') + "a" + std::string(depth, ')')).c_str()),
              hotpath::RegexOk);
    EXPECT_TRUE(engine.match("ba"));
}

TEST(HostilePattern, any_number_of_alternatives_can_be_chained) {
    RegexEngine engine;
    ASSERT_EQ(engine.compile((repeated("a|", 100000) + "b").c_str()), hotpath::RegexOk);
    EXPECT_TRUE(engine.match("cb"));
    EXPECT_EQ(engine.match_start(), 1U);
}

// What the stage for outlined routines finds must be what the whole search finds.

std::string parent_by_search(const std::string& name) {
    static RegexEngine engine;
    static const bool compiled =
        engine.compile(
            "L_{[_a-zA-Z0-9]*}_[0-9]+__par_"
            "((crewloop)|(loop)|(section)|(taskq)|(region))[0-9]+_2\\.[0-9]+") == hotpath::RegexOk;
    EXPECT_TRUE(compiled);
    const bool found = engine.match(name.c_str()) && !engine.group(0).empty();
    return found ? std::string(engine.group(0)) : name;
}

class OutlinedRoutine : public testing::Test {
protected:
    // Holds the stage against the search.
    void compare(const std::string& name) {
        const std::string expected = parent_by_search(name);
        ASSERT_EQ(expected, stage_.undecorate(name.c_str())) << name;
        if (expected != name) ++found_;
    }

    void compare_all(std::initializer_list<std::string_view> pieces, int most,
                     const std::string& begin = "") {
        compare(begin);
        if (most == 0 || HasFatalFailure()) return;
        for (const std::string_view piece : pieces)
            compare_all(pieces, most - 1, begin + std::string(piece));
    }

    hotpath::NameUndecoratorOMPMangling stage_{nullptr};
    int found_ = 0;
};

TEST_F(OutlinedRoutine, all_names_of_few_pieces_give_what_the_search_gives) {
    compare_all({"L_", "a", "_1", "__par_loop", "0_2.", "1", "."}, 6);
    EXPECT_GT(found_, 10);
}

TEST_F(OutlinedRoutine, all_names_of_small_pieces_around_a_whole_one_give_what_the_search_gives) {
    compare_all({"L", "_", "2", "L_f_1__par_taskq0_2.1", "_1__par_crewloop7_2.", "$"}, 5);
    EXPECT_GT(found_, 1000);
}

TEST_F(OutlinedRoutine, random_longer_names_give_what_the_search_gives) {
    constexpr std::string_view pieces[] = {
        "L_",     "L",          "_",        "1",           "23",
        "__par_", "__par_loop", "loop",     "crew",        "section",
        "region", "_2.",        "_2",       ".",           "_2.1",
        "__",     "f",          "_1__par_", "__par_taskq", "__par_section",
        "0_2.1",  "_0_2.",      "L_f_1",    "$",           "2.1"};
    test_support::RandomText random(2311);
    for (int i = 0; i < 100000 && !HasFatalFailure(); ++i) {
        std::string name;
        for (std::size_t left = random.below(16); left > 0; --left)
            name += pieces[random.below(std::size(pieces))];
        compare(name);
    }
    EXPECT_GT(found_, 100);
}

}  // namespace
