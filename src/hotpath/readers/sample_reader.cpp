#include "hotpath/readers/sample_reader.h"

#include "diag/file_access.h"
#include "diag/trace.h"
#include "hotpath/names/client.h"
#include "hotpath/readers/db_reader.h"
#include "hotpath/readers/edge_reader.h"

namespace hotpath {
namespace {

void trace_choice(const char* path, const char* reader) {
    if (!diag::traces(diag::reader_trace_choice)) return;
    diag::trace_print("SFO: create_reader(%s): ", hotpath_Create_Full_Path(path));
    diag::trace_print("using %s\n", reader);
}

}  // namespace

std::unique_ptr<SampleFeedbackReaderInterface> create_reader(const char* path,
                                                             ReaderStatus& status) {
    status = ReaderStatus::ready;
    if (diag::file_access(path, diag::AccessMode::read) != 0) {
        status = ReaderStatus::cannot_open;
        return nullptr;
    }
    if (auto reader = open_edge_reader(path)) {
        trace_choice(path, "SampleFeedbackEdgeReader");
        return reader;
    }
    if (auto reader = open_db_reader(path)) {
        trace_choice(path, "SampleFeedbackDBReader");
        return reader;
    }
    status = ReaderStatus::no_samples;
    return nullptr;
}

ReaderStatus load_input(FunctionRecordSet& set, const char* path) {
    ReaderStatus status = ReaderStatus::ready;
    const auto reader = create_reader(path, status);
    if (reader == nullptr) return status;
    return reader->read_function_records(set, set.factory(), false) ? ReaderStatus::ready
                                                                    : ReaderStatus::no_samples;
}

}  // namespace hotpath
