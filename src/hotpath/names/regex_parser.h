// The grammar of the in-house regular expressions: from a pattern's text to a tree. The compiler
// knows what each node becomes in the machine.
//
// The dialect isn't that of any library. `|` joins the two single terms beside it, so `ab|cd` is a,
// then b or c, then d. `{...}` captures and `(...)` doesn't. `!` before an atom tests that it
// doesn't match here. `)`, `}` and `]` outside their constructs end the pattern silently.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "hotpath/names/regex_program.h"

namespace hotpath {

enum class RegexNodeKind {
    empty,
    character,
    end_of_text,
    any,
    char_class,
    negated_class,
    back_reference,
    negation,
    group,
    capture,
    sequence,
    alternation,
    optional,
    star,
    plus,
    lazy_optional,
    lazy_star,
    lazy_plus,
};

// A part of a pattern. A node owns the parts below it.
struct RegexNode {
    RegexNodeKind kind = RegexNodeKind::empty;
    std::uint64_t value = 0;         // character, class index or group number
    bool can_be_empty = true;        // what a repetition looks at before it accepts an operand
    std::vector<RegexNode> parts{};  // of a sequence: any number; of an alternation: two or more
};

// Parses one pattern. Classes and the number of groups go into the program, which must outlive the
// parser.
class RegexParser {
public:
    // `pattern` is the text after a leading `^`.
    RegexParser(std::string_view pattern, RegexProgram& program)
        : pattern_(pattern), program_(program) {}

    // The whole pattern, or what of it stands before a stray closer. False: see `error`.
    [[nodiscard]] bool sequence(RegexNode& node);

    RegexError error() const { return error_; }

private:
    bool alternation(RegexNode& node);
    bool quantified(RegexNode& node);
    bool atom(RegexNode& node);
    bool shallow_atom(RegexNode& node);
    bool capture(RegexNode& node);
    bool enclosed(RegexNode& node, RegexNodeKind kind, char closer, RegexError missing);
    bool negation(RegexNode& node);
    bool escape(RegexNode& node);
    bool back_reference(RegexNode& node);
    bool abbreviation(std::string_view definition, RegexNode& node);
    bool char_class(RegexNode& node);
    bool class_item(RegexClass& members);
    bool class_character(unsigned char& c);

    bool at_end() const { return place_ == pattern_.size(); }
    bool at(char c) const { return !at_end() && pattern_[place_] == c; }
    bool at_digit() const;
    bool at_closer() const { return at(')') || at('}') || at(']'); }
    char take() { return pattern_[place_++]; }
    bool accept(char c);
    bool fail(RegexError error);

    std::string_view pattern_;
    std::size_t place_ = 0;
    int depth_ = 0;  // of atoms in atoms
    RegexProgram& program_;
    RegexError error_ = RegexOk;
};

}  // namespace hotpath
