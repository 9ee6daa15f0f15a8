#include "hotpath/model/text_pool.h"

#include "hotpath/model/hashing.h"

namespace hotpath {

std::uint32_t TextPool::number_of(std::string_view text) {
    const std::uint64_t hash = hash_text(text);
    const std::uint32_t known = find(text, hash);
    if (known != none) return known;
    char* const copy = storage_.allocate_text(text.size() + 1);
    text.copy(copy, text.size());
    copy[text.size()] = '\0';
    const auto number = static_cast<std::uint32_t>(texts_.size());
    texts_.emplace_back(copy, text.size());
    index_.insert(hash, number);
    return number;
}

std::uint32_t TextPool::find(std::string_view text) const { return find(text, hash_text(text)); }

std::uint32_t TextPool::find(std::string_view text, std::uint64_t hash) const {
    return index_.find(hash, [&](std::uint32_t number) { return texts_[number] == text; });
}

}  // namespace hotpath
