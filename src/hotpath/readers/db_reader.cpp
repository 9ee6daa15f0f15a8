#include "hotpath/readers/db_reader.h"

#include <new>
#include <vector>

#include "hotpath/database/sample_db.h"

namespace hotpath {
namespace {

// Databases opened as inputs. They stay open until the process ends, which closes them.
std::vector<std::unique_ptr<SampleDB>>& input_databases() {
    static auto& databases = *new std::vector<std::unique_ptr<SampleDB>>;
    return databases;
}

}  // namespace

bool SampleFeedbackDBReader::read_function_records(FunctionRecordSet& set,
                                                   FunctionRecordFactory& factory, bool proxies) {
    if (!proxies) loaded_in_full_ = true;
    return database_->read_function_records(set, factory, proxies);
}

std::unique_ptr<SampleFeedbackDBReader> open_db_reader(const char* path) {
    std::unique_ptr<SampleDB> database(new (std::nothrow) SampleDB);
    if (database == nullptr || database->open_readonly(path) != DbOpenOk) return nullptr;
    std::unique_ptr<SampleFeedbackDBReader> reader(new (std::nothrow)
                                                       SampleFeedbackDBReader(*database));
    if (reader != nullptr) input_databases().push_back(std::move(database));
    return reader;
}

}  // namespace hotpath
