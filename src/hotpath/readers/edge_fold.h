// Folds the rows of one edge file into a record set: edges, calls, and, after the last row, entry
// and exit marks and execution counts. The reader decides where the rows come from.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "hotpath/readers/address_set.h"
#include "hotpath/readers/name_cache.h"
#include "hotpath/readers/row_fields.h"

namespace hotpath {

// One file's state. Records and edges go into the set through the factory.
class EdgeFold {
public:
    // Rows that are taken at once. Enough that their waits for memory overlap, few enough that they
    // stay in the nearest cache.
    static constexpr std::size_t batch_size = 32;

    enum class RowKind : std::uint8_t {
        edge,       // inside one function
        transfer,   // a call or jump into another function
        returning,  // a return
        skipped,    // adds nothing; only its record is made
    };

    // One row, read but not yet added.
    struct Row {
        std::string_view from_raw_name;
        std::string_view from_file;
        std::string_view to_raw_name;
        std::string_view to_file;
        std::uint64_t from_hash;
        std::uint64_t to_hash;
        std::uint64_t hit_count;
        std::uint64_t from_address;
        std::uint64_t to_address;
        SourcePosition from;
        SourcePosition to;
        std::uint32_t from_name;  // places in `names_`
        std::uint32_t to_name;
        RowKind kind;
        bool repeats_name;  // the function left is that of the row before
        bool leaves_entry_block;
        bool uses_columns;
        bool uses_discriminators;
    };

    EdgeFold(const EdgeLayout& layout, FunctionRecordSet& set, FunctionRecordFactory& factory);

    // Takes up to `batch_size` lines, each with `split_overrun` readable bytes behind it. The
    // number of rows that were used.
    std::uint32_t add_rows(std::span<const std::string_view> lines);

    // The rows of the last batch that had enough fields, for those who ask what became of each; in
    // a batch of one line also the text of its fields, and the edge that it is about.
    std::span<const Row> rows() const { return {rows_.data(), row_count_}; }
    std::string_view text(EdgeColumn column) const { return fields_.text(column); }
    const EdgeRecord& edge_of(const Row& row) const {
        return *names_[row.from_name].record->edges().find_edge(row.from_address, row.to_address);
    }

    // Derives what only the whole file shows. Call once, after the last row.
    void finish();

    // In place of `finish`, where no whole file is to come: rows added stay, and nothing follows
    // from them.
    void give_up();

private:
    std::uint32_t number(EdgeColumn column) const;
    bool read_row(std::string_view line);
    void read_names(Row& row) const;
    void read_numbers(Row& row) const;
    bool read_pair(EdgeColumn from_column, EdgeColumn to_column, std::uint16_t& from,
                   std::uint16_t& to) const;
    RowKind kind_of(const Row& row) const;

    FunctionTotals& totals_of(std::uint32_t name) { return names_.totals()[names_[name].totals]; }
    void prefetch_names();
    void find_names();
    void prefetch_edges();
    std::uint32_t add_read_rows();
    void add_edge(const Row& row);
    void add_transfer(const Row& row);
    void mark_edges() const;

    const EdgeLayout layout_;
    RowFields fields_;  // of the line that is being read
    FunctionRecordFactory* factory_;
    NameCache& names_;
    std::uint32_t input_;
    std::array<Row, batch_size> rows_;
    std::size_t row_count_ = 0;
    std::vector<EdgeRecord*> edges_;  // each edge that a row of this file is about, once
    AddressSet entry_targets_;
    AddressSet return_sources_;
};

}  // namespace hotpath
