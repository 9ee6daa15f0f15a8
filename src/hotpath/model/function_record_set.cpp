// A function's record stands under the joined text of its names: function name, "/", file name. The
// text is never built. A file name is folded and kept once for all its functions, and the hash of
// the joined text follows from the hashes of the two names, wherever the text is cut: functions
// "a/B" in "C" and "a" in "B/C" share one record, the first one's.
//
// Records lie in the order of their insertion, with a table over their keys; the order of the keys
// is made when somebody asks for it. A second table finds the first record of a function name. It
// is filled at the first question, as most runs have none: only an input without a file name asks.
//
// The set of a target database's proxies needs those alone that an input will look for: the others
// would cost memory for rows that nobody touches. So the proxies' set asks the inputs' set of each
// row. The answer may be yes for too many. It must not be no for one that is looked for, and it
// must be the same for all functions of one joined text, as the first of them makes the record and
// the last one gives its counts.
#include "hotpath/model/function_record_set.h"

#include <algorithm>
#include <array>

#include "diag/ascii.h"
#include "hotpath/model/function_record_factory.h"
#include "hotpath/model/function_record_proxy.h"
#include "hotpath/model/hashing.h"

namespace hotpath {
namespace {

// The first bytes of a key as numbers that compare like the bytes: most comparisons of a sort end
// there, without a look at the record.
struct SortKey {
    explicit SortKey(FunctionRecordInterface* keyed)
        : head{joined_number_at(keyed->key(), 0), joined_number_at(keyed->key(), 8)},
          record(keyed) {}

    friend bool operator<(const SortKey& a, const SortKey& b) {
        if (a.head != b.head) return a.head < b.head;
        return joined_less(a.record->key(), b.record->key());
    }

