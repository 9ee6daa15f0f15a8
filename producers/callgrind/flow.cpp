#include "callgrind/flow.h"

#include <algorithm>
#include <deque>

#include "callgrind/shares.h"

namespace callgrind {

using edgefile::Word;
using program::Kind;

std::vector<edgefile::Transfer> Flow::transfers() {
    add_branches();
    count_blocks();
    add_fall_throughs();
    add_returns();
    std::vector<edgefile::Transfer> transfers;
    for (const auto& [key, count] : rows_) {
        const auto& [source, word, destination] = key;
        transfers.push_back({source, destination, word, count});
    }
    return transfers;
}

void Flow::add(Place source, Word word, Place destination, Count count) {
    rows_[{source, word, destination}] += count;
}

bool Flow::is_call(Place place) const {
    const auto kind = code_.kind(place);
    return kind == Kind::call || kind == Kind::indirect_call;
}

Place Flow::function_of(Place place) const {
    return code_.function_start(place).value_or(edgefile::foreign);
}

Count Flow::count_of(const std::unordered_map<Place, Count>& counts, Place place) const {
    const auto found = counts.find(place);
    return found == counts.end() ? 0 : found->second;
}

void Flow::add_branches() {
    for (const auto& [ends, count] : run_.branches()) {
        const auto& [source, destination] = ends;
        const Word word = edgefile::word_of(code_, source, destination);
        if (word == Word::fall_through) continue;
        add(source, word, destination, count);
        taken_[source] += count;
        if (!is_call(source)) arrived_[destination] += count;
    }
}

// The least count of a block's instructions holds: a call counts the instructions of a linkage stub
// too.
void Flow::count_blocks() {
    for (const Place first : run_.places()) {
        if (code_.block_start(first) != first) continue;
        const Place last = code_.block_end(first);
        Count count = run_.executed(first);
        for (Place place = first; place != last;) {
            place = *code_.next_instruction(place);
            count = std::min(count, run_.executed(place));
        }
        if (is_call(last)) count = std::min(count, count_of(taken_, last));
        blocks_.emplace_back(last, count);
        block_counts_[last] = count;
    }
}

void Flow::add_fall_throughs() {
    for (const auto& [end, executed] : blocks_) {
        const auto following = code_.following(end);
        const Kind kind = *code_.kind(end);
        if (!following || !program::goes_on(kind)) continue;
        Count count = executed;
        if (kind == Kind::conditional_jump) {
            count -= std::min(count, count_of(taken_, end));
        } else if (is_call(end)) {
            // What didn't come by a jump came back from the call.
            const Count next = count_of(block_counts_, code_.block_end(*following));
            count = std::min(count, next - std::min(next, count_of(arrived_, *following)));
        }
        if (count > 0) add(end, Word::fall_through, *following, count);
    }
}

// Each call that came back did so by a return of the function called, or of one that this left for.
void Flow::add_returns() {
    collect_exits();
    const std::vector<Return> calls = calls_that_came_back();
    std::deque<Return> waiting(calls.begin(), calls.end());
    while (!waiting.empty()) {
        const Return call = waiting.front();
        waiting.pop_front();
        const auto exits = exits_.find(call.function);
        if (exits == exits_.end()) continue;
        std::vector<Count> supplies;
        for (const Exit& exit : exits->second) supplies.push_back(exit.count);
        const std::vector<Count> shares = shares_of(call.count, supplies);
        for (std::size_t i = 0; i < shares.size(); ++i) {
            Exit& exit = exits->second[i];
            exit.count -= shares[i];
            if (shares[i] == 0) continue;
            if (exit.is_return)
                add(exit.place, Word::ret, call.back, shares[i]);
            else
                waiting.push_back({exit.place, call.back, shares[i]});
        }
    }
}

void Flow::collect_exits() {
    for (const auto& [end, count] : blocks_)
        if (count > 0 && code_.kind(end) == Kind::return_ && code_.function_start(end))
            add_exit(function_of(end), true, end, count);
    for (const auto& [ends, count] : run_.branches()) {
        const auto& [source, destination] = ends;
        const Word word = edgefile::word_of(code_, source, destination);
        const bool leaves = word == Word::jump || word == Word::ind_jump;
        if (leaves && code_.function_start(source) &&
            !code_.is_in_one_function(source, destination))
            add_exit(function_of(source), false, function_of(destination), count);
    }
}

void Flow::add_exit(Place function, bool is_return, Place place, Count count) {
    std::vector<Exit>& exits = exits_[function];
    const auto known = std::find_if(exits.begin(), exits.end(), [&](const Exit& exit) {
        return exit.is_return == is_return && exit.place == place;
    });
    if (known == exits.end())
        exits.push_back({is_return, place, count});
    else
        known->count += count;
}

// In order of the calls' sites.
std::vector<Flow::Return> Flow::calls_that_came_back() const {
    std::vector<Return> returns;
    std::vector<std::pair<Place, Count>> callees;
    const auto& branches = run_.branches();
    for (auto branch = branches.begin(); branch != branches.end();) {
        const Place site = branch->first.first;
        callees.clear();
        for (; branch != branches.end() && branch->first.first == site; ++branch) {
            if (!edgefile::is_foreign(site) && !is_call(site)) continue;
            const Place callee = function_of(branch->first.second);
            const auto known = std::find_if(callees.begin(), callees.end(), [&](const auto& entry) {
                return entry.first == callee;
            });
            if (known == callees.end())
                callees.emplace_back(callee, branch->second);
            else
                known->second += branch->second;
        }
        if (!callees.empty()) add_returns_of_site(site, callees, returns);
    }
    return returns;
}

void Flow::add_returns_of_site(Place site, std::vector<std::pair<Place, Count>> callees,
                               std::vector<Return>& returns) const {
    std::vector<Count> counts;
    Count came = 0;
    for (const auto& [callee, count] : callees) {
        counts.push_back(count);
        came += count;
    }
    Place back = site;
    if (!edgefile::is_foreign(site)) {
        const auto following = code_.following(site);
        if (!following) return;
        back = *following;
        const auto row = rows_.find({site, Word::fall_through, back});
        came = row == rows_.end() ? 0 : row->second;
    }
    const std::vector<Count> shares = shares_of(came, counts);
    for (std::size_t i = 0; i < shares.size(); ++i)
        if (shares[i] > 0 && callees[i].first != edgefile::foreign)
            returns.push_back({callees[i].first, back, shares[i]});
}

}  // namespace callgrind
