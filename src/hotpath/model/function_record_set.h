// The keyed collection of records that readers fill and that the merge and the report consume. A
// function's identity in the whole tool is the pair of its file name, in upper case, and its name.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "hotpath/model/function_record.h"
#include "hotpath/model/index_table.h"
#include "hotpath/model/name_heads.h"
#include "hotpath/model/text_pool.h"

namespace hotpath {

class FunctionRecordFactory;
class FunctionRecordProxy;
class FunctionLoader;

// What a reader keeps with a set from one input to the next.
class ReaderState {
public:
    ReaderState() = default;
    ReaderState(const ReaderState&) = delete;
    ReaderState& operator=(const ReaderState&) = delete;
    virtual ~ReaderState() = default;
};

// Owns its records and releases them through the factory, which must outlive it. It only grows.
class FunctionRecordSet {
public:
    explicit FunctionRecordSet(FunctionRecordFactory& factory) : factory_(&factory) {}
    FunctionRecordSet(const FunctionRecordSet&) = delete;
    FunctionRecordSet& operator=(const FunctionRecordSet&) = delete;
    ~FunctionRecordSet();

    FunctionRecordFactory& factory() const { return *factory_; }

    // Sampling runs that the set stands for: one for each edge file, the stored number of each
    // database. Wraps at 2 to the 32nd.
    std::uint32_t num_runs() const { return num_runs_; }
    void add_runs(std::uint32_t count) { num_runs_ += count; }

    // A number for the next input, from 1 on; see `EdgeRecord::first_sighting_in`.
    std::uint32_t next_input() { return ++inputs_; }

    // What a reader keeps; the set owns it. Null until it was given.
    ReaderState* reader_state() const { return owned_helper_.get(); }
    void own_reader_state(std::unique_ptr<ReaderState> state) { owned_helper_ = std::move(state); }

    bool is_empty() const { return records_.empty(); }
    std::size_t size() const { return records_.size() - keyless_.size(); }

    // All records by the bytes of function name, "/", file name.
    std::vector<FunctionRecordInterface*> records_by_key() const;

    // A file name as the set's records have it: folded to upper case. It lives as long as the
    // factory. Callers with many functions of one file ask for it once.
    const FileName& file_name(std::string_view written);

    // The full record of the function, made at its first sighting; a proxy is loaded. Never null.
    // The file name as text is folded to upper case, here and below.
    FunctionRecord* find_or_create_record(const FileName& file, std::string_view function_name);
    FunctionRecord* find_or_create_record(std::string_view file, std::string_view function_name) {
        return find_or_create_record(file_name(file), function_name);
    }

    // The proxy of the function, made at its first sighting with this database and id; an existing
    // one keeps its id. Never null.
    FunctionRecordProxy* find_or_create_proxy(const FileName& file, std::string_view function_name,
                                              FunctionLoader* database, std::uint32_t function_id);
    FunctionRecordProxy* find_or_create_proxy(std::string_view file, std::string_view function_name,
                                              FunctionLoader* database, std::uint32_t function_id) {
        return find_or_create_proxy(file_name(file), function_name, database, function_id);
    }

    // The same for a function that a record of `wanted` finds here by `find_record`, or may find;
    // null for any other, of which the set then knows nothing. Both sets have one factory.
    FunctionRecordProxy* find_or_create_wanted_proxy(const FileName& file,
                                                     std::string_view function_name,
                                                     FunctionLoader* database,
                                                     std::uint32_t function_id,
                                                     const FunctionRecordSet& wanted);
    FunctionRecordProxy* find_or_create_wanted_proxy(std::string_view file,
                                                     std::string_view function_name,
                                                     FunctionLoader* database,
                                                     std::uint32_t function_id,
                                                     const FunctionRecordSet& wanted) {
        return find_or_create_wanted_proxy(file_name(file), function_name, database, function_id,
                                           wanted);
    }

    // The full record of the function, loaded if need be; null without one. The file name is
    // compared as it stands. With an empty one, the record of that function name that came first,
    // whatever its file.
    FunctionRecord* find_record(const FileName& file, std::string_view function_name);
    FunctionRecord* find_record(std::string_view file, std::string_view function_name);

    // The heads of all records' function names. A function with another head is found by none of
    // these records, and finds none.
    NameHeads name_heads() const;

    // True if a record stands under the joined text of these names, whatever its own two names are.
    bool holds_key(const FileName& file, std::string_view function_name) const;
    bool holds_key(std::string_view file, std::string_view function_name) {
        return holds_key(file_name(file), function_name);
    }

private:
    // What a record is looked for by.
    struct WantedKey {
        WantedKey(const FileName& file_name, std::string_view name);

        const FileName* file;
        std::string_view function_name;
        std::uint64_t hash;  // of the joined text
    };

    FunctionRecordInterface* find_by_key(const WantedKey& key) const;
    FunctionRecordInterface* find_keyless(const WantedKey& key) const;
    FunctionRecordInterface* first_of_name(std::string_view function_name);
    bool may_find(const WantedKey& key) const;
    FunctionRecordProxy* find_or_create_proxy(const WantedKey& key, FunctionLoader* database,
                                              std::uint32_t function_id);
    void insert_record(FunctionRecordInterface* record, const WantedKey& key,
                       const FunctionRecordInterface* owner);

    FunctionRecordFactory* factory_;
    std::uint32_t num_runs_ = 0;
    std::uint32_t inputs_ = 0;
    std::vector<FunctionRecordInterface*> records_;  // in the order of insertion
    std::vector<std::uint32_t> keyless_;  // places of those whose key was taken, in that order
    IndexTable by_key_;                   // over `records_`, all but these
    IndexTable by_name_;                  // over `records_`, the first of each function name
    std::size_t named_ = 0;  // records that `by_name_` has seen: it follows when it is asked
    TextPool
        fileless_heads_;  // of the function names of records without a file name; see `may_find`
    std::string folded_;  // for `file_name`
    std::unique_ptr<ReaderState> owned_helper_;
};

}  // namespace hotpath
