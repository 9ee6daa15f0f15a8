#include "edgescope/view_functions.h"

#include <algorithm>
#include <string>

#include "edgescope/texts.h"

namespace edgescope {

FunctionIds::FunctionIds(const Profile& profile) {
    by_id_.reserve(profile.functions.size());
    for (const Function& function : profile.functions) by_id_.push_back(&function);
    std::stable_sort(by_id_.begin(), by_id_.end(),
                     [](const Function* a, const Function* b) { return a->count > b->count; });
    for (std::size_t id = 0; id < by_id_.size(); ++id) {
        const auto [place, is_new] = by_name_.emplace(by_id_[id]->name, id);
        if (!is_new) place->second = std::nullopt;
    }
}

std::optional<std::size_t> FunctionIds::only_one_named(std::string_view name) const {
    const auto found = by_name_.find(name);
    return found == by_name_.end() ? std::nullopt : found->second;
}

std::int64_t CalleeNumbers::number_of(std::string_view name) {
    if (const auto id = ids_->only_one_named(name)) return static_cast<std::int64_t>(*id);
    const auto next = -1 - static_cast<std::int64_t>(names_.size());
    const auto [place, is_new] = numbers_.emplace(name, next);
    if (is_new) names_.push_back(name);
    return place->second;
}

void CalleeNumbers::write_names(JsonWriter& json) const {
    json.open_array();
    for (const std::string_view name : names_) json.text(name);
    json.close_array();
}

std::string other_name(const std::string& name) {
    std::string text = demangled(name);
    return text == name ? "" : text;
}

namespace {

struct CallPair {
    std::int64_t caller;
    std::int64_t callee;
    std::uint64_t count;
};

// The calls of one function, of each callee one.
void add_pairs(const Function& function, std::size_t id, CalleeNumbers& numbers,
               std::vector<CallPair>& pairs) {
    const std::size_t begin = pairs.size();
    for (const Call& call : function.calls) {  // by callee
        const std::int64_t callee = numbers.number_of(call.callee);
        if (pairs.size() > begin && pairs.back().callee == callee)
            pairs.back().count += call.count;
        else
            pairs.push_back({static_cast<std::int64_t>(id), callee, call.count});
    }
}

}  // namespace

void write_call_graph(const FunctionIds& ids, JsonWriter& json) {
    CalleeNumbers numbers(ids);
    std::vector<CallPair> pairs;
    for (std::size_t id = 0; id < ids.size(); ++id) add_pairs(ids[id], id, numbers, pairs);
    json.open_object();
    json.key("caller").open_array();
    for (const CallPair& pair : pairs) json.integer(pair.caller);
    json.close_array();
    json.key("callee").open_array();
    for (const CallPair& pair : pairs) json.integer(pair.callee);
    json.close_array();
    json.key("count").open_array();
    for (const CallPair& pair : pairs) json.count(pair.count);
    json.close_array();
    json.key("names");
    numbers.write_names(json);
    json.close_object();
}

}  // namespace edgescope
