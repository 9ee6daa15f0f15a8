// What must hold for any inputs: how they are dealt out to runs, in which order they come, and
// whether they pass through a database makes no difference to the counts, and to marks and flags
// only the difference that the tests spell out.
#include <algorithm>
#include <map>

#include "cli_support.h"
#include "support/random_text.h"

namespace cli {
namespace {

// All rows with each count as it stands, or twice: functions with edges and calls in their order.
static std::string all_rows(const std::string& times) {
    const std::string edge_columns =
        "sf_from_func_id, sf_from_address, sf_from_abs_line, sf_from_rel_line, sf_from_column, "
        "sf_from_discr, sf_to_func_id, sf_to_bb_end_address, sf_to_abs_line, sf_to_rel_line, "
        "sf_to_column, sf_to_discr, sf_flags";
    return "SELECT * FROM (SELECT 1, sf_id, sf_func_name, sf_file_id, sf_flags, 0, 0, 0, 0, 0, 0, "
           "0, 0, 0, sf_exec_count * " +
           times +
           " FROM sf_functions ORDER BY sf_id) UNION ALL "
           "SELECT * FROM (SELECT 2, " +
           edge_columns + ", sf_exec_count * " + times +
           " FROM sf_edges ORDER BY sf_from_func_id, rowid) UNION ALL "
           "SELECT * FROM (SELECT 3, sf_from_func_id, sf_from_abs_line, sf_from_rel_line, "
           "sf_to_func_name, 0, 0, 0, 0, 0, 0, 0, 0, 0, sf_exec_count * " +
           times +
           " FROM sf_calls ORDER BY sf_from_func_id, rowid) UNION ALL "
           "SELECT 4, sf_id, sf_filename, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0 FROM sf_filenames "
           "UNION ALL SELECT 5, sf_key, sf_value * " +
           times + ", 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0 FROM sf_run_info";
}

class Properties : public CliTest, public testing::WithParamInterface<std::uint64_t> {
protected:
    void SetUp() override {
        test_support::RandomText random(GetParam());
        for (const char* name : {"a.csv", "b.csv", "c.csv"}) write(name, random_file(random));
    }

    // Rows among few functions and addresses, so that much is seen again. An address has one
    // position, the same in all files. Counts stay small enough to be exact and to pass through a
    // database.
    static std::string random_file(test_support::RandomText& random, std::size_t first_line = 0) {
        std::string text =
            position_columns.substr(0, position_columns.size() - 1) + ",EntryBlock\n";
        for (std::size_t i = 0; i < 60; ++i) text += random_row(random, first_line);
        return text;
    }

    // Numbers over their whole ranges, so that no address is likely to be seen again.
    static std::string wide_file(test_support::RandomText& random) {
        static const std::vector<std::string> types = {"Cond", "Cond", "Call", "Ret"};
        std::string text = position_columns;
        for (std::size_t i = 0; i < 40; ++i) {
            const std::string& type = types[random.below(types.size())];
            const std::size_t from = random.below(40);
            const std::size_t to = type == "Cond" ? from : random.below(40);
            text += test_support::hex_text(random.bits()) + "," + type + "," + file(from) + "," +
                    number(random, 32) + "," + function(from) + "," +
                    test_support::hex_text(random.bits()) + "," + file(to) + "," +
                    number(random, 32) + "," + function(to) + "," + number(random, 63);
            for (const unsigned bits : {32U, 32U, 16U, 16U, 16U, 16U})
                text += "," + number(random, bits);
            text += "\n";
        }
        return text;
    }

    // As likely a short number as a long one.
    static std::string number(test_support::RandomText& random, std::size_t bits) {
        return std::to_string(random.bits() >> (64 - bits) >> random.below(bits));
    }

