#include "callgrind/recording.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdlib>
#include <limits>
#include <memory>
#include <optional>

namespace callgrind {

namespace {

constexpr Count largest_sum = (Count{1} << 60) - 1;

void add(Count& sum, Count count) {
    sum = count > std::numeric_limits<Count>::max() - sum ? std::numeric_limits<Count>::max()
                                                          : sum + count;
}

// Decimal, or hexadecimal behind 0x; the whole text.
std::optional<std::uint64_t> number_of(std::string_view text) {
    const bool hexadecimal = text.starts_with("0x");
    if (hexadecimal) text.remove_prefix(2);
    std::uint64_t value = 0;
    const char* end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value, hexadecimal ? 16 : 10);
    if (text.empty() || result.ec != std::errc() || result.ptr != end) return std::nullopt;
    return value;
}

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t\r\n";
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(blanks) + 1 - first);
}

void split_words(std::string_view line, std::vector<std::string_view>& words) {
    words.clear();
    for (std::size_t at = 0; (at = line.find_first_not_of(" \t", at)) != std::string_view::npos;) {
        const std::size_t end = std::min(line.find_first_of(" \t", at), line.size());
        words.push_back(line.substr(at, end - at));
        at = end;
    }
}

// The name without the version of a symbol and without the level of a recursion ('2).
std::string_view plain_name(std::string_view name) {
    name = name.substr(0, name.find('@', 1));
    return name.substr(0, name.find('\'', 1));
}

bool is_one_of(std::string_view name, std::initializer_list<std::string_view> names) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

}  // namespace

// Reads the lines of one file into a recording.
class Parser {
public:
    explicit Parser(Recording& recording) : recording_(recording) {}

    bool read(std::FILE* stream, std::string& problem);

private:
    enum class NameKind : std::uint8_t { object, function };
    // A call or jump, whose source is on the next line.
    struct Transfer {
        bool is_call = false;
        Count count = 0;
        Address target = 0;
    };

    bool line(std::string_view text);
    bool header(std::string_view key, std::string_view value);
    bool entry(std::string_view key, std::string_view value);
    bool costs(std::string_view text);
    bool add_transfer(const Transfer& transfer);
    bool transfer(bool is_call, std::string_view value);
    bool totals(std::string_view value);
    void note_function(std::string_view name);
    std::optional<std::string> name(NameKind kind, std::string_view text);
    std::optional<Address> absolute(std::string_view text) const;
    bool fail(const char* what) {
        problem_ = what;
        return false;
    }

    Recording& recording_;
    std::string problem_;
    std::array<std::unordered_map<std::string, std::string>, 2> names_;
    std::vector<std::string_view> words_;
    std::optional<std::uint32_t> object_;
    std::optional<std::uint32_t> callee_object_;
    std::string callee_;
    Address address_ = 0;  // addresses are written relative to the last one
    std::size_t positions_ = 0;
    std::optional<std::size_t> event_;  // index of the instruction count among a line's words
    std::optional<Transfer> transfer_;
    Count part_ = 0;          // instructions of the part so far
    bool open_part_ = false;  // whose totals are still to come
};

bool Parser::read(std::FILE* stream, std::string& problem) {
    char* text = nullptr;
    std::size_t room = 0;
    std::uint64_t number = 0;
    bool good = true;
    for (ssize_t size = 0; good && (size = getline(&text, &room, stream)) >= 0;) {
        ++number;
        good = line(trimmed({text, static_cast<std::size_t>(size)}));
        if (good || !problem_.empty()) continue;
        problem_ = event_ ? "line " + std::to_string(number) + ": not understood"
                          : "is no recording of callgrind";
    }
    std::free(text);
    if (good && std::ferror(stream) != 0) good = fail("can't be read");
    if (good && !event_) good = fail("is no recording of callgrind");
    // What is made of counts takes each of them a few times, and no sum may wrap.
    if (good && recording_.all_counts_ > largest_sum)
        good = fail("is damaged: its counts add up to 2^60 or more");
    if (good && (open_part_ || transfer_)) good = fail("is cut off: its totals are missing");
    problem = problem_;
    return good;
}

bool Parser::line(std::string_view text) {
    if (text.empty() || text.front() == '#') return true;
    if (std::string_view("0123456789+-*").find(text.front()) != std::string_view::npos)
        return costs(text);
    if (transfer_) return false;
    const std::size_t end = text.find_first_of(":=");
    if (end == std::string_view::npos) return false;
    const std::string_view value = text.substr(end + 1);
    return text[end] == ':' ? header(text.substr(0, end), trimmed(value))
                            : entry(text.substr(0, end), value);
}

bool Parser::header(std::string_view key, std::string_view value) {
    if (key == "totals") return totals(value);
    if (key == "desc" && value == "Trigger: Program termination") recording_.has_end_ = true;
    if (key == "positions") {
        split_words(value, words_);
        if (words_.empty() || words_.front() != "instr")
            return fail("has no addresses: record with --dump-instr=yes");
        positions_ = words_.size();
    } else if (key == "events") {
        split_words(value, words_);
        const auto place = std::find(words_.begin(), words_.end(), "Ir");
        if (place == words_.end() || positions_ == 0) return false;
        event_ = positions_ + static_cast<std::size_t>(place - words_.begin());
    }
    return true;
}

