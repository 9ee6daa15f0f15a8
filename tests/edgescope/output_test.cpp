#include "edgescope/output.h"

#include "edgescope/scope_fixture.h"

namespace {

using edgescope::Output;

class OutputFile : public test_support::ScopeTest {};

TEST_F(OutputFile, holds_all_that_was_written_whatever_its_size) {
    std::string expected;
    Output output(path("out"));
    for (int i = 0; i < 400000; ++i) {
        expected += std::to_string(i) + "\n";
        output.print("{}\n", i);
    }
    const std::string large(std::size_t{3} << 20, 'x');
    output.append(large);
    output.append("end");
    ASSERT_TRUE(output.write());
    EXPECT_TRUE(read("out") == expected + large + "end");
}

TEST_F(OutputFile, may_be_empty) {
    ASSERT_TRUE(Output(path("out")).write());
    EXPECT_EQ(read("out"), "");
}

}  // namespace
