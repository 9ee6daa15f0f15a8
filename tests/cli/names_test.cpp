// Function names of edge files: under which name a function's record is stored.
#include "cli_support.h"

namespace cli {
namespace {

struct Name {
    const char* raw;
    const char* stored;
};

void PrintTo(const Name& name, std::ostream* stream) { *stream << '"' << name.raw << '"'; }

class FunctionName : public CliTest, public testing::WithParamInterface<Name> {};

TEST_P(FunctionName, is_stored_in_its_key_form) {
    const std::string raw = GetParam().raw;
    const std::string stored = GetParam().stored;
    EXPECT_EQ(profile_of(ten_columns + "10,Cond,a.c,1," + raw + ",20,a.c,2," + raw + ",5\n"),
              stored + " in A.C x0 flags 0\n  edge 10 1:0.0.0 > 20 2:0.0.0 x5\n");
}

TEST_P(FunctionName, of_a_callee_is_stored_in_its_key_form) {
    const std::string stored = GetParam().stored;
    EXPECT_EQ(
        profile_of(ten_columns + "10,Call,a.c,1, ,20,b.c,2," + GetParam().raw + ",5\n"),
        "  in A.C x0 flags 0\n  call " + stored + " 1:0 x5\n" + stored + " in B.C x5 flags 0\n");
}

INSTANTIATE_TEST_SUITE_P(Plain, FunctionName,
                         testing::Values(Name{"", ""}, Name{"foo", "foo"}, Name{"foo_", "foo_"},
                                         Name{"Foo::bar", "Foo::bar"}, Name{"_ZN3fooE", "_ZN3fooE"},
                                         Name{"L_", "L_"}, Name{"it's", "it's"},
                                         Name{"100%s", "100%s"}));

INSTANTIATE_TEST_SUITE_P(Suffix, FunctionName,
                         testing::Values(Name{"foo.123", "foo"}, Name{"foo.a.123", "foo"},
                                         Name{"foo.a.123.bar", "foobar"}, Name{"foo.bar", "foobar"},
                                         Name{"foo.1.2", "foo2"}, Name{"foo..12", "foo"},
                                         Name{"foo.", "foo"}, Name{".foo", "foo"},
                                         Name{"foo...5", "foo5"}, Name{"foo.a..5", "foo"},
                                         Name{"foo.a.", "foo"}, Name{"foo.1.", "foo"},
                                         Name{"foo.1..2", "foo.2"}, Name{"foo.9.5", "foo5"},
                                         Name{".", ""}, Name{"foo.constprop.0", "fooconstprop.0"},
                                         Name{"foo.a5", "fooa5"},
                                         Name{"foo._omp_fn.0", "foo_omp_fn.0"},
                                         Name{"foo_.1", "foo_"}, Name{"foo.\xe9.5", "foo\xe9.5"}));

INSTANTIATE_TEST_SUITE_P(
    UnnamedNamespace, FunctionName,
    testing::Values(Name{"__N_10_src_main_c_Helper", "(anon ns)_Helper"},
                    Name{"a__N_3_xyzb__N_1_qc", "a(anon ns)b(anon ns)c"}, Name{"a__N_", "a__N_"},
                    Name{"a__N_9_xy", "a__N_9_xy"}, Name{"__N_3_xyz", "(anon ns)"},
                    Name{"__N_4_xyz", "__N_4_xyz"}, Name{"a__N_0_b", "a(anon ns)b"},
                    Name{"a__N_x_b", "a(anon ns)b"}, Name{"a__N_-5_xyzxyzxyz", "a__N_-5_xyzxyzxyz"},
                    Name{"a__N_3_xyzb__N_9_q", "a__N_3_xyzb__N_9_q"},
                    Name{"a__N_2_x__N_1_z", "a(anon ns)_N_1_z"},
                    Name{"a__N_99999999999999999999_b", "a__N_99999999999999999999_b"},
                    Name{"f__N_1_x.constprop.0", "f(anon ns)constprop.0"}));

INSTANTIATE_TEST_SUITE_P(
    Outlined, FunctionName,
    testing::Values(Name{"L_main_23__par_region0_2.1", "main"},
                    Name{"L_foo_bar_104__par_loop2_2.17", "foo_bar"},
                    Name{"L_f_1__par_crewloop0_2.1", "f"}, Name{"L_f_1__par_section11_2.1", "f"},
                    Name{"L_f_1__par_taskq0_2.123", "f"},
                    Name{"xxL_main_1__par_loop0_2.3yy", "main"},
                    Name{"L_a_1__par_loop0_2.5.7", "a"},
                    Name{"L_a_1__par_loop0_2_9__par_loop1_2.4", "a_1__par_loop0_2"},
                    Name{"L_L_f_1__par_loop0_2.1", "L_f"}, Name{"L___1__par_loop0_2.1", "_"},
                    Name{"L_f__N_1_x_5__par_loop0_2.1", "f(anon ns)"},
                    Name{"L__23__par_region0_2.1", "L__23__par_region0_2"},
                    Name{"L_main_1__par_unknown0_2.1", "L_main_1__par_unknown0_2"},
                    Name{"L_main_1__par_loop_2.1", "L_main_1__par_loop_2"},
                    Name{"L_main_x__par_loop0_2.1", "L_main_x__par_loop0_2"},
                    Name{"L_main_1__par_loop0_3.1", "L_main_1__par_loop0_3"},
                    Name{"l_main_1__par_loop0_2.1", "l_main_1__par_loop0_2"},
                    Name{"L_ma-in_1__par_loop0_2.1", "L_ma-in_1__par_loop0_2"}));

class Names : public CliTest {};

TEST_F(Names, clones_of_one_function_share_its_record) {
    EXPECT_EQ(profile_of(ten_columns + "10,Cond,a.c,1,f.1,20,a.c,2,f.1,5\n"
                                       "30,Cond,a.c,3,f.2,40,a.c,4,f.2,6\n"
                                       "10,Cond,a.c,1,f,20,a.c,2,f,7\n"),
              "f in A.C x0 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x12\n"
              "  edge 30 3:0.0.0 > 40 4:0.0.0 x6\n");
}

TEST_F(Names, a_jump_from_an_outlined_routine_to_its_parent_is_a_call_of_itself) {
    EXPECT_EQ(
        profile_of(ten_columns + "10,Jump,a.c,1,L_main_23__par_region0_2.1,20,a.c,2,main,5\n"),
        "main in A.C x5 flags 0\n"
        "  call main 1:0 x5\n");
}

TEST_F(Names, files_are_not_rewritten) {
    EXPECT_EQ(profile_of(ten_columns + "10,Cond,a__N_1_x.1.c,1,f,20,a.c,2,f,5\n"),
              "f in A__N_1_X.1.C x0 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x5\n");
}

}  // namespace
}  // namespace cli
