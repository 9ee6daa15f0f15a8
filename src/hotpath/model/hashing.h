// Hashes for the tables of the model and its readers. They follow from a secret that is another in
// each run, so that no file can be made whose names or addresses collide; nothing that is written
// may depend on them.
#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>

namespace hotpath {

struct HashSecret {
    std::uint64_t first;
    std::uint64_t second;
};

// A secret that nobody who makes a file can foretell.
HashSecret new_secret();

// The secret of this run, made at its first use, which may be in front of `main`.
inline const HashSecret& run_secret() {
    static const HashSecret secret = new_secret();
    return secret;
}

struct WideProduct {
    std::uint64_t low;
    std::uint64_t high;
};

// All 128 bits of a product, from four products of halves.
constexpr WideProduct multiply_halves(std::uint64_t a, std::uint64_t b) {
    constexpr std::uint64_t half = 0xFFFFFFFF;
    const std::uint64_t low = (a & half) * (b & half);
    const std::uint64_t middle = (a >> 32) * (b & half) + (low >> 32);
    const std::uint64_t other_middle = (a & half) * (b >> 32) + (middle & half);
    return {other_middle << 32 | (low & half),
            (a >> 32) * (b >> 32) + (middle >> 32) + (other_middle >> 32)};
}

constexpr WideProduct multiply(std::uint64_t a, std::uint64_t b) {
#if defined(__SIZEOF_INT128__)
    __extension__ using Wide = unsigned __int128;
    const Wide product = static_cast<Wide>(a) * b;
    return {static_cast<std::uint64_t>(product), static_cast<std::uint64_t>(product >> 64)};
#else
    return multiply_halves(a, b);
#endif
}

// Both halves of a product in one number.
constexpr std::uint64_t folded_product(std::uint64_t a, std::uint64_t b) {
    const WideProduct product = multiply(a, b);
    return product.low ^ product.high;
}

// The hash of two numbers in their order.
inline std::uint64_t hash_pair(std::uint64_t a, std::uint64_t b,
                               const HashSecret& secret = run_secret()) {
    const WideProduct product = multiply(a ^ secret.first, b ^ secret.second);
    return folded_product(product.low ^ secret.first, product.high ^ secret.second);
}

inline std::uint64_t hash_number(std::uint64_t number) { return hash_pair(number, 0); }

inline std::uint64_t hash_text(std::string_view text, const HashSecret& secret = run_secret()) {
    std::uint64_t hash = text.size();
    const char* p = text.data();
    std::size_t left = text.size();
    std::uint64_t word = 0;
    for (; left >= 8; left -= 8, p += 8) {
        std::memcpy(&word, p, 8);
        hash = folded_product(hash ^ word ^ secret.first, secret.second);
    }
    word = 0;
    if (left != 0) std::memcpy(&word, p, left);
    return hash_pair(hash, word, secret);
}

}  // namespace hotpath