    std::array<std::uint64_t, 2> head;
    FunctionRecordInterface* record;
};

FunctionRecord* full_record(FunctionRecordInterface* found) {
    return found == nullptr ? nullptr : found->get_full_record();
}

}  // namespace

FunctionRecordSet::WantedKey::WantedKey(const FileName& file_name, std::string_view name)
    : file(&file_name),
      function_name(name),
      hash(hash_joined(hash_segments(name), file_name.hash)) {}

FunctionRecordSet::~FunctionRecordSet() {
    for (FunctionRecordInterface* record : records_by_key()) {
        record->release_edges(*factory_);
        factory_->destroy_record(
            record, record->is_proxy() ? sizeof(FunctionRecordProxy) : sizeof(FunctionRecord));
    }
}

std::vector<FunctionRecordInterface*> FunctionRecordSet::records_by_key() const {
    std::vector<SortKey> keys;
    keys.reserve(size());
    auto keyless = keyless_.begin();
    for (std::uint32_t place = 0; place < records_.size(); ++place) {
        if (keyless != keyless_.end() && *keyless == place)
            ++keyless;
        else
            keys.emplace_back(records_[place]);
    }
    std::sort(keys.begin(), keys.end());
    std::vector<FunctionRecordInterface*> sorted;
    sorted.reserve(keys.size());
    for (const SortKey& key : keys) sorted.push_back(key.record);
    return sorted;
}

const FileName& FunctionRecordSet::file_name(std::string_view written) {
    folded_.resize(written.size());
    std::transform(written.begin(), written.end(), folded_.begin(), diag::to_upper);
    return factory_->keep_file_name(folded_);
}

FunctionRecord* FunctionRecordSet::find_or_create_record(const FileName& file,
                                                         std::string_view function_name) {
    const WantedKey key(file, function_name);
    if (FunctionRecordInterface* const known = find_by_key(key)) return known->get_full_record();
    FunctionRecord* const record = factory_->create_record(factory_->make_key(file, function_name));
    insert_record(record, key, nullptr);
    return record;
}

FunctionRecordProxy* FunctionRecordSet::find_or_create_proxy(const FileName& file,
                                                             std::string_view function_name,
                                                             FunctionLoader* database,
                                                             std::uint32_t function_id) {
    return find_or_create_proxy(WantedKey(file, function_name), database, function_id);
}

FunctionRecordProxy* FunctionRecordSet::find_or_create_wanted_proxy(
    const FileName& file, std::string_view function_name, FunctionLoader* database,
    std::uint32_t function_id, const FunctionRecordSet& wanted) {
    const WantedKey key(file, function_name);
    return wanted.may_find(key) ? find_or_create_proxy(key, database, function_id) : nullptr;
}

FunctionRecord* FunctionRecordSet::find_record(const FileName& file,
                                               std::string_view function_name) {
    if (file.text.empty()) return full_record(first_of_name(function_name));
    const WantedKey key(file, function_name);
    FunctionRecordInterface* const owner = find_by_key(key);
    // Another cut of the same joined text is another function here.
    if (owner != nullptr && owner->get_function_name() == function_name) return full_record(owner);
    return full_record(find_keyless(key));
}

FunctionRecord* FunctionRecordSet::find_record(std::string_view file,
                                               std::string_view function_name) {
    if (file.empty()) return full_record(first_of_name(function_name));
    const FileName* const known = factory_->find_file_name(file);
    return known == nullptr ? nullptr : find_record(*known, function_name);
}

bool FunctionRecordSet::holds_key(const FileName& file, std::string_view function_name) const {
    return find_by_key(WantedKey(file, function_name)) != nullptr;
}

NameHeads FunctionRecordSet::name_heads() const {
    NameHeads heads;
    for (const FunctionRecordInterface* record : records_)
        heads.add_head_of(record->get_function_name());
    return heads;
}

FunctionRecordInterface* FunctionRecordSet::find_by_key(const WantedKey& key) const {
    const std::uint32_t place = by_key_.find(key.hash, [&](std::uint32_t candidate) {
        return same_joined(records_[candidate]->key(), *key.file, key.function_name);
    });
    return place == IndexTable::none ? nullptr : records_[place];
}

// The first record of both names among those that stand under no key.
FunctionRecordInterface* FunctionRecordSet::find_keyless(const WantedKey& key) const {
    for (const std::uint32_t place : keyless_)
        if (records_[place]->get_function_name() == key.function_name &&
            records_[place]->get_file_name() == key.file->text)
            return records_[place];
    return nullptr;
}

FunctionRecordInterface* FunctionRecordSet::first_of_name(std::string_view function_name) {
    const auto find = [&](std::uint64_t hash, std::string_view name) {
        return by_name_.find(hash, [&](std::uint32_t candidate) {
            return records_[candidate]->get_function_name() == name;
        });
    };
    for (; named_ < records_.size(); ++named_) {
        const std::string_view name = records_[named_]->get_function_name();
        const std::uint64_t hash = hash_text(name);
        if (find(hash, name) == IndexTable::none)
            by_name_.insert(hash, static_cast<std::uint32_t>(named_));
    }
    const std::uint32_t place = find(hash_text(function_name), function_name);
    return place == IndexTable::none ? nullptr : records_[place];
}

// A record without a file name finds functions of its name in any file. Their joined texts begin
// like its own, up to the first slash at least: that is asked for, and not more, so that a name
// full of slashes costs no search for each. The answer follows from the joined text, not from where
// it is cut: two functions of one key share a record.
bool FunctionRecordSet::may_find(const WantedKey& key) const {
    return find_by_key(key) != nullptr ||
           fileless_heads_.find(head_of(key.function_name)) != TextPool::none;
}

FunctionRecordProxy* FunctionRecordSet::find_or_create_proxy(const WantedKey& key,
                                                             FunctionLoader* database,
                                                             std::uint32_t function_id) {
    FunctionRecordInterface* const known = find_by_key(key);
    if (known != nullptr && known->is_proxy()) return known->get_proxy();
    FunctionRecordProxy* const proxy = factory_->create_proxy(
        factory_->make_key(*key.file, key.function_name), database, function_id);
    insert_record(proxy, key, known);
    return proxy;
}

// `owner` stands under the key already, or is null. A key that is taken keeps its record; the new
// one is then found by its names alone.
void FunctionRecordSet::insert_record(FunctionRecordInterface* record, const WantedKey& key,
                                      const FunctionRecordInterface* owner) {
    const auto place = static_cast<std::uint32_t>(records_.size());
    if (owner == nullptr)
        by_key_.insert(key.hash, place);
    else
        keyless_.push_back(place);
    records_.push_back(record);
    if (key.file->text.empty()) fileless_heads_.number_of(head_of(key.function_name));
}

}  // namespace hotpath
