// Reads edge files: text tables of sampled transfers of control, a row each.
#pragma once

#include <memory>

#include "hotpath/readers/edge_fold.h"
#include "hotpath/readers/edge_stream.h"
#include "hotpath/readers/reader_interface.h"

namespace hotpath {

// Reads one edge file. It owns the stream, which stands behind the header row.
class SampleFeedbackEdgeReader final : public SampleFeedbackReaderInterface {
public:
    SampleFeedbackEdgeReader(std::unique_ptr<EdgeStream> stream, const EdgeColumnMap& columns);

    // Adds all rows to `set` and one run to its count. False where the device behind the file gives
    // an error: rows read by then stay, without a run. Content is no reason: a malformed row costs
    // at most itself. Never makes proxies.
    bool read_function_records(FunctionRecordSet& set, FunctionRecordFactory& factory,
                               bool proxies) override;
    bool supports_proxies() const override { return false; }
    bool records_are_complete() const override { return true; }

private:
    std::unique_ptr<EdgeStream> stream_;
    EdgeLayout layout_;
};

// A reader for the file if its first line names all required columns; null if not, or if the file
// can't be opened.
std::unique_ptr<SampleFeedbackEdgeReader> open_edge_reader(const char* path);

}  // namespace hotpath
