#include "hotpath/readers/edge_columns.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "diag/trace.h"
#include "hotpath/readers/sse2.h"

namespace hotpath {
namespace {

constexpr char separator = ',';

struct EdgeColumnRow {
    std::string_view name;
    EdgeColumn column;
    bool required;
};

constexpr std::array<EdgeColumnRow, edge_column_count> edge_column_table{{
    {"FromAddress", FromAddress, true},
    {"TypeOfBranch", TypeOfBranch, true},
    {"EntryBlock", EntryBlock, false},
    {"FromSourceFile", FromSourceFile, true},
    {"FromSourceLine", FromSourceLine, true},
    {"FromSourceOffsetLine", FromSourceOffsetLine, false},
    {"FromSourceColumn", FromSourceColumn, false},
    {"FromSourceDiscriminator", FromSourceDiscriminator, false},
    {"FromFunctionMangled", FromFunctionMangled, true},
    {"DestinationAddress", DestinationAddress, false},
    {"DestinationEndOfBlockAddress", DestinationEndOfBlockAddress, true},
    {"DestinationSourceFile", DestinationSourceFile, true},
    {"DestinationSourceLine", DestinationSourceLine, true},
    {"DestinationSourceOffsetLine", DestinationSourceOffsetLine, false},
    {"DestinationSourceColumn", DestinationSourceColumn, false},
    {"DestinationSourceDiscriminator", DestinationSourceDiscriminator, false},
    {"DestinationFunctionMangled", DestinationFunctionMangled, true},
    {"HitCount", HitCount, true},
}};

static_assert(std::all_of(edge_column_table.begin(), edge_column_table.end(),
                          [](const auto& row) { return &row == &edge_column_table[row.column]; }));

constexpr std::size_t longest_name =
    std::max_element(edge_column_table.begin(), edge_column_table.end(),
                     [](const auto& a, const auto& b) { return a.name.size() < b.name.size(); })
        -> name.size();

bool traces_header() { return diag::traces(diag::reader_trace_choice); }

void trace_mapped(std::string_view name, std::uint32_t index) {
    if (!traces_header()) return;
    diag::trace_print("SampleFeedbackEdgeReader: ");
    diag::trace_print("Column %s mapped to index %u\n", name.data(), index);
}

void trace_missing(std::string_view name) {
    if (!traces_header()) return;
    diag::trace_print("SampleFeedbackEdgeReader: ");
    diag::trace_print("problem: Missing required column: %s\n", name.data());
}

// Where the field that begins at `start` ends; npos if it is the line's last.
std::size_t end_of_field(std::string_view line, std::size_t start) {
    if (start >= line.size() || line[start] != '[') return line.find(separator, start);
    const std::size_t bracket = line.find(']', start);
    if (bracket == std::string_view::npos || bracket + 1 == line.size())
        return std::string_view::npos;
    return bracket + 1;
}

// Collects fields between separators that come in rising order. `done` turns true at the limit or
// where the plain rule doesn't hold.
class PlainSplitter {
public:
    PlainSplitter(std::string_view line, std::uint32_t limit, std::string_view* fields)
        : line_(line), limit_(limit), fields_(fields) {}

    // True if the line is cut, or can't be by this rule.
    bool cut_at(std::size_t place) {
        fields_[count_++] = line_.substr(start_, place - start_);
        start_ = place + 1;
        if (count_ == limit_) return true;
        if (start_ == line_.size() || line_[start_] != '[') return false;
        count_ = split_by_rule;
        return true;
    }
    std::uint32_t finish() {
        fields_[count_++] = line_.substr(start_);
        return count_;
    }
    std::uint32_t count() const { return count_; }

private:
    std::string_view line_;
    std::uint32_t limit_;
    std::string_view* fields_;
    std::size_t start_ = 0;
    std::uint32_t count_ = 0;
};

#ifdef HOTPATH_HAS_SSE2

// One bit for each separator in the 16 bytes at `text`.
std::uint64_t separators_in_16(const char* text) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text));
    return static_cast<std::uint32_t>(
        _mm_movemask_epi8(_mm_cmpeq_epi8(bytes, _mm_set1_epi8(separator))));
}

// The same for 64 bytes: few long runs of bits are walked with fewer surprises than many short
// ones.
std::uint64_t separators_in_64(const char* text) {
    return separators_in_16(text) | separators_in_16(text + 16) << 16 |
           separators_in_16(text + 32) << 32 | separators_in_16(text + 48) << 48;
}

