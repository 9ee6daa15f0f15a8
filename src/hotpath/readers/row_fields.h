// The fields of an edge file's rows by their columns: which are read, and where they stand in a
// line. What they mean for a profile is the fold's.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "hotpath/readers/edge_columns.h"

namespace hotpath {

// Which of a file's columns are read, and how many fields that takes.
struct EdgeLayout {
    explicit EdgeLayout(const EdgeColumnMap& columns);

    EdgeColumnMap column;
    bool has_entry_block;
    bool has_columns;          // source columns of both ends
    bool has_discriminators;   // of both ends
    bool has_offset_lines;     // of both ends
    std::uint32_t min_fields;  // a row with fewer fields is invalid
};

// One row's fields, as views into its line; one object serves one row after the other. Its memory
// doesn't follow the number of columns, which a header may give any size.
class RowFields {
public:
    explicit RowFields(const EdgeLayout& layout);

    // Takes the fields of the line, behind which `split_overrun` bytes may be read. False if it has
    // too few.
    bool split(std::string_view line);

    // The field of a column that is read.
    std::string_view text(EdgeColumn column) const { return fields_[place_[column]]; }

    // The same for a function or file name: a NUL ends it.
    std::string_view name(EdgeColumn column) const {
        const std::string_view whole = text(column);
        return line_has_nul_ ? whole.substr(0, whole.find('\0')) : whole;
    }

private:
    // A field that is kept where not all are.
    struct KeptField {
        std::uint32_t index;  // in the line
        EdgeColumn column;
    };

    bool split_all(std::string_view line);
    bool split_wide(std::string_view line);

    std::uint32_t min_fields_;
    EdgeColumnMap place_;                         // of each column's field in `fields_`
    std::vector<KeptField> kept_;                 // in the line's order; empty where all are kept
    std::vector<std::string_view> fields_;        // of the line that is being read
    std::vector<std::string_view> ruled_fields_;  // likewise, where it isn't plain
    bool line_has_nul_ = false;
};

}  // namespace hotpath
