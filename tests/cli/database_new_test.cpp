// A database that the program makes: its tables, its rows, and the types of its values.
#include <algorithm>

#include "cli_support.h"

namespace cli {
namespace {

class NewDatabase : public CliTest {
protected:
    // Makes "x" of this edge file.
    void make(std::string_view edge_file) const {
        write("a.csv", edge_file);
        merge("a.csv", "-out", "x");
    }
};

// The row of a table that this statement of the schema makes.
std::string table(const std::string& name, std::size_t statement) {
    return "table|" + name + "|" + name + "|" + std::string(test_support::schema[statement]) + "\n";
}

TEST_F(NewDatabase, has_six_tables_and_two_indexes_with_these_texts) {
    make(one_edge);
    EXPECT_EQ(rows("x", "SELECT type, name, tbl_name, sql FROM sqlite_master ORDER BY rowid"),
              table("sf_version", 0) + table("sf_run_info", 1) + table("sf_filenames", 2) +
                  table("sf_functions", 3) + table("sf_edges", 4) + table("sf_calls", 5) +
                  "index|idx1|sf_edges|CREATE INDEX idx1 ON sf_edges(sf_from_func_id)\n"
                  "index|idx2|sf_calls|CREATE INDEX idx2 ON sf_calls(sf_from_func_id)\n");
}

TEST_F(NewDatabase, says_its_version_in_five_rows) {
    make(one_edge);
    EXPECT_EQ(rows("x", "SELECT sf_key, sf_value, typeof(sf_value) FROM sf_version ORDER BY rowid"),
              "schema_version|1|text\n"
              "filename_columns|2|text\n"
              "functions_columns|5|text\n"
              "edges_columns|14|text\n"
              "calls_columns|5|text\n");
}

TEST_F(NewDatabase, counts_its_runs_in_one_row) {
    make(one_edge);
    EXPECT_EQ(rows("x", "SELECT sf_key, sf_value, typeof(sf_value) FROM sf_run_info"),
              "num_runs|1|text\n");
}

TEST_F(NewDatabase, holds_values_of_these_types) {
    make(position_columns +
         "10,Cond,a.c,1,f,20,a.c,2,f,5,11,12,21,22,31,32\n"
         "10,Call,a.c,1,f,20,a.c,2,g,6,13,14,23,24,33,34\n");
    EXPECT_EQ(rows("x", "SELECT typeof(sf_id), typeof(sf_filename) FROM sf_filenames"),
              "integer|text\n");
    EXPECT_EQ(rows("x",
                   "SELECT typeof(sf_id), typeof(sf_func_name), typeof(sf_file_id), "
                   "typeof(sf_exec_count), typeof(sf_flags) FROM sf_functions WHERE sf_id=1"),
              "integer|text|integer|integer|integer\n");
    EXPECT_EQ(rows("x",
                   "SELECT typeof(sf_from_func_id), typeof(sf_from_abs_line), "
                   "typeof(sf_from_rel_line), typeof(sf_to_func_name), typeof(sf_exec_count) "
                   "FROM sf_calls"),
              "integer|integer|integer|text|integer\n");
    EXPECT_EQ(rows("x",
                   "SELECT DISTINCT typeof(sf_from_func_id), typeof(sf_from_address), "
                   "typeof(sf_from_abs_line), typeof(sf_from_rel_line), "
                   "typeof(sf_from_column), typeof(sf_from_discr), typeof(sf_to_func_id), "
                   "typeof(sf_to_bb_end_address), typeof(sf_to_abs_line), "
                   "typeof(sf_to_rel_line), typeof(sf_to_column), typeof(sf_to_discr), "
                   "typeof(sf_exec_count), typeof(sf_flags) FROM sf_edges"),
              "integer|integer|integer|integer|integer|integer|integer|integer|integer|integer|"
              "integer|integer|integer|integer\n");
}

TEST_F(NewDatabase, holds_an_edge_in_fourteen_columns) {
    make(position_columns + "10,Cond,a.c,1,f,20,a.c,2,f,5,11,12,21,22,31,32\n");
    EXPECT_EQ(rows("x",
                   "SELECT sf_from_func_id, sf_from_address, sf_from_abs_line, "
                   "sf_from_rel_line, sf_from_column, sf_from_discr, sf_to_func_id, "
                   "sf_to_bb_end_address, sf_to_abs_line, sf_to_rel_line, sf_to_column, "
                   "sf_to_discr, sf_exec_count, sf_flags FROM sf_edges"),
              "1|16|1|11|21|31|1|32|2|12|22|32|5|0\n");
}

TEST_F(NewDatabase, holds_a_call_in_five_columns) {
    make(position_columns + "10,Call,a.c,1,f,20,a.c,2,g,6,13,14,23,24,33,34\n");
    EXPECT_EQ(rows("x",
                   "SELECT sf_from_func_id, sf_from_abs_line, sf_from_rel_line, "
                   "sf_to_func_name, sf_exec_count FROM sf_calls"),
              "1|1|13|g|6\n");
}

TEST_F(NewDatabase, holds_functions_in_their_order_and_each_file_once) {
    make(ten_columns + "10,Call,z.c,1,f,20,a.c,2,g,6\n10,Call,z.c,1,h,20,z.c,2,e,7\n");
    EXPECT_EQ(rows("x", "SELECT * FROM sf_filenames ORDER BY sf_id"),
              "1|Z.C\n"
              "2|A.C\n");
    EXPECT_EQ(rows("x", "SELECT * FROM sf_functions ORDER BY sf_id"),
              "1|e|1|7|0\n"
              "2|f|1|0|0\n"
              "3|g|2|6|0\n"
              "4|h|1|0|0\n");
}

TEST_F(NewDatabase, names_the_owner_at_both_ends_of_an_edge) {
    make(ten_columns +
         "1,x,a.c,1,e,2,a.c,1,e,1\n3,x,a.c,1,f,4,b.c,1,f,1\n5,x,b.c,1,f,6,a.c,1,f,1\n");
    EXPECT_EQ(rows("x",
                   "SELECT sf_from_func_id, sf_from_address, sf_to_func_id FROM sf_edges "
                   "ORDER BY rowid"),
              "1|1|1\n"
              "2|3|2\n"
              "3|5|3\n");
}

TEST_F(NewDatabase, stores_large_values_with_their_bits) {
    make(position_columns +
         "ffffffffffffffff,Cond,a.c,2147483648,f,8000000000000000,a.c,4294967294,f,1e19,-1,"
         "3000000000,65535,-1,40000,65535\n");
    EXPECT_EQ(rows("x", "SELECT * FROM sf_edges"),
              "1|-1|-2147483648|-1|65535|40000|1|-9223372036854775808|-2|-1294967296|65535|65535|"
              "-8446744093203103744|0\n");
}

TEST_F(NewDatabase, stores_entry_and_exit_in_two_bits) {
    make(entry_columns +
         "10,Cond,a.c,1,f,20,a.c,2,f,1,no\n30,Cond,a.c,3,f,40,a.c,4,f,1,yes\n"
         "50,Cond,a.c,5,f,60,a.c,6,f,1,no\n70,Cond,a.c,7,f,60,a.c,6,f,1,yes\n"
         "60,Ret,a.c,6,f,99,a.c,9,g,1,no\n");
    EXPECT_EQ(rows("x", "SELECT sf_from_address, sf_flags FROM sf_edges ORDER BY rowid"),
              "16|0\n"
              "48|1\n"
              "80|2\n"
              "112|3\n");
}

TEST_F(NewDatabase, stores_column_and_discriminator_use_in_two_bits) {
    make(position_columns +
         "1,x,a.c,1,e,2,a.c,1,e,1,0,0,0,0,0,0\n3,x,a.c,1,f,4,a.c,1,f,1,0,0,0,0,1,0\n"
         "5,x,a.c,1,g,6,a.c,1,g,1,0,0,1,0,0,0\n"
         "7,x,a.c,1,h,8,a.c,1,h,1,0,0,1,0,1,0\n");
    EXPECT_EQ(rows("x", "SELECT sf_func_name, sf_flags FROM sf_functions ORDER BY sf_id"),
              "e|0\n"
              "f|1\n"
              "g|2\n"
              "h|3\n");
}

TEST_F(NewDatabase, holds_a_function_without_edges_and_calls_in_one_row) {
    make(ten_columns + "10,Ret,a.c,1,f,20,a.c,2,g,5\n");
    EXPECT_EQ(rows("x", "SELECT * FROM sf_functions"), "1|f|1|5|0\n");
    EXPECT_EQ(rows("x", "SELECT COUNT(*) FROM sf_edges"), "0\n");
    EXPECT_EQ(rows("x", "SELECT COUNT(*) FROM sf_calls"), "0\n");
}

TEST_F(NewDatabase, stores_names_with_quotes_as_they_stand) {
    make(ten_columns + "10,Call,it's.c,1,f'); DROP TABLE sf_calls; --,20,a.c,2,\"g';,5\n");
    EXPECT_EQ(profile("x"),
              "\"g'; in A.C x5 flags 0\n"
              "f'); DROP TABLE sf_calls; -- in IT'S.C x0 flags 0\n"
              "  call \"g'; 1:0 x5\n");
}

TEST_F(NewDatabase, takes_the_runs_of_its_inputs_together) {
    write("a.csv", one_edge);
    make_database("in.db", "INSERT INTO sf_run_info VALUES('num_runs', '5');");
    merge("a.csv;in.db;a.csv", "-out", "x");
    EXPECT_EQ(runs("x"), "num_runs|7\n");
}

TEST_F(NewDatabase, stands_alone_in_its_directory) {
    make(one_edge);
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(path()))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{"a.csv", "x"}));
}

TEST_F(NewDatabase, may_have_any_name) {
    write("a.csv", one_edge);
    for (const std::string name : {"a;b.db", "x y", "'q'", "gr\xc3\xbc\xc3\x9f\x65.db", "100%s"}) {
        merge("a.csv", "-out", name);
        EXPECT_EQ(profile(name), one_edge_profile);
    }
}

TEST_F(NewDatabase, is_the_same_in_failsafe_mode) {
    environment_ = {{"HOTPATH_DB_MODE", "FAILSAFE_MODE"}};
    make(one_edge);
    EXPECT_EQ(profile("x"), one_edge_profile);
    EXPECT_EQ(runs("x"), "num_runs|1\n");
}

TEST_F(NewDatabase, is_made_by_append_as_well) {
    write("a.csv", one_edge);
    merge("a.csv", "-out", "x");
    merge("a.csv", "-append", "y");
    EXPECT_TRUE(read("x") == read("y"));
}

}  // namespace
}  // namespace cli