std::uint32_t split_at_separators(std::string_view line, PlainSplitter& splitter) {
    for (std::size_t base = 0; base < line.size(); base += 64) {
        std::uint64_t places = separators_in_64(line.data() + base);
        const std::size_t left = line.size() - base;
        if (left < 64) places &= (std::uint64_t{1} << left) - 1;
        for (; places != 0; places &= places - 1)
            if (splitter.cut_at(base + static_cast<std::size_t>(std::countr_zero(places))))
                return splitter.count();
    }
    return splitter.finish();
}

#else

std::uint32_t split_at_separators(std::string_view line, PlainSplitter& splitter) {
    std::size_t place = line.find(separator);
    for (; place != std::string_view::npos; place = line.find(separator, place + 1))
        if (splitter.cut_at(place)) return splitter.count();
    return splitter.finish();
}

#endif

}  // namespace

bool is_required(EdgeColumn column) { return edge_column_table[column].required; }

FieldCutter::FieldCutter(std::string_view line)
    : line_(line), start_(line.find_first_not_of(separator)) {}

bool FieldCutter::next(std::string_view& field) {
    if (start_ == std::string_view::npos) return false;
    // The first field is never bracketed.
    const std::size_t end =
        is_first_ ? line_.find(separator, start_ + 1) : end_of_field(line_, start_);
    is_first_ = false;
    field = line_.substr(start_, end - start_);
    start_ = end == std::string_view::npos ? end : end + 1;
    return true;
}

void split_fields(std::string_view line, std::uint32_t limit,
                  std::vector<std::string_view>& fields) {
    fields.clear();
    FieldCutter cutter(line);
    std::string_view field;
    while (cutter.next(field)) {
        fields.push_back(field);
        if (fields.size() == limit) return;
    }
}

std::uint32_t split_plain_fields(std::string_view line, std::uint32_t limit,
                                 std::string_view* fields) {
    if (line.empty()) return 0;
    if (line.front() == separator) return split_by_rule;
    PlainSplitter splitter(line, limit, fields);
    return split_at_separators(line, splitter);
}

void EdgeHeader::add(std::string_view piece) {
    while (!piece.empty()) {
        switch (place_) {
            case Place::field: take_field(piece); break;
            case Place::bracket: take_bracket(piece); break;
            default: take_byte(piece);
        }
    }
}

// One byte between fields.
void EdgeHeader::take_byte(std::string_view& piece) {
    const char byte = piece.front();
    if (place_ == Place::behind_bracket) {
        place_ = Place::field_begin;
        piece.remove_prefix(1);
    } else if (byte == separator) {
        // Separators in front of the first field are lost; any other ends an empty field.
        if (place_ == Place::field_begin) end_field();
        piece.remove_prefix(1);
    } else {
        // The first field is never bracketed.
        place_ = place_ == Place::field_begin && byte == '[' ? Place::bracket : Place::field;
    }
}

void EdgeHeader::take_field(std::string_view& piece) {
    const std::string_view text = piece.substr(0, piece.find(separator));
    // A name with one byte more than the longest column's is no column's.
    if (name_.size() <= longest_name) name_ += text.substr(0, longest_name + 1 - name_.size());
    piece.remove_prefix(text.size());
    if (piece.empty()) return;
    end_field();
    piece.remove_prefix(1);
    place_ = Place::field_begin;
}

void EdgeHeader::take_bracket(std::string_view& piece) {
    const std::size_t end = piece.find(']');
    piece.remove_prefix(std::min(end, piece.size() - 1) + 1);
    if (end == std::string_view::npos) return;
    name_.push_back('[');  // no column's name
    end_field();
    place_ = Place::behind_bracket;
}

void EdgeHeader::end_field() {
    if (field_count_ == no_field_limit) return;
    if (!name_.empty()) find_column();
    name_.clear();
    ++field_count_;
}

void EdgeHeader::find_column() {
    for (const EdgeColumnRow& row : edge_column_table) {
        if (name_ != row.name) continue;
        columns_[row.column] = field_count_;  // the last of several equal names wins
        if (traces_header()) sightings_.emplace_back(row.column, field_count_);
    }
}

bool EdgeHeader::finish(EdgeColumnMap& columns) {
    if (place_ == Place::field || place_ == Place::field_begin) end_field();
    columns = columns_;
    for (const EdgeColumnRow& row : edge_column_table)
        for (const auto& [column, index] : sightings_)
            if (column == row.column) trace_mapped(row.name, index);
    for (const EdgeColumnRow& row : edge_column_table) {
        if (!row.required || columns[row.column] != absent_column) continue;
        trace_missing(row.name);
        return false;
    }
    return true;
}

bool parse_edge_header(std::string_view line, EdgeColumnMap& columns) {
    EdgeHeader header;
    header.add(line);
    return header.finish(columns);
}

}  // namespace hotpath