    static std::string random_row(test_support::RandomText& random, std::size_t first_line) {
        static const std::vector<std::string> types = {"Call", "IndCall", "Jump", "IndJump",
                                                       "Ret",  "Cond",    "Cond", "Uncond"};
        const std::size_t from = random.below(40);
        const std::size_t to =
            random.below(3) == 0 ? random.below(40) : from / 10 * 10 + random.below(10);
        const std::string hits = std::to_string(random.below(10'000));
        return address(from) + "," + types[random.below(types.size())] + "," + file(from) + "," +
               line(2 * first_line + from) + "," + function(from) + "," + address(to) + "," +
               file(to) + "," + line(2 * first_line + to) + "," +
               (random.below(9) == 0 ? "NA" : function(to)) + "," + hits + "," + line(from % 7) +
               "," + line(to % 7) + "," + line(from % 3) + "," + line(to % 3) + "," +
               line(from % 2) + "," + line(to % 2) + "," + (random.below(4) == 0 ? "yes" : "no") +
               "\n";
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

    // Position and count of each edge, by its owner and addresses.
    std::map<std::string, std::string> edges(const std::string& database) const {
        std::map<std::string, std::string> result;
        for (const Row& row :
             query(database,
                   "SELECT sf_func_name || sf_from_address || sf_to_bb_end_address, "
                   "sf_from_abs_line || ' > ' || sf_to_abs_line || ' x' || e.sf_exec_count FROM "
                   "sf_edges e JOIN sf_functions f ON f.sf_id = sf_from_func_id"))
            result[row[0]] = row[1];
        return result;
    }

    // A function's flags, and the flags of each of its edges.
    struct FunctionMarks {
        std::uint64_t flags = 0;
        std::map<std::string, std::uint64_t> edges{};
    };
    using Marks = std::map<std::string, FunctionMarks>;

    Marks marks(const std::string& database) const {
        Marks result;
        for (const Row& row :
             query(database,
                   "SELECT sf_id, sf_func_name || ' in ' || "
                   "(SELECT sf_filename FROM sf_filenames n WHERE n.sf_id = sf_file_id), "
                   "sf_flags FROM sf_functions")) {
            FunctionMarks& function = result[row[1]];
            function.flags = std::stoull(row[2]);
            for (const Row& edge :
                 query(database,
                       "SELECT sf_from_address || ' > ' || sf_to_bb_end_address, sf_flags FROM "
                       "sf_edges WHERE sf_from_func_id = " +
                           row[0]))
                function.edges[edge[0]] = std::stoull(edge[1]);
        }
        return result;
    }

    static std::string marks_text(const Marks& marks) {
        std::string text;
        for (const auto& [name, function] : marks) {
            text += name + " flags " + std::to_string(function.flags) + "\n";
            for (const auto& [edge, flags] : function.edges)
                text += "  " + edge + " marks " + std::to_string(flags) + "\n";
        }
        return text;
    }

    // What a list of edge files has: what any of them has.
    static Marks marks_of_list(const std::vector<Marks>& files) {
        Marks result;
        for (const Marks& file : files)
            for (const auto& [name, function] : file) {
                result[name].flags |= function.flags;
                for (const auto& [edge, flags] : function.edges) result[name].edges[edge] |= flags;
            }
        return result;
    }

    // What a list of databases has: an edge what the last one has.
    static Marks marks_of_databases(const std::vector<Marks>& files) {
        Marks result;
        for (const Marks& file : files)
            for (const auto& [name, function] : file) {
                result[name].flags |= function.flags;
                for (const auto& [edge, flags] : function.edges) result[name].edges[edge] = flags;
            }
        return result;
    }

    // What one append after the other has: a function what it came with, no mark on edges that came
    // later.
    static Marks marks_of_appends(const std::vector<Marks>& files) {
        Marks result;
        for (const Marks& file : files)
            for (const auto& [name, function] : file) {
                if (result.try_emplace(name, function).second) continue;
                for (const auto& [edge, flags] : function.edges)
                    result[name].edges.try_emplace(edge, 0);
            }
        return result;
    }

    // Merges each edge file into a database of its own: "a.csv" into "a.db".
    std::vector<Marks> marks_of_files() const {
        std::vector<Marks> result;
        for (const std::string name : {"a", "b", "c"}) {
            merge_into(name + ".db", {name + ".csv"});
            result.push_back(marks(name + ".db"));
        }
        return result;
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

TEST_P(Properties, a_list_has_the_marks_and_flags_of_all_its_files_in_any_order) {
    const std::string all = marks_text(marks_of_list(marks_of_files()));
    for (const std::string list : {"a.csv;b.csv;c.csv", "c.csv;a.csv;b.csv", "b.csv;c.csv;a.csv"}) {
        std::filesystem::remove(path("list.db"));
        merge_into("list.db", {list});
        EXPECT_EQ(marks_text(marks("list.db")), all) << list;
    }
}

TEST_P(Properties, appends_keep_the_marks_and_flags_with_which_a_function_came) {
    const std::vector<Marks> files = marks_of_files();
    merge_into("runs.db", {"a.csv", "b.csv", "c.csv"});
    EXPECT_EQ(marks_text(marks("runs.db")), marks_text(marks_of_appends(files)));
    merge_into("other.db", {"c.csv", "a.db", "b.csv"});
    EXPECT_EQ(marks_text(marks("other.db")),
              marks_text(marks_of_appends({files[2], files[0], files[1]})));
}

TEST_P(Properties, of_a_list_of_databases_the_last_one_marks_an_edge) {
    const std::vector<Marks> files = marks_of_files();
    merge_into("list.db", {"a.db;b.db;c.db"});
    EXPECT_EQ(marks_text(marks("list.db")), marks_text(marks_of_databases(files)));
    merge_into("other.db", {"c.db;a.db;b.db"});
    EXPECT_EQ(marks_text(marks("other.db")),
              marks_text(marks_of_databases({files[2], files[0], files[1]})));
}

TEST_P(Properties, the_order_of_inputs_does_not_change_the_counts) {
    merge_into("one.db", {"a.csv;b.csv;c.csv"});
    merge_into("two.db", {"c.csv;a.csv;b.csv"});
    merge_into("three.db", {"b.csv", "c.csv", "a.csv"});
    EXPECT_EQ(counts("two.db"), counts("one.db"));
    EXPECT_EQ(counts("three.db"), counts("one.db"));
}

TEST_P(Properties, of_positions_that_differ_the_first_input_has_the_position_and_the_count) {
    test_support::RandomText random(GetParam() + 2000);
    write("moved.csv", random_file(random, 100));
    merge_into("a.db", {"a.csv"});
    merge_into("moved.db", {"moved.csv"});
    std::map<std::string, std::string> a_first = edges("a.db");
    std::map<std::string, std::string> moved_first = edges("moved.db");
    const std::size_t count = a_first.size() + moved_first.size();
    a_first.merge(edges("moved.db"));
    moved_first.merge(edges("a.db"));
    EXPECT_LT(a_first.size(), count);  // some stand in both

    merge_into("list.db", {"a.csv;moved.csv"});
    merge_into("runs.db", {"a.csv", "moved.db"});
    EXPECT_EQ(edges("list.db"), a_first);
    EXPECT_EQ(edges("runs.db"), a_first);
    merge_into("turned.db", {"moved.db;a.csv"});
    EXPECT_EQ(edges("turned.db"), moved_first);
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

// Of an edge's count the low half comes back, with its sign.
TEST_P(Properties, a_round_trip_cuts_the_counts_of_edges_to_32_bits_and_changes_nothing_else) {
    test_support::RandomText random(GetParam() + 1000);
    write("wide.csv", wide_file(random));
    merge_into("one.db", {"wide.csv"});
    merge_into("two.db", {"one.db"});
    execute("one.db",
            "UPDATE sf_edges SET sf_exec_count = "
            "(sf_exec_count & 0xFFFFFFFF) - ((sf_exec_count & 0x80000000) << 1)");
    EXPECT_GT(rows("one.db", all_rows("1")).size(), 1000U);
    EXPECT_EQ(rows("two.db", all_rows("1")), rows("one.db", all_rows("1")));
}

TEST_P(Properties, the_same_runs_give_the_same_bytes) {
    merge_into("a.db", {"a.csv"});
    for (const std::string database : {"one.db", "two.db"})
        merge_into(database, {"b.csv;a.db", "c.csv", "b.csv"});
    EXPECT_TRUE(read("one.db") == read("two.db"));
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

TEST_P(Properties, a_file_merged_with_itself_has_each_count_twice_and_no_other_row) {
    merge_into("one.db", {"a.csv"});
    merge_into("list.db", {"a.csv;a.csv"});
    merge_into("runs.db", {"a.csv", "a.csv"});
    merge_into("self.db", {"a.csv", "self.db"});
    merge_into("twice.db", {"one.db;one.db"});
    const std::string doubled = rows("one.db", all_rows("2"));
    EXPECT_GT(doubled.size(), 1000U);
    EXPECT_NE(doubled, rows("one.db", all_rows("1")));
    for (const std::string database : {"list.db", "runs.db", "self.db", "twice.db"})
        EXPECT_EQ(rows(database, all_rows("1")), doubled) << database;
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
