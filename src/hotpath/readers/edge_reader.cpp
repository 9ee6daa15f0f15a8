#include "hotpath/readers/edge_reader.h"

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <span>

#include "diag/message_catalogue.h"
#include "diag/platform.h"
#include "diag/reporter.h"
#include "diag/trace.h"
#include "hotpath/readers/edge_numbers.h"

namespace hotpath {
namespace {

// The quick readings of lines and numbers look behind what they are given.
static_assert(EdgeStream::overrun >= split_overrun && split_overrun >= number_overrun);

// A file that can't be opened for lack of memory may be an edge file: it must not be skipped.
std::FILE* open_file(const char* path) {
    errno = 0;
    std::FILE* const file = diag::platform::open_for_reading(path);
    if (file == nullptr && errno == ENOMEM)
        diag::report_fatal(diag::PT_out_of_memory, static_cast<std::int32_t>(sizeof(std::FILE)));
    return file;
}

}  // namespace

SampleFeedbackEdgeReader::SampleFeedbackEdgeReader(std::unique_ptr<EdgeStream> stream,
                                                   const EdgeColumnMap& columns)
    : stream_(std::move(stream)), layout_(columns) {}

bool SampleFeedbackEdgeReader::read_function_records(FunctionRecordSet& set,
                                                     FunctionRecordFactory& factory,
                                                     bool /*proxies*/) {
    EdgeFold fold(layout_, set, factory);
    std::uint32_t lines_read = 0;
    std::uint32_t lines_used = 0;
    // Traces of rows come in the order of the rows, so there a batch is one row.
    const bool traces_rows = diag::traces(diag::reader_trace_records);
    std::array<std::string_view, EdgeFold::batch_size> lines;
    const std::span batch(lines.data(), traces_rows ? 1 : lines.size());
    while (const std::size_t count = stream_->next_lines(batch)) {
        lines_read += static_cast<std::uint32_t>(count);
        lines_used += fold.add_rows(batch.first(count));
    }
    if (stream_->failed()) {
        fold.give_up();
        return false;
    }
    fold.finish();
    if (traces_rows)
        diag::trace_print("Lines read = %u. Used lines = %u.\n", lines_read, lines_used);
    set.add_runs(1);
    return true;
}

std::unique_ptr<SampleFeedbackEdgeReader> open_edge_reader(const char* path) {
    std::FILE* const file = open_file(path);
    if (file == nullptr) return nullptr;
    auto stream = std::make_unique<EdgeStream>(file);
    EdgeHeader header;
    stream->take_line([&](std::string_view piece) { header.add(piece); });
    EdgeColumnMap columns;
    if (!header.finish(columns)) return nullptr;
    return std::make_unique<SampleFeedbackEdgeReader>(std::move(stream), columns);
}

}  // namespace hotpath
