#include "hotpath/names/regex_engine.h"

#include <stdexcept>

#include "hotpath/names/regex_compiler.h"

namespace hotpath {

RegexError RegexEngine::compile(const char* pattern) { return compile_regex(pattern, program_); }

bool RegexEngine::match(const char* text) {
    if (text == nullptr) return false;
    text_ = text;
    slots_.assign(program_.slot_count, 0);
    groups_.assign(program_.group_count, Group());
    // A match leaves the ways on that it didn't need.
    stack_.set_height(0);
    start_ = 0;
    position_ = 0;
    restart();
    const bool matched = run();
    match_end_ = position_;
    return matched;
}

std::string_view RegexEngine::group(std::uint32_t number) const {
    if (number >= group_count()) throw std::out_of_range("no such capture group");
    return text_of(groups_[number]);
}

bool RegexEngine::run() {
    for (;;) {
        const RegexInstruction instruction = program_.code[instruction_++];
        switch (instruction.op) {
            case OpMatch: return true;
            case OpFail: return false;
            case OpAdvance:
                if (!advance()) return false;
                break;
            default:
                if (!execute(instruction)) fail();
        }
    }
}

// False if the instruction fails.
bool RegexEngine::execute(RegexInstruction instruction) {
    switch (instruction.op) {
        case OpChar:
            // The end of the text isn't a part of it, so nothing is stepped over there.
            if (instruction.operand == 0) return at_end();
            return step_if(!at_end() &&
                           static_cast<unsigned char>(text_[position_]) == instruction.operand);
        case OpAny: return step_if(!at_end());
        case OpClass: return step_if(!at_end() && in_class(instruction.operand));
        case OpNotClass: return step_if(!at_end() && !in_class(instruction.operand));
        case OpBackReference: return step_over(text_of(groups_[instruction.operand]));
        case OpNeedProgress: return position_ != slots_[instruction.operand];
        case OpReturn: return false;
        default: keep_books(instruction); return true;
    }
}

// The instructions that can't fail.
void RegexEngine::keep_books(RegexInstruction instruction) {
    const std::size_t operand = instruction.operand;
    switch (instruction.op) {
        case OpJump: instruction_ = operand; break;
        case OpCall:
            stack_.push(instruction_);
            instruction_ = operand;
            break;
        case OpPushPosition: stack_.push(position_); break;
        case OpPopPosition: position_ = stack_.pop(); break;
        case OpPushSlot: stack_.push(slots_[operand]); break;
        case OpPopSlot: slots_[operand] = stack_.pop(); break;
        case OpStorePosition: slots_[operand] = position_; break;
        case OpLoadPosition: position_ = slots_[operand]; break;
        case OpStoreStack: slots_[operand] = stack_.height(); break;
        case OpLoadStack: stack_.set_height(slots_[operand]); break;
        case OpGroupStart: groups_[operand].start = position_; break;
        case OpGroupEnd: groups_[operand].end = position_; break;
        case OpPushGroup:
            stack_.push(groups_[operand].start);
            stack_.push(groups_[operand].end);
            break;
        case OpPopGroup:
            groups_[operand].end = stack_.pop();
            groups_[operand].start = stack_.pop();
            break;
        default: break;
    }
}

// False if no further start is left. The end of a text that isn't empty is none.
bool RegexEngine::advance() {
    ++start_;
    if (start_ >= text_.size()) return false;
    position_ = start_;
    stack_.set_height(0);
    restart();
    return true;
}

void RegexEngine::fail() {
    instruction_ = stack_.pop();
    // An empty stack begins again where the failed path stopped. Where a push was dropped for want
    // of memory, what is popped here may be no instruction at all.
    if (instruction_ == 0 || instruction_ >= program_.code.size()) restart();
}

void RegexEngine::restart() {
    instruction_ = 0;
    match_start_ = position_;
}

bool RegexEngine::step_if(bool matches) {
    if (matches) ++position_;
    return matches;
}

bool RegexEngine::step_over(std::string_view text) {
    if (!text.empty() && (at_end() || !text_.substr(position_).starts_with(text))) return false;
    position_ += text.size();
    return true;
}

bool RegexEngine::in_class(std::uint64_t index) const {
    return program_.classes[index].test(static_cast<unsigned char>(text_[position_]));
}

// A group inside whose body the path still is can have its end before its start.
std::string_view RegexEngine::text_of(const Group& group) const {
    if (group.start > group.end || group.end > text_.size()) return {};
    return text_.substr(group.start, group.end - group.start);
}

}  // namespace hotpath
