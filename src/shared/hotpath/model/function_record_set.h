// The keyed collection of records that readers fill and that the merge and the report consume. A
// function's identity in the whole tool is the pair of its file name, in upper case, and its name.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "shared/hotpath/model/function_record.h"
#include "shared/hotpath/model/index_table.h"

namespace hotpath {

class SampleDB;

// What a reader keeps with a set from one input to the next.
class FunctionRecordSetHelper {
public:
    FunctionRecordSetHelper() = default;
    FunctionRecordSetHelper(const FunctionRecordSetHelper&) = delete;
    FunctionRecordSetHelper& operator=(const FunctionRecordSetHelper&) = delete;
    virtual ~FunctionRecordSetHelper() = default;
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

    // The helper of the set, which owns it; null until one was given.
    FunctionRecordSetHelper* helper() const { return owned_helper_.get(); }
    void own_helper(std::unique_ptr<FunctionRecordSetHelper> helper) {
        owned_helper_ = std::move(helper);
    }

    bool is_empty() const { return records_.empty(); }
    std::size_t size() const { return records_.size(); }

    // All records by the bytes of function name, "/", file name.
    std::vector<FunctionRecordInterface*> records_by_key() const;

    // The full record of the function, made at its first sighting; a proxy is loaded. The file name
    // is folded to upper case. Never null.
    FunctionRecord* find_or_create_record(std::string_view file_name,
                                          std::string_view function_name);

    // The proxy of the function, made at its first sighting with this database and id; an existing
    // one keeps its id. The file name is folded to upper case. Never null.
    FunctionRecordProxy* find_or_create_proxy(std::string_view file_name,
                                              std::string_view function_name, SampleDB* database,
                                              std::uint32_t function_id);

    // The same for a function that a record of `wanted` finds here by `find_record`, or may find;
    // null for any other, of which the set then knows nothing.
    FunctionRecordProxy* find_or_create_wanted_proxy(std::string_view file_name,
                                                     std::string_view function_name,
                                                     SampleDB* database, std::uint32_t function_id,
                                                     const FunctionRecordSet& wanted);

    // The full record of the function, loaded if need be; null without one. `file_name` must be in
    // upper case. With an empty one, the record of that function name that came first, whatever its
    // file.
    FunctionRecord* find_record(std::string_view file_name, std::string_view function_name);

    // True if a record stands under the joined text of these names, whatever its own two names are.
    // The file name is folded to upper case.
    bool holds_key(std::string_view file_name, std::string_view function_name);

private:
    void make_key(std::string_view file_name, std::string_view function_name);
    FunctionRecordInterface* find_by_key() const { return find_key(key_, key_hash_); }
    FunctionRecordInterface* find_key(std::string_view key, std::uint64_t hash) const;
    bool may_find(std::string_view key, std::uint64_t hash) const;
    FunctionRecordProxy* find_or_create_keyed_proxy(std::string_view function_name,
                                                    SampleDB* database, std::uint32_t function_id);
    FunctionRecordInterface* first_of_name(std::string_view function_name);
    void insert_record(FunctionRecordInterface* record);

    FunctionRecordFactory* factory_;
    std::uint32_t num_runs_ = 0;
    std::uint32_t inputs_ = 0;
    std::vector<FunctionRecordInterface*> records_;  // in the order of insertion
    IndexTable by_key_;                              // over `records_`, all
    IndexTable by_name_;         // over `records_`, the first of each function name
    std::size_t named_ = 0;      // records that `by_name_` has seen: it follows when it is asked
    bool has_fileless_ = false;  // a record has no file name
    std::string key_;            // the key looked for: function name, "/", folded file name
    std::string_view key_file_;  // the folded file name in it
    std::uint64_t key_hash_ = 0;
    std::unique_ptr<FunctionRecordSetHelper> owned_helper_;
};

}  // namespace hotpath
