// The choice of a reader by a file's content, and the loading of one input into a record set. The
// kinds of readers stand in rooms of their own.
#pragma once

#include <memory>

#include "hotpath/model/function_record_set.h"
#include "hotpath/readers/reader_interface.h"

namespace hotpath {

enum class ReaderStatus {
    cannot_open = 0,  // the file can't be read at all
    no_samples = 1,   // neither an edge file nor a usable sample database, or its reading failed
    ready = 2,        // a reader was made, or the samples were read
};

// The reader that fits the file's content; null, with the reason in `status`, if none does. `path`
// is UTF-8.
std::unique_ptr<SampleFeedbackReaderInterface> create_reader(const char* path,
                                                             ReaderStatus& status);

// Reads one input in full into `set`.
ReaderStatus load_input(FunctionRecordSet& set, const char* path);

}  // namespace hotpath
