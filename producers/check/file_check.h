// What the merge tool makes of edge files, row by row: which rows and hits count, which are lost,
// and why. The tool's own reader does the reading; this room looks at what became of each row.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "hotpath/model/function_record_factory_impl.h"
#include "hotpath/model/function_record_set.h"
#include "hotpath/model/hotpath_allocator.h"
#include "hotpath/readers/edge_fold.h"

namespace check {

// Why rows or hits don't count.
enum class Loss : std::uint8_t {
    too_few_fields,
    unknown_line,    // of a row inside one function
    other_position,  // than at the first sighting of the edge
    unknown_callee,  // "NA"
    unknown_kind,    // of a row between two functions
    rounded_count,   // hits that the 32-bit float in between adds or takes
    number_of_losses,
};

// A sum of counts of 64 bits, of which there may be as many.
__extension__ using Hits = unsigned __int128;

// The rows of one kind.
struct RowTally {
    std::uint64_t rows = 0;
    Hits hits = 0;
    std::uint64_t first_line = 0;  // in the file, whose header is line 1

    void add(std::uint64_t line, std::uint64_t row_hits);
};

// What one file has.
struct FileTally {
    RowTally edges;    // kept, as counts of edges
    RowTally calls;    // kept, as counts of calls
    RowTally returns;  // kept, as entries of functions alone
    std::array<RowTally, static_cast<std::size_t>(Loss::number_of_losses)> losses;
    RowTally odd_numbers;  // rows, kept or not, with a number that isn't written as one

    RowTally& loss(Loss why) { return losses[static_cast<std::size_t>(why)]; }
    const RowTally& loss(Loss why) const { return losses[static_cast<std::size_t>(why)]; }

    std::uint64_t kept_rows() const { return edges.rows + calls.rows + returns.rows; }
    Hits kept_hits() const { return edges.hits + calls.hits + returns.hits; }

    // A row whose count is rounded is kept all the same.
    std::uint64_t lost_rows() const;
    Hits lost_hits() const;

    // The larger one of the lost shares of rows and of hits, in percent; 0 for an empty file.
    double lost_percent() const;

    // Adds all but the line numbers.
    void add(const FileTally& other);
};

// Files that the tool would read as one list: an edge has its position from the first file that
// shows it.
class FileCheck {
public:
    // Reads the file into `tally`. False, with the reason, if the tool can't read it as an edge
    // file to its end.
    bool read(const std::string& path, FileTally& tally, std::string& reason);

private:
    hotpath::FunctionRecordFactoryImpl<hotpath::AllocatorOnHeap> factory_;
    hotpath::FunctionRecordSet set_{factory_};
};

}  // namespace check
