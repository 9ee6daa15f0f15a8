// A second, plain matcher of the dialect, to hold the engine against. It is written from the
// grammar: each part of a pattern becomes a function that is given the rest of the match as another
// function, and the path through a pattern is the chain of calls. It shares no code with the
// engine.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

namespace hotpath_test {

class NaiveMatcher {
public:
    static constexpr std::size_t nothing = std::string_view::npos;

    struct Group {
        std::size_t start = nothing;
        std::size_t end = nothing;
    };

    explicit NaiveMatcher(std::string_view pattern) : pattern_(pattern) {
        const bool anchored = accept('^');
        whole_ = sequence().term;
        anchored_ = anchored;
    }

    // The error's number; 0 if the pattern is well-formed.
    int error() const { return error_; }

    // True if the pattern repeats something that can match without consuming. A match of such a
    // pattern needn't come to an end, here or in the engine, so it can't be compared.
    bool may_run_for_ever() const { return may_run_for_ever_; }

    // The outcome means nothing where more than `most_steps` characters were compared, which
    // `gave_up` tells.
    bool match(std::string_view text, std::size_t most_steps = nothing) {
        text_ = text;
        steps_left_ = most_steps;
        groups_.assign(group_count_, Group());
        for (start_ = 0; start_ == 0 || (!anchored_ && start_ < text.size()); ++start_) {
            position_ = start_;
            if (whole_([] { return true; })) return true;
        }
        return false;
    }

    bool gave_up() const { return steps_left_ == 0; }

    std::size_t start() const { return start_; }
    std::size_t end() const { return position_; }
    const std::vector<Group>& groups() const { return groups_; }

private:
    using Next = std::function<bool()>;
    using Term = std::function<bool(const Next&)>;

    struct Part {
        Term term;
        bool nominally_empty;  // what the dialect says
        bool really_empty;     // what can happen
    };

    // The grammar.

    Part sequence() {
        Part all = nothing_at_all();
        while (!done() && !at_closer()) all = join(all, alternation());
        return all;
    }

    Part alternation() {
        const Part first = quantified();
        if (!accept('|')) return first;
        const Part second = alternation();
        const Term either = [this, a = first.term, b = second.term](const Next& next) {
            const std::size_t here = position_;
            if (a(next)) return true;
            position_ = here;
            return b(next);
        };
        return {either, first.nominally_empty || second.nominally_empty,
                first.really_empty || second.really_empty};
    }

    Part quantified() {
        const std::size_t begin = place_;
        const std::size_t groups_before = group_count_;
        const Part one = atom();
        if (!at('*') && !at('+') && !at('?')) return one;
        const char quantifier = pattern_[place_++];
        const bool lazy = accept('?');
        const std::size_t end = place_;
        if (quantifier == '?') return {repetition(one.term, lazy, false), true, true};
        if (one.nominally_empty) fail(9);
        if (one.really_empty) may_run_for_ever_ = true;
        const Part any_number{repetition(one.term, lazy, true), true, true};
        if (quantifier == '*' || error_ != 0) return any_number;
        // The first of them is a copy of its own with the same group numbers.
        place_ = begin;
        group_count_ = groups_before;
        const Part first = atom();
        place_ = end;
        return join(first, any_number);
    }

    Part atom() {
        if (done() || at_closer()) return nothing_at_all();
        const char c = pattern_[place_++];
        if (c == '(') return enclosed(')', 3);
        if (c == '{') return capture(group_count_++);
        if (c == '!') return negation();
        if (c == '[') return char_class();
        if (c == '\\' && !done() && at_digit()) return back_reference();
        if (c == '\\' && !done()) return escape(pattern_[place_++]);
        if (c == '.') return consuming([](char) { return true; });
        if (c == '$' && done()) {
            const Term at_end = [this](const Next& next) {
                return position_ == text_.size() && next();
            };
            return {at_end, false, true};
        }
        return consuming([c](char x) { return x == c; });
    }

    // What an abbreviation stands for is read as a pattern of its own.
    Part escape(char key) {
        static const std::map<char, std::string_view> definitions = {
            {'a', "([a-zA-Z0-9])"}, {'b', "([ \t])"},       {'c', "([a-zA-Z])"},
            {'d', "([0-9])"},       {'h', "([0-9a-fA-F])"}, {'n', "(\r|(\r?\n))"},
            {'q', "(\"[^\"]*\")"},  {'w', "([a-zA-Z]+)"},   {'z', "([0-9]+)"},
        };
        const auto definition = definitions.find(key);
        if (definition == definitions.end()) return consuming([key](char x) { return x == key; });
        const std::string_view pattern_before = std::exchange(pattern_, definition->second);
        const std::size_t place_before = std::exchange(place_, 0);
        const Part term = quantified();
        pattern_ = pattern_before;
        place_ = place_before;
        return term;
    }

    Part enclosed(char closer, int missing) {
        const Part body = sequence();
        if (!accept(closer)) fail(missing);
        return body;
    }

