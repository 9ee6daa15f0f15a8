#include "hotpath/model/edge_exec_counts.h"

#include <algorithm>
#include <cinttypes>

#include "diag/trace.h"
#include "hotpath/model/function_record_factory.h"
#include "hotpath/model/hashing.h"

namespace hotpath {
namespace {

bool has_addresses(const EdgeRecord& edge, std::uint64_t from_address, std::uint64_t to_address) {
    return edge.from_address() == from_address && edge.to_address() == to_address;
}

void trace_mismatch(std::uint64_t from_address, const SourcePosition& from_position,
                    std::uint64_t to_address, const SourcePosition& to_position) {
    PositionText from;
    PositionText to;
    format_full(from_position, from);
    format_full(to_position, to);
    diag::trace_print("Mismatched addr/line information for input data: 0x%" PRIx64
                      "(%s) -> 0x%" PRIx64 "(%s)\n",
                      from_address, from.data(), to_address, to.data());
}

void dump_edge(const EdgeRecord& edge) {
    PositionText from;
    PositionText to;
    format_full(edge.from_position(), from);
    format_full(edge.to_position(), to);
    diag::trace_print("%s (0x%" PRIx64 ") -> %s (0x%" PRIx64 "):%s%s ec=%" PRIu64 ". num cand=%u.",
                      from.data(), edge.from_address(), to.data(), edge.to_address(),
                      edge.is_entry() ? " ENTRY" : "", edge.is_exit() ? " EXIT" : "",
                      edge.exec_count(), edge.num_candidates());
    if (edge.is_claimed()) diag::trace_print(" claimed_by = %u", edge.claimed_by());
    diag::trace_print("\n");
}

}  // namespace

EdgeRecord* EdgeExecCounts::find_edge(std::uint64_t from_address, std::uint64_t to_address) const {
    const std::uint32_t place = by_addresses_.find(
        edges_.size(), [=] { return hash_pair(from_address, to_address); },
        [&](std::uint32_t candidate) {
            return has_addresses(*edges_[candidate], from_address, to_address);
        });
    return place == by_addresses_.none ? nullptr : edges_[place];
}

EdgeRecord* EdgeExecCounts::add_edge(std::uint64_t from_address,
                                     const SourcePosition& from_position, std::uint64_t to_address,
                                     const SourcePosition& to_position, std::uint64_t count,
                                     FunctionRecordFactory& factory) {
    EdgeRecord* const edge = find_edge(from_address, to_address);
    if (edge == nullptr)
        return create_edge(from_address, from_position, to_address, to_position, count, factory);
    // The first sighting's positions win, and a sighting that disagrees with them loses its count:
    // its samples can't be told to lie where the edge does.
    if (same_location(edge->from_position(), from_position) &&
        same_location(edge->to_position(), to_position))
        edge->add_count(count);
    else if (diag::traces(diag::reader_trace_records))
        trace_mismatch(from_address, from_position, to_address, to_position);
    return edge;
}

void EdgeExecCounts::prefetch_slot(std::uint64_t from_address, std::uint64_t to_address) const {
    if (by_addresses_.is_scanned())
        prefetch(edges_.data());
    else
        by_addresses_.table().prefetch_slot(hash_pair(from_address, to_address));
}

void EdgeExecCounts::prefetch_place(std::uint64_t from_address, std::uint64_t to_address) const {
    if (by_addresses_.is_scanned()) {
        for (const EdgeRecord* edge : edges_) prefetch(edge);
        return;
    }
    const std::uint32_t place =
        by_addresses_.table().likely_place(hash_pair(from_address, to_address));
    if (place != IndexTable::none) prefetch(&edges_[place]);
}

void EdgeExecCounts::prefetch_edge(std::uint64_t from_address, std::uint64_t to_address) const {
    const std::uint32_t place =
        by_addresses_.table().likely_place(hash_pair(from_address, to_address));
    if (place != IndexTable::none) prefetch(edges_[place]);
}

void EdgeExecCounts::merge_from(const EdgeExecCounts& other, FunctionRecordFactory& factory) {
    std::vector<EdgeRecord*> edges;
    other.copy_edges(edges);
    for (const EdgeRecord* edge : edges)
        add_edge(edge->from_address(), edge->from_position(), edge->to_address(),
                 edge->to_position(), edge->exec_count(), factory);
}

void EdgeExecCounts::copy_edges(std::vector<EdgeRecord*>& edges) const {
    edges.assign(edges_.begin(), edges_.end());
    const auto line_less = [](const EdgeRecord* a, const EdgeRecord* b) {
        return a->from_position().line < b->from_position().line;
    };
    if (std::is_sorted(edges.begin(), edges.end(), line_less)) return;
    // Line and place in one number: the sort compares without a look at the edges.
    std::vector<std::uint64_t> keys;
    keys.reserve(edges_.size());
    for (const EdgeRecord* edge : edges_)
        keys.push_back(std::uint64_t{edge->from_position().line} << 32 | keys.size());
    std::sort(keys.begin(), keys.end());
    std::transform(keys.begin(), keys.end(), edges.begin(),
                   [this](std::uint64_t key) { return edges_[static_cast<std::uint32_t>(key)]; });
}

void EdgeExecCounts::release_edges(FunctionRecordFactory& factory) {
    std::vector<EdgeRecord*> edges;
    copy_edges(edges);
    for (EdgeRecord* edge : edges) factory.destroy_edge(edge, sizeof(EdgeRecord));
    std::vector<EdgeRecord*>().swap(edges_);  // an empty list would keep the memory
    by_addresses_.clear();
}

void EdgeExecCounts::dump_edges() const {
    std::vector<EdgeRecord*> edges;
    copy_edges(edges);
    for (const EdgeRecord* edge : edges) dump_edge(*edge);
}

EdgeRecord* EdgeExecCounts::create_edge(std::uint64_t from_address,
                                        const SourcePosition& from_position,
                                        std::uint64_t to_address, const SourcePosition& to_position,
                                        std::uint64_t count, FunctionRecordFactory& factory) {
    EdgeRecord* const edge =
        factory.create_edge(size(), from_address, from_position, to_address, to_position, count);
    edges_.push_back(edge);
    by_addresses_.follow(edges_.size(), [this](std::uint32_t place) {
        return hash_pair(edges_[place]->from_address(), edges_[place]->to_address());
    });
    return edge;
}

}  // namespace hotpath
