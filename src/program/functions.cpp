#include "program/functions.h"

#include <algorithm>
#include <tuple>
#include <unordered_map>
#include <utility>

namespace program {

namespace {

constexpr std::string_view cold_ending = ".cold";

// A function's beginning, as a symbol or the debug information has it. Size 0: unknown.
struct Start {
    Address address = 0;
    std::uint64_t size = 0;
    int rank = 0;
    std::string_view name;
    std::uint32_t scope = Scope::none;  // of one that no symbol names
    std::string_view file;
};

constexpr int rank_without_symbol = 3;

const Code* code_at(const std::vector<Code>& code, Address address) {
    const auto found = std::find_if(
        code.begin(), code.end(), [&](const Code& part) { return part.range().contains(address); });
    return found == code.end() ? nullptr : &*found;
}

void sort_starts(std::vector<Start>& starts) {
    std::sort(starts.begin(), starts.end(), [](const Start& one, const Start& other) {
        return std::tie(one.address, one.rank, one.name) <
               std::tie(other.address, other.rank, other.name);
    });
}

// Keeps one for each address, the first. If it has no size, it gets the next one's that has one.
void settle_aliases(std::vector<Start>& starts) {
    std::size_t kept = 0;
    for (const Start& start : starts) {
        if (kept > 0 && starts[kept - 1].address == start.address) {
            Start& best = starts[kept - 1];
            if (best.size == 0) best.size = start.size;
        } else {
            starts[kept++] = start;
        }
    }
    starts.resize(kept);
}

std::vector<Start> starts_of(const std::vector<Symbol>& symbols, const std::vector<Code>& code) {
    std::vector<Start> starts;
    for (const Symbol& symbol : symbols)
        if (code_at(code, symbol.address) != nullptr)
            starts.push_back({symbol.address, symbol.size, static_cast<int>(symbol.binding),
                              symbol.name, Scope::none, symbol.file});
    sort_starts(starts);
    settle_aliases(starts);
    return starts;
}

Address end_of(const std::vector<Start>& starts, std::size_t index, const std::vector<Code>& code) {
    const Start& start = starts[index];
    Address limit = code_at(code, start.address)->range().end;
    if (index + 1 < starts.size()) limit = std::min(limit, starts[index + 1].address);
    const std::uint64_t room = limit - start.address;
    return start.address + (start.size == 0 ? room : std::min(room, start.size));
}

// Parts of functions of the debug information that lie in no symbol's function.
std::vector<Start> starts_without_symbol(const std::vector<Start>& starts, const Scopes& scopes,
                                         const std::vector<Code>& code) {
    std::vector<Start> found;
    for (const Scopes::Part& part : scopes.parts()) {
        auto behind = std::upper_bound(
            starts.begin(), starts.end(), part.range.start,
            [](Address wanted, const Start& start) { return wanted < start.address; });
        const auto index = static_cast<std::size_t>(behind - starts.begin());
        if (index > 0 && part.range.start < end_of(starts, index - 1, code)) continue;
        const std::string_view name = scopes.function_of(scopes.scope(part.scope)).name;
        if (name.empty()) continue;
        found.push_back({part.range.start, part.range.end - part.range.start, rank_without_symbol,
                         name, part.scope, ""});
    }
    return found;
}

using Names = std::unordered_map<std::string_view, std::vector<std::uint32_t>>;

std::optional<std::uint32_t> index_at(const std::vector<Function>& functions, Address start) {
    const auto found = std::lower_bound(
        functions.begin(), functions.end(), start,
        [](const Function& one, Address address) { return one.range.start < address; });
    if (found == functions.end() || found->range.start != start) return std::nullopt;
    return static_cast<std::uint32_t>(found - functions.begin());
}

// The entries of the scopes, by scope: the part at which the symbol of a function stands, or the
// first one. A compiler may list a cold part in front of the entry.
std::unordered_map<std::uint32_t, Address> entries_of(const Scopes& scopes,
                                                      const std::vector<Function>& functions) {
    const auto begins_function = [&](Address address) {
        const auto index = index_at(functions, address);
        return index && functions[*index].has_symbol &&
               !functions[*index].name.ends_with(cold_ending);
    };
    std::unordered_map<std::uint32_t, Address> entries;
    for (const Scopes::Part& part : scopes.parts()) {
        const auto [entry, is_new] = entries.try_emplace(part.scope, part.range.start);
        if (!is_new && !begins_function(entry->second) && begins_function(part.range.start))
            entry->second = part.range.start;
    }
    return entries;
}

// A cold part, which a compiler moved away, goes under its function's name. Of several functions
// with that name the debug information says which one it is.
class ColdParts {
public:
    ColdParts(std::vector<Function>& functions, const Scopes& scopes)
        : functions_(functions), scopes_(scopes), entries_(entries_of(scopes, functions)) {
        for (std::uint32_t i = 0; i < functions.size(); ++i) names_[functions[i].name].push_back(i);
    }

