// Files of unknown origin: each is either read as it is or refused with a reason.
#include <fstream>

#include "edgescope/scope_fixture.h"
#include "support/damaged_file.h"
#include "support/endless_pages.h"

namespace {

using test_support::ProgramRun;
using test_support::small_profile;
using testing::HasSubstr;
using testing::StartsWith;

class Gate : public test_support::ScopeTest {
protected:
    // Why the file is refused, which `check` and the other commands must do alike.
    std::string refusal(const std::string& name) const {
        const ProgramRun check = scope({"check", name});
        EXPECT_EQ(check.exit_status, 2) << check;
        EXPECT_EQ(check.standard_output, "");
        const ProgramRun top = scope({"top", name});
        EXPECT_EQ(top.exit_status, 2) << top;
        EXPECT_EQ(top.standard_error, check.standard_error);
        return check.standard_error;
    }
};

TEST_F(Gate, refuses_a_recursive_view_in_a_tables_place) {
    database("a.db",
             "DROP TABLE sf_edges; CREATE VIEW sf_edges AS WITH RECURSIVE n(x) AS"
             " (SELECT 1 UNION ALL SELECT x + 1 FROM n) SELECT x AS sf_from_func_id,"
             " 1 AS sf_from_address, 1 AS sf_from_abs_line, 1 AS sf_from_rel_line,"
             " 1 AS sf_from_column, 1 AS sf_from_discr, 1 AS sf_to_func_id,"
             " x AS sf_to_bb_end_address, 1 AS sf_to_abs_line, 1 AS sf_to_rel_line,"
             " 1 AS sf_to_column, 1 AS sf_to_discr, 1 AS sf_exec_count, 1 AS sf_flags FROM n");
    EXPECT_EQ(refusal("a.db"),
              "edgescope: a.db: is no sample database: its schema has another view sf_edges\n");
}

TEST_F(Gate, refuses_thousands_of_chained_triggers) {
    std::string triggers;
    for (int i = 0; i < 7000; ++i)
        triggers += "CREATE TRIGGER t" + std::to_string(i) +
                    " AFTER INSERT ON sf_calls BEGIN INSERT INTO sf_calls SELECT * FROM sf_calls;"
                    " END;";
    database("a.db", triggers);
    EXPECT_EQ(refusal("a.db"),
              "edgescope: a.db: is no sample database: its schema has another trigger t0\n");
}

TEST_F(Gate, refuses_pages_that_share_children) {
    const test_support::ScratchDirectory directory;
    write("a.db", read_file(test_support::write_endless_edges(directory)));
    EXPECT_THAT(refusal("a.db"), StartsWith("edgescope: a.db: is damaged: "));
}

TEST_F(Gate, refuses_a_file_whose_making_was_cut_off) {
    database("a.db", "DROP INDEX idx2");
    EXPECT_THAT(refusal("a.db"), HasSubstr("is no sample database: its schema lacks "));
    database("b.db", "DELETE FROM sf_version WHERE sf_key = 'calls_columns'");
    EXPECT_EQ(refusal("b.db"), "edgescope: b.db: is no sample database: it has no calls_columns\n");
    write("c.db", "");
    EXPECT_EQ(refusal("c.db"), "edgescope: c.db: is no database\n");
}

TEST_F(Gate, refuses_a_file_with_a_journal_beside_it) {
    database("a.db", small_profile);
    write("a.db-journal", "x");
    EXPECT_EQ(refusal("a.db"),
              "edgescope: a.db: a file -journal stands beside it: its writer is "
              "at work or has died\n");
}

TEST_F(Gate, trust_leaves_the_gate_out) {
    database("a.db", std::string(small_profile) + "; CREATE VIEW v AS SELECT 1");
    EXPECT_EQ(scope({"top", "a.db"}).exit_status, 2);
    EXPECT_THAT(output_of({"top", "--trust", "a.db"}), StartsWith("# Runs: 1"));
}

// SQLite checks all pages in one go, in which it doesn't look at the clock by itself: it would come
// to the text that is too long.
TEST_F(Gate, the_check_of_all_pages_ends_at_the_time_limit) {
    database("a.db", "INSERT INTO sf_functions VALUES (1, zeroblob(130000000), 1, 1, 0)");
    const ProgramRun run = scope({"top", "--time-limit", "0.005", "a.db"});
    EXPECT_EQ(run.exit_status, 2);
    EXPECT_EQ(run.standard_error,
              "edgescope: a.db: reading it takes longer than the time limit of 0.005 s\n");
}

TEST_F(Gate, reading_ends_at_the_time_limit) {
    database("a.db",
             "WITH RECURSIVE n(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM n LIMIT 300000)"
             " INSERT INTO sf_calls SELECT 1, x, x, 'f', x FROM n");
    const ProgramRun run = scope({"top", "--time-limit", "0.001", "a.db"});
    EXPECT_EQ(run.exit_status, 2) << run;
    EXPECT_EQ(run.standard_error,
              "edgescope: a.db: reading it takes longer than the time limit of 0.001 s\n");
}

TEST_F(Gate, no_zeroed_page_gives_another_result_without_a_word) {
    merge_example("fasttree.csv", "a.db");
    const std::string bytes = read("a.db");
    const std::string sound = output_of({"top", "-n", "0", "--by", "edges", "a.db"}) +
                              output_of({"top", "-n", "0", "--by", "calls", "a.db"});
    constexpr std::size_t page_size = 4096;
    std::size_t refused = 0;
    for (std::size_t page = 0; page < bytes.size(); page += page_size) {
        std::string damaged = bytes;
        damaged.replace(page, page_size, page_size, '\0');
        write("a.db", damaged);
        const ProgramRun run = scope({"top", "-n", "0", "--by", "edges", "a.db"});
        if (run.exit_status == 2 && run.standard_output.empty() && !run.standard_error.empty())
            ++refused;
        else
            EXPECT_EQ(run.standard_output + output_of({"top", "-n", "0", "--by", "calls", "a.db"}),
                      sound)
                << page;
    }
    EXPECT_EQ(refused, bytes.size() / page_size);
}

}  // namespace
