// What each kind of reader offers. The kinds stand in rooms of their own, and so does the choice
// between them.
#pragma once

#include "hotpath/model/function_record_set.h"

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

}  // namespace hotpath
