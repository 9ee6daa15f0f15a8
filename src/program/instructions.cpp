#include "program/instructions.h"

#include <capstone/capstone.h>

#include <algorithm>

#include "program/vector_length.h"

namespace program {

namespace {

bool is_prefix(unsigned char byte, bool is_64_bit) {
    switch (byte) {
        case 0x26:
        case 0x2E:
        case 0x36:
        case 0x3E:
        case 0x64:
        case 0x65:
        case 0x66:
        case 0x67:
        case 0xF0:
        case 0xF2:
        case 0xF3: return true;
        default: return is_64_bit && (byte & 0xF0) == 0x40;
    }
}

// By opcode, since the decoder has one name for a string operation and for one on vectors.
bool is_string_opcode(unsigned char byte) {
    return (byte >= 0x6C && byte <= 0x6F) || (byte >= 0xA4 && byte <= 0xA7) ||
           (byte >= 0xAA && byte <= 0xAF);
}

bool is_repeated_string(std::string_view bytes, bool is_64_bit) {
    bool repeated = false;
    for (const char letter : bytes) {
        const auto byte = static_cast<unsigned char>(letter);
        if (!is_prefix(byte, is_64_bit)) return repeated && is_string_opcode(byte);
        repeated = repeated || byte == 0xF2 || byte == 0xF3;
    }
    return false;
}

bool is_in_group(const cs_insn& instruction, std::uint8_t group) {
    const cs_detail& detail = *instruction.detail;
    const auto* end = detail.groups + detail.groups_count;
    return std::find(detail.groups, end, group) != end;
}

bool has_direct_target(const cs_insn& instruction) {
    const cs_x86& x86 = instruction.detail->x86;
    return x86.op_count == 1 && x86.operands[0].type == X86_OP_IMM;
}

Kind kind_of(const cs_insn& instruction) {
    const bool direct = has_direct_target(instruction);
    switch (instruction.id) {
        case X86_INS_CALL: return direct ? Kind::call : Kind::indirect_call;
        case X86_INS_LCALL: return Kind::indirect_call;
        case X86_INS_JMP: return direct ? Kind::jump : Kind::indirect_jump;
        case X86_INS_LJMP: return Kind::indirect_jump;
        case X86_INS_RET:
        case X86_INS_RETF:
        case X86_INS_RETFQ:
        case X86_INS_IRET:
        case X86_INS_IRETD:
        case X86_INS_IRETQ: return Kind::return_;
        case X86_INS_UD0:
        case X86_INS_UD2:
        case X86_INS_UD2B:
        case X86_INS_HLT:
        case X86_INS_INT3: return Kind::stop;
        case X86_INS_XBEGIN: return Kind::conditional_jump;
        default:
            return direct && is_in_group(instruction, CS_GRP_JUMP) ? Kind::conditional_jump
                                                                   : Kind::other;
    }
}

}  // namespace

InstructionDecoder::InstructionDecoder(bool is_64_bit) : is_64_bit_(is_64_bit) {
    if (cs_open(CS_ARCH_X86, is_64_bit ? CS_MODE_64 : CS_MODE_32, &decoder_) != CS_ERR_OK) return;
    cs_option(decoder_, CS_OPT_DETAIL, CS_OPT_ON);
    instruction_ = cs_malloc(decoder_);
}

InstructionDecoder::~InstructionDecoder() {
    if (instruction_ != nullptr) cs_free(instruction_, 1);
    if (decoder_ != 0) cs_close(&decoder_);
}

Instruction InstructionDecoder::decode(std::string_view bytes, Address address) {
    const auto* code = reinterpret_cast<const std::uint8_t*>(bytes.data());
    std::size_t size = bytes.size();
    std::uint64_t at = address;
    Instruction result{address, 1, Kind::other, 0};
    if (instruction_ == nullptr || !cs_disasm_iter(decoder_, &code, &size, &at, instruction_)) {
        result.size = std::max<std::uint8_t>(1, vector_length(bytes, is_64_bit_));
        return result;
    }
    result.size = static_cast<std::uint8_t>(instruction_->size);
    result.kind = kind_of(*instruction_);
    if (result.kind == Kind::conditional_jump || result.kind == Kind::jump ||
        result.kind == Kind::call)
        result.target = static_cast<Address>(instruction_->detail->x86.operands[0].imm);
    if (result.kind == Kind::other && is_repeated_string(bytes.substr(0, result.size), is_64_bit_))
        result.kind = Kind::repeat_string;
    return result;
}

}  // namespace program
