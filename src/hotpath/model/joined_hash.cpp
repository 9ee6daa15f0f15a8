#include "hotpath/model/joined_hash.h"

#include "hotpath/model/hashing.h"

namespace hotpath {
namespace {

// The field that the polynomials are over.
constexpr std::uint64_t prime = (std::uint64_t{1} << 61) - 1;

// A number below twice the prime, below the prime.
constexpr std::uint64_t reduced(std::uint64_t number) {
    return number >= prime ? number - prime : number;
}

std::uint64_t product(std::uint64_t a, std::uint64_t b) {
    const WideProduct wide = multiply(a, b);
    return reduced((wide.low & prime) + (wide.high << 3 | wide.low >> 61));
}

std::uint64_t hash_segment(std::string_view text) {
    const std::uint64_t hash = hash_text(text);
    return reduced((hash & prime) + (hash >> 61));
}

std::uint64_t secret_place() {
    static const std::uint64_t place = hash_segment("place");
    return place;
}

}  // namespace

JoinedHash hash_segments(std::string_view text) {
    const std::uint64_t place = secret_place();
    std::size_t slash = text.find('/');
    JoinedHash hash{hash_segment(text.substr(0, slash)), place};
    while (slash != text.npos) {
        text.remove_prefix(slash + 1);
        slash = text.find('/');
        hash.value = reduced(product(hash.value, place) + hash_segment(text.substr(0, slash)));
        hash.power = product(hash.power, place);
    }
    return hash;
}

std::uint64_t hash_joined(const JoinedHash& front, const JoinedHash& back) {
    // All bits that vary stand in front, where a table looks.
    return reduced(product(front.value, back.power) + back.value) << 3;
}

}  // namespace hotpath
