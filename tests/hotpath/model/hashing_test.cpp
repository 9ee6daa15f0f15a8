#include "hotpath/model/hashing.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "support/random_text.h"

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
        alone.insert(hash_number(address) >> 32);
        in_pairs.insert(hash_pair(address, address + 16) >> 32);
    }
    EXPECT_GT(alone.size(), 9990U);
    EXPECT_GT(in_pairs.size(), 9990U);
}

// --- Keys made to collide

constexpr HashSecret one_secret{0x0123456789ABCDEF, 0xFEDCBA9876543210};
constexpr HashSecret other_secret{0x13198A2E03707344, 0xA4093822299F31D0};

// A table of this many slots would have the keys of one slot stand in a row.
std::size_t slot(std::uint64_t hash) { return hash >> 32 & 0xFF; }

// Over how many slots the keys spread under the other secret that share one under the first: of
// 20,000 keys made from numbers those are some 78.
template <class MakeKey, class Hash>
std::size_t slots_under_other_secret(MakeKey make_key, Hash hash) {
    std::set<std::size_t> slots;
    for (std::uint64_t n = 0; n < 20000; ++n)
        if (const auto key = make_key(n); slot(hash(key, one_secret)) == 0)
            slots.insert(slot(hash(key, other_secret)));
    return slots.size();
}

TEST(Hashing, pairs_that_collide_under_one_secret_do_not_under_another) {
    const auto make_pair = [](std::uint64_t n) {
        return std::pair(0x400000 + n * 4, 0x400010 + n * 8);
    };
    const auto hash = [](const auto& pair, const HashSecret& secret) {
        return hash_pair(pair.first, pair.second, secret);
    };
    EXPECT_GT(slots_under_other_secret(make_pair, hash), 50U);
}

TEST(Hashing, texts_that_collide_under_one_secret_do_not_under_another) {
    const auto make_text = [](std::uint64_t n) {
        return "a_name_with_a_number" + std::to_string(n);
    };
    const auto hash = [](const std::string& text, const HashSecret& secret) {
        return hash_text(text, secret);
    };
    EXPECT_GT(slots_under_other_secret(make_text, hash), 50U);
}

// Two runs differ at least in their time.
TEST(Hashing, each_secret_is_another_and_a_run_keeps_its_own) {
    const HashSecret secret = new_secret();
    EXPECT_NE(secret.first, run_secret().first);
    EXPECT_NE(secret.second, run_secret().second);
    EXPECT_NE(secret.first, secret.second);
    EXPECT_EQ(&run_secret(), &run_secret());
    EXPECT_EQ(hash_pair(1, 2), hash_pair(1, 2, run_secret()));
    EXPECT_EQ(hash_text("a name"), hash_text("a name", run_secret()));
}

// --- The product that they are made of

TEST(Hashing, the_product_has_its_high_half) {
    constexpr std::uint64_t all = 0xFFFFFFFFFFFFFFFF;
    EXPECT_EQ(multiply(all, all).low, 1U);
    EXPECT_EQ(multiply(all, all).high, all - 1);
    EXPECT_EQ(multiply(std::uint64_t{1} << 63, 6).high, 3U);
    EXPECT_EQ(multiply(std::uint64_t{1} << 63, 6).low, 0U);
}

TEST(Hashing, the_product_of_halves_is_the_product) {
    test_support::RandomText random(8);
    for (int i = 0; i < 100000; ++i) {
        const std::uint64_t a = random.bits();
        const std::uint64_t b = random.bits();
        ASSERT_EQ(multiply_halves(a, b).low, multiply(a, b).low) << a << " * " << b;
        ASSERT_EQ(multiply_halves(a, b).high, multiply(a, b).high) << a << " * " << b;
    }
}

}  // namespace
}  // namespace hotpath
