#include "hotpath/readers/row_fields.h"

#include <algorithm>

namespace hotpath {
namespace {

// Rows with more fields are cut one field after the other, and only those that are read are kept:
// all of them would take many times the line's own memory.
constexpr std::uint32_t most_kept_fields = 1024;

}  // namespace

EdgeLayout::EdgeLayout(const EdgeColumnMap& columns) : column(columns) {
    const auto has = [&](EdgeColumn wanted) { return columns[wanted] != absent_column; };
    min_fields = 0;
    const auto need = [&](EdgeColumn needed) {
        min_fields = std::max(min_fields, columns[needed] + 1);
    };
    // Optional positions are read only where both ends have them.
    const auto need_pair = [&](EdgeColumn from, EdgeColumn to) {
        if (!has(from) || !has(to)) return false;
        need(from);
        need(to);
        return true;
    };
    for (std::uint32_t row = 0; row < edge_column_count; ++row)
        if (is_required(static_cast<EdgeColumn>(row))) need(static_cast<EdgeColumn>(row));
    has_entry_block = has(EntryBlock);
    if (has_entry_block) need(EntryBlock);
    has_columns = need_pair(FromSourceColumn, DestinationSourceColumn);
    has_discriminators = need_pair(FromSourceDiscriminator, DestinationSourceDiscriminator);
    has_offset_lines = need_pair(FromSourceOffsetLine, DestinationSourceOffsetLine);
}

RowFields::RowFields(const EdgeLayout& layout)
    : min_fields_(layout.min_fields), place_(layout.column) {
    if (min_fields_ <= most_kept_fields) {
        fields_.resize(min_fields_);
        return;
    }
    fields_.resize(edge_column_count);
    for (std::uint32_t column = 0; column < edge_column_count; ++column) {
        place_[column] = column;
        if (layout.column[column] < min_fields_)
            kept_.push_back({layout.column[column], static_cast<EdgeColumn>(column)});
    }
    std::sort(kept_.begin(), kept_.end(),
              [](const KeptField& a, const KeptField& b) { return a.index < b.index; });
}

bool RowFields::split(std::string_view line) {
    // A line has at most so many fields.
    if (line.size() + 1 < min_fields_) return false;
    line_has_nul_ = line.find('\0') != std::string_view::npos;
    return kept_.empty() ? split_all(line) : split_wide(line);
}

bool RowFields::split_all(std::string_view line) {
    const std::uint32_t count = split_plain_fields(line, min_fields_, fields_.data());
    if (count != split_by_rule) return count >= min_fields_;
    split_fields(line, min_fields_, ruled_fields_);
    if (ruled_fields_.size() != min_fields_) return false;
    fields_.swap(ruled_fields_);
    return true;
}

// The last field that is kept is the last one that a row must have.
bool RowFields::split_wide(std::string_view line) {
    FieldCutter cutter(line);
    std::string_view field;
    auto next = kept_.begin();
    for (std::uint32_t index = 0; index < min_fields_; ++index) {
        if (!cutter.next(field)) return false;
        if (index == next->index) fields_[(next++)->column] = field;
    }
    return true;
}

}  // namespace hotpath