    void join() {
        for (Function& function : functions_) {
            if (!function.name.ends_with(cold_ending)) continue;
            const auto parent = parent_of(function);
            if (!parent) continue;
            function.name.remove_suffix(cold_ending.size());
            function.owner = *parent;
        }
    }

private:
    std::optional<std::uint32_t> parent_of(const Function& cold) const {
        const std::string_view name = cold.name.substr(0, cold.name.size() - cold_ending.size());
        const auto parents = names_.find(name);
        if (parents == names_.end()) return std::nullopt;
        if (parents->second.size() == 1) return parents->second.front();
        const auto entry = entries_.find(scopes_.outermost(scopes_.find(cold.range.start)));
        if (entry == entries_.end()) return std::nullopt;
        const auto index = index_at(functions_, entry->second);
        return index && functions_[*index].name == name ? index : std::nullopt;
    }

    std::vector<Function>& functions_;
    const Scopes& scopes_;
    std::unordered_map<std::uint32_t, Address> entries_;
    Names names_;
};

// Parts of one function of the debug information belong to the one with its entry.
void join_parts(std::vector<Function>& functions, const std::vector<Start>& starts,
                const Scopes& scopes) {
    const auto entries = entries_of(scopes, functions);
    for (std::uint32_t i = 0; i < functions.size(); ++i) {
        if (starts[i].scope == Scope::none) continue;
        const auto owner = index_at(functions, entries.at(starts[i].scope));
        if (!owner) continue;
        functions[i].owner = *owner;
        functions[i].name = functions[*owner].name;
    }
}

}  // namespace

Functions::Functions(const std::vector<Symbol>& symbols, const Scopes& scopes,
                     const std::vector<Code>& code) {
    std::vector<Start> starts = starts_of(symbols, code);
    const std::vector<Start> further = starts_without_symbol(starts, scopes, code);
    starts.insert(starts.end(), further.begin(), further.end());
    sort_starts(starts);
    settle_aliases(starts);
    functions_.reserve(starts.size());
    for (std::size_t i = 0; i < starts.size(); ++i)
        functions_.push_back({{starts[i].address, end_of(starts, i, code)},
                              starts[i].name,
                              static_cast<std::uint32_t>(i),
                              starts[i].scope == Scope::none,
                              starts[i].file});
    join_parts(functions_, starts, scopes);
    ColdParts(functions_, scopes).join();
}

std::optional<std::uint32_t> Functions::find(Address address) const {
    const auto behind = std::upper_bound(
        functions_.begin(), functions_.end(), address,
        [](Address wanted, const Function& function) { return wanted < function.range.start; });
    if (behind == functions_.begin()) return std::nullopt;
    const auto index = static_cast<std::uint32_t>(behind - functions_.begin() - 1);
    if (!functions_[index].range.contains(address)) return std::nullopt;
    return index;
}

}  // namespace program
