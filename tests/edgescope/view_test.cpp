#include <filesystem>

#include "edgescope/scope_fixture.h"
#include "support/view_page.h"

namespace {

using nlohmann::json;
using test_support::ProgramRun;
using test_support::small_profile;
using test_support::ViewPage;
using testing::HasSubstr;
using testing::Not;

class View : public test_support::ScopeTest {
protected:
    // The page of the databases and options.
    ViewPage page_of(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), "view");
        arguments.insert(arguments.end(), {"-o", "page.html"});
        EXPECT_EQ(output_of(arguments), "");
        return ViewPage(read("page.html"));
    }

    ViewPage page_of_sql(const std::string& sql) const {
        database("a.db", sql);
        return page_of({"a.db"});
    }
};

TEST_F(View, the_overview_has_sums_and_findings) {
    database("a.db", small_profile);
    const json overview = page_of({"a.db", "a.db"})["overview"];
    EXPECT_EQ(overview["generator"], "edgescope " EDGEFOLD_VERSION);
    EXPECT_EQ(overview["databases"], json({"a.db", "a.db"}));
    EXPECT_EQ(overview["old"], nullptr);
    EXPECT_EQ(overview["runs"], 2);
    EXPECT_EQ(overview["totals"], json({{"functions", 2},
                                        {"edges", 3},
                                        {"calls", 1},
                                        {"edge_counts", 200},
                                        {"call_counts", 20},
                                        {"entries", 80}}));
    EXPECT_EQ(overview["total_weight"], 80);
    EXPECT_EQ(overview["hottest"], json({0, 1}));
    EXPECT_EQ(overview["compare"], nullptr);
    EXPECT_EQ(overview["has_program"], false);
    const auto checked = json::parse(output_of({"check", "--json", "a.db"}))[0]["findings"];
    ASSERT_EQ(overview["findings"].size(), checked.size());
    for (std::size_t i = 0; i < checked.size(); ++i)
        for (const char* const key : {"severity", "kind", "advice"})
            EXPECT_EQ(overview["findings"][i][key], checked[i][key]);
}

TEST_F(View, the_table_of_functions_is_hottest_first) {
    const json table = page_of_sql(small_profile)["functions"];
    EXPECT_EQ(table, json({{"names", {"f", "_Z1gi"}},
                           {"demangled", {"", "g(int)"}},
                           {"files", {"SRC/A.C", "B.C"}},
                           {"file", {0, 1}},
                           {"line", {9, 4}},
                           {"weight", {30, 10}},
                           {"entries", {30, 10}},
                           {"edges", {2, 1}},
                           {"edge_counts", {90, 10}},
                           {"calls", {1, 0}},
                           {"source", {-1, -1}}}));
}

TEST_F(View, a_function_has_blocks_edges_and_calls) {
    const json flow = page_of_sql(small_profile)["flow-0"];
    EXPECT_EQ(flow["first"], 0);
    ASSERT_EQ(flow["functions"].size(), 2U);
    EXPECT_EQ(flow["functions"][0], json::parse(R"({
        "b": [[10, 0, 0, 1], [11, 0, 0, 2]],
        "e": [[0, 1, 30], [1, 1, 60]],
        "c": [[12, 1, 10]],
        "names": []})"));
    EXPECT_EQ(flow["functions"][1]["b"], json({{5, 7, 3, 0}, {6, 1, 0, 2}}));
}

TEST_F(View, a_line_that_is_unknown_is_minus_one) {
    const ViewPage page = page_of_sql(
        "INSERT INTO sf_filenames VALUES (1, 'A.C');"
        "INSERT INTO sf_functions VALUES (1, 'f', 1, 1, 0);"
        "INSERT INTO sf_edges VALUES (1, 16, 4294967295, 0, 0, 0, 1, 32, 0, 0, 0, 0, 1, 0)");
    EXPECT_EQ(page["functions"]["line"], json({-1}));
    EXPECT_EQ(page["flow-0"]["functions"][0]["b"], json({{-1, 0, 0, 0}, {-1, 0, 0, 0}}));
}

TEST_F(View, calls_lead_to_functions_and_to_names_that_stand_for_none_or_several) {
    const ViewPage page = page_of_sql(
        "INSERT INTO sf_filenames VALUES (1, 'A.C'), (2, 'B.C');"
        "INSERT INTO sf_functions VALUES (1, 'f', 1, 9, 0), (2, 'g', 1, 8, 0), (3, 'g', 2, 7, 0);"
        "INSERT INTO sf_calls VALUES (1, 3, 1, 'f', 5), (1, 4, 2, 'f', 6), (1, 5, 3, 'g', 7),"
        " (2, 6, 1, 'memcpy', 8)");
    EXPECT_EQ(page["calls"], json({{"caller", {0, 0, 1}},
                                   {"callee", {0, -1, -2}},
                                   {"names", {"g", "memcpy"}},
                                   {"count", {11, 7, 8}}}));
    EXPECT_EQ(page["flow-0"]["functions"][0]["c"], json({{3, 0, 5}, {4, 0, 6}, {5, -1, 7}}));
    EXPECT_EQ(page["flow-0"]["functions"][1]["names"], json({"memcpy"}));
}

