// `edgescope top`: the hottest functions, edges or calls of a profile.
#pragma once

#include <cstddef>
#include <string>

#include "edgescope/output.h"
#include "edgescope/profile.h"

namespace edgescope {

enum class TopKind { functions, edges, calls };

struct TopOptions {
    TopKind kind = TopKind::functions;
    std::size_t limit = 20;  // rows; 0 for all
    std::string function{};  // only of this one, mangled or demangled; empty for all
    bool demangle = false;
    bool as_json = false;
};

// False, with a message, if the profile doesn't have the function that is asked for.
[[nodiscard]] bool write_top(const Profile& profile, const TopOptions& options, Output& output);

}  // namespace edgescope
