// What the tool knows about one function of one source file, behind an interface that full records
// and proxies share. Records are made and released by a factory and owned by a set.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "hotpath/model/call_counts.h"
#include "hotpath/model/edge_exec_counts.h"
#include "hotpath/model/function_key.h"

namespace hotpath {

class FunctionRecord;
class FunctionRecordFactory;
class FunctionRecordProxy;

// Bits of a function's flags in their database form.
enum FunctionFlagBit : std::uint64_t {
    function_uses_discriminators = 1,
    function_uses_columns = 2,
};

// Either kind of record.
class FunctionRecordInterface {
public:
    explicit FunctionRecordInterface(const FunctionKey& key) : key_(key) {}
    FunctionRecordInterface(const FunctionRecordInterface&) = delete;
    FunctionRecordInterface& operator=(const FunctionRecordInterface&) = delete;
    virtual ~FunctionRecordInterface() = default;

    // Gives the edges that are in memory back to the factory.
    virtual void release_edges(FunctionRecordFactory& factory) = 0;

    // The names, valid as long as the factory. The file name is in upper case where a set made the
    // record.
    const FunctionKey& key() const { return key_; }
    std::string_view get_file_name() const { return key_.file_name(); }
    std::string_view get_function_name() const { return key_.function_name(); }

    // Times the function was entered; wraps at 2 to the 64th.
    virtual std::uint64_t get_exec_count() const = 0;

    // The debug print, on the standard error stream.
    virtual void dump() const = 0;

    virtual bool is_proxy() const = 0;

    // The record with edges and calls; a proxy loads it at the first call.
    virtual FunctionRecord* get_full_record() = 0;

    // The proxy itself, or the proxy that loaded the record; null for any other record.
    virtual FunctionRecordProxy* get_proxy() = 0;

private:
    FunctionKey key_;
};

// A function with all its data. It only grows until its edges are released.
class FunctionRecord final : public FunctionRecordInterface {
public:
    // The calls lie in `call_storage`, which must live as long as the record.
    FunctionRecord(const FunctionKey& key, AllocatorOnHeap& call_storage)
        : FunctionRecordInterface(key), calls_(call_storage) {}

    void release_edges(FunctionRecordFactory& factory) override;
    std::uint64_t get_exec_count() const override { return exec_count_; }
    void dump() const override;
    bool is_proxy() const override { return false; }
    FunctionRecord* get_full_record() override { return this; }
    FunctionRecordProxy* get_proxy() override { return proxy_; }

    // Names the proxy that loads this record; not owned.
    void set_proxy(FunctionRecordProxy* proxy) { proxy_ = proxy; }

    // Adds to the execution count.
    void add_exec_count(std::uint64_t count);

    // Mark that positions of the function have columns, or discriminators. The marks are never
    // cleared, whatever the argument says.
    void set_uses_columns(bool /*value*/) { flags_ |= uses_columns_mask; }
    void set_uses_discriminators(bool /*value*/) { flags_ |= uses_discriminators_mask; }
    bool uses_columns() const { return (flags_ & uses_columns_mask) != 0; }
    bool uses_discriminators() const { return (flags_ & uses_discriminators_mask) != 0; }

    // True once a count that isn't 0 was added. Nothing in the tool asks for it.
    bool has_counts() const { return (flags_ & has_counts_mask) != 0; }

    // The two marks in their database form; see `FunctionFlagBit`.
    std::uint64_t function_flags() const;

    // See `EdgeExecCounts::add_edge`.
    EdgeRecord* add_edge(std::uint64_t from_address, const SourcePosition& from_position,
                         std::uint64_t to_address, const SourcePosition& to_position,
                         std::uint64_t count, FunctionRecordFactory& factory);

    // The edges by themselves, for a reader that prepares many lookups at once.
    const EdgeExecCounts& edges() const { return edges_; }

    // See `CallCounts::add_call`; the name is borrowed.
    void add_call(std::string_view callee_name, std::uint32_t line, std::uint32_t relative_line,
                  std::uint64_t count) {
        calls_.add_call(callee_name, line, relative_line, count);
    }

    std::uint32_t edge_count() const { return edges_.size(); }
    std::uint32_t call_count() const { return calls_.size(); }

    // All edges by line, all calls in their order; see `EdgeExecCounts` and `CallCounts`.
    void copy_edges(std::vector<EdgeRecord*>& edges) const { edges_.copy_edges(edges); }
    void copy_calls(std::vector<const CallRecord*>& calls) const { calls_.copy_calls(calls); }

    // Adds the counts, calls and edges of `source` to this record. Where the two disagree this
    // record's side stays: positions, relative lines, entry and exit bits, and the two marks. The
    // source's callee names are borrowed on, so its factory must live as long.
    void merge(const FunctionRecord& source, FunctionRecordFactory& factory);

private:
    // In memory the higher mask is the discriminators'; in a database they are bit 0.
    static constexpr std::uint8_t has_counts_mask = 4;
    static constexpr std::uint8_t uses_columns_mask = 8;
    static constexpr std::uint8_t uses_discriminators_mask = 16;

    FunctionRecordProxy* proxy_ = nullptr;
    std::uint64_t exec_count_ = 0;
    EdgeExecCounts edges_;
    CallCounts calls_;
    std::uint8_t flags_ = 0;
};

}  // namespace hotpath