TEST_F(View, the_hottest_functions_are_those_of_top) {
    merge_example("fasttree.csv", "a.db");
    const ViewPage page = page_of({"a.db"});
    const json top = json::parse(output_of({"top", "--json", "-n", "0", "a.db"}))["top"];
    const json& table = page["functions"];
    ASSERT_EQ(table["names"].size(), top.size());
    for (std::size_t id = 0; id < top.size(); ++id) {
        EXPECT_EQ(table["names"][id], top[id]["function"]);
        EXPECT_EQ(table["entries"][id], top[id]["count"]);
        EXPECT_EQ(table["files"][table["file"][id].get<std::size_t>()], top[id]["file"]);
    }
    EXPECT_EQ(page["overview"]["hottest"], json({0, 1, 2, 3, 4, 5, 6, 7, 8, 9}));
}

TEST_F(View, segments_hold_all_functions_one_after_the_other) {
    std::string sql = "INSERT INTO sf_filenames VALUES (1, 'A.C');";
    for (int i = 1; i <= 3000; ++i)
        sql += "INSERT INTO sf_functions VALUES (" + std::to_string(i) + ", 'f" +
               std::to_string(i) + "', 1, 1, 0);";
    const ViewPage page = page_of_sql(sql);
    const std::size_t size = page["overview"]["flow_size"];
    std::size_t number = 0, functions = 0;
    for (; page.data.count("flow-" + std::to_string(number)) != 0; ++number) {
        const json& flow = page["flow-" + std::to_string(number)];
        EXPECT_EQ(flow["first"], number * size);
        functions += flow["functions"].size();
    }
    EXPECT_EQ(functions, 3000U);
    EXPECT_GT(number, 1U);
    EXPECT_EQ(page.order.size(), 3 + number);
    EXPECT_EQ(page.order[0], "overview");
    EXPECT_EQ(page.order[1], "functions");
    EXPECT_EQ(page.order[2], "calls");
    EXPECT_EQ(page.order[3], "flow-0");
}

TEST_F(View, counts_beyond_what_javascript_knows_exactly_are_texts) {
    const ViewPage page = page_of_sql(
        "INSERT INTO sf_filenames VALUES (1, 'A.C');"
        "INSERT INTO sf_functions VALUES (1, 'f', 1, 9007199254740991, 0),"
        " (2, 'g', 1, 9007199254740992, 0)");
    EXPECT_EQ(page["functions"]["entries"], json({"9007199254740992", 9007199254740991}));
    EXPECT_EQ(page["overview"]["total_weight"], "18014398509481983");
}

TEST_F(View, an_empty_database_has_a_page) {
    const ViewPage page = page_of_sql("SELECT 1");
    EXPECT_EQ(page["overview"]["hottest"], json::array());
    EXPECT_EQ(page["functions"]["names"], json::array());
    EXPECT_EQ(page.order.size(), 3U);
}

// Whatever names hold, the page around its data stays the same.
TEST_F(View, no_name_gets_out_of_the_data) {
    database("plain.db", small_profile);
    const ViewPage plain = page_of({"plain.db"});
    const ViewPage page = page_of_sql(
        "INSERT INTO sf_filenames VALUES (1, '</script><script>alert(1)</script>');"
        "INSERT INTO sf_functions VALUES (1, '</script><!--data-->', 1, 5, 0),"
        " (2, '\"\\' || char(9) || char(27) || char(127), 1, 4, 0),"
        " (3, CAST(x'66ff67c0aff0908080f4908080eda08080c3' AS TEXT), 1, 3, 0),"
        " (4, 'é€😀', 1, 2, 0),"
        " (5, hex(zeroblob(500000)), 1, 1, 0);"
        "INSERT INTO sf_calls VALUES (1, 3, 1, '<img src=x>', 5)");
    EXPECT_TRUE(page.without_data == plain.without_data);
    const json& names = page["functions"]["names"];
    EXPECT_EQ(names[0], "</script><!--data-->");
    EXPECT_EQ(names[1], "\"\\\t\x1b\x7f");
    const std::string bad = "\xEF\xBF\xBD";
    EXPECT_EQ(names[2], "f" + bad + "g" + bad + bad + "\xF0\x90\x80\x80" + bad + bad + bad + bad +
                            bad + bad + bad + bad + bad);
    EXPECT_EQ(names[3], "é€😀");
    EXPECT_TRUE(names[4] == std::string(1000000, '0'));
    EXPECT_EQ(page["calls"]["names"], json({"<img src=x>"}));
    EXPECT_EQ(page["functions"]["files"], json({"</SCRIPT><SCRIPT>ALERT(1)</SCRIPT>"}));
}

