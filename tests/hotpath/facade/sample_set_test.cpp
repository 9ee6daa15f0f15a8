#include "hotpath/facade/sample_set.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "support/sample_database.h"
#include "support/scratch_directory.h"

namespace {

using hotpath::SampledFunction;
using hotpath::SampleLoad;
using hotpath::SampleSet;
using testing::ElementsAre;

class SampleSetTest : public testing::Test {
protected:
    SampleSetTest() {
        test_support::write_sample_database(
            database_,
            "INSERT INTO sf_run_info VALUES ('num_runs', '3');"
            "INSERT INTO sf_filenames VALUES (1, 'A.C'), (2, 'B.C');"
            "INSERT INTO sf_functions VALUES (1, 'g', 2, 8, 0), (2, 'f', 1, 7, 0);"
            "INSERT INTO sf_edges VALUES (2, 48, 9, 0, 0, 0, 2, 64, 2, 0, 0, 0, 5, 2),"
            " (2, 16, 1, 2, 3, 4, 2, 32, 5, 6, 7, 8, 9, 1);"
            "INSERT INTO sf_calls VALUES (2, 10, 1, 'g', 8);");
    }

    test_support::ScratchDirectory directory_;
    std::string database_ = directory_.path("samples.db");
};

std::vector<std::string> texts_of(const SampledFunction& function) {
    std::vector<std::string> texts;
    for (const hotpath::SampledEdge& edge : function.edges())
        texts.push_back(
            std::to_string(edge.from_address) + " line " + std::to_string(edge.from.line) + "(" +
            std::to_string(edge.from.relative_line) + ")." + std::to_string(edge.from.column) +
            "." + std::to_string(edge.from.discriminator) + " > " +
            std::to_string(edge.to_address) + " line " + std::to_string(edge.to.line) + " x" +
            std::to_string(edge.exec_count) + (edge.is_entry ? " entry" : "") +
            (edge.is_exit ? " exit" : ""));
    for (const hotpath::SampledCall& call : function.calls())
        texts.push_back(std::string(call.callee) + " line " + std::to_string(call.line) + "(" +
                        std::to_string(call.relative_line) + ") x" +
                        std::to_string(call.exec_count));
    return texts;
}

TEST_F(SampleSetTest, lists_functions_by_name_with_their_counts) {
    SampleSet samples;
    ASSERT_EQ(samples.add(database_), SampleLoad::done);
    EXPECT_EQ(samples.run_count(), 3U);
    std::vector<std::string> texts;
    for (const SampledFunction& function : samples.functions())
        texts.push_back(std::string(function.name()) + " in " + std::string(function.file_name()) +
                        " x" + std::to_string(function.exec_count()));
    EXPECT_THAT(texts, ElementsAre("f in A.C x7", "g in B.C x8"));
}

TEST_F(SampleSetTest, gives_edges_by_line_and_calls_whether_read_at_once_or_when_asked_for) {
    for (const auto load : {&SampleSet::add, &SampleSet::open}) {
        SampleSet samples;
        ASSERT_EQ((samples.*load)(database_), SampleLoad::done);
        const auto function = samples.find("a.c", "f");
        ASSERT_TRUE(function);
        EXPECT_THAT(texts_of(*function),
                    ElementsAre("16 line 1(2).3.4 > 32 line 5 x9 entry",
                                "48 line 9(0).0.0 > 64 line 2 x5 exit", "g line 10(1) x8"));
    }
}

TEST_F(SampleSetTest, sums_all_files_that_are_added) {
    const std::string edge_file = directory_.write(
        "run.csv",
        "FromAddress,TypeOfBranch,FromSourceFile,FromSourceLine,FromFunctionMangled,"
        "DestinationEndOfBlockAddress,DestinationSourceFile,DestinationSourceLine,"
        "DestinationFunctionMangled,HitCount\n"
        "1,Call,a.c,10,f,2,b.c,1,g,100\n");
    SampleSet samples;
    ASSERT_EQ(samples.add(database_), SampleLoad::done);
    ASSERT_EQ(samples.add(edge_file), SampleLoad::done);
    EXPECT_EQ(samples.run_count(), 4U);
    EXPECT_EQ(samples.find("B.C", "g")->exec_count(), 108U);
    EXPECT_THAT(texts_of(*samples.find("A.C", "f")).back(), "g line 10(1) x108");
}

TEST_F(SampleSetTest, tells_why_a_file_was_not_read) {
    SampleSet samples;
    EXPECT_EQ(samples.add(directory_.path("none")), SampleLoad::cannot_open);
    EXPECT_EQ(samples.add(directory_.write("text", "hello\n")), SampleLoad::no_samples);
    EXPECT_TRUE(samples.functions().empty());
}

TEST_F(SampleSetTest, finds_nothing_where_there_are_no_samples) {
    SampleSet samples;
    ASSERT_EQ(samples.open(database_), SampleLoad::done);
    EXPECT_FALSE(samples.find("A.C", "g"));
    EXPECT_FALSE(samples.find("C.C", "f"));
}

}  // namespace
