// Each shape below is one operation that reads from top to bottom like the code it writes. A target
// that isn't known yet is left open (`call`, `jump`) and closed where the writer stands later
// (`land`).
#include "hotpath/names/regex_compiler.h"

#include <new>
#include <string_view>
#include <vector>

#include "hotpath/names/regex_parser.h"

namespace hotpath {
namespace {

// A repetition with `+` doubles its operand's code, so nested ones would take all memory before
// they fail. A program that reaches this size counts as one that memory doesn't hold.
constexpr std::size_t largest_program = std::size_t{1} << 20;

class ProgramWriter {
public:
    explicit ProgramWriter(RegexProgram& program) : program_(program) {}

    // Writes the whole program; false if it would be larger than a program may be.
    [[nodiscard]] bool pattern(const RegexNode& node, bool anchored);

private:
    using Place = std::size_t;

    void node(const RegexNode& node);
    void body(const RegexNode& node);
    void group(const RegexNode& body_node);
    void capture(std::uint64_t group, const RegexNode& body_node);
    void negation(const RegexNode& operand);
    void alternation(const std::vector<RegexNode>& alternatives);
    void greedy(const RegexNode& operand, bool repeated);
    void lazy_star(const RegexNode& operand);
    void lazy_optional(const RegexNode& operand);

    Place here() const { return program_.code.size(); }
    std::uint64_t new_slot() { return program_.slot_count++; }
    Place write(RegexOp op, std::uint64_t operand = 0);
    Place call() { return write(OpCall); }
    Place jump() { return write(OpJump); }
    void land(Place open) { program_.code[open].operand = here(); }

    RegexProgram& program_;
    bool too_large_ = false;  // from then on nothing is written
};

// The first call's stacked return is the bottom of the stack: when all paths from one start have
// failed, the instruction there begins again one character further, or gives up.
bool ProgramWriter::pattern(const RegexNode& root, bool anchored) {
    const Place first = call();
    write(anchored ? OpFail : OpAdvance);
    land(first);
    node(root);
    write(OpMatch);
    return !too_large_;
}

void ProgramWriter::node(const RegexNode& node) {
    if (too_large_) return;
    switch (node.kind) {
        case RegexNodeKind::empty: return;
        case RegexNodeKind::character: write(OpChar, node.value); return;
        case RegexNodeKind::end_of_text: write(OpChar, 0); return;
        case RegexNodeKind::any: write(OpAny); return;
        case RegexNodeKind::char_class: write(OpClass, node.value); return;
        case RegexNodeKind::negated_class: write(OpNotClass, node.value); return;
        case RegexNodeKind::back_reference: write(OpBackReference, node.value); return;
        case RegexNodeKind::negation: return negation(node.parts[0]);
        case RegexNodeKind::group: return group(node.parts[0]);
        case RegexNodeKind::capture: return capture(node.value, node.parts[0]);
        case RegexNodeKind::sequence:
            for (const RegexNode& part : node.parts) this->node(part);
            return;
        case RegexNodeKind::alternation: return alternation(node.parts);
        case RegexNodeKind::optional: return greedy(node.parts[0], false);
        case RegexNodeKind::star: return greedy(node.parts[0], true);
        case RegexNodeKind::plus: this->node(node.parts[0]); return greedy(node.parts[0], true);
        case RegexNodeKind::lazy_optional: return lazy_optional(node.parts[0]);
        case RegexNodeKind::lazy_star: return lazy_star(node.parts[0]);
        case RegexNodeKind::lazy_plus: this->node(node.parts[0]); return lazy_star(node.parts[0]);
    }
}

void ProgramWriter::body(const RegexNode& body_node) {
    const Place begin = here();
    node(body_node);
    if (here() == begin) write(OpNop);
}

void ProgramWriter::group(const RegexNode& body_node) {
    const Place to_body = call();
    write(OpReturn);
    land(to_body);
    body(body_node);
}

// When the body, or anything after it, fails, the group gets back what it held before.
void ProgramWriter::capture(std::uint64_t group, const RegexNode& body_node) {
    write(OpPushGroup, group);
    write(OpGroupStart, group);
    const Place to_body = call();
    write(OpPopGroup, group);
    write(OpReturn);
    land(to_body);
    body(body_node);
    write(OpGroupEnd, group);
}

// Whether the operand matches or not, position and stack are as before. Groups within it aren't
// wound back if it matches: what would do so is dropped from the stack.
void ProgramWriter::negation(const RegexNode& operand) {
    const std::uint64_t position = new_slot();
    const std::uint64_t height = new_slot();
    write(OpStorePosition, position);
    write(OpStoreStack, height);
    const Place to_operand = call();
    write(OpLoadPosition, position);
    write(OpLoadStack, height);
    const Place to_end = jump();
    land(to_operand);
    body(operand);
    write(OpLoadPosition, position);
    write(OpLoadStack, height);
    write(OpReturn);
    land(to_end);
}

void ProgramWriter::alternation(const std::vector<RegexNode>& alternatives) {
    std::vector<Place> to_end;
    for (std::size_t i = 0; i + 1 < alternatives.size(); ++i) {
        write(OpPushPosition);
        const Place to_this = call();
        write(OpPopPosition);
        const Place to_next = jump();
        land(to_this);
        body(alternatives[i]);
        to_end.push_back(jump());
        land(to_next);
    }
    body(alternatives.back());
    for (const Place place : to_end) land(place);
}

// Tries the operand first; the stacked return is the way on without it. The slot holds the position
// before the operand, which must have moved on.
void ProgramWriter::greedy(const RegexNode& operand, bool repeated) {
    const std::uint64_t slot = new_slot();
    const Place begin = write(OpPushSlot, slot);
    write(OpStorePosition, slot);
    write(OpPushPosition);
    const Place to_body = call();
    write(OpPopPosition);
    write(OpPopSlot, slot);
    const Place to_end = jump();
    land(to_body);
    body(operand);
    write(OpNeedProgress, slot);
    write(OpStorePosition, slot);
    if (repeated) write(OpJump, begin);
    land(to_end);
}

// Goes on without the operand first; the stacked return is the way through it. The position isn't
// wound back on this way: the operand is tried where the failed attempt stopped.
void ProgramWriter::lazy_star(const RegexNode& operand) {
    const Place begin = call();
    body(operand);
    write(OpJump, begin);
    land(begin);
}

void ProgramWriter::lazy_optional(const RegexNode& operand) {
    const Place begin = call();
    body(operand);
    land(begin);
}

ProgramWriter::Place ProgramWriter::write(RegexOp op, std::uint64_t operand) {
    too_large_ = too_large_ || here() == largest_program;
    if (!too_large_) program_.code.push_back({op, operand});
    return here() - 1;
}

RegexError compile_text(std::string_view text, RegexProgram& program) {
    const bool anchored = text.starts_with('^');
    if (anchored) text.remove_prefix(1);
    RegexParser parser(text, program);
    RegexNode root;
    if (!parser.sequence(root)) return parser.error();
    return ProgramWriter(program).pattern(root, anchored) ? RegexOk : RegexOutOfMemory;
}

}  // namespace

RegexError compile_regex(const char* pattern, RegexProgram& program) {
    if (pattern == nullptr) return RegexNoPattern;
    try {
        return compile_text(pattern, program);
    } catch (const std::bad_alloc&) {
        return RegexOutOfMemory;
    }
}

}  // namespace hotpath