    Part capture(std::size_t number) {
        Part body = enclosed('}', 2);
        body.term = [this, number, inner = body.term](const Next& next) {
            const Group before = groups_[number];
            groups_[number].start = position_;
            const bool matched = inner([&] {
                groups_[number].end = position_;
                return next();
            });
            if (!matched) groups_[number] = before;
            return matched;
        };
        return body;
    }

    Part negation() {
        const Term inner = atom().term;
        const Term test = [this, inner](const Next& next) {
            const std::size_t here = position_;
            const bool matched = inner([] { return true; });
            position_ = here;
            return !matched && next();
        };
        return {test, false, true};
    }

    Part back_reference() {
        std::size_t number = 0;
        while (!done() && at_digit())
            number = number * 10 + static_cast<std::size_t>(pattern_[place_++] - '0');
        if (number >= group_count_) fail(7);
        const Term again = [this, number](const Next& next) {
            const Group group = groups_[number];
            const bool has_text = group.end != nothing && group.start < group.end;
            const std::string_view text =
                has_text ? text_.substr(group.start, group.end - group.start) : "";
            if (text_.substr(position_, text.size()) != text) return false;
            position_ += text.size();
            return next();
        };
        return {again, false, true};
    }

    Part char_class() {
        const bool negated = accept('^');
        if (at(']')) fail(6);
        std::vector<bool> members(256);
        while (!done() && !at(']')) class_item(members);
        if (!accept(']')) fail(4);
        return consuming([negated, members](char x) {
            return members[static_cast<unsigned char>(x)] != negated;
        });
    }

    void class_item(std::vector<bool>& members) {
        const bool dash = at('-');
        const bool escaped = accept('\\');
        if (done()) return;
        char first = pattern_[place_++];
        if (escaped && first == 't') first = '\t';
        if (dash && at(']')) fail(4);
        char last = first;
        if (accept('-')) {
            if (done() || at(']')) return fail(4);
            last = pattern_[place_++];
        }
        const auto low = static_cast<unsigned char>(first);
        const auto high = static_cast<unsigned char>(last);
        if (high < low) fail(8);
        for (unsigned c = low; c <= high; ++c) members[c] = true;
    }

    // What the functions do.

    static Part nothing_at_all() {
        return {[](const Next& next) { return next(); }, true, true};
    }

    static Part join(const Part& first, const Part& second) {
        const Term both = [a = first.term, b = second.term](const Next& next) {
            return a([&] { return b(next); });
        };
        return {both, first.nominally_empty && second.nominally_empty,
                first.really_empty && second.really_empty};
    }

    Part consuming(const std::function<bool(char)>& accepts) {
        const Term step = [this, accepts](const Next& next) {
            if (steps_left_ == 0 || --steps_left_ == 0) return false;
            if (position_ >= text_.size() || !accepts(text_[position_])) return false;
            ++position_;
            return next();
        };
        return {step, false, false};
    }

    Term repetition(const Term& one, bool lazy, bool repeated) {
        if (lazy) return [=, this](const Next& next) { return run_lazy(one, repeated, next); };
        const auto mark = std::make_shared<std::size_t>(0);
        return [=, this](const Next& next) { return run_greedy(one, *mark, repeated, next); };
    }

    // The progress mark belongs to the loop, not to the round: a round that is entered again on the
    // way back compares with the mark of the round after it.
    bool run_greedy(const Term& one, std::size_t& mark, bool repeated, const Next& next) {
        const std::size_t mark_before = mark;
        const std::size_t here = position_;
        mark = position_;
        const bool matched = one([&] {
            if (position_ == mark) return false;
            mark = position_;
            return repeated ? run_greedy(one, mark, true, next) : next();
        });
        if (matched) return true;
        position_ = here;
        mark = mark_before;
        return next();
    }

    // The position isn't wound back when the way without the operand has failed.
    bool run_lazy(const Term& one, bool repeated, const Next& next) {
        if (next()) return true;
        return one([&] { return repeated ? run_lazy(one, true, next) : next(); });
    }

    bool done() const { return error_ != 0 || place_ == pattern_.size(); }
    bool at(char c) const { return !done() && pattern_[place_] == c; }
    bool at_digit() const { return pattern_[place_] >= '0' && pattern_[place_] <= '9'; }
    bool at_closer() const { return at(')') || at('}') || at(']'); }
    bool accept(char c) {
        const bool found = at(c);
        if (found) ++place_;
        return found;
    }
    void fail(int error) {
        if (error_ == 0) error_ = error;
    }

    std::string_view pattern_;
    std::size_t place_ = 0;
    int error_ = 0;
    bool may_run_for_ever_ = false;
    std::size_t group_count_ = 0;
    Term whole_;
    bool anchored_ = false;
    std::string_view text_;
    std::size_t steps_left_ = nothing;
    std::vector<Group> groups_;
    std::size_t start_ = 0;
    std::size_t position_ = 0;
};

}  // namespace hotpath_test
