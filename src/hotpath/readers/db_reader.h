// Lets a sample database stand in the input list beside edge files.
#pragma once

#include <memory>

#include "hotpath/readers/reader_interface.h"

namespace hotpath {

class SampleDB;

// Hands the database's records on. It doesn't own the database, which stays open until the process
// ends.
class SampleFeedbackDBReader final : public SampleFeedbackReaderInterface {
public:
    // `database` is open, compatible and prepared.
    explicit SampleFeedbackDBReader(SampleDB& database) : database_(&database) {}

    bool read_function_records(FunctionRecordSet& set, FunctionRecordFactory& factory,
                               bool proxies) override;
    bool supports_proxies() const override { return true; }

    // True once a read without proxies was made, whatever came of it.
    bool records_are_complete() const override { return loaded_in_full_; }

private:
    SampleDB* database_;
    bool loaded_in_full_ = false;
};

// A reader for the file if it is a sample database of this version; null if not.
std::unique_ptr<SampleFeedbackDBReader> open_db_reader(const char* path);

}  // namespace hotpath
