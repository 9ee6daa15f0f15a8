#include "edgescope/name_index.h"

namespace edgescope {

NameIndex::NameIndex(const Profile& profile) {
    numbers_.reserve(profile.functions.size());
    for (const Function& function : profile.functions)
        function_names_.push_back(number(function.name));
    for (const Function& function : profile.functions) {
        first_calls_.push_back(call_names_.size());
        const Call* last = nullptr;
        for (const Call& call : function.calls) {
            // Calls of one callee follow each other.
            const bool is_known = last != nullptr && last->callee == call.callee;
            call_names_.push_back(is_known ? call_names_.back() : number(call.callee));
            last = &call;
        }
    }
    first_calls_.push_back(call_names_.size());
    list_functions();
}

std::uint32_t NameIndex::number(const std::string& text) {
    const auto [place, is_new] =
        numbers_.try_emplace(text, static_cast<std::uint32_t>(texts_.size()));
    if (is_new) texts_.push_back(&text);
    return place->second;
}

void NameIndex::list_functions() {
    first_functions_.resize(texts_.size() + 1);
    for (const std::uint32_t name : function_names_) ++first_functions_[name + 1];
    for (std::size_t name = 0; name < texts_.size(); ++name)
        first_functions_[name + 1] += first_functions_[name];
    functions_.resize(function_names_.size());
    std::vector<std::size_t> next(first_functions_.begin(), first_functions_.end() - 1);
    for (std::size_t i = 0; i < function_names_.size(); ++i)
        functions_[next[function_names_[i]]++] = static_cast<std::uint32_t>(i);
}

}  // namespace edgescope
