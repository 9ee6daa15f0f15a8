// Edge files are read in batches of rows. What a row costs is mostly waiting: its name's slot in
// the cache of names, the record, the record's table of edges and the edge lie anywhere in memory,
// and each is found by the one before. One row at a time would wait for each in turn. So a batch
// goes through these steps, and each step asks for the memory that the next one reads:
//
//   read_row        fields and numbers of one line; asks for the slots of its two names
//   prefetch_names  the names' places in the cache, then their texts and records
//   find_names      the records of all rows, found or made in the order of the rows
//   prefetch_edges  the edges' slots, then their places, then the edges
//   add_read_rows   adds edges, calls and entries, in the order of the rows
//
// The prefetches change nothing: each lookup decides by itself. Rows are added in their order,
// since the first sighting of an edge or call gives its positions. What follows from the whole file
// alone (entry and exit marks, execution counts) is derived in `finish`.
#include "hotpath/readers/edge_fold.h"

#include "diag/trace.h"
#include "hotpath/readers/edge_numbers.h"

namespace hotpath {
namespace {

constexpr std::uint32_t no_line = 0xFFFFFFFF;

bool is_transfer(std::string_view type) {
    return type == "Call" || type == "IndCall" || type == "Jump" || type == "IndJump";
}

void trace_invalid(std::string_view line) {
    if (!diag::traces(diag::reader_trace_records)) return;
    diag::trace_texts({"Invalid line: ", line, "\n"});
}

}  // namespace

EdgeFold::EdgeFold(const EdgeLayout& layout, FunctionRecordSet& set, FunctionRecordFactory& factory)
    : layout_(layout),
      fields_(layout),
      factory_(&factory),
      names_(NameCache::of(set)),
      input_(set.next_input()),
      rows_() {}

std::uint32_t EdgeFold::add_rows(std::span<const std::string_view> lines) {
    row_count_ = 0;
    for (const std::string_view line : lines)
        if (!read_row(line)) trace_invalid(line);
    prefetch_names();
    find_names();
    prefetch_edges();
    return add_read_rows();
}

void EdgeFold::finish() {
    mark_edges();
    names_.totals().add_exec_counts();
}

void EdgeFold::give_up() { names_.totals().drop(); }

std::uint32_t EdgeFold::number(EdgeColumn column) const {
    return parse_int_field_padded(fields_.text(column));
}

// Reads the line into the next row of the batch; false if it has too few fields.
bool EdgeFold::read_row(std::string_view line) {
    if (!fields_.split(line)) return false;
    Row& row = rows_[row_count_];
    read_names(row);
    read_numbers(row);
    row.kind = kind_of(row);
    // Rows of one function mostly stand together.
    row.repeats_name = row_count_ != 0 &&
                       rows_[row_count_ - 1].from_raw_name == row.from_raw_name &&
                       rows_[row_count_ - 1].from_file == row.from_file;
    if (!row.repeats_name) {
        row.from_hash = NameCache::hash(row.from_file, row.from_raw_name);
        names_.prefetch_slot(row.from_hash);
    }
    if (row.kind == RowKind::transfer) {
        row.to_hash = NameCache::hash(row.to_file, row.to_raw_name);
        names_.prefetch_slot(row.to_hash);
    }
    ++row_count_;
    return true;
}

void EdgeFold::read_names(Row& row) const {
    row.from_file = fields_.name(FromSourceFile);
    row.from_raw_name = fields_.name(FromFunctionMangled);
    row.to_file = fields_.name(DestinationSourceFile);
    row.to_raw_name = fields_.name(DestinationFunctionMangled);
}

void EdgeFold::read_numbers(Row& row) const {
    row.hit_count = parse_count_padded(fields_.text(HitCount));
    row.from_address = parse_hex_u64_padded(fields_.text(FromAddress));
    row.to_address = parse_hex_u64_padded(fields_.text(DestinationEndOfBlockAddress));
    row.from = {number(FromSourceLine), 0, 0, 0};
    row.to = {number(DestinationSourceLine), 0, 0, 0};
    if (layout_.has_offset_lines) {
        row.from.relative_line = number(FromSourceOffsetLine);
        row.to.relative_line = number(DestinationSourceOffsetLine);
    }
    row.uses_columns = layout_.has_columns && read_pair(FromSourceColumn, DestinationSourceColumn,
                                                        row.from.column, row.to.column);
    row.uses_discriminators = layout_.has_discriminators &&
                              read_pair(FromSourceDiscriminator, DestinationSourceDiscriminator,
                                        row.from.discriminator, row.to.discriminator);
    row.leaves_entry_block = layout_.has_entry_block && fields_.text(EntryBlock) == "yes";
}

// Reads what both ends' positions keep 16 bits of. True if one of the numbers isn't 0 as read.
bool EdgeFold::read_pair(EdgeColumn from_column, EdgeColumn to_column, std::uint16_t& from,
                         std::uint16_t& to) const {
    const std::uint32_t from_number = number(from_column);
    const std::uint32_t to_number = number(to_column);
    from = static_cast<std::uint16_t>(from_number);
    to = static_cast<std::uint16_t>(to_number);
    return from_number != 0 || to_number != 0;
}

EdgeFold::RowKind EdgeFold::kind_of(const Row& row) const {
    // The names as written decide: a jump from an outlined routine to its parent stays a transfer.
    if (row.from_raw_name == row.to_raw_name) {
        const bool has_lines = row.from.line != no_line && row.to.line != no_line;
        return has_lines ? RowKind::edge : RowKind::skipped;
    }
    const std::string_view type = fields_.text(TypeOfBranch);
    if (is_transfer(type)) return row.to_raw_name != "NA" ? RowKind::transfer : RowKind::skipped;
    return type == "Ret" ? RowKind::returning : RowKind::skipped;
}

void EdgeFold::prefetch_names() {
    const auto for_each_hash = [this](auto step) {
        for (const Row& row : rows()) {
            if (!row.repeats_name) step(row.from_hash);
            if (row.kind == RowKind::transfer) step(row.to_hash);
        }
    };
    for_each_hash([this](std::uint64_t hash) { names_.prefetch_place(hash); });
    for_each_hash([this](std::uint64_t hash) { names_.prefetch_texts(hash); });
}

// Finds or makes the records of all rows, in their order. A row that is skipped makes its record,
// too.
void EdgeFold::find_names() {
    std::uint32_t last = 0;
    for (Row& row : std::span(rows_.data(), row_count_)) {
        if (!row.repeats_name) last = names_.find(row.from_hash, row.from_file, row.from_raw_name);
        row.from_name = last;
        if (row.kind == RowKind::transfer)
            row.to_name = names_.find(row.to_hash, row.to_file, row.to_raw_name);
    }
}

void EdgeFold::prefetch_edges() {
    const auto for_each_edge = [this](auto step) {
        for (const Row& row : rows())
            if (row.kind == RowKind::edge) step(names_[row.from_name].record->edges(), row);
    };
    for_each_edge([](const EdgeExecCounts& edges, const Row& row) {
        edges.prefetch_slot(row.from_address, row.to_address);
    });
    for_each_edge([](const EdgeExecCounts& edges, const Row& row) {
        edges.prefetch_place(row.from_address, row.to_address);
    });
    for_each_edge([](const EdgeExecCounts& edges, const Row& row) {
        edges.prefetch_edge(row.from_address, row.to_address);
    });
}

// Adds the rows of the batch; the number of those that were used.
std::uint32_t EdgeFold::add_read_rows() {
    std::uint32_t used = 0;
    for (const Row& row : rows()) {
        FunctionRecord& record = *names_[row.from_name].record;
        if (row.uses_columns) record.set_uses_columns(true);
        if (row.uses_discriminators) record.set_uses_discriminators(true);
        switch (row.kind) {
            case RowKind::edge: add_edge(row); break;
            case RowKind::transfer: add_transfer(row); break;
            case RowKind::returning:
                return_sources_.insert(row.from_address);
                totals_of(row.from_name).returned += row.hit_count;
                break;
            case RowKind::skipped: continue;
        }
        ++used;
    }
    return used;
}

void EdgeFold::add_edge(const Row& row) {
    EdgeRecord* const edge = names_[row.from_name].record->add_edge(
        row.from_address, row.from, row.to_address, row.to, row.hit_count, *factory_);
    if (edge->first_sighting_in(input_)) edges_.push_back(edge);
    if (!row.leaves_entry_block) return;
    edge->set_entry(true);
    totals_of(row.from_name).entry_hits += row.hit_count;
}

void EdgeFold::add_transfer(const Row& row) {
    names_[row.from_name].record->add_call(names_[row.to_name].name, row.from.line,
                                           row.from.relative_line, row.hit_count);
    totals_of(row.to_name).called_in += row.hit_count;
    entry_targets_.insert(row.to_address);
}

// An address that a call or jump reached is the end of the callee's entry block, so the edges that
// leave there are entry edges. The block that a return left is a returning block, so the edges that
// lead there are exit edges.
void EdgeFold::mark_edges() const {
    for (EdgeRecord* edge : edges_) {
        if (entry_targets_.contains(edge->from_address())) edge->set_entry(true);
        if (return_sources_.contains(edge->to_address())) edge->set_exit(true);
    }
}

}  // namespace hotpath
