// A file of any bytes where a sample database is expected: as an input, and as the target of a
// merge.
#include <filesystem>
#include <string>

#include "database_files.h"
#include "ended_program.h"
#include "fuzz_input.h"
#include "hotpath/database/sample_db.h"

namespace {

void read_as_input(const std::string& path) {
    fuzz::Factory factory;
    hotpath::FunctionRecordSet set(factory);
    hotpath::SampleDB database;
    if (database.open_readonly(path.c_str()) != hotpath::DbOpenOk) return;
    database.read_function_records(set, factory, false);
    set.records_by_key();
}

void add_records(hotpath::FunctionRecordSet& set) {
    for (const char* file : {"a.c", ""}) {
        hotpath::FunctionRecord* const record = set.find_or_create_record(file, "f");
        record->add_exec_count(7);
        record->add_edge(0x10, {10, 1, 2, 3}, 0x20, {20, 2, 3, 4}, 5, set.factory());
        record->add_call("g", 11, 1, 6);
    }
    set.add_runs(1);
}

void merge_into(const std::string& path) {
    fuzz::Factory factory;
    hotpath::FunctionRecordSet inputs(factory);
    add_records(inputs);
    hotpath::SampleDB database;
    hotpath::FunctionRecordSet database_records(factory);
    if (database.open_writable(&database_records, path.c_str()) != hotpath::DbOpenOk) return;
    database.merge_records(inputs, factory);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const fuzz::SqliteLimits limits;
    fuzz::FuzzInput input(data, size);
    fuzz::fresh_database("bytes.db");
    const std::string path = fuzz::database_directory().write("bytes.db", input.rest());
    fuzz::SqliteLimits::begin_again();
    read_as_input(path);
    fuzz::SqliteLimits::begin_again();
    try {
        merge_into(path);
    } catch (const fuzz::ProgramEnded& end) {
        fuzz::require(end.status == 1, "the status of a failed merge");
    }
    read_as_input(path);
    return 0;
}
