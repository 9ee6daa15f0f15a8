// Databases of a few megabytes that were made to cost a merge into them time. None of these tests
// looks at a clock: one whose inserts each read a table would run for minutes.
#include "hotpath/database/database_fixture.h"
#include "hotpath/database/sample_db.h"

namespace hotpath {
namespace {

class HostileTarget : public test_support::DatabaseTest {
protected:
    static constexpr int count = 40000;

    // "(1, 'a/B1', 1, 0, 0), (2, 'a/B2', 1, 0, 0), …": that many function rows in file 1.
    static std::string function_rows() {
        std::string values;
        for (int i = 1; i <= count; ++i) {
            const std::string number = std::to_string(i);
            values += (i == 1 ? "" : ", ") + ("(" + number + ", 'a/B" + number + "', 1, 0, 0)");
        }
        return "INSERT INTO sf_functions VALUES " + values + ";";
    }

    // Merges the inputs into the file.
    void merge() {
        SampleDB database;
        FunctionRecordSet own_records(factory);
        ASSERT_EQ(database.open_writable(&own_records, path.c_str()), DbOpenOk);
        EXPECT_TRUE(database.merge_records(inputs, factory));
    }

    std::string function_count() const { return rows("SELECT count(*) FROM sf_functions"); }
    std::string last_call() const {
        return rows("SELECT * FROM sf_calls ORDER BY rowid DESC LIMIT 1");
    }

    FunctionRecordSet inputs{factory};
};

TEST_F(HostileTarget, every_joined_text_cut_otherwise) {
    create("INSERT INTO sf_filenames VALUES (1, 'C');" + function_rows());
    for (int i = 1; i <= count; ++i)
        inputs.find_or_create_record("B" + std::to_string(i) + "/C", "a")->add_call("x", 1, 2, 3);
    merge();
    EXPECT_EQ(function_count(), "80000\n");
    EXPECT_EQ(last_call(), "80000|1|2|x|3\n");
}

TEST_F(HostileTarget, a_file_id_of_2_to_the_31st) {
    create("INSERT INTO sf_filenames VALUES (1, 'C'), (2147483648, 'D');" + function_rows());
    for (int i = 1; i <= count; ++i)
        inputs.find_or_create_record(std::to_string(i), "f")->add_call("x", 1, 2, 3);
    merge();
    EXPECT_EQ(function_count(), "80000\n");
    EXPECT_EQ(last_call(), "80000|1|2|x|3\n");
}

TEST_F(HostileTarget, texts_of_16_bits) {
    run("PRAGMA encoding = 'UTF-16le'; BEGIN;" + test_support::version_tables_sql +
        test_support::filenames_sql + test_support::functions_sql + test_support::edges_sql +
        test_support::calls_sql + "INSERT INTO sf_filenames VALUES (1, 'C');" + function_rows() +
        "COMMIT");
    for (int i = 1; i <= count; ++i) {
        const std::string name = "\xC3\xA4" + std::to_string(i);
        inputs.find_or_create_record(name, name)->add_call("x", 1, 2, 3);
    }
    merge();
    EXPECT_EQ(function_count(), "80000\n");
    EXPECT_EQ(last_call(), "80000|1|2|x|3\n");
}

// A look at the name for each function would read 800 gigabytes, here and below.
TEST_F(HostileTarget, a_file_name_of_20_megabytes_with_many_old_functions) {
    create("INSERT INTO sf_filenames VALUES (1, replace(hex(zeroblob(10000000)), '0', 'N'));" +
           function_rows());
    const FileName& file = inputs.file_name(std::string(20000000, 'n'));
    for (int i = 1; i <= count; ++i)
        inputs.find_or_create_record(file, "a/B" + std::to_string(i))->add_call("x", 1, 2, 3);
    merge();
    EXPECT_EQ(function_count(), "40000\n");
    EXPECT_EQ(rows("SELECT count(*) FROM sf_calls"), "40000\n");
}

TEST_F(HostileTarget, a_file_name_of_20_megabytes_with_many_new_functions) {
    create("INSERT INTO sf_filenames VALUES (1, 'C');" + function_rows());
    const FileName& file = inputs.file_name(std::string(20000000, 'n'));
    for (int i = 1; i <= count; ++i)
        inputs.find_or_create_record(file, "f" + std::to_string(i))->add_call("x", 1, 2, 3);
    merge();
    EXPECT_EQ(function_count(), "80000\n");
    EXPECT_EQ(last_call(), "80000|1|2|x|3\n");
    EXPECT_EQ(rows("SELECT DISTINCT sf_file_id FROM sf_functions WHERE sf_id > 40000"), "2\n");
}

}  // namespace
}  // namespace hotpath
