// What other programs make of exports. They are those of a Linux system.
#include "edgescope/scope_fixture.h"

namespace {

using test_support::ProgramRun;
using test_support::small_profile;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class ExportTools : public test_support::ScopeTest {
protected:
    std::string exported(const std::string& format, std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), {"export", "--to", format});
        return output_of(arguments);
    }
};

TEST_F(ExportTools, the_call_graph_is_a_graph) {
    database("a.db", small_profile);
    const std::string graph = exported("dot", {"--demangle", "a.db"});
    EXPECT_THAT(graph, HasSubstr("n0 [label=\"g(int)\nB.C\n10 (25.00 %)\""));
    EXPECT_THAT(graph, HasSubstr("n1 [label=\"f\nA.C\n30 (75.00 %)\""));
    EXPECT_THAT(graph, HasSubstr("n1 -> n0 [label=\"10\""));
    write("graph.dot", graph);
    const ProgramRun dot = system("/usr/bin/dot", {"-Tplain", "graph.dot"});
    EXPECT_EQ(dot.exit_status, 0) << dot;
    EXPECT_EQ(dot.standard_error, "");
    EXPECT_THAT(dot.standard_output, HasSubstr("edge n1 n0 "));
}

TEST_F(ExportTools, a_functions_flow_is_a_graph) {
    database("a.db", small_profile);
    const std::string graph = exported("dot", {"--function", "f", "a.db"});
    EXPECT_THAT(graph, HasSubstr("b0_10 [label=\"line 10\\n0x10\\n30\", style=bold];"));
    EXPECT_THAT(graph, HasSubstr("b0_20 [label=\"line 11\\n0x20\\n90\", peripheries=2];"));
    EXPECT_THAT(graph, HasSubstr("b0_20 -> b0_20 [label=\"60\""));
    write("graph.dot", graph);
    const ProgramRun dot = system("/usr/bin/dot", {"-Tplain", "graph.dot"});
    EXPECT_EQ(dot.exit_status, 0) << dot;
    EXPECT_THAT(dot.standard_output, HasSubstr("edge b0_20 b0_20 "));
    EXPECT_EQ(scope({"export", "--to", "dot", "--function", "h", "a.db"}).exit_status, 2);
}

TEST_F(ExportTools, graphviz_takes_the_graphs_of_a_real_program) {
    merge_example("gtest-run1.csv", "a.db");
    write("graph.dot", exported("dot", {"--min-share", "1", "a.db"}));
    EXPECT_EQ(system("/usr/bin/dot", {"-Tsvg", "-o", "graph.svg", "graph.dot"}).standard_error, "");
    EXPECT_THAT(read("graph.svg"), HasSubstr("</svg>"));
}

TEST_F(ExportTools, callgrind_annotate_prints_the_counts) {
    database("a.db", small_profile);
    write("callgrind.out", exported("callgrind", {"--demangle", "a.db"}));
    const ProgramRun run = system("/usr/bin/callgrind_annotate",
                                  {"--tree=calling", "--inclusive=yes", "callgrind.out"});
    EXPECT_EQ(run.exit_status, 0) << run;
    EXPECT_EQ(run.standard_error, "");
    // f: its first block 30 times, the loop's 90 times; g: two blocks, 10 times each.
    EXPECT_THAT(run.standard_output, AllOf(HasSubstr("140 (100.0%)  PROGRAM TOTALS"),
                                           HasSubstr("140 (100.0%)  *  SRC/A.C:f"),
                                           HasSubstr(" 20 (14.29%)  >   B.C:g(int) (10x)")));
}

TEST_F(ExportTools, callgrind_annotate_takes_a_real_program) {
    merge_example("fasttree.csv", "a.db");
    write("callgrind.out", exported("callgrind", {"a.db"}));
    const ProgramRun run = system("/usr/bin/callgrind_annotate", {"--auto=no", "callgrind.out"});
    EXPECT_EQ(run.exit_status, 0) << run;
    EXPECT_EQ(run.standard_error, "");
    EXPECT_THAT(run.standard_output,
                HasSubstr("2,337,262 (41.62%)  FASTTREE/FASTTREE.C:PairLogLk"));
}

TEST_F(ExportTools, genhtml_shows_the_counts_without_a_warning) {
    database("a.db", small_profile);
    std::string source;
    for (int line = 1; line <= 20; ++line) source += "int v" + std::to_string(line) + ";\n";
    write("tree/src/a.c", source);
    write("tree/other/b.c", source);
    write("tree/other/a.c", "");
    write("a.info", exported("lcov", {"--sources", "tree", "a.db"}));
    EXPECT_THAT(read("a.info"),
                AllOf(HasSubstr("SF:tree/src/a.c\n"), HasSubstr("SF:tree/other/b.c\n")));
    const ProgramRun run =
        system("/usr/bin/genhtml", {"--branch-coverage", "-o", "html", "a.info"});
    EXPECT_EQ(run.exit_status, 0) << run;
    EXPECT_EQ(run.standard_error, "");
    EXPECT_THAT(run.standard_output, Not(HasSubstr("arning")));
    EXPECT_THAT(read("html/src/a.c.gcov.html"), HasSubstr("         90 : int v11;"));
}

TEST_F(ExportTools, llvm_takes_the_profile_of_a_real_program) {
    merge_example("minigzip.csv", "a.db");
    const ProgramRun exporting = scope({"export", "--to", "llvm", "-o", "a.prof", "a.db"});
    EXPECT_EQ(exporting.exit_status, 0);
    const ProgramRun show = system("/usr/bin/llvm-profdata",
                                   {"show", "--sample", "--function=longest_match", "a.prof"});
    EXPECT_EQ(show.exit_status, 0) << show;
    EXPECT_EQ(show.standard_error, "");
    EXPECT_THAT(show.standard_output,
                AllOf(StartsWith("Function: longest_match: "), HasSubstr("96: 3330010192\n")));
}

}  // namespace
