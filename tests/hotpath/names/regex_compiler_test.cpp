#include "hotpath/names/regex_compiler.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

namespace {

using namespace hotpath;

const char* name_of(RegexOp op) {
    static const std::map<RegexOp, const char*> names = {
        {OpNop, "nop"},
        {OpGroupStart, "group-start"},
        {OpGroupEnd, "group-end"},
        {OpChar, "char"},
        {OpAny, "any"},
        {OpClass, "class"},
        {OpNotClass, "not-class"},
        {OpJump, "jump"},
        {OpPushPosition, "push-position"},
        {OpPopPosition, "pop-position"},
        {OpCall, "call"},
        {OpReturn, "return"},
        {OpPushSlot, "push-slot"},
        {OpPopSlot, "pop-slot"},
        {OpStorePosition, "store-position"},
        {OpStoreStack, "store-stack"},
        {OpLoadPosition, "load-position"},
        {OpLoadStack, "load-stack"},
        {OpNeedProgress, "need-progress"},
        {OpBackReference, "back-reference"},
        {OpFail, "fail"},
        {OpAdvance, "advance"},
        {OpMatch, "match"},
        {OpPushGroup, "push-group"},
        {OpPopGroup, "pop-group"},
    };
    return names.at(op);
}

// The program, an instruction a line: index, operation, operand.
std::string listing(const char* pattern) {
    RegexProgram program;
    EXPECT_EQ(RegexOk, compile_regex(pattern, program));
    std::string lines;
    for (std::size_t i = 0; i < program.code.size(); ++i) {
        const RegexInstruction& instruction = program.code[i];
        const bool is_character = instruction.op == OpChar && instruction.operand != 0;
        lines += std::to_string(i) + " " + name_of(instruction.op) + " " +
                 (is_character ? std::string(1, static_cast<char>(instruction.operand))
                               : std::to_string(instruction.operand)) +
                 "\n";
    }
    return lines;
}

TEST(RegexCompiler, operation_codes_are_fixed) {
    EXPECT_EQ(0U, OpNop);
    EXPECT_EQ(6U, OpNotClass);
    EXPECT_EQ(13U, OpJump);
    EXPECT_EQ(17U, OpReturn);
    EXPECT_EQ(20U, OpPushSlot);
    EXPECT_EQ(32U, OpPopGroup);
}

TEST(RegexCompiler, pattern_begins_with_a_call_and_an_advance) {
    EXPECT_EQ("0 call 2\n1 advance 0\n2 match 0\n", listing(""));
    EXPECT_EQ("0 call 2\n1 advance 0\n2 char a\n3 any 0\n4 char 0\n5 match 0\n", listing("a.$"));
}

TEST(RegexCompiler, anchored_pattern_fails_where_others_advance) {
    EXPECT_EQ("0 call 2\n1 fail 0\n2 char a\n3 match 0\n", listing("^a"));
}

TEST(RegexCompiler, classes_are_numbered) {
    EXPECT_EQ("0 call 2\n1 advance 0\n2 class 0\n3 not-class 1\n4 match 0\n", listing("[a][^b]"));
}

TEST(RegexCompiler, greedy_star) {
    EXPECT_EQ(
        "0 call 2\n1 advance 0\n"
        "2 push-slot 0\n3 store-position 0\n4 push-position 0\n5 call 9\n"
        "6 pop-position 0\n7 pop-slot 0\n8 jump 13\n"
        "9 char a\n10 need-progress 0\n11 store-position 0\n12 jump 2\n"
        "13 match 0\n",
        listing("a*"));
}

TEST(RegexCompiler, greedy_question_mark_does_not_jump_back) {
    EXPECT_EQ(
        "0 call 2\n1 advance 0\n"
        "2 push-slot 0\n3 store-position 0\n4 push-position 0\n5 call 9\n"
        "6 pop-position 0\n7 pop-slot 0\n8 jump 12\n"
        "9 char a\n10 need-progress 0\n11 store-position 0\n"
        "12 match 0\n",
        listing("a?"));
}

TEST(RegexCompiler, greedy_plus_is_one_and_a_star) {
    EXPECT_EQ(
        "0 call 2\n1 advance 0\n"
        "2 char a\n"
        "3 push-slot 0\n4 store-position 0\n5 push-position 0\n6 call 10\n"
        "7 pop-position 0\n8 pop-slot 0\n9 jump 14\n"
        "10 char a\n11 need-progress 0\n12 store-position 0\n13 jump 3\n"
        "14 match 0\n",
        listing("a+"));
}

TEST(RegexCompiler, lazy_star) {
    EXPECT_EQ("0 call 2\n1 advance 0\n2 call 5\n3 char a\n4 jump 2\n5 match 0\n", listing("a*?"));
}

TEST(RegexCompiler, lazy_plus_is_one_and_a_lazy_star) {
    EXPECT_EQ("0 call 2\n1 advance 0\n2 char a\n3 call 6\n4 char a\n5 jump 3\n6 match 0\n",
              listing("a+?"));
}

TEST(RegexCompiler, lazy_question_mark) {
    EXPECT_EQ("0 call 2\n1 advance 0\n2 call 4\n3 char a\n4 match 0\n", listing("a?\?"));
}

TEST(RegexCompiler, alternation) {
    EXPECT_EQ(
        "0 call 2\n1 advance 0\n"
        "2 push-position 0\n3 call 6\n4 pop-position 0\n5 jump 8\n"
        "6 char a\n7 jump 9\n8 char b\n"
        "9 match 0\n",
        listing("a|b"));
}

TEST(RegexCompiler, group) {
    EXPECT_EQ("0 call 2\n1 advance 0\n2 call 4\n3 return 0\n4 char a\n5 match 0\n", listing("(a)"));
}

TEST(RegexCompiler, empty_body_is_a_nop) {
    EXPECT_EQ("0 call 2\n1 advance 0\n2 call 4\n3 return 0\n4 nop 0\n5 match 0\n", listing("()"));
}

TEST(RegexCompiler, capture) {
    EXPECT_EQ(
        "0 call 2\n1 advance 0\n"
        "2 push-group 0\n3 group-start 0\n4 call 7\n5 pop-group 0\n6 return 0\n"
        "7 char a\n8 group-end 0\n"
        "9 back-reference 0\n10 match 0\n",
        listing("{a}\\0"));
}

TEST(RegexCompiler, negation) {
    EXPECT_EQ(
        "0 call 2\n1 advance 0\n"
        "2 store-position 0\n3 store-stack 1\n4 call 8\n"
        "5 load-position 0\n6 load-stack 1\n7 jump 12\n"
        "8 char a\n9 load-position 0\n10 load-stack 1\n11 return 0\n"
        "12 match 0\n",
        listing("!a"));
}

TEST(RegexCompiler, copies_of_a_repeated_group_share_its_number_but_no_slot) {
    RegexProgram program;
    ASSERT_EQ(RegexOk, compile_regex("({a}*b)+", program));
    EXPECT_EQ(1U, program.group_count);
    EXPECT_EQ(3U, program.slot_count);
}

}  // namespace
