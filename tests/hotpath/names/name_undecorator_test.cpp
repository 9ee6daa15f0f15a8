#include "hotpath/names/name_undecorator.h"

#include <gtest/gtest.h>

#include <span>
#include <string>
#include <string_view>

#include "diag/trace.h"

namespace {

using namespace hotpath;

std::string without_omp(const char* name) {
    return NameUndecoratorOMPMangling(nullptr).undecorate(name);
}

std::string without_suffix(const char* name) {
    return NameUndecoratorSuffixRemover(nullptr).undecorate(name);
}

std::string without_path(const char* name) { return NameUndecoratorCppFilePath().undecorate(name); }

std::string without_underscore(const char* name) {
    return NameUndecoratorFortranMangling(nullptr).undecorate(name);
}

// The stage's pattern by itself, matched over the whole name.
class RoutinePattern {
public:
    RoutinePattern() {
        matcher_.compile(
            "L_{[_a-zA-Z0-9]*}_[0-9]+__par_"
            "((crewloop)|(loop)|(section)|(taskq)|(region))[0-9]+_2\\.[0-9]+");
    }

    // The captured name; the name itself where nothing or nothing but the empty text is captured.
    std::string parent_of(const std::string& name) {
        const char* start = nullptr;
        const char* end = nullptr;
        const bool matches = matcher_.match(name.c_str()) == 0;
        return matches && matcher_.group(0, start, end) > 0 ? std::string(start, end) : name;
    }

private:
    RegexMatcher matcher_;
};

// Calls `visit` with all texts of up to `count` of the pieces.
template <class Visit>
void for_each_text(std::span<const std::string_view> pieces, int count, std::string& text,
                   Visit visit) {
    visit(text);
    if (count == 0) return;
    const std::size_t size = text.size();
    for (const std::string_view piece : pieces) {
        for_each_text(pieces, count - 1, text.append(piece), visit);
        text.resize(size);
    }
}

// Sets the trace word for one test.
class ReaderTrace {
public:
    explicit ReaderTrace(std::uint32_t flags) { diag::reader_trace_flags = flags; }
    ~ReaderTrace() { diag::reader_trace_flags = 0; }
    ReaderTrace(const ReaderTrace&) = delete;
    ReaderTrace& operator=(const ReaderTrace&) = delete;
};

// The base

TEST(NameUndecoratorBase, name_is_handed_back_without_a_next_stage) {
    NameUndecoratorBase stage;
    const char name[] = "foo.1";
    EXPECT_EQ(name, stage.undecorate(name));
}

TEST(NameUndecoratorBase, name_is_handed_to_the_next_stage) {
    NameUndecoratorSuffixRemover next(nullptr);
    NameUndecoratorBase stage(&next);
    EXPECT_STREQ("foo", stage.undecorate("foo.1"));
}

TEST(NameUndecoratorBase, name_without_anything_to_rewrite_is_not_copied) {
    const char name[] = "foo";
    NameUndecoratorCppFilePath path;
    NameUndecoratorSuffixRemover suffix(&path);
    NameUndecoratorOMPMangling omp(&suffix);
    NameUndecoratorFortranMangling fortran(&omp);
    EXPECT_EQ(name, fortran.undecorate(name));
}

class ScratchStage : public NameUndecoratorBase {
public:
    using NameUndecoratorBase::scratch;
};

TEST(NameUndecoratorBase, room_is_kept_and_grows_on_demand) {
    ScratchStage stage;
    char* const first = stage.scratch(1);
    EXPECT_EQ(first, stage.scratch(512));
    char* const larger = stage.scratch(100000);
    larger[99999] = 'x';
    EXPECT_EQ(larger, stage.scratch(99999));
}

TEST(NameUndecoratorBase, first_request_may_be_large) {
    ScratchStage stage;
    char* const room = stage.scratch(5000);
    room[4999] = 'x';
    EXPECT_EQ('x', room[4999]);
}

// OpenMP

TEST(NameUndecoratorOMPMangling, routine_gets_the_name_of_its_function) {
    EXPECT_EQ("main", without_omp("L_main_23__par_region0_2.1"));
    EXPECT_EQ("foo_bar", without_omp("L_foo_bar_104__par_loop2_2.17"));
}

TEST(NameUndecoratorOMPMangling, all_five_kinds_of_region_are_known) {
    EXPECT_EQ("f", without_omp("L_f_1__par_crewloop0_2.1"));
    EXPECT_EQ("f", without_omp("L_f_1__par_loop0_2.1"));
    EXPECT_EQ("f", without_omp("L_f_1__par_section0_2.1"));
    EXPECT_EQ("f", without_omp("L_f_1__par_taskq0_2.1"));
    EXPECT_EQ("f", without_omp("L_f_1__par_region0_2.1"));
}

TEST(NameUndecoratorOMPMangling, name_that_differs_in_any_piece_stays) {
    for (const char* name : {
             "M_f_1__par_loop0_2.1",     // other beginning
             "L_f__par_loop0_2.1",       // no line number
             "L_f_x__par_loop0_2.1",     // no digits
             "L_f_1_par_loop0_2.1",      // one underscore
             "L_f_1__par_unknown0_2.1",  // other kind
             "L_f_1__par_loop_2.1",      // no region number
             "L_f_1__par_loop0_3.1",     // other version
             "L_f_1__par_loop0_2x1",     // no dot
             "L_f_1__par_loop0_2.",      // no digits behind the dot
             "L_f$_1__par_loop0_2.1",    // a character that no captured name has
         }) {
        EXPECT_EQ(name, without_omp(name));
    }
}

TEST(NameUndecoratorOMPMangling, search_from_the_end_finds_what_the_pattern_finds) {
    constexpr std::string_view pieces[] = {"L_", "f", "_1", "__par_loop", "0_2", ".1", "_", "."};
    RoutinePattern pattern;
    NameUndecoratorOMPMangling stage(nullptr);
    int routines = 0;
    std::string text;
    for_each_text(pieces, 6, text, [&](const std::string& name) {
        const std::string parent = pattern.parent_of(name);
        ASSERT_EQ(stage.undecorate(name.c_str()), parent) << name;
        if (parent != name) ++routines;
    });
    EXPECT_EQ(routines, 29);
}

TEST(NameUndecoratorOMPMangling, text_around_the_match_is_dropped) {
    EXPECT_EQ("f", without_omp("xxL_f_1__par_loop0_2.1yy"));
}

TEST(NameUndecoratorOMPMangling, leftmost_match_counts) {
    EXPECT_EQ("aL_f", without_omp("L_aL_f_1__par_loop0_2.1"));
    EXPECT_EQ("f", without_omp("L.L_f_1__par_loop0_2.1"));
}

TEST(NameUndecoratorOMPMangling, capture_gives_back_no_more_than_needed) {
    EXPECT_EQ("f_1", without_omp("L_f_1_2__par_loop0_2.1"));
    EXPECT_EQ("a_1__par_loop0_2", without_omp("L_a_1__par_loop0_2_3__par_loop0_2.1"));
}

TEST(NameUndecoratorOMPMangling, empty_captured_name_leaves_the_name) {
    EXPECT_EQ("L__23__par_region0_2.1", without_omp("L__23__par_region0_2.1"));
}

TEST(NameUndecoratorOMPMangling, long_captured_name_fits) {
    const std::string parent(5000, 'f');
    EXPECT_EQ(parent, without_omp(("L_" + parent + "_1__par_loop0_2.1").c_str()));
}

TEST(NameUndecoratorOMPMangling, conversion_is_traced_on_demand) {
    const ReaderTrace trace(0x1);
    testing::internal::CaptureStderr();
    without_omp("L_main_23__par_region0_2.1");
    EXPECT_EQ(
        "OMP mangled name conversion: "
        "Old name = L_main_23__par_region0_2.1. New name = main\n",
        testing::internal::GetCapturedStderr());
}

TEST(NameUndecoratorOMPMangling, name_that_stays_is_not_traced) {
    const ReaderTrace trace(0x1);
    testing::internal::CaptureStderr();
    without_omp("main");
    without_omp("L__23__par_region0_2.1");
    EXPECT_EQ("", testing::internal::GetCapturedStderr());
}

TEST(NameUndecoratorOMPMangling, other_trace_bits_are_silent) {
    const ReaderTrace trace(0xFFFFFFFEU);
    testing::internal::CaptureStderr();
    without_omp("L_main_23__par_region0_2.1");
    EXPECT_EQ("", testing::internal::GetCapturedStderr());
}

// Suffixes

TEST(NameUndecoratorSuffixRemover, suffix_is_removed) {
    EXPECT_EQ("foo", without_suffix("foo"));
    EXPECT_EQ("foo", without_suffix("foo.123"));
    EXPECT_EQ("foo", without_suffix("foo.a.123"));
    EXPECT_EQ("foobar", without_suffix("foo.a.123.bar"));
    EXPECT_EQ("foobar", without_suffix("foo.bar"));
    EXPECT_EQ("foo2", without_suffix("foo.1.2"));
    EXPECT_EQ("foo", without_suffix("foo..12"));
    EXPECT_EQ("foo", without_suffix("foo."));
    EXPECT_EQ("foo", without_suffix(".foo"));
}

TEST(NameUndecoratorSuffixRemover, only_the_first_suffix_is_treated) {
    EXPECT_EQ("a2.3", without_suffix("a.1.2.3"));
    EXPECT_EQ("abc.4", without_suffix("a.bc.4"));
}

TEST(NameUndecoratorSuffixRemover, tag_is_one_ascii_letter) {
    EXPECT_EQ("f", without_suffix("f.Z.1"));
    EXPECT_EQ("fab.1", without_suffix("f.ab.1"));
    EXPECT_EQ("f_.1", without_suffix("f._.1"));
    EXPECT_EQ("f\xE9.1", without_suffix("f.\xE9.1"));
    EXPECT_EQ("fa", without_suffix("f.a"));
}

TEST(NameUndecoratorSuffixRemover, digit_is_no_tag) { EXPECT_EQ("f2", without_suffix("f.1.2")); }

TEST(NameUndecoratorSuffixRemover, separator_may_follow_the_tag) {
    EXPECT_EQ("f", without_suffix("f.a.."));
    EXPECT_EQ("f.", without_suffix("f.a...."));
    EXPECT_EQ("f", without_suffix("f..."));
    EXPECT_EQ("", without_suffix("."));
}

TEST(NameUndecoratorSuffixRemover, percent_signs_stay) {
    EXPECT_EQ("%s%d", without_suffix("%s.1%d"));
}

TEST(NameUndecoratorSuffixRemover, long_names_fit) {
    const std::string head(3000, 'h');
    const std::string tail(4000, 't');
    EXPECT_EQ(head + tail, without_suffix((head + ".1." + tail).c_str()));
}

TEST(NameUndecoratorSuffixRemover, find_suffix_tells_where_the_suffix_stands) {
    const char name[] = "foo.a.123.bar";
    const char* head_end = nullptr;
    const char* tail_start = nullptr;
    ASSERT_TRUE(NameUndecoratorSuffixRemover::find_suffix(name, head_end, tail_start));
    EXPECT_EQ(name + 3, head_end);
    EXPECT_EQ(name + 10, tail_start);
}

TEST(NameUndecoratorSuffixRemover, find_suffix_leaves_the_outputs_without_a_suffix) {
    const char* head_end = nullptr;
    const char* tail_start = nullptr;
    EXPECT_FALSE(NameUndecoratorSuffixRemover::find_suffix("foo", head_end, tail_start));
    EXPECT_EQ(nullptr, head_end);
    EXPECT_EQ(nullptr, tail_start);
}

// Unnamed namespaces

TEST(NameUndecoratorCppFilePath, encoded_path_is_replaced) {
    EXPECT_EQ("(anon ns)_Helper", without_path("__N_10_src_main_c_Helper"));
}

TEST(NameUndecoratorCppFilePath, malformed_path_stays) {
    EXPECT_EQ("a__N_9_xy", without_path("a__N_9_xy"));
}

TEST(NameUndecoratorCppFilePath, long_key_name_fits) {
    const std::string tail(5000, 't');
    EXPECT_EQ("(anon ns)" + tail, without_path(("__N_1_p" + tail).c_str()));
}

// Fortran

TEST(NameUndecoratorFortranMangling, trailing_underscore_is_removed) {
    EXPECT_EQ("foo", without_underscore("foo_"));
    EXPECT_EQ("foo", without_underscore("foo._"));
    EXPECT_EQ("foo_", without_underscore("foo__"));
}

TEST(NameUndecoratorFortranMangling, short_names) {
    EXPECT_EQ("", without_underscore(""));
    EXPECT_EQ("", without_underscore("_"));
    EXPECT_EQ("", without_underscore("._"));
    EXPECT_EQ("a", without_underscore("a"));
}

TEST(NameUndecoratorFortranMangling, name_without_trailing_underscore_stays) {
    EXPECT_EQ("_foo", without_underscore("_foo"));
    EXPECT_EQ("foo.", without_underscore("foo."));
}

TEST(NameUndecoratorFortranMangling, long_names_fit) {
    const std::string name(5000, 'n');
    EXPECT_EQ(name, without_underscore((name + "_").c_str()));
}

}  // namespace
