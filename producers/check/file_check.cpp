#include "check/file_check.h"

#include <algorithm>
#include <charconv>
#include <optional>

#include "diag/platform.h"
#include "hotpath/readers/edge_numbers.h"
#include "hotpath/readers/edge_stream.h"

namespace check {
namespace {

using hotpath::EdgeColumn;
using hotpath::EdgeFold;

bool consists_of(std::string_view text, std::string_view characters) {
    return !text.empty() && text.find_first_not_of(characters) == text.npos;
}

bool is_address(std::string_view text) {
    if (text.starts_with("0x") || text.starts_with("0X")) text.remove_prefix(2);
    return text.size() <= 16 && consists_of(text, "0123456789abcdefABCDEF");
}

// Digits whose value is at most `largest`.
std::optional<std::uint64_t> plain_number(std::string_view text, std::uint64_t largest) {
    std::uint64_t value = 0;
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value);
    if (result.ec != std::errc() || result.ptr != end || value > largest) return std::nullopt;
    return value;
}

// A whole number, of which some writers show the fraction.
std::optional<std::uint64_t> plain_count(std::string_view text) {
    const std::size_t point = text.find('.');
    if (point != text.npos && text.find_first_not_of('0', point + 1) != text.npos)
        return std::nullopt;
    return plain_number(text.substr(0, point), ~std::uint64_t{0});
}

// A line may be unknown, or stand in front of its function.
bool is_line(std::string_view text) {
    if (text.starts_with('-')) text.remove_prefix(1);
    return plain_number(text, 0x7FFFFFFF).has_value();
}

bool is_small(std::string_view text) { return plain_number(text, 0xFFFF).has_value(); }

// The rows of one file.
class RowCheck {
public:
    RowCheck(const hotpath::EdgeColumnMap& columns, hotpath::FunctionRecordSet& set,
             FileTally& tally)
        : layout_(columns), fold_(layout_, set, set.factory()), tally_(tally) {}

    void add(std::string_view line, std::uint64_t number) {
        line_number_ = number;
        fold_.add_rows({&line, 1});
        if (fold_.rows().empty()) return add_short(line);
        const EdgeFold::Row& row = fold_.rows().front();
        check_numbers(row);
        switch (row.kind) {
            case EdgeFold::RowKind::edge: add_edge(row); break;
            case EdgeFold::RowKind::transfer: tally_.calls.add(number, row.hit_count); break;
            case EdgeFold::RowKind::returning: tally_.returns.add(number, row.hit_count); break;
            case EdgeFold::RowKind::skipped: add_skipped(row); break;
        }
    }

    void finish() { fold_.finish(); }

private:
    void lose(Loss why, std::uint64_t hits) { tally_.loss(why).add(line_number_, hits); }

    // The hits count as lost where the row is long enough to have them.
    void add_short(std::string_view line) {
        hotpath::FieldCutter cutter(line);
        std::string_view field;
        std::uint32_t left = layout_.column[EdgeColumn::HitCount] + 1;
        while (left != 0 && cutter.next(field)) --left;
        lose(Loss::too_few_fields, left == 0 ? hotpath::parse_count(field) : 0);
    }

    void add_edge(const EdgeFold::Row& row) {
        const hotpath::EdgeRecord& edge = fold_.edge_of(row);
        if (same_location(edge.from_position(), row.from) &&
            same_location(edge.to_position(), row.to))
            tally_.edges.add(line_number_, row.hit_count);
        else
            lose(Loss::other_position, row.hit_count);
    }

    void add_skipped(const EdgeFold::Row& row) {
        const Loss why = row.from_raw_name == row.to_raw_name ? Loss::unknown_line
                         : row.to_raw_name == "NA"            ? Loss::unknown_callee
                                                              : Loss::unknown_kind;
        lose(why, row.hit_count);
    }

    void check_numbers(const EdgeFold::Row& row) {
        const std::optional<std::uint64_t> written = plain_count(fold_.text(EdgeColumn::HitCount));
        if (written.has_value() && *written != row.hit_count)
            lose(Loss::rounded_count,
                 std::max(*written, row.hit_count) - std::min(*written, row.hit_count));
        if (!written.has_value() || !has_plain_positions())
            tally_.odd_numbers.add(line_number_, row.hit_count);
    }

    bool has_plain_positions() const {
        const auto both = [this](EdgeColumn from, EdgeColumn to, auto is_plain) {
            return is_plain(fold_.text(from)) && is_plain(fold_.text(to));
        };
        using namespace hotpath;
        return both(FromAddress, DestinationEndOfBlockAddress, is_address) &&
               both(FromSourceLine, DestinationSourceLine, is_line) &&
               (!layout_.has_offset_lines ||
                both(FromSourceOffsetLine, DestinationSourceOffsetLine, is_line)) &&
               (!layout_.has_columns ||
                both(FromSourceColumn, DestinationSourceColumn, is_small)) &&
               (!layout_.has_discriminators ||
                both(FromSourceDiscriminator, DestinationSourceDiscriminator, is_small));
    }

    const hotpath::EdgeLayout layout_;
    EdgeFold fold_;
    FileTally& tally_;
    std::uint64_t line_number_ = 0;
};

double percent(Hits part, Hits rest) {
    const double whole = static_cast<double>(part) + static_cast<double>(rest);
    return part == 0 ? 0 : 100 * static_cast<double>(part) / whole;
}

}  // namespace

void RowTally::add(std::uint64_t line, std::uint64_t row_hits) {
    if (rows++ == 0) first_line = line;
    hits += row_hits;
}

std::uint64_t FileTally::lost_rows() const {
    std::uint64_t rows = 0;
    for (const RowTally& tally : losses) rows += tally.rows;
    return rows - loss(Loss::rounded_count).rows;
}

Hits FileTally::lost_hits() const {
    Hits hits = 0;
    for (const RowTally& tally : losses) hits += tally.hits;
    return hits;
}

double FileTally::lost_percent() const {
    return std::max(percent(lost_rows(), kept_rows()), percent(lost_hits(), kept_hits()));
}

void FileTally::add(const FileTally& other) {
    const auto add_tally = [](RowTally& sum, const RowTally& tally) {
        sum.rows += tally.rows;
        sum.hits += tally.hits;
    };
    add_tally(edges, other.edges);
    add_tally(calls, other.calls);
    add_tally(returns, other.returns);
    for (std::size_t i = 0; i < losses.size(); ++i) add_tally(losses[i], other.losses[i]);
    add_tally(odd_numbers, other.odd_numbers);
}

bool FileCheck::read(const std::string& path, FileTally& tally, std::string& reason) {
    std::FILE* const file = diag::platform::open_for_reading(path.c_str());
    if (file == nullptr) {
        reason = "can't be opened";
        return false;
    }
    hotpath::EdgeStream stream(file);
    hotpath::EdgeHeader header;
    stream.take_line([&](std::string_view piece) { header.add(piece); });
    hotpath::EdgeColumnMap columns;
    if (!header.finish(columns)) {
        reason = "is no edge file: its first line lacks a column";
        return false;
    }
    RowCheck rows(columns, set_, tally);
    std::uint64_t number = 1;
    for (std::string_view line; stream.next_line(line);) rows.add(line, ++number);
    rows.finish();
    if (stream.failed()) reason = "can't be read to its end";
    return !stream.failed();
}

}  // namespace check
