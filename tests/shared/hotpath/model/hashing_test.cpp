#include "shared/hotpath/model/hashing.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

namespace hotpath {
namespace {

// The bytes at the very end of a block of their own, so that a sanitizer sees a read behind them.
std::uint64_t hash_of_copy(const std::string& text, std::size_t shift) {
    std::vector<char> block(shift);
    block.insert(block.end(), text.begin(), text.end());
    block.shrink_to_fit();
    return hash_text({block.data() + shift, text.size()});
}

TEST(Hashing, equal_texts_hash_equal_wherever_they_stand) {
    std::string text;
    for (char c = 'a'; c <= 'z'; ++c) {
        for (std::size_t shift = 0; shift < 8; ++shift)
            EXPECT_EQ(hash_of_copy(text, shift), hash_text(text)) << text << " " << shift;
        text += c;
    }
}

TEST(Hashing, texts_that_differ_in_their_zero_bytes_hash_apart) {
    std::set<std::uint64_t> hashes;
    for (std::size_t size = 0; size < 40; ++size) hashes.insert(hash_text(std::string(size, '\0')));
    EXPECT_EQ(hashes.size(), 40U);
}

TEST(Hashing, each_byte_of_a_text_counts) {
    const std::string text(23, 'x');
    std::set<std::uint64_t> hashes{hash_text(text)};
    for (std::size_t i = 0; i < text.size(); ++i) {
        std::string other = text;
        other[i] = 'y';
        hashes.insert(hash_text(other));
    }
    EXPECT_EQ(hashes.size(), text.size() + 1);
}

TEST(Hashing, a_pair_hashes_by_its_order) {
    EXPECT_NE(hash_pair(1, 2), hash_pair(2, 1));
    EXPECT_NE(hash_pair(0, 0), hash_pair(0, 1));
    EXPECT_NE(hash_pair(0, 0), hash_pair(1, 0));
}

// The tables look at the high halves alone.
TEST(Hashing, neighbouring_addresses_differ_in_their_high_halves) {
    std::set<std::uint64_t> alone;
    std::set<std::uint64_t> in_pairs;
    for (std::uint64_t n = 0; n < 10000; ++n) {
        const std::uint64_t address = 0x400000 + n * 4;
        alone.insert(mix_bits(address) >> 32);
        in_pairs.insert(hash_pair(address, address + 16) >> 32);
    }
    EXPECT_GT(alone.size(), 9990U);
    EXPECT_GT(in_pairs.size(), 9990U);
}

}  // namespace
}  // namespace hotpath
