// The sampled control-flow edges of one function: found by their address pair, summed, walked by
// source line. Which function they belong to, and how they are stored or printed, is for others.
#pragma once

#include <cstdint>
#include <limits>
#include <vector>

#include "hotpath/model/index_table.h"
#include "hotpath/model/source_position.h"

namespace hotpath {

class FunctionRecordFactory;

// One sampled transfer of control inside one function. Made by the factory, owned by the
// `EdgeExecCounts` that asked for it. Its addresses and positions never change.
class EdgeRecord {
public:
    static constexpr std::uint32_t unclaimed = 0xFFFFFFFF;

    EdgeRecord(std::uint32_t edge_index, std::uint64_t from_address, const SourcePosition& from,
               std::uint64_t to_address, const SourcePosition& to, std::uint64_t exec_count)
        : from_address_(from_address),
          to_address_(to_address),
          exec_count_(exec_count),
          from_position_(from),
          to_position_(to),
          edge_index_(edge_index) {}

    std::uint32_t edge_index() const { return edge_index_; }  // edges that were there before it
    std::uint64_t from_address() const { return from_address_; }
    std::uint64_t to_address() const { return to_address_; }
    SourcePosition from_position() const { return from_position_; }
    SourcePosition to_position() const { return to_position_; }

    // Times the edge was taken. Sums wrap at 2 to the 64th.
    std::uint64_t exec_count() const { return exec_count_; }
    void add_count(std::uint64_t count) { exec_count_ += count; }

    // Nothing in the tool claims an edge; the fields serve the debug print.
    bool is_claimed() const { return claimed_by_ < unclaimed; }
    std::uint32_t claimed_by() const { return claimed_by_; }
    std::uint32_t num_candidates() const { return num_candidates_; }

    // The edge enters, or leaves, the function. Setting overwrites, with the argument's lowest bit.
    bool is_entry() const { return is_entry_ != 0; }
    bool is_exit() const { return is_exit_ != 0; }
    void set_entry(std::uint32_t bit) { is_entry_ = bit & 1; }
    void set_exit(std::uint32_t bit) { is_exit_ = bit & 1; }

    // Both bits as a database stores them: bit 0 entry, bit 1 exit.
    std::uint32_t edge_flags() const { return (is_entry() ? 1U : 0U) | (is_exit() ? 2U : 0U); }

    // True at the first call for this input number (from 1 on, below 2 to the 30th) since the last
    // call for another one: lets a reader list each edge of its file once.
    bool first_sighting_in(std::uint32_t input) {
        if (last_input_ == input) return false;
        last_input_ = input & 0x3FFFFFFF;
        return true;
    }

private:
    std::uint64_t from_address_;
    std::uint64_t to_address_;
    std::uint64_t exec_count_;
    SourcePosition from_position_;
    SourcePosition to_position_;
    std::uint32_t edge_index_;
    std::uint32_t claimed_by_ = unclaimed;
    std::uint32_t num_candidates_ = 0;
    std::uint32_t is_entry_ : 1 = 0;
    std::uint32_t is_exit_ : 1 = 0;
    std::uint32_t last_input_ : 30 = 0;
};

static_assert(sizeof(EdgeRecord) == 64, "one cache line for each edge");

// All edges of one function, no two with the same address pair. It owns its edges until
// `release_edges` gives them back to the factory.
class EdgeExecCounts {
public:
    std::uint32_t size() const { return static_cast<std::uint32_t>(edges_.size()); }

    // The edge with this address pair; null without one.
    EdgeRecord* find_edge(std::uint64_t from_address, std::uint64_t to_address) const;

    // Adds `count` to the edge of this address pair, which is made at its first sighting. An edge
    // whose stored positions differ from the given ones keeps them, and the count is dropped. The
    // edge is returned in any case; never null.
    EdgeRecord* add_edge(std::uint64_t from_address, const SourcePosition& from_position,
                         std::uint64_t to_address, const SourcePosition& to_position,
                         std::uint64_t count, FunctionRecordFactory& factory);

    // The steps of the search for an edge, brought into the cache one after the other; each step
    // expects the one before to have arrived.
    void prefetch_slot(std::uint64_t from_address, std::uint64_t to_address) const;
    void prefetch_place(std::uint64_t from_address, std::uint64_t to_address) const;
    void prefetch_edge(std::uint64_t from_address, std::uint64_t to_address) const;

    // Adds every edge of `other`, by line. Entry and exit bits don't travel.
    void merge_from(const EdgeExecCounts& other, FunctionRecordFactory& factory);

    // Replaces the vector's content by all edges, by the line they leave, equal lines in the order
    // of creation. The edges stay owned by the collection.
    void copy_edges(std::vector<EdgeRecord*>& edges) const;

    // Gives every edge back, by line. The collection is empty then; a second call does nothing.
    void release_edges(FunctionRecordFactory& factory);

    // The debug print, on the standard error stream.
    void dump_edges() const;

private:
    EdgeRecord* create_edge(std::uint64_t from_address, const SourcePosition& from_position,
                            std::uint64_t to_address, const SourcePosition& to_position,
                            std::uint64_t count, FunctionRecordFactory& factory);

    std::vector<EdgeRecord*> edges_;           // in the order of creation
    ShortArrayIndex<HeapSlots> by_addresses_;  // over `edges_`
};

}  // namespace hotpath
