// The functions of a page: each has a number, its id, by which all parts of the page name it.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "edgescope/profile.h"
#include "edgescope/view_json.h"

namespace edgescope {

// The functions of a profile by id, the hottest first, in the order of `edgescope top`. It borrows
// from the profile.
class FunctionIds {
public:
    explicit FunctionIds(const Profile& profile);

    std::size_t size() const { return by_id_.size(); }
    const Function& operator[](std::size_t id) const { return *by_id_[id]; }

    // The only function of this name; nothing if there are none or several, since a call doesn't
    // say which of them it leads to.
    std::optional<std::size_t> only_one_named(std::string_view name) const;

private:
    std::vector<const Function*> by_id_;
    std::unordered_map<std::string_view, std::optional<std::size_t>> by_name_;
};

// Callees as numbers: ids of functions, and below 0 names that no function has, or several have.
class CalleeNumbers {
public:
    explicit CalleeNumbers(const FunctionIds& ids) : ids_(&ids) {}

    std::int64_t number_of(std::string_view name);

    // Writes the names: that of -1, of -2 and so on.
    void write_names(JsonWriter& json) const;

private:
    const FunctionIds* ids_;
    std::vector<std::string_view> names_;
    std::unordered_map<std::string_view, std::int64_t> numbers_;
};

// Texts that many have in common, each with a number from 0 on.
class TextNumbers {
public:
    std::size_t number_of(std::string_view text) {
        const auto [place, is_new] = numbers_.emplace(text, texts_.size());
        if (is_new) texts_.push_back(text);
        return place->second;
    }
    const std::vector<std::string_view>& texts() const { return texts_; }

private:
    std::vector<std::string_view> texts_;
    std::unordered_map<std::string_view, std::size_t> numbers_;
};

// The name as in the source; empty where it is the name itself.
std::string other_name(const std::string& name);

// Writes the pairs of callers and callees with their counts.
void write_call_graph(const FunctionIds& ids, JsonWriter& json);

}  // namespace edgescope
