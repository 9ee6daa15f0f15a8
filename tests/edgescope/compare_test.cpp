#include <cstdlib>
#include <nlohmann/json.hpp>
#include <sstream>

#include "edgescope/scope_fixture.h"

namespace {

using nlohmann::json;
using test_support::ProgramRun;
using test_support::Rows;
using test_support::small_profile;
using testing::HasSubstr;

class Compare : public test_support::ScopeTest {
protected:
    json compare(const std::string& old_name, const std::string& new_name) const {
        return json::parse(output_of({"compare", "--json", "-n", "0", old_name, new_name}));
    }

    // The overlaps, each with three digits behind the point.
    std::string overlaps(const std::string& old_name, const std::string& new_name) const {
        std::string text;
        for (const char* const kind : {"functions", "edges", "calls"}) {
            char number[32];
            std::snprintf(number, sizeof number, "%.3f ",
                          compare(old_name, new_name)["overlap"][kind].get<double>());
            text += number;
        }
        return text;
    }

    // Two runs of one program, as far as two halves of one recording are: the even and odd rows.
    void write_halves() const {
        std::istringstream lines(read_file(test_support::example_path("gtest-run1.csv")));
        std::string header, line;
        std::getline(lines, header);
        std::string halves[2] = {header + "\n", header + "\n"};
        for (int number = 0; std::getline(lines, line); ++number) halves[number % 2] += line + "\n";
        write("even.csv", halves[0]);
        write("odd.csv", halves[1]);
        for (const std::string name : {"even", "odd"})
            ASSERT_EQ(run({"-nologo", "-quiet", "-file", name + ".csv", "-out", name + ".db"})
                          .exit_status,
                      0);
    }
};

TEST_F(Compare, a_database_agrees_with_itself) {
    for (const char* const recording : {"fasttree", "gtest-run1", "minigzip", "app"}) {
        merge_example(recording + std::string(".csv"), recording);
        EXPECT_EQ(overlaps(recording, recording), "100.000 100.000 100.000 ");
    }
}

TEST_F(Compare, databases_of_two_programs_have_nothing_in_common) {
    merge_example("fasttree.csv", "a.db");
    merge_example("app.csv", "b.db");
    EXPECT_EQ(overlaps("a.db", "b.db"), "0.000 0.000 0.000 ");
}

TEST_F(Compare, is_symmetric) {
    write_halves();
    EXPECT_EQ(overlaps("even.db", "odd.db"), overlaps("odd.db", "even.db"));
}

TEST_F(Compare, shares_and_not_counts_are_compared) {
    database("a.db", small_profile);
    database("b.db", std::string(small_profile) +
                         "; UPDATE sf_functions SET sf_exec_count = 3 * sf_exec_count;"
                         "UPDATE sf_edges SET sf_exec_count = 7 * sf_exec_count");
    EXPECT_EQ(overlaps("a.db", "b.db"), "100.000 100.000 100.000 ");
    EXPECT_EQ(scope({"compare", "--min-overlap", "100", "a.db", "b.db"}).exit_status, 0);
}

TEST_F(Compare, sums_the_smaller_shares) {
    database("a.db", small_profile);
    database("b.db", std::string(small_profile) +
                         "; UPDATE sf_functions SET sf_exec_count = 30;"
                         "UPDATE sf_edges SET sf_exec_count = 0 WHERE sf_from_address = 16;"
                         "UPDATE sf_edges SET sf_exec_count = 20 WHERE sf_from_address <> 16");
    EXPECT_EQ(overlaps("a.db", "b.db"), "75.000 60.000 100.000 ");
}

// The functions of database `o` or `n` of which some line is relative, as SQL.
std::string functions_with_relative_lines(const std::string& schema) {
    return "SELECT sf_func_name, sf_filename FROM " + schema +
           "f WHERE sf_id IN (SELECT"
           " sf_from_func_id FROM " +
           schema +
           ".sf_edges WHERE sf_from_rel_line OR sf_to_rel_line"
           " UNION SELECT sf_from_func_id FROM " +
           schema + ".sf_calls WHERE sf_from_rel_line)";
}

// The line that an end of an edge or call is known by, as SQL.
std::string line(const std::string& end) {
    return "IIF((sf_func_name, sf_filename) IN relative, sf_" + end + "_rel_line, sf_" + end +
           "_abs_line)";
}

// The edges and calls of a database with their keys, as SQL.
std::string keyed_tables(const std::string& schema) {
    return "CREATE TEMP TABLE " + schema + "e AS SELECT sf_func_name, sf_filename, " +
           line("from") + " AS a, sf_from_column AS b, sf_from_discr AS c, " + line("to") +
           " AS d, sf_to_column AS e, sf_to_discr AS g, SUM(e.sf_exec_count) AS n FROM " + schema +
           ".sf_edges e JOIN " + schema +
           "f f ON f.sf_id = sf_from_func_id"
           " GROUP BY 1, 2, 3, 4, 5, 6, 7, 8;"
           "CREATE TEMP TABLE " +
           schema +
           "c AS SELECT sf_func_name, sf_filename,"
           " sf_to_func_name AS t, " +
           line("from") + " AS a, SUM(c.sf_exec_count) AS n FROM " + schema + ".sf_calls c JOIN " +
           schema +
           "f f ON f.sf_id = sf_from_func_id"
           " GROUP BY 1, 2, 3, 4;";
}

// The overlap of two such tables, as SQL.
std::string overlap(const std::string& kind, const std::string& old_table,
                    const std::string& new_table, const std::string& key) {
    return "INSERT INTO r SELECT '" + kind + "', SUM(MIN(100.0 * x.n / (SELECT SUM(n) FROM " +
           old_table + "), 100.0 * y.n / (SELECT SUM(n) FROM " + new_table + "))) FROM " +
           old_table + " x JOIN " + new_table + " y USING (sf_func_name, sf_filename" + key + ");";
}

TEST_F(Compare, agrees_with_a_sum_in_sql) {
    write_halves();
    std::string sql = "ATTACH '" + path("even.db") + "' AS o; ATTACH '" + path("odd.db") +
                      "' AS n; CREATE TABLE r (kind, overlap);";
    for (const std::string schema : {"o", "n"})
        sql += "CREATE TEMP TABLE " + schema +
               "f AS SELECT f.*, sf_exec_count AS n, sf_filename"
               " FROM " +
               schema + ".sf_functions f JOIN " + schema +
               ".sf_filenames t ON t.sf_id = sf_file_id;";
    sql += "CREATE TEMP TABLE relative AS " + functions_with_relative_lines("o") + " INTERSECT " +
           functions_with_relative_lines("n") + ";" + keyed_tables("o") + keyed_tables("n") +
           overlap("functions", "of", "nf", "") +
           overlap("edges", "oe", "ne", ", a, b, c, d, e, g") +
           overlap("calls", "oc", "nc", ", t, a");
    execute("sum.db", sql);
    const json result = compare("even.db", "odd.db");
    const Rows rows = query("sum.db", "SELECT kind, overlap FROM r");
    ASSERT_EQ(rows.size(), 3U);
    for (const auto& row : rows) {
        const double expected = std::strtod(row[1].c_str(), nullptr);
        EXPECT_GT(expected, 1) << row[0];
        EXPECT_LT(expected, 99) << row[0];
        EXPECT_NEAR(result["overlap"][row[0]].get<double>(), expected, 1e-6) << row[0];
    }
}

TEST_F(Compare, edges_match_by_relative_lines_wherever_the_function_stands) {
    database("a.db", small_profile);
    database("b.db",
             std::string(small_profile) +
                 "; UPDATE sf_edges SET sf_from_abs_line = sf_from_abs_line + 50,"
                 " sf_to_abs_line = sf_to_abs_line + 50, sf_from_address = sf_from_address + 1000;"
                 "UPDATE sf_calls SET sf_from_abs_line = 62");
    EXPECT_EQ(overlaps("a.db", "b.db"), "100.000 100.000 100.000 ");
}

TEST_F(Compare, edges_match_by_absolute_lines_where_one_side_has_no_relative_ones) {
    database("a.db", small_profile);
    database("b.db", std::string(small_profile) +
                         "; UPDATE sf_edges SET sf_from_rel_line = 0, sf_to_rel_line = 0;"
                         "UPDATE sf_calls SET sf_from_rel_line = 0");
    EXPECT_EQ(overlaps("a.db", "b.db"), "100.000 100.000 100.000 ");
    database("c.db", std::string(small_profile) +
                         "; UPDATE sf_edges SET sf_from_rel_line = 0, sf_to_rel_line = 0,"
                         " sf_from_abs_line = sf_from_abs_line + 100;"
                         "UPDATE sf_calls SET sf_from_rel_line = 0, sf_from_abs_line = 99");
    EXPECT_EQ(overlaps("a.db", "c.db"), "100.000 0.000 0.000 ");
}

TEST_F(Compare, edges_of_one_key_are_summed) {
    database("a.db", small_profile);
    database("b.db", std::string(small_profile) +
                         "; UPDATE sf_edges SET sf_exec_count = 20 WHERE sf_from_address = 32;"
                         "INSERT INTO sf_edges VALUES"
                         " (1, 99, 11, 2, 0, 0, 1, 98, 11, 2, 0, 0, 40, 0)");
    EXPECT_EQ(overlaps("a.db", "b.db"), "100.000 100.000 100.000 ");
}

TEST_F(Compare, columns_and_discriminators_tell_edges_apart) {
    database("a.db", small_profile);
    database("b.db", std::string(small_profile) + "; UPDATE sf_edges SET sf_from_discr = 9");
    EXPECT_EQ(overlaps("a.db", "b.db"), "100.000 0.000 100.000 ");
}

TEST_F(Compare, functions_of_one_name_in_two_files_are_two) {
    database("a.db", small_profile);
    database("b.db", std::string(small_profile) +
                         "; UPDATE sf_filenames SET sf_filename = 'C.C' WHERE sf_id = 2");
    const json result = compare("a.db", "b.db");
    EXPECT_EQ(result["overlap"]["functions"], 75.0);
    EXPECT_EQ(
        result["new"][0],
        json({{"function", "_Z1gi"}, {"file", "C.C"}, {"old_share", 0.0}, {"new_share", 25.0}}));
    EXPECT_EQ(result["gone"][0]["file"], "B.C");
}

TEST_F(Compare, names_the_functions_that_gained_and_lost_most) {
    database("a.db", small_profile);
    database("b.db", std::string(small_profile) +
                         "; UPDATE sf_functions SET sf_exec_count = 10;"
                         "INSERT INTO sf_functions VALUES (3, 'h', 1, 20, 0)");
    EXPECT_EQ(output_of({"compare", "--demangle", "a.db", "b.db"}),
              "Overlap of functions   50.000 %\n"
              "Overlap of edges      100.000 %\n"
              "Overlap of calls      100.000 %\n"
              "\n"
              "Lost: 1\n"
              "   75.00% >  25.00%  f (A.C)\n"
              "\n"
              "New: 1\n"
              "    0.00% >  50.00%  h (A.C)\n");
}

TEST_F(Compare, an_overlap_below_the_limit_is_a_finding) {
    database("a.db", small_profile);
    database("b.db", std::string(small_profile) +
                         "; UPDATE sf_edges SET sf_from_discr = 9 WHERE sf_from_address = 16");
    EXPECT_EQ(scope({"compare", "--min-overlap", "70", "a.db", "b.db"}).exit_status, 0);
    const ProgramRun run = scope({"compare", "--min-overlap", "70.1", "a.db", "b.db"});
    EXPECT_EQ(run.exit_status, 1);
    EXPECT_THAT(run.standard_output, HasSubstr("Overlap of edges       70.000 %\n"));
    EXPECT_EQ(run.standard_error, "edgescope: the overlap of edges is 70.000 %, below 70.1 %\n");
}

TEST_F(Compare, two_databases_without_calls_agree_in_them) {
    database("a.db", std::string(small_profile) + "; DELETE FROM sf_calls");
    database("b.db", small_profile);
    EXPECT_EQ(overlaps("a.db", "a.db"), "100.000 100.000 100.000 ");
    EXPECT_EQ(overlaps("a.db", "b.db"), "100.000 100.000 0.000 ");
}

}  // namespace
