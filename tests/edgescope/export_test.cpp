#include <filesystem>

#include "edgescope/scope_fixture.h"

namespace {

using test_support::ProgramRun;
using test_support::Rows;
using test_support::small_profile;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class Export : public test_support::ScopeTest {
protected:
    std::string exported(const std::string& format, std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), {"export", "--to", format});
        return output_of(arguments);
    }

    // Everything that a database holds.
    std::vector<Rows> content(const std::string& name) const {
        std::vector<Rows> tables;
        for (const char* const table :
             {"sf_version", "sf_run_info", "sf_filenames", "sf_functions", "sf_edges", "sf_calls"})
            tables.push_back(query(name, std::string("SELECT rowid, * FROM ") + table));
        return tables;
    }

    // The database that the merge tool makes of the edge file made of this database; with the
    // warnings of the export.
    std::string round_trip(const std::string& name) const {
        const ProgramRun run_of_export =
            scope({"export", "--to", "csv", "-o", name + ".csv", name});
        EXPECT_EQ(run_of_export.exit_status, 0);
        EXPECT_EQ(run({"-nologo", "-quiet", "-file", name + ".csv", "-out", "back.db"}).exit_status,
                  0);
        return run_of_export.standard_error;
    }
};

TEST_F(Export, an_edge_file_brings_the_same_database_back) {
    for (const char* const recording : {"app", "fasttree", "gtest-run1", "minigzip"}) {
        const std::string name = recording + std::string(".db");
        merge_example(recording + std::string(".csv"), name);
        EXPECT_EQ(round_trip(name), "");
        EXPECT_TRUE(content("back.db") == content(name)) << recording;
        std::filesystem::remove(path("back.db"));
    }
}

TEST_F(Export, an_edge_file_brings_back_counts_of_64_bits_marks_and_flags) {
    database("a.db",
             "INSERT INTO sf_filenames VALUES (1, 'A.C');"
             "INSERT INTO sf_functions VALUES (1, 'f', 1, 81985529216486895, 3),"
             " (2, 'g', 1, 0, 0), (3, 'gisra.0', 1, 16777217, 0);"
             "INSERT INTO sf_edges VALUES"
             " (1, 16, 10, 1, 0, 0, 1, 32, 11, 2, 0, 0, 1311768467463790320, 1),"
             " (1, 32, 11, 2, 7, 9, 1, 48, 12, 3, 0, 0, 16777217, 2),"
             " (1, 48, 12, 3, 0, 0, 1, 64, 13, 4, 0, 0, 0, 0);"
             "INSERT INTO sf_calls VALUES (1, -1, 0, 'gisra.0', 16777217),"
             " (2, 4, 1, 'f', 0)");
    EXPECT_EQ(round_trip("a.db"), "");
    EXPECT_EQ(content("back.db"), content("a.db"));
}

TEST_F(Export, calls_of_one_name_come_back_to_the_functions_that_were_entered) {
    database("a.db",
             "INSERT INTO sf_filenames VALUES (1, 'A.C'), (2, 'B.C');"
             "INSERT INTO sf_functions VALUES (1, 'f', 1, 5, 0), (2, 'g', 1, 3, 0),"
             " (3, 'g', 2, 4, 0);"
             "INSERT INTO sf_calls VALUES (1, 7, 0, 'g', 7)");
    EXPECT_EQ(round_trip("a.db"), "");
    EXPECT_EQ(content("back.db"), content("a.db"));
}

TEST_F(Export, what_an_edge_file_cannot_bring_back_is_told) {
    database("a.db", std::string(small_profile) +
                         "; UPDATE sf_run_info SET sf_value = '5';"
                         "UPDATE sf_functions SET sf_func_name = 'f,g' WHERE sf_id = 1;"
                         "UPDATE sf_edges SET sf_to_abs_line = -1 WHERE sf_from_func_id = 2;"
                         "INSERT INTO sf_calls VALUES (2, 12, 3, 'nobody', 10)");
    EXPECT_EQ(
        round_trip("a.db"),
        "edgescope: warning: functions that are left out, since an edge file can't hold their "
        "names: 1\n"
        "edgescope: warning: calls to functions that the database doesn't have, which are "
        "added: 1\n"
        "edgescope: warning: edges that are left out, since they have no line: 1\n"
        "edgescope: warning: an edge file is one run: 5 runs come back as 1\n");
}

TEST_F(Export, the_call_graph_is_pruned_by_share) {
    database("a.db", std::string(small_profile) +
                         "; INSERT INTO sf_functions VALUES (3, 'cold', 1, 1, 0);"
                         "INSERT INTO sf_calls VALUES (1, 20, 9, 'cold', 1)");
    EXPECT_THAT(exported("dot", {"a.db"}), HasSubstr("cold"));
    EXPECT_THAT(exported("dot", {"--min-share", "10", "a.db"}), Not(HasSubstr("cold")));
}

