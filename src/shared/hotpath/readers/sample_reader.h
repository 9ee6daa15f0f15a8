// The choice of a reader by a file's content, and the loading of one input into a record set. The
// kinds of readers stand in rooms of their own.
#pragma once

#include <memory>

#include "shared/hotpath/model/function_record_set.h"

namespace hotpath {

// Reads the samples of one input, once.
class SampleFeedbackReaderInterface {
public:
    SampleFeedbackReaderInterface() = default;
    SampleFeedbackReaderInterface(const SampleFeedbackReaderInterface&) = delete;
    SampleFeedbackReaderInterface& operator=(const SampleFeedbackReaderInterface&) = delete;
    virtual ~SampleFeedbackReaderInterface() = default;

    // Adds all samples to `set`, with records from `factory`: full ones, or proxies if asked for
    // and supported. False if the input couldn't be read to its end; what was read stays in `set`.
    virtual bool read_function_records(FunctionRecordSet& set, FunctionRecordFactory& factory,
                                       bool proxies) = 0;

    virtual bool supports_proxies() const = 0;

    // True if the records of the last read hold all that the input has on them.
    virtual bool records_are_complete() const = 0;
};

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
