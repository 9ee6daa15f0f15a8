// What must hold for any inputs: how they are dealt out to runs, in which order they come, and
// whether they pass through a database makes no difference to the counts.
#include <algorithm>

#include "cli_support.h"
#include "support/random_text.h"

namespace cli {
namespace {

class Properties : public CliTest, public testing::WithParamInterface<std::uint64_t> {
protected:
    void SetUp() override {
        test_support::RandomText random(GetParam());
        for (const char* name : {"a.csv", "b.csv", "c.csv"}) write(name, random_file(random));
    }

    // Rows among few functions and addresses, so that much is seen again. An address has one
    // position, the same in all files. Counts stay small enough to be exact and to pass through a
    // database.
    static std::string random_file(test_support::RandomText& random) {
        std::string text =
            position_columns.substr(0, position_columns.size() - 1) + ",EntryBlock\n";
        for (std::size_t i = 0; i < 60; ++i) text += random_row(random);
        return text;
    }

    static std::string random_row(test_support::RandomText& random) {
        static const std::vector<std::string> types = {"Call", "IndCall", "Jump", "IndJump",
                                                       "Ret",  "Cond",    "Cond", "Uncond"};
        const std::size_t from = random.below(40);
        const std::size_t to =
            random.below(3) == 0 ? random.below(40) : from / 10 * 10 + random.below(10);
        const std::string hits = std::to_string(random.below(10'000));
        return address(from) + "," + types[random.below(types.size())] + "," + file(from) + "," +
               line(from) + "," + function(from) + "," + address(to) + "," + file(to) + "," +
               line(to) + "," + (random.below(9) == 0 ? "NA" : function(to)) + "," + hits + "," +
               line(from % 7) + "," + line(to % 7) + "," + line(from % 3) + "," + line(to % 3) +
               "," + line(from % 2) + "," + line(to % 2) + "," +
               (random.below(4) == 0 ? "yes" : "no") + "\n";
    }

    static std::string address(std::size_t place) { return std::to_string(1000 + place); }
    static std::string line(std::size_t place) { return std::to_string(place / 2); }
    static std::string file(std::size_t place) { return place < 20 ? "a.c" : "b.c"; }
    static std::string function(std::size_t place) {
        static const std::vector<std::string> names = {"f", "f.1", "g", "h__N_1_x"};
        return names[place / 10];
    }

    // The counts of a database without marks, flags, ids and row order.
    std::string counts(const std::string& database) const {
        const std::string owner =
            "(SELECT sf_func_name || ' in ' || sf_filename FROM sf_functions f JOIN sf_filenames n "
            "ON n.sf_id = f.sf_file_id WHERE f.sf_id = sf_from_func_id)";
        return rows(database,
                    "SELECT sf_func_name, sf_filename, sf_exec_count FROM sf_functions f JOIN "
                    "sf_filenames n ON n.sf_id = sf_file_id ORDER BY 1, 2") +
               rows(database,
                    "SELECT " + owner +
                        ", sf_from_address, sf_to_bb_end_address, sf_from_abs_line, "
                        "sf_from_rel_line, sf_from_column, sf_from_discr, sf_to_abs_line, "
                        "sf_to_rel_line, sf_to_column, sf_to_discr, sf_exec_count FROM "
                        "sf_edges ORDER BY 1, 2, 3") +
               rows(database, "SELECT " + owner +
                                  ", sf_to_func_name, sf_from_abs_line, sf_exec_count FROM "
                                  "sf_calls ORDER BY 1, 2, 3") +
               runs(database);
    }

    void merge_into(const std::string& database, const std::vector<std::string>& lists) const {
        make_database(database);
        for (const std::string& list : lists) merge(list, "-append", database);
    }
};

TEST_P(Properties, one_list_and_one_run_after_the_other_give_the_same_counts) {
    merge_into("list.db", {"a.csv;b.csv;c.csv"});
    merge_into("runs.db", {"a.csv", "b.csv", "c.csv"});
    merge_into("mixed.db", {"a.csv", "b.csv;c.csv"});
    EXPECT_GT(counts("list.db").size(), 1000U);
    EXPECT_EQ(counts("runs.db"), counts("list.db"));
    EXPECT_EQ(counts("mixed.db"), counts("list.db"));
}

TEST_P(Properties, the_order_of_inputs_does_not_change_the_counts) {
    merge_into("one.db", {"a.csv;b.csv;c.csv"});
    merge_into("two.db", {"c.csv;a.csv;b.csv"});
    merge_into("three.db", {"b.csv", "c.csv", "a.csv"});
    EXPECT_EQ(counts("two.db"), counts("one.db"));
    EXPECT_EQ(counts("three.db"), counts("one.db"));
}

TEST_P(Properties, databases_in_place_of_their_edge_files_give_the_same_counts) {
    merge_into("list.db", {"a.csv;b.csv;c.csv"});
    merge_into("a.db", {"a.csv"});
    merge_into("b.db", {"b.csv"});
    merge_into("c.db", {"c.csv"});
    merge_into("all.db", {"a.db;b.db;c.db"});
    merge_into("mixed.db", {"b.db", "a.csv;c.db"});
    EXPECT_EQ(counts("all.db"), counts("list.db"));
    EXPECT_EQ(counts("mixed.db"), counts("list.db"));
}

TEST_P(Properties, a_round_trip_through_a_database_changes_nothing) {
    merge_into("one.db", {"a.csv;b.csv"});
    merge_into("two.db", {"one.db"});
    merge_into("three.db", {"two.db"});
    EXPECT_EQ(profile("two.db"), profile("one.db"));
    EXPECT_EQ(runs("two.db"), runs("one.db"));
    EXPECT_TRUE(read("three.db") == read("two.db"));
}

TEST_P(Properties, a_database_is_reported_as_its_edge_files_are) {
    merge_into("one.db", {"a.csv;b.csv"});
    // Only under these codes the order of a function's edges is defined in full.
    for (const std::string code : {"A", "A-", "C", "C-"})
        EXPECT_EQ(run_plain({"-file", "one.db", "-dump", "-sort", code}),
                  run_plain({"-file", "a.csv;b.csv", "-dump", "-sort", code}));
}

TEST_P(Properties, a_merge_and_a_report_of_it_print_the_same_report) {
    make_database("x");
    EXPECT_EQ(run_plain({"-quiet", "-file", "a.csv;b.csv", "-append", "x", "-dump"}),
              run_plain({"-file", "a.csv;b.csv", "-dump"}));
}

TEST_P(Properties, the_file_twice_in_a_list_gives_twice_the_counts_of_two_appends) {
    merge_into("list.db", {"a.csv;a.csv"});
    merge_into("runs.db", {"a.csv", "a.csv"});
    merge_into("self.db", {"a.csv", "self.db"});
    EXPECT_EQ(counts("runs.db"), counts("list.db"));
    EXPECT_EQ(counts("self.db"), counts("list.db"));
}

TEST_P(Properties, an_input_without_rows_adds_a_run_alone) {
    write("empty.csv", ten_columns);
    merge_into("one.db", {"a.csv"});
    const std::string before = profile("one.db");
    merge("empty.csv", "-append", "one.db");
    EXPECT_EQ(profile("one.db"), before);
    EXPECT_EQ(runs("one.db"), "num_runs|2\n");
}

INSTANTIATE_TEST_SUITE_P(Seeds, Properties, testing::Range<std::uint64_t>(1, 9));

class Repetition : public CliTest {};

TEST_F(Repetition, two_runs_over_the_same_inputs_give_the_same_bytes) {
    write("a.csv", entry_columns +
                       "10,Cond,a.c,1,f,20,a.c,2,f,5,yes\n10,Call,a.c,1,f,20,b.c,2,g,6,"
                       "no\n30,Cond,a.c,3,h.1,40,a.c,4,h.1,7,no\n");
    merge("a.csv", "-out", "x");
    merge("a.csv", "-out", "y");
    EXPECT_TRUE(read("x") == read("y"));
    merge("a.csv;y", "-append", "x");
    merge("a.csv;y", "-append", "y");
    EXPECT_EQ(profile("x"), profile("y"));
}

}  // namespace
}  // namespace cli
