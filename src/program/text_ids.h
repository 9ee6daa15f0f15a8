#pragma once
// Texts that occur many times, each kept once and known by a small number. It is for the names and
// paths of debug information.

#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <unordered_map>

namespace program {

class TextIds {
public:
    // The number of the empty text.
    static constexpr std::uint32_t none = 0;

    TextIds() { id_of(""); }

    std::uint32_t id_of(std::string_view text) {
        const auto known = ids_.find(text);
        if (known != ids_.end()) return known->second;
        const auto id = static_cast<std::uint32_t>(texts_.size());
        ids_.emplace(texts_.emplace_back(text), id);
        return id;
    }

    // Lives as long as the pool.
    std::string_view text(std::uint32_t id) const { return texts_[id]; }

private:
    std::deque<std::string> texts_;
    std::unordered_map<std::string_view, std::uint32_t> ids_;
};

}  // namespace program
