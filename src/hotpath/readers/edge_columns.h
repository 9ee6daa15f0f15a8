// The columns of an edge file: which there are, where a file's header puts them, and how a line is
// cut into fields. The reader decides what the fields mean for a profile.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace hotpath {

// Rows of the column table, and places in an `EdgeColumnMap`.
enum EdgeColumn : std::uint32_t {
    FromAddress,
    TypeOfBranch,
    EntryBlock,
    FromSourceFile,
    FromSourceLine,
    FromSourceOffsetLine,
    FromSourceColumn,
    FromSourceDiscriminator,
    FromFunctionMangled,
    DestinationAddress,
    DestinationEndOfBlockAddress,
    DestinationSourceFile,
    DestinationSourceLine,
    DestinationSourceOffsetLine,
    DestinationSourceColumn,
    DestinationSourceDiscriminator,
    DestinationFunctionMangled,
    HitCount,
    edge_column_count,
};

// The field index of each column; `absent_column` where the header doesn't name it.
using EdgeColumnMap = std::array<std::uint32_t, edge_column_count>;
inline constexpr std::uint32_t absent_column = 0xFFFFFFFF;
inline constexpr std::uint32_t no_field_limit = 0xFFFFFFFF;

// True for a column without which a file is no edge file.
bool is_required(EdgeColumn column);

// Gives the fields of a line one after the other, as views into the line. Separators in front are
// lost; a field behind a separator that begins with "[" runs to the next "]" and keeps its
// brackets; the one character behind it is skipped whatever it is.
class FieldCutter {
public:
    explicit FieldCutter(std::string_view line);

    // False behind the last field.
    bool next(std::string_view& field);

private:
    std::string_view line_;
    std::size_t start_;  // of the next field; npos behind the last
    bool is_first_ = true;
};

// Replaces the vector's content by the line's fields, at most `limit` of them.
void split_fields(std::string_view line, std::uint32_t limit,
                  std::vector<std::string_view>& fields);

// The same for the lines of millions of rows: writes at most `limit` fields, gives their number,
// and reads up to `split_overrun` bytes behind the line, which must be there. `fields` has room for
// `limit`. A line with leading separators or brackets gives `split_by_rule`: `split_fields` must
// cut it.
inline constexpr std::size_t split_overrun = 64;
inline constexpr std::uint32_t split_by_rule = 0xFFFFFFFF;
std::uint32_t split_plain_fields(std::string_view line, std::uint32_t limit,
                                 std::string_view* fields);

// Finds the columns in a file's first line, whose pieces come one after the other. It keeps where
// the columns are and no more, as the line of a file of another kind may be of any length.
class EdgeHeader {
public:
    EdgeHeader() { columns_.fill(absent_column); }

    // Takes the next piece of the line.
    void add(std::string_view piece);

    // Call once, behind the last piece. True if all required columns are there; only then is the
    // file an edge file.
    bool finish(EdgeColumnMap& columns);

private:
    // Where in the line the next byte stands.
    enum class Place : std::uint8_t {
        line_begin,      // only separators were there
        field_begin,     // directly behind a separator
        field,           // inside of a field
        bracket,         // inside of a field in brackets
        behind_bracket,  // the byte that is skipped, whatever it is
    };

    void take_byte(std::string_view& piece);
    void take_field(std::string_view& piece);
    void take_bracket(std::string_view& piece);
    void end_field();
    void find_column();

    EdgeColumnMap columns_;
    Place place_ = Place::line_begin;
    std::uint32_t field_count_ = 0;
    std::string name_;  // of the field that is under way, as far as it may be a column's
    std::vector<std::pair<EdgeColumn, std::uint32_t>> sightings_;  // for the trace alone
};

// The same for a line in one piece.
bool parse_edge_header(std::string_view line, EdgeColumnMap& columns);

}  // namespace hotpath
