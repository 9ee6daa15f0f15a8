#include "shared/hotpath/readers/edge_reader.h"

#include <array>

#include "diag/platform.h"
#include "diag/reporter.h"

namespace hotpath {

SampleFeedbackEdgeReader::SampleFeedbackEdgeReader(std::unique_ptr<EdgeStream> stream,
                                                   const EdgeColumnMap& columns)
    : stream_(std::move(stream)), layout_(columns) {}

bool SampleFeedbackEdgeReader::read_function_records(FunctionRecordSet& set,
                                                     FunctionRecordFactory& factory,
                                                     bool /*proxies*/) {
    EdgeFold fold(layout_, set, factory);
    std::uint32_t lines_read = 0;
    std::uint32_t lines_used = 0;
    std::array<std::string_view, EdgeFold::batch_size> lines;
    while (const std::size_t count = stream_->next_lines(lines)) {
        lines_read += static_cast<std::uint32_t>(count);
        lines_used += fold.add_rows({lines.data(), count});
    }
    fold.finish();
    if ((diag::reader_trace_flags & diag::READER_TRACE_RECORDS) != 0)
        diag::trace_print("Lines read = %u. Used lines = %u.\n", lines_read, lines_used);
    set.add_runs(1);
    return true;
}

std::unique_ptr<SampleFeedbackEdgeReader> open_edge_reader(const char* path) {
    std::FILE* const file = diag::platform::open_for_reading(path);
    if (file == nullptr) return nullptr;
    auto stream = std::make_unique<EdgeStream>(file);
    std::string_view header;
    stream->next_line(header);
    EdgeColumnMap columns;
    if (!parse_edge_header(header, columns)) return nullptr;
    return std::make_unique<SampleFeedbackEdgeReader>(std::move(stream), columns);
}

}  // namespace hotpath