TEST_F(Export, callgrind_gets_lines_and_jumps) {
    database("a.db", small_profile);
    EXPECT_THAT(exported("callgrind", {"a.db"}),
                HasSubstr("\nfl=SRC/A.C\nfn=f\n10 30\n11 90\njump=30 11\n10\njump=60 11\n11\n"
                          "cfi=B.C\ncfn=_Z1gi\ncalls=10 4\n12 20\n"));
}

// g is entered five times, four of them by itself; so f's one call of it costs all that it ran.
TEST_F(Export, callgrind_gets_whole_costs_of_functions_that_call_themselves) {
    database("a.db",
             "INSERT INTO sf_filenames VALUES (1, 'A.C');"
             "INSERT INTO sf_functions VALUES (1, 'f', 1, 1, 0), (2, 'g', 1, 5, 0);"
             "INSERT INTO sf_edges VALUES"
             " (2, 16, 5, 1, 0, 0, 2, 32, 6, 2, 0, 0, 5, 1),"
             " (2, 32, 6, 2, 0, 0, 2, 16, 5, 1, 0, 0, 4, 0);"
             "INSERT INTO sf_calls VALUES (1, 12, 3, 'g', 1)");
    EXPECT_THAT(exported("callgrind", {"a.db"}), HasSubstr("cfn=g\ncalls=1 4\n12 10\n"));
}

TEST_F(Export, a_tracefile_has_lines_functions_and_branches) {
    database("a.db",
             "INSERT INTO sf_filenames VALUES (1, 'A.C');"
             "INSERT INTO sf_functions VALUES (1, 'f', 1, 30, 0);"
             "INSERT INTO sf_edges VALUES"
             " (1, 16, 10, 1, 0, 0, 1, 32, 11, 2, 0, 0, 20, 1),"
             " (1, 16, 10, 1, 0, 0, 1, 48, 12, 3, 0, 0, 0, 1);"
             "INSERT INTO sf_calls VALUES (1, 13, 4, 'g', 5)");
    EXPECT_EQ(exported("lcov", {"a.db"}),
              "TN:\nSF:A.C\nFN:9,f\nFNDA:30,f\nFNF:1\nFNH:1\n"
              "BRDA:10,0,0,20\nBRDA:10,0,1,0\nBRF:2\nBRH:1\n"
              "DA:9,30\nDA:10,20\nDA:11,20\nDA:12,0\nDA:13,5\nLF:5\nLH:4\nend_of_record\n");
}

TEST_F(Export, a_tracefile_leaves_out_sources_that_are_not_there) {
    database("a.db", small_profile);
    write("tree/a.c", "");
    const ProgramRun run = scope({"export", "--to", "lcov", "--sources", "tree", "a.db"});
    EXPECT_EQ(run.exit_status, 0) << run;
    EXPECT_THAT(run.standard_output, HasSubstr("SF:tree/a.c\n"));
    EXPECT_THAT(run.standard_output, Not(HasSubstr("B.C")));
    EXPECT_EQ(run.standard_error,
              "edgescope: tree: warning: sources that aren't there, and are left out: B.C\n");
}

TEST_F(Export, a_flat_profile_has_lines_from_the_functions_first_and_call_targets) {
    database("a.db", small_profile);
    EXPECT_EQ(exported("llvm", {"a.db"}),
              "_Z1gi:20:10\n"
              " 1: 10\n"
              " 2: 10\n"
              "f:130:30\n"
              " 1: 30\n"
              " 2: 90\n"
              " 3: 10 _Z1gi:10\n");
}

// A discriminator of LLVM holds more than what tells lines apart: 6 is 3 in the first part.
TEST_F(Export, a_flat_profile_has_base_discriminators) {
    database("a.db", std::string(small_profile) + "; UPDATE sf_edges SET sf_from_discr = 6");
    EXPECT_THAT(exported("llvm", {"a.db"}),
                HasSubstr("f:130:30\n 1.3: 30\n 2: 90\n 3: 10 _Z1gi:10\n"));
}

TEST_F(Export, functions_without_relative_lines_have_their_entries_alone) {
    database("a.db", std::string(small_profile) +
                         "; UPDATE sf_edges SET sf_from_rel_line = 0, sf_to_rel_line = 0");
    const ProgramRun run = scope({"export", "--to", "llvm", "a.db"});
    EXPECT_THAT(run.standard_output, StartsWith("_Z1gi:0:10\nf:"));
    EXPECT_EQ(run.standard_error,
              "edgescope: warning: functions without lines counted from their first, of which only "
              "the entries are written: 1\n");
}

}  // namespace
