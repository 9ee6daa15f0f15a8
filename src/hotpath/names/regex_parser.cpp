#include "hotpath/names/regex_parser.h"

#include <algorithm>
#include <utility>

#include "diag/ascii.h"

namespace hotpath {
namespace {

// The parser and the compiler call themselves for each atom in an atom. A pattern that goes deeper
// counts as one that memory doesn't hold.
constexpr int deepest = 1000;

struct Abbreviation {
    char key;
    std::string_view definition;
};

// A definition stands for one term, so of `q` only the part before the bar counts: `\q` takes
// double-quoted text and no other.
constexpr Abbreviation abbreviations[] = {
    {'a', "([a-zA-Z0-9])"},
    {'b', "([ \\t])"},
    {'c', "([a-zA-Z])"},
    {'d', "([0-9])"},
    {'h', "([0-9a-fA-F])"},
    {'n', "(\r|(\r?\n))"},
    {'q', "(\"[^\"]*\")|('[^']*')"},
    {'w', "([a-zA-Z]+)"},
    {'z', "([0-9]+)"},
};

const Abbreviation* find_abbreviation(char key) {
    const auto* const found =
        std::find_if(std::begin(abbreviations), std::end(abbreviations),
                     [key](const Abbreviation& abbreviation) { return abbreviation.key == key; });
    return found == std::end(abbreviations) ? nullptr : found;
}

RegexNode leaf(RegexNodeKind kind, std::uint64_t value = 0) {
    return {.kind = kind, .value = value, .can_be_empty = false};
}

RegexNode literal(char c) { return leaf(RegexNodeKind::character, static_cast<unsigned char>(c)); }

RegexNode around(RegexNodeKind kind, bool can_be_empty, RegexNode&& part) {
    RegexNode node{.kind = kind, .can_be_empty = can_be_empty};
    node.parts.push_back(std::move(part));
    return node;
}

RegexNodeKind quantifier_kind(char quantifier, bool lazy) {
    switch (quantifier) {
        case '*': return lazy ? RegexNodeKind::lazy_star : RegexNodeKind::star;
        case '+': return lazy ? RegexNodeKind::lazy_plus : RegexNodeKind::plus;
        default: return lazy ? RegexNodeKind::lazy_optional : RegexNodeKind::optional;
    }
}

}  // namespace

bool RegexParser::sequence(RegexNode& node) {
    node = {.kind = RegexNodeKind::sequence};
    while (!at_end() && !at_closer()) {
        RegexNode term;
        if (!alternation(term)) return false;
        node.can_be_empty = node.can_be_empty && term.can_be_empty;
        node.parts.push_back(std::move(term));
    }
    return true;
}

bool RegexParser::alternation(RegexNode& node) {
    if (!quantified(node)) return false;
    if (!at('|')) return true;
    node = around(RegexNodeKind::alternation, node.can_be_empty, std::move(node));
    while (accept('|')) {
        RegexNode next;
        if (!quantified(next)) return false;
        node.can_be_empty = node.can_be_empty || next.can_be_empty;
        node.parts.push_back(std::move(next));
    }
    return true;
}

bool RegexParser::quantified(RegexNode& node) {
    if (!atom(node)) return false;
    if (!at('*') && !at('+') && !at('?')) return true;
    const char quantifier = take();
    const bool lazy = accept('?');
    if (quantifier != '?' && node.can_be_empty) return fail(RegexEmptyRepeat);
    node = around(quantifier_kind(quantifier, lazy), quantifier != '+', std::move(node));
    return true;
}

bool RegexParser::atom(RegexNode& node) {
    if (depth_ == deepest) return fail(RegexOutOfMemory);
    ++depth_;
    const bool parsed = shallow_atom(node);
    --depth_;
    return parsed;
}

// An atom must come here, so a quantifier or a bar stands for itself. Where nothing more can come,
// the atom is the empty term.
bool RegexParser::shallow_atom(RegexNode& node) {
    node = {};
    if (at_end() || at_closer()) return true;
    switch (const char c = take()) {
        case '{': return capture(node);
        case '(': return enclosed(node, RegexNodeKind::group, ')', RegexParenExpected);
        case '[': return char_class(node);
        case '\\': return escape(node);
        case '!': return negation(node);
        case '.': node = leaf(RegexNodeKind::any); return true;
        case '$': node = at_end() ? leaf(RegexNodeKind::end_of_text) : literal(c); return true;
        default: node = literal(c); return true;
    }
}

// Groups are numbered by their opening braces: the number is taken before the body is parsed.
bool RegexParser::capture(RegexNode& node) {
    const std::uint32_t number = program_.group_count++;
    if (!enclosed(node, RegexNodeKind::capture, '}', RegexBraceExpected)) return false;
    node.value = number;
    return true;
}

bool RegexParser::enclosed(RegexNode& node, RegexNodeKind kind, char closer, RegexError missing) {
    RegexNode body;
    if (!sequence(body)) return false;
    if (!accept(closer)) return fail(missing);
    const bool can_be_empty = body.can_be_empty;
    node = around(kind, can_be_empty, std::move(body));
    return true;
}

// Consumes nothing, but counts as something that can't match the empty text.
bool RegexParser::negation(RegexNode& node) {
    RegexNode operand;
    if (!atom(operand)) return false;
    node = around(RegexNodeKind::negation, false, std::move(operand));
    return true;
}

bool RegexParser::escape(RegexNode& node) {
    if (at_digit()) return back_reference(node);
    // A backslash that nothing follows stands for itself.
    const char c = at_end() ? '\\' : take();
    if (const Abbreviation* const found = find_abbreviation(c))
        return abbreviation(found->definition, node);
    node = literal(c);
    return true;
}

bool RegexParser::back_reference(RegexNode& node) {
    std::uint64_t number = 0;
    while (at_digit()) {
        number = number * 10 + static_cast<std::uint64_t>(take() - '0');
        number = std::min<std::uint64_t>(number, program_.group_count);
    }
    if (number >= program_.group_count) return fail(RegexInvalidGroup);
    node = leaf(RegexNodeKind::back_reference, number);
    return true;
}

bool RegexParser::abbreviation(std::string_view definition, RegexNode& node) {
    RegexParser parser(definition, program_);
    return parser.quantified(node) || fail(RegexUnexpected);
}

bool RegexParser::char_class(RegexNode& node) {
    const bool negated = accept('^');
    if (at(']')) return fail(RegexEmptyClass);
    RegexClass members;
    while (!accept(']')) {
        if (!class_item(members)) return false;
    }
    node = leaf(negated ? RegexNodeKind::negated_class : RegexNodeKind::char_class,
                program_.classes.size());
    program_.classes.push_back(members);
    return true;
}

// A character, or a range. A `-` that only the `]` follows is an error wherever it stands: it asks
// for an end of a range, or for a beginning.
bool RegexParser::class_item(RegexClass& members) {
    const bool bare_dash = at('-');
    unsigned char first = 0;
    if (!class_character(first)) return false;
    if (bare_dash && at(']')) return fail(RegexBracketExpected);
    unsigned char last = first;
    if (accept('-')) {
        if (at_end() || at(']')) return fail(RegexBracketExpected);
        last = static_cast<unsigned char>(take());
    }
    if (last < first) return fail(RegexInvalidRange);
    for (std::size_t c = first; c <= last; ++c) members.set(c);
    return true;
}

// An item's first character. The end of a range knows no escape.
bool RegexParser::class_character(unsigned char& c) {
    const bool escaped = accept('\\');
    if (at_end()) return fail(RegexBracketExpected);
    const char taken = take();
    c = static_cast<unsigned char>(escaped && taken == 't' ? '\t' : taken);
    return true;
}

bool RegexParser::at_digit() const { return !at_end() && diag::is_digit(pattern_[place_]); }

bool RegexParser::accept(char c) {
    if (!at(c)) return false;
    ++place_;
    return true;
}

bool RegexParser::fail(RegexError error) {
    error_ = error;
    return false;
}

}  // namespace hotpath
