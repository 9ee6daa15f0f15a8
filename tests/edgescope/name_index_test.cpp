#include "edgescope/name_index.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using edgescope::Function;
using edgescope::NameIndex;
using testing::ElementsAre;
using testing::IsEmpty;

Function function(const std::string& name, const std::vector<std::string>& callees) {
    Function function{.name = name, .file = "A.C", .edges = {}, .calls = {}};
    for (const std::string& callee : callees) function.calls.push_back({callee, 1, 1, 1});
    return function;
}

TEST(NameIndex, leads_from_calls_to_functions) {
    const edgescope::Profile profile{
        .runs = 1,
        .functions = {function("f", {"g", "h", "h", "nobody"}), function("g", {}),
                      function("h", {"f"}), function("h", {})}};
    const NameIndex names(profile);
    EXPECT_EQ(names.size(), 4U);
    const auto calls = names.of_calls(0);
    ASSERT_EQ(calls.size(), 4U);
    EXPECT_EQ(names.text(calls[3]), "nobody");
    EXPECT_EQ(names.of_function(3), calls[1]);
    EXPECT_EQ(calls[1], calls[2]);
    EXPECT_THAT(names.functions(calls[0]), ElementsAre(1));
    EXPECT_THAT(names.functions(calls[1]), ElementsAre(2, 3));
    EXPECT_THAT(names.functions(calls[3]), IsEmpty());
    EXPECT_EQ(names.only_function(calls[0]), 1U);
    EXPECT_EQ(names.only_function(calls[1]), NameIndex::nobody);
    EXPECT_EQ(names.only_function(calls[3]), NameIndex::nobody);
    EXPECT_THAT(names.of_calls(1), IsEmpty());
    EXPECT_EQ(names.only_function(names.of_calls(2)[0]), 0U);
}

TEST(NameIndex, of_an_empty_profile_is_empty) {
    const edgescope::Profile profile;
    EXPECT_EQ(NameIndex(profile).size(), 0U);
}

}  // namespace
