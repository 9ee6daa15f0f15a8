#include "perf/stack_text.h"

#include <array>
#include <charconv>
#include <optional>

namespace perf {
namespace {

constexpr std::uint8_t no_digit = 0xFF;

constexpr std::array<std::uint8_t, 256> make_digits() {
    std::array<std::uint8_t, 256> digits{};
    digits.fill(no_digit);
    for (std::uint8_t i = 0; i < 10; ++i) digits['0' + i] = i;
    for (std::uint8_t i = 0; i < 6; ++i) digits['a' + i] = digits['A' + i] = 10 + i;
    return digits;
}
constexpr std::array<std::uint8_t, 256> digit_values = make_digits();

bool is_space(char c) { return c == ' ' || c == '\t' || c == '\r'; }

// Takes pieces off the front of a text.
class Cursor {
public:
    explicit Cursor(std::string_view text) : at_(text.data()), end_(text.data() + text.size()) {}

    bool at_end() const { return at_ == end_; }
    std::string_view rest() const { return {at_, static_cast<std::size_t>(end_ - at_)}; }

    bool take(char c) {
        if (at_ == end_ || *at_ != c) return false;
        ++at_;
        return true;
    }
    bool take(std::string_view text) {
        if (!rest().starts_with(text)) return false;
        at_ += text.size();
        return true;
    }
    // At most 16 hexadecimal digits, at least one.
    bool take_hexadecimal(std::uint64_t& value) {
        const char* const first = at_;
        value = 0;
        for (std::uint8_t digit; at_ != end_; ++at_, value = value << 4 | digit) {
            digit = digit_values[static_cast<unsigned char>(*at_)];
            if (digit == no_digit) break;
        }
        return at_ != first && at_ - first <= 16;
    }
    bool take_address(std::uint64_t& value) {
        take("0x");
        return take_hexadecimal(value);
    }
    bool take_number(std::int64_t& value) {
        const auto [behind, error] = std::from_chars(at_, end_, value);
        at_ = behind;
        return error == std::errc();
    }
    // Up to the character, which is taken too but doesn't count; nothing without one.
    std::optional<std::string_view> take_until(char c) {
        const std::size_t size = rest().find(c);
        if (size == std::string_view::npos) return std::nullopt;
        const std::string_view taken = rest().substr(0, size);
        at_ += size + 1;
        return taken;
    }
    void skip_spaces() {
        while (at_ != end_ && is_space(*at_)) ++at_;
    }
    std::string_view take_word() {
        const char* const first = at_;
        while (at_ != end_ && !is_space(*at_)) ++at_;
        return {first, static_cast<std::size_t>(at_ - first)};
    }
    // A file's name in parentheses, which may hold some itself: they end where `is_end` holds for
    // what follows.
    template <class IsEnd>
    void skip_file_name(IsEnd is_end) {
        if (at_ == end_ || *at_ != '(') return;
        while (at_ != end_)
            if (*at_++ == ')' && is_end(rest())) return;
    }

private:
    const char* at_;
    const char* end_;
};

bool is_destination(std::string_view text) {
    return text.starts_with("/0x") || text.starts_with('-');
}
bool is_flags(std::string_view text) {
    return text.empty() || is_space(text[0]) ||
           (text[0] == '/' && text.size() > 1 && (text[1] < 'a' || text[1] > 'z'));
}

enum class Entry { none, branch, damaged };

// An entry of a stack: two addresses and what is known of the branch. Numbers of a process and a
// thread look alike, so an address without "0x" counts only in an entry that is complete.
Entry take_entry(Cursor& cursor, Branch& branch) {
    const bool marked = cursor.take("0x");
    const bool has_source = cursor.take_hexadecimal(branch.source);
    cursor.skip_file_name(is_destination);
    const bool has_slash = cursor.take('/');
    if (!has_slash && !(marked && cursor.take('-'))) return Entry::none;
    if (!has_slash) cursor.take('>');
    const bool has_destination = has_source && cursor.take_address(branch.destination);
    cursor.skip_file_name(is_flags);
    const std::string_view behind = cursor.take_word();
    const bool complete = has_slash ? behind.starts_with('/') && (marked || behind.size() > 1)
                                    : behind.empty() || behind.starts_with('/');
    if (has_destination && complete) return Entry::branch;
    return marked ? Entry::damaged : Entry::none;
}

// Of " MAJOR:MINOR INODE GENERATION"; 0 in any other text.
std::uint64_t read_inode(std::string_view identity) {
    Cursor cursor(identity);
    cursor.skip_spaces();
    std::int64_t inode = 0;
    if (cursor.take_word().find(':') == std::string_view::npos) return 0;
    cursor.skip_spaces();
    return cursor.take_number(inode) && inode > 0 ? static_cast<std::uint64_t>(inode) : 0;
}

bool read_mapping(std::string_view text, Mapping& mapping) {
    Cursor cursor(text);
    std::int64_t thread = 0;
    cursor.skip_spaces();
    if (!cursor.take_number(mapping.process) || !cursor.take('/') || !cursor.take_number(thread) ||
        !cursor.take(": [") || !cursor.take_address(mapping.address) || !cursor.take('(') ||
        !cursor.take_address(mapping.size) || !cursor.take(") @ ") ||
        !cursor.take_address(mapping.offset))
        return false;
    const auto identity = cursor.take_until(']');
    if (!identity || !cursor.take(": ")) return false;
    const std::size_t open = identity->find('<');
    const std::size_t close = identity->find('>');
    mapping.build_id = open < close && close != std::string_view::npos
                           ? identity->substr(open + 1, close - open - 1)
                           : std::string_view();
    mapping.inode = read_inode(*identity);
    cursor.take_word();  // what the process may do with it
    cursor.skip_spaces();
    mapping.path = cursor.rest();
    while (!mapping.path.empty() && is_space(mapping.path.back())) mapping.path.remove_suffix(1);
    return !mapping.path.empty();
}

bool read_fork(std::string_view text, Fork& fork) {
    Cursor cursor(text);
    return cursor.take('(') && cursor.take_number(fork.process) && cursor.take(':') &&
           cursor.take_number(fork.thread) && cursor.take("):(") && cursor.take_number(fork.parent);
}

// "exec: NAME:PROCESS/THREAD"; without "exec" a thread has only taken another name.
bool read_exec(std::string_view text, std::int64_t& process) {
    Cursor cursor(text);
    cursor.skip_spaces();
    if (!cursor.take("exec:")) return false;
    const std::size_t colon = cursor.rest().rfind(':');
    return colon != std::string_view::npos &&
           Cursor(cursor.rest().substr(colon + 1)).take_number(process);
}

}  // namespace

const StackLine& StackText::read(std::string_view line) {
    line_.kind = StackLine::Kind::other;
    line_.processes.clear();
    line_.branches.clear();
    line_.damaged = 0;
    const bool is_call_chain = line.starts_with('\t');
    Cursor cursor(line);
    for (cursor.skip_spaces(); !cursor.at_end(); cursor.skip_spaces()) {
        Cursor ahead = cursor;
        Branch branch{};
        const Entry entry = take_entry(ahead, branch);
        if (entry == Entry::none) {
            const std::string_view word = cursor.take_word();
            if (word.starts_with("PERF_RECORD_") && line_.branches.empty()) {
                read_event(word, cursor.rest());
                return line_;
            }
            if (line_.branches.empty() && !is_call_chain) read_head_word(word);
            continue;
        }
        if (entry == Entry::damaged) {
            branch = {unreadable, unreadable};
            ++line_.damaged;
        }
        line_.branches.push_back(branch);
        cursor = ahead;
    }
    if (!line_.branches.empty()) line_.kind = StackLine::Kind::stack;
    return line_;
}

// "PROCESS/THREAD", or a number alone.
void StackText::read_head_word(std::string_view word) {
    if (word.front() < '0' || word.front() > '9') return;
    Cursor cursor(word);
    std::int64_t process = 0;
    std::int64_t thread = 0;
    if (!cursor.take_number(process)) return;
    if (cursor.at_end()) {
        line_.processes.push_back(process);
    } else if (cursor.take('/') && cursor.take_number(thread) && cursor.at_end()) {
        line_.processes.insert(line_.processes.begin(), process);
    }
}

// `word` is "PERF_RECORD_" with the event's name, and what follows without a space.
void StackText::read_event(std::string_view word, std::string_view rest) {
    using Kind = StackLine::Kind;
    const std::string_view name = word.substr(std::string_view("PERF_RECORD_").size());
    Kind kind = Kind::other;
    bool understood = true;
    if (name == "MMAP" || name == "MMAP2") {
        kind = Kind::mapping;
        understood = read_mapping(rest, line_.mapping);
    } else if (name.starts_with("FORK")) {
        kind = Kind::fork;
        understood = read_fork(name.substr(4), line_.fork);
    } else if (name == "COMM" && read_exec(rest, line_.executing)) {
        kind = Kind::exec;
    }
    line_.kind = understood ? kind : Kind::other;
    line_.damaged = understood ? 0 : 1;
}

}  // namespace perf
