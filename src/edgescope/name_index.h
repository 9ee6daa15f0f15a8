// The names of a profile's functions and callees, numbered, so that what is known of a name is
// found without a search. A call says no more than its callee's name.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "edgescope/profile.h"

namespace edgescope {

// Borrows from the profile, which must stay. Names have numbers from 0 to `size`, functions those
// of their places in the profile.
class NameIndex {
public:
    static constexpr std::uint32_t nobody = 0xFFFFFFFF;

    explicit NameIndex(const Profile& profile);

    std::size_t size() const { return texts_.size(); }
    const std::string& text(std::uint32_t name) const { return *texts_[name]; }

    // The name of a function, and those of the callees of its calls, in the order of the calls.
    std::uint32_t of_function(std::size_t function) const { return function_names_[function]; }
    std::span<const std::uint32_t> of_calls(std::size_t function) const {
        return std::span(call_names_)
            .subspan(first_calls_[function], first_calls_[function + 1] - first_calls_[function]);
    }

    // The functions of a name, in the profile's order.
    std::span<const std::uint32_t> functions(std::uint32_t name) const {
        return std::span(functions_)
            .subspan(first_functions_[name], first_functions_[name + 1] - first_functions_[name]);
    }

    // The function that a call by this name leads to; `nobody` if none or several have that name.
    std::uint32_t only_function(std::uint32_t name) const {
        return functions(name).size() == 1 ? functions(name).front() : nobody;
    }

private:
    std::uint32_t number(const std::string& text);
    void list_functions();

    std::unordered_map<std::string_view, std::uint32_t> numbers_;
    std::vector<const std::string*> texts_;
    std::vector<std::uint32_t> function_names_;
    std::vector<std::uint32_t> call_names_;  // of all functions, one after the other
    std::vector<std::size_t> first_calls_;
    std::vector<std::uint32_t> functions_;  // of all names, one after the other
    std::vector<std::size_t> first_functions_;
};

}  // namespace edgescope
