// Stands for one function row of a database, so that an update reads the edges and calls of the
// functions that it touches and of no others.
#pragma once

#include <cstdint>

#include "hotpath/model/function_record.h"

namespace hotpath {

class FunctionLoader;

// Holds the row's own columns, and the full record once somebody asked for it. It belongs to the
// set that it was made for; factory and database must outlive it.
// The loaded record lives as long as the factory: only its edges are released.
class FunctionRecordProxy final : public FunctionRecordInterface {
public:
    // The full record will be made by `factory`.
    FunctionRecordProxy(const FunctionKey& key, FunctionLoader* database,
                        FunctionRecordFactory& factory, std::uint32_t function_id)
        : FunctionRecordInterface(key),
          database_(database),
          factory_(&factory),
          function_id_(function_id) {}

    void release_edges(FunctionRecordFactory& factory) override;

    // The row's count, also after the loaded record was merged with more.
    std::uint64_t get_exec_count() const override { return exec_count_; }
    void dump() const override;
    bool is_proxy() const override { return true; }

    // The record with the row's edges and calls, read from the database at the first call only.
    FunctionRecord* get_full_record() override;
    FunctionRecordProxy* get_proxy() override { return this; }

    // Assign the row's count and its flags in their database form.
    void set_exec_count(std::uint64_t count) { exec_count_ = count; }
    void set_flags(std::uint64_t flags) { flags_ = flags; }

    // The row's id.
    std::uint32_t function_id() const { return function_id_; }

private:
    FunctionLoader* database_;
    FunctionRecordFactory* factory_;
    std::uint64_t exec_count_ = 0;
    std::uint64_t flags_ = 0;
    FunctionRecord* record_ = nullptr;
    std::uint32_t function_id_;
};

}  // namespace hotpath
