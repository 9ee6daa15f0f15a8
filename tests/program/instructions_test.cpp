#include "program/instructions.h"

#include <gtest/gtest.h>

#include <string_view>

#include "program/vector_length.h"

namespace program {
namespace {

using namespace std::string_view_literals;

Instruction decoded(std::string_view bytes) {
    InstructionDecoder decoder(true);
    return decoder.decode(bytes, 0x1000);
}

// The kind, with size and target, of code at 0x1000.
void expect_decoded(std::string_view bytes, Kind kind, Address target = 0) {
    const Instruction instruction = decoded(bytes);
    EXPECT_EQ(instruction.kind, kind);
    EXPECT_EQ(instruction.size, bytes.size());
    EXPECT_EQ(instruction.target, target);
    EXPECT_EQ(instruction.following(), 0x1000 + bytes.size());
}

TEST(InstructionDecoder, knows_where_control_goes_behind_an_instruction) {
    expect_decoded("\x90"sv, Kind::other);                         // nop
    expect_decoded("\xF3\xAA"sv, Kind::repeat_string);             // rep stosb
    expect_decoded("\x75\xFE"sv, Kind::conditional_jump, 0x1000);  // jne .
    expect_decoded("\xEB\x10"sv, Kind::jump, 0x1012);              // jmp .+18
    expect_decoded("\xFF\xE0"sv, Kind::indirect_jump);             // jmp *%rax
    expect_decoded("\xE8\xFB\xFF\xFF\xFF"sv, Kind::call, 0x1000);  // call .
    expect_decoded("\xFF\xD0"sv, Kind::indirect_call);             // call *%rax
    expect_decoded("\xC3"sv, Kind::return_);                       // ret
    expect_decoded("\x0F\x0B"sv, Kind::stop);                      // ud2
    expect_decoded("\xF4"sv, Kind::stop);                          // hlt
    expect_decoded("\xCC"sv, Kind::stop);                          // int3
}

TEST(InstructionDecoder, takes_a_byte_of_what_is_no_instruction) {
    const Instruction instruction = decoded("\x06\x90"sv);  // push %es, not in 64 bits
    EXPECT_EQ(instruction.kind, Kind::other);
    EXPECT_EQ(instruction.size, 1U);
}

TEST(Kind, says_what_ends_a_block_and_what_goes_on) {
    for (const Kind kind : {Kind::other, Kind::repeat_string}) {
        EXPECT_FALSE(ends_block(kind));
        EXPECT_TRUE(goes_on(kind));
    }
    for (const Kind kind : {Kind::conditional_jump, Kind::call, Kind::indirect_call}) {
        EXPECT_TRUE(ends_block(kind));
        EXPECT_TRUE(goes_on(kind));
    }
    for (const Kind kind : {Kind::jump, Kind::indirect_jump, Kind::return_, Kind::stop}) {
        EXPECT_TRUE(ends_block(kind));
        EXPECT_FALSE(goes_on(kind));
    }
}

TEST(VectorLength, counts_the_bytes_of_a_vector_instruction) {
    EXPECT_EQ(vector_length("\xC5\xF8\x58\xC1"sv, true), 4U);          // vaddps, VEX of two bytes
    EXPECT_EQ(vector_length("\xC4\xE2\x71\x00\xC2"sv, true), 5U);      // vpshufb, VEX of three
    EXPECT_EQ(vector_length("\x62\xF1\x74\x48\x58\xC2"sv, true), 6U);  // vaddps, EVEX
    EXPECT_EQ(vector_length("\xC5\xF8\x58\x40\x10"sv, true), 5U);      // with a place of one byte
}

TEST(VectorLength, is_0_for_other_code_and_for_a_part) {
    EXPECT_EQ(vector_length("\x90"sv, true), 0U);
    EXPECT_EQ(vector_length("\xC5\xF8\x58"sv, true), 0U);
    EXPECT_EQ(vector_length(""sv, true), 0U);
}

}  // namespace
}  // namespace program
