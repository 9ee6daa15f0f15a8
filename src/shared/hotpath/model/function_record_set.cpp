#include "shared/hotpath/model/function_record_set.h"

#include <algorithm>
#include <array>

#include "shared/hotpath/model/function_record_factory.h"
#include "shared/hotpath/model/hashing.h"

namespace hotpath {
namespace {

// The "C" locale's `toupper`, byte by byte.
char upper_case(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

// The first bytes of a key as numbers that compare like the bytes: most comparisons of a sort end
// there, without a look at the record.
struct SortKey {
    explicit SortKey(FunctionRecordInterface* keyed)
        : head{number_at(keyed->key().joined(), 0), number_at(keyed->key().joined(), 8)},
          record(keyed) {}

    static std::uint64_t number_at(std::string_view text, std::size_t place) {
        std::uint64_t number = 0;
        for (std::size_t i = place; i < place + 8; ++i)
            number = number << 8 | (i < text.size() ? static_cast<unsigned char>(text[i]) : 0U);
        return number;
    }

    friend bool operator<(const SortKey& a, const SortKey& b) {
        if (a.head != b.head) return a.head < b.head;
        return a.record->key().joined() < b.record->key().joined();
    }

    std::array<std::uint64_t, 2> head;
    FunctionRecordInterface* record;
};

}  // namespace

FunctionRecordSet::~FunctionRecordSet() {
    for (FunctionRecordInterface* record : records_) {
        record->release_edges(*factory_);
        factory_->destroy_record(
            record, record->is_proxy() ? sizeof(FunctionRecordProxy) : sizeof(FunctionRecord));
    }
}

std::vector<FunctionRecordInterface*> FunctionRecordSet::records_by_key() const {
    std::vector<SortKey> keys;
    keys.reserve(records_.size());
    for (FunctionRecordInterface* record : records_) keys.emplace_back(record);
    std::sort(keys.begin(), keys.end());
    std::vector<FunctionRecordInterface*> sorted;
    sorted.reserve(keys.size());
    for (const SortKey& key : keys) sorted.push_back(key.record);
    return sorted;
}

FunctionRecord* FunctionRecordSet::find_or_create_record(std::string_view file_name,
                                                         std::string_view function_name) {
    make_key(file_name, function_name);
    if (FunctionRecordInterface* const known = find_by_key()) return known->get_full_record();
    FunctionRecord* const record = factory_->create_record(key_file_, function_name);
    insert_record(record);
    return record;
}

FunctionRecordProxy* FunctionRecordSet::find_or_create_proxy(std::string_view file_name,
                                                             std::string_view function_name,
                                                             SampleDB* database,
                                                             std::uint32_t function_id) {
    make_key(file_name, function_name);
    return find_or_create_keyed_proxy(function_name, database, function_id);
}

FunctionRecordProxy* FunctionRecordSet::find_or_create_wanted_proxy(
    std::string_view file_name, std::string_view function_name, SampleDB* database,
    std::uint32_t function_id, const FunctionRecordSet& wanted) {
    make_key(file_name, function_name);
    if (!wanted.may_find(key_, key_hash_)) return nullptr;
    return find_or_create_keyed_proxy(function_name, database, function_id);
}

FunctionRecord* FunctionRecordSet::find_record(std::string_view file_name,
                                               std::string_view function_name) {
    if (file_name.empty()) {
        FunctionRecordInterface* const first = first_of_name(function_name);
        return first == nullptr ? nullptr : first->get_full_record();
    }
    key_.assign(function_name).append(1, '/').append(file_name);
    key_hash_ = hash_text(key_);
    FunctionRecordInterface* const record = find_by_key();
    // Another cut of the same joined text is another function here.
    if (record == nullptr || record->get_function_name() != function_name) return nullptr;
    return record->get_full_record();
}

bool FunctionRecordSet::holds_key(std::string_view file_name, std::string_view function_name) {
    make_key(file_name, function_name);
    return find_by_key() != nullptr;
}

void FunctionRecordSet::make_key(std::string_view file_name, std::string_view function_name) {
    key_.assign(function_name).append(1, '/').append(file_name);
    const auto file = key_.begin() + static_cast<std::ptrdiff_t>(function_name.size()) + 1;
    std::transform(file, key_.end(), file, upper_case);
    key_file_ = std::string_view(key_).substr(function_name.size() + 1);
    key_hash_ = hash_text(key_);
}

FunctionRecordInterface* FunctionRecordSet::find_key(std::string_view key,
                                                     std::uint64_t hash) const {
    const std::uint32_t place = by_key_.find(
        hash, [&](std::uint32_t candidate) { return records_[candidate]->key().joined() == key; });
    return place == IndexTable::none ? nullptr : records_[place];
}

// A record without a file name finds by its function name alone, which is all that its own key
// holds. The answer follows from the key, not from where it is cut: two functions of one key share
// a record.
bool FunctionRecordSet::may_find(std::string_view key, std::uint64_t hash) const {
    if (find_key(key, hash) != nullptr) return true;
    if (!has_fileless_) return false;
    for (std::size_t slash = key.find('/'); slash != key.npos; slash = key.find('/', slash + 1)) {
        const std::string_view fileless = key.substr(0, slash + 1);
        if (find_key(fileless, hash_text(fileless)) != nullptr) return true;
    }
    return false;
}

FunctionRecordProxy* FunctionRecordSet::find_or_create_keyed_proxy(std::string_view function_name,
                                                                   SampleDB* database,
                                                                   std::uint32_t function_id) {
    FunctionRecordInterface* const known = find_by_key();
    if (known != nullptr && known->is_proxy()) return known->get_proxy();
    FunctionRecordProxy* const proxy =
        factory_->create_proxy(key_file_, function_name, database, this, function_id);
    insert_record(proxy);
    return proxy;
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

void FunctionRecordSet::insert_record(FunctionRecordInterface* record) {
    by_key_.insert(key_hash_, static_cast<std::uint32_t>(records_.size()));
    has_fileless_ |= record->get_file_name().empty();
    records_.push_back(record);
}

}  // namespace hotpath
