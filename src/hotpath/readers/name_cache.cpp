#include "hotpath/readers/name_cache.h"

#include <memory>

#include "hotpath/model/function_record_factory.h"
#include "hotpath/model/hashing.h"

namespace hotpath {

NameCache& NameCache::of(FunctionRecordSet& set) {
    if (set.reader_state() == nullptr) set.own_reader_state(std::make_unique<NameCache>(set));
    return static_cast<NameCache&>(*set.reader_state());
}

std::uint64_t NameCache::hash(std::string_view file, std::string_view raw_name) {
    return hash_pair(hash_text(raw_name), hash_text(file));
}

std::uint32_t NameCache::find(std::uint64_t hash, std::string_view file,
                              std::string_view raw_name) {
    const std::uint32_t known = by_raw_.find(hash, [&](std::uint32_t place) {
        return names_[place].raw == raw_name && names_[place].file == file;
    });
    return known != IndexTable::none ? known : add(hash, file, raw_name);
}

void NameCache::prefetch_place(std::uint64_t hash) const {
    const std::uint32_t place = by_raw_.likely_place(hash);
    if (place != IndexTable::none) prefetch(&names_[place]);
}

void NameCache::prefetch_texts(std::uint64_t hash) const {
    const std::uint32_t place = by_raw_.likely_place(hash);
    if (place == IndexTable::none) return;
    const CachedName& name = names_[place];
    prefetch(name.raw.data());
    if (name.raw.size() > 32) prefetch(name.raw.data() + name.raw.size() - 1);
    prefetch(name.record);
}

std::uint32_t NameCache::add(std::uint64_t hash, std::string_view file, std::string_view raw_name) {
    raw_.assign(raw_name);
    const std::string_view rewritten = normaliser_.normalise(raw_.c_str());
    const std::uint32_t file_number = files_.number_of(file);
    if (file_number == file_names_.size()) file_names_.push_back(&set_->file_name(file));
    FunctionRecord* const record =
        set_->find_or_create_record(*file_names_[file_number], rewritten);
    // The record has the same name but where another cut of the same joined text made it.
    const std::string_view name = record->get_function_name() == rewritten
                                      ? record->get_function_name()
                                      : set_->factory().keep_text(rewritten);
    std::string_view raw = name;
    if (raw != raw_name) {
        char* const copy = raw_texts_.allocate_text(raw_name.size());
        raw = {copy, raw_name.copy(copy, raw_name.size())};
    }
    const std::string_view kept_file = files_[file_number];
    const auto place = static_cast<std::uint32_t>(names_.size());
    names_.push_back({raw, kept_file, record, name, totals_.number_of(kept_file, name, record)});
    by_raw_.insert(hash, place);
    return place;
}

}  // namespace hotpath
