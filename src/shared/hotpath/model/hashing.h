// Hashes for the tables of the model and its readers. Good spread over the low and the high bits,
// the same on every platform; no defence against an adversary's choice of keys.
#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>

namespace hotpath {

constexpr std::uint64_t mix_bits(std::uint64_t value) {
    value ^= value >> 32;
    value *= 0x9FB21C651E98DF25ULL;
    value ^= value >> 29;
    value *= 0xD6E8FEB86659FD93ULL;
    return value ^ (value >> 32);
}

constexpr std::uint64_t hash_pair(std::uint64_t a, std::uint64_t b) {
    return mix_bits(a * 0x9E3779B97F4A7C15ULL + ((b << 29) | (b >> 35)));
}

inline std::uint64_t hash_text(std::string_view text) {
    std::uint64_t hash = text.size() * 0x9E3779B97F4A7C15ULL;
    const char* p = text.data();
    std::size_t left = text.size();
    std::uint64_t word = 0;
    for (; left >= 8; left -= 8, p += 8) {
        std::memcpy(&word, p, 8);
        hash = (hash ^ word) * 0xD6E8FEB86659FD93ULL;
        hash ^= hash >> 32;
    }
    word = 0;
    if (left != 0) std::memcpy(&word, p, left);
    return mix_bits(hash ^ word);
}

}  // namespace hotpath
