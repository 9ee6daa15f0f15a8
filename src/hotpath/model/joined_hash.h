// Hashes of texts that are joined with "/", which follow from the hashes of their parts: a part
// that many texts have is looked at once, and where a text was cut into its parts makes no
// difference.
#pragma once

#include <cstdint>
#include <string_view>

namespace hotpath {

// A text is a row of segments between slashes; their hashes are the coefficients of a polynomial,
// whose value at a secret place is the text's.
struct JoinedHash {
    std::uint64_t value;  // below 2 to the 61st
    std::uint64_t power;  // the secret place, to the number of segments
};

// Of a text by itself, which may have slashes.
JoinedHash hash_segments(std::string_view text);

// The hash, for a table, of `front`, "/" and `back`.
std::uint64_t hash_joined(const JoinedHash& front, const JoinedHash& back);

}  // namespace hotpath
