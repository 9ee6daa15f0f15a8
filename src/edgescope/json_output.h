// Results as JSON, for machines: objects keep the order in which they are filled.
#pragma once

#include <nlohmann/json.hpp>

#include "edgescope/output.h"
#include "edgescope/profile.h"

namespace edgescope {

using Json = nlohmann::ordered_json;

inline Json json_position(const Position& position) {
    return {{"line", position.line},
            {"relative_line", position.relative_line},
            {"column", position.column},
            {"discriminator", position.discriminator}};
}

// Bytes of names that aren't UTF-8 become U+FFFD.
inline void append_json(const Json& json, Output& output) {
    output.append(json.dump(2, ' ', false, Json::error_handler_t::replace));
    output.append("\n");
}

}  // namespace edgescope