TEST_F(View, the_page_has_a_policy_and_no_place_for_data_is_left) {
    const std::string text = page_of_sql(small_profile).without_data;
    EXPECT_THAT(text, HasSubstr("Content-Security-Policy"));
    EXPECT_THAT(text, HasSubstr("default-src 'none'"));
    EXPECT_THAT(text, Not(HasSubstr("<!--data-->")));
    EXPECT_TRUE(text.ends_with("</html>\n"));
}

TEST_F(View, the_same_database_gives_the_same_bytes) {
    merge_example("fasttree.csv", "a.db");
    page_of({"a.db"});
    const std::string once = read("page.html");
    page_of({"a.db"});
    EXPECT_TRUE(read("page.html") == once);
}

TEST_F(View, sources_are_found_below_a_directory_and_have_counts) {
    database("a.db", small_profile);
    std::filesystem::create_directories(path("tree/src"));
    write("tree/src/a.c", "int x;\r\n</script>\xff\n\tlast");
    const ProgramRun run = scope({"view", "--source", "tree", "a.db", "-o", "page.html"});
    EXPECT_EQ(run.exit_status, 0);
    EXPECT_EQ(run.standard_error,
              "edgescope: tree: warning: sources that aren't there, and are left out: B.C\n");
    const ViewPage page(read("page.html"));
    EXPECT_EQ(page["functions"]["source"], json({0, -1}));
    EXPECT_EQ(page["source-0"], json({{"path", "tree/src/a.c"},
                                      {"first", 1},
                                      {"lines", {"int x;", "</script>\xEF\xBF\xBD", "\tlast"}},
                                      {"counts", {{10, 30}, {11, 90}, {12, 10}}}}));
}

TEST_F(View, of_a_long_source_the_part_that_ran_is_shown) {
    database("a.db",
             "INSERT INTO sf_filenames VALUES (1, 'A.C');"
             "INSERT INTO sf_functions VALUES (1, 'f', 1, 1, 0);"
             "INSERT INTO sf_edges VALUES (1, 16, 5900, 0, 0, 0, 1, 32, 6000, 0, 0, 0, 1, 0)");
    std::string text;
    for (int line = 1; line <= 9000; ++line) text += std::to_string(line) + "\n";
    write("a.c", text);
    const ProgramRun run = scope({"view", "--source", ".", "a.db", "-o", "page.html"});
    EXPECT_EQ(run.exit_status, 0) << run;
    const ViewPage page(read("page.html"));
    const json& source = page["source-0"];
    EXPECT_EQ(source["lines"][0], std::to_string(source["first"].get<int>()));
    EXPECT_LE(source["first"], 5900);
    EXPECT_GE(source["first"].get<std::size_t>() + source["lines"].size(), 6000U);
    EXPECT_LT(source["lines"].size(), 1000U);
}

TEST_F(View, an_older_database_shows_what_moved) {
    database("old.db", small_profile);
    database("new.db",
             "INSERT INTO sf_filenames VALUES (1, 'SRC/A.C'), (2, 'B.C');"
             "INSERT INTO sf_functions VALUES (1, 'f', 1, 30, 0), (2, '_Z1gi', 2, 30, 0),"
             " (3, 'h', 2, 60, 0)");
    const ViewPage page = page_of({"--compare", "old.db", "new.db"});
    const json& overview = page["overview"];
    EXPECT_EQ(overview["old"], json({"old.db"}));
    EXPECT_EQ(overview["compare"]["functions"], 50.0);
    EXPECT_EQ(overview["compare"]["edges"], 0.0);
    EXPECT_EQ(overview["compare"]["moved"], json({{"f", "", "SRC/A.C", 75.0, 25.0}}));
    EXPECT_EQ(overview["compare"]["new_functions"], 1);
    EXPECT_EQ(overview["compare"]["gone_functions"], 0);
    EXPECT_EQ(page["functions"]["names"], json({"h", "_Z1gi", "f"}));
    EXPECT_EQ(page["functions"]["old_weight_share"], json({nullptr, 25.0, 75.0}));
}

TEST_F(View, what_cannot_be_read_is_a_failure_and_leaves_an_older_page) {
    database("a.db", small_profile);
    write("page.html", "old");
    write("b.db", "hello");
    for (const auto& arguments :
         std::vector<std::vector<std::string>>{{"b.db"},
                                               {"a.db", "none.db"},
                                               {"a.db", "--compare", "b.db"},
                                               {"a.db", "--program", "b.db"}}) {
        std::vector<std::string> words = {"view", "-o", "page.html"};
        words.insert(words.end(), arguments.begin(), arguments.end());
        const ProgramRun run = scope(words);
        EXPECT_EQ(run.exit_status, 2) << run;
        EXPECT_EQ(read("page.html"), "old");
    }
    EXPECT_EQ(scope({"view", "a.db", "-o", "none/page.html"}).exit_status, 2);
    EXPECT_EQ(scope({"view", "a.db", "--source", "none", "-o", "p.html"}).exit_status, 2);
}

TEST_F(View, without_a_file_the_page_goes_to_standard_output) {
    database("a.db", small_profile);
    page_of({"a.db"});
    EXPECT_TRUE(output_of({"view", "a.db"}) == read("page.html"));
}

}  // namespace