// The costs of all lines add up to the totals, or else some of them are damaged.
bool Parser::totals(std::string_view value) {
    split_words(value, words_);
    if (!event_) return false;
    const std::size_t index = *event_ - positions_;
    const auto total = index < words_.size() ? number_of(words_[index]) : 0;
    if (!total || *total != part_) return fail("is damaged: its counts don't add up to its totals");
    add(recording_.instructions_, part_);
    part_ = 0;
    open_part_ = false;
    return true;
}

bool Parser::entry(std::string_view key, std::string_view value) {
    if (!event_) return false;
    if (is_one_of(key, {"fl", "fi", "fe", "cfi", "cfl", "jfi"})) return true;  // files
    if (key == "calls") return transfer(true, value);
    if (key == "jump" || key == "jcnd") return transfer(false, value);
    const bool is_object = key == "ob" || key == "cob";
    if (!is_object && !is_one_of(key, {"fn", "cfn", "jfn"})) return false;
    const auto named = name(is_object ? NameKind::object : NameKind::function, value);
    if (!named) return fail("is damaged: it uses a name that it never gave");
    if (key == "ob") object_ = recording_.object_id(*named);
    if (key == "cob") callee_object_ = recording_.object_id(*named);
    if (key == "cfn") callee_ = plain_name(*named);
    if (key == "fn") note_function(*named);
    return true;
}

void Parser::note_function(std::string_view name) {
    name = plain_name(name);
    if (is_one_of(name, {"(below main)", "__libc_start_main"})) recording_.has_start_ = true;
    if (is_one_of(name, {"exit", "_exit", "_Exit", "quick_exit", "exit_group"}))
        recording_.has_exit_ = true;
}

// A name stands in full once, behind its number; later the number alone.
std::optional<std::string> Parser::name(NameKind kind, std::string_view text) {
    if (!text.starts_with('(')) return std::string(text);
    const std::size_t end = text.find(')');
    const bool is_number = end != std::string_view::npos && number_of(text.substr(1, end - 1));
    if (!is_number) return std::string(text);
    auto& names = names_[static_cast<std::size_t>(kind)];
    const std::string number(text.substr(1, end - 1));
    if (end + 1 < text.size()) names[number] = text.substr(std::min(end + 2, text.size()));
    const auto known = names.find(number);
    if (known == names.end()) return std::nullopt;
    return known->second;
}

std::optional<Address> Parser::absolute(std::string_view text) const {
    if (text == "*") return address_;
    const bool relative = text.starts_with('+') || text.starts_with('-');
    const auto number = number_of(relative ? text.substr(1) : text);
    if (!number || !relative) return number;
    return text.front() == '+' ? address_ + *number : address_ - *number;
}

// "calls=COUNT TARGET...", "jump=COUNT TARGET...", "jcnd=TAKEN/PASSED TARGET..."
bool Parser::transfer(bool is_call, std::string_view value) {
    split_words(value, words_);
    if (words_.size() < 2) return false;
    const auto count = number_of(words_[0].substr(0, words_[0].find('/')));
    const auto target = absolute(words_[1]);
    if (!count || !target) return false;
    add(recording_.all_counts_, *count);
    transfer_ = {is_call, *count, *target};
    return true;
}

bool Parser::costs(std::string_view text) {
    split_words(text, words_);
    const auto address = absolute(words_[0]);
    if (!event_ || !address || words_.size() < positions_) return false;
    if (!object_) return fail("is damaged: costs of no object");
    address_ = *address;
    open_part_ = true;
    if (transfer_) {
        const Transfer done = *transfer_;
        transfer_.reset();
        return add_transfer(done);
    }
    if (words_.size() <= *event_) return true;  // trailing zeros are left out
    const auto count = number_of(words_[*event_]);
    if (!count) return false;
    add(recording_.all_counts_, *count);
    add(part_, *count);
    add(recording_.objects_[*object_].executed[address_], *count);
    return true;
}

bool Parser::add_transfer(const Transfer& transfer) {
    if (!transfer.is_call) {
        add(recording_.objects_[*object_].jumps[{address_, transfer.target}], transfer.count);
        return true;
    }
    // The first call through a linkage stub stands there twice: once as the dynamic linker's.
    if (!callee_.starts_with("_dl_runtime_resolve")) {
        const Site source{*object_, address_};
        const Site destination{callee_object_.value_or(*object_), transfer.target};
        add(recording_.calls_[{source, destination, recording_.function_id(callee_)}],
            transfer.count);
    }
    callee_object_.reset();
    return true;
}

bool Recording::read(std::FILE* stream, std::string& problem) {
    return Parser(*this).read(stream, problem);
}

bool Recording::was_killed() const { return has_start_ && has_end_ && !has_exit_; }

std::uint32_t Recording::object_id(const std::string& name) {
    const auto [place, is_new] =
        object_ids_.try_emplace(name, static_cast<std::uint32_t>(objects_.size()));
    if (is_new) objects_.push_back({name, {}, {}});
    return place->second;
}

std::uint32_t Recording::function_id(const std::string& name) {
    const auto [place, is_new] =
        function_ids_.try_emplace(name, static_cast<std::uint32_t>(function_names_.size()));
    if (is_new) function_names_.push_back(name);
    return place->second;
}

}  // namespace callgrind
