#include "shared/hotpath/model/call_counts.h"

#include <algorithm>

#include "shared/hotpath/model/hashing.h"

namespace hotpath {
namespace {

bool same_text(std::string_view a, std::string_view b) {
    // Kept texts are mostly one copy.
    return a.size() == b.size() && (a.data() == b.data() || a == b);
}

std::uint64_t hash_key(std::string_view callee_name, std::uint32_t line) {
    return hash_pair(hash_text(callee_name), line);
}

}  // namespace

bool call_key_less(const CallRecord& a, const CallRecord& b) {
    if (same_text(a.callee_name, b.callee_name)) return a.line < b.line;
    return a.callee_name < b.callee_name;
}

void CallCounts::add_call(std::string_view callee_name, std::uint32_t line,
                          std::uint32_t relative_line, std::uint64_t count) {
    const std::uint32_t place = find(callee_name, line);
    if (place != IndexTable::none) {
        calls_[place].exec_count += count;
        return;
    }
    calls_.push_back({callee_name, line, relative_line, count});
    if (!by_key_.is_empty()) {
        index_call(size() - 1);
    } else if (calls_.size() > walk_limit) {
        for (std::uint32_t k = 0; k < size(); ++k) index_call(k);
    }
}

void CallCounts::copy_calls(std::vector<const CallRecord*>& calls) const {
    calls.clear();
    calls.reserve(calls_.size());
    for (const CallRecord& call : calls_) calls.push_back(&call);
    std::sort(calls.begin(), calls.end(),
              [](const CallRecord* a, const CallRecord* b) { return call_key_less(*a, *b); });
}

std::uint32_t CallCounts::find(std::string_view callee_name, std::uint32_t line) const {
    const auto is_wanted = [&](const CallRecord& call) {
        return call.line == line && same_text(call.callee_name, callee_name);
    };
    if (!by_key_.is_empty())
        return by_key_.find(hash_key(callee_name, line),
                            [&](std::uint32_t place) { return is_wanted(calls_[place]); });
    const auto found = std::find_if(calls_.begin(), calls_.end(), is_wanted);
    return found == calls_.end() ? IndexTable::none
                                 : static_cast<std::uint32_t>(found - calls_.begin());
}

void CallCounts::index_call(std::uint32_t place) {
    by_key_.insert(hash_key(calls_[place].callee_name, calls_[place].line), place);
}

}  // namespace hotpath
