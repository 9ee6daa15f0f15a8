// Brings the inputs of a run into a database: which functions are inserted, which updated, in which
// order and transaction. How rows are read and written stands in the loader and the writer.
#pragma once

#include <string>

#include "hotpath/database/loader.h"
#include "hotpath/database/writer.h"

namespace hotpath {

class FunctionRecord;
class FunctionRecordFactory;
class FunctionRecordSet;

// One merge into one open database. All that is given is borrowed; `own_records` gets proxies of
// the file's functions.
class Merge {
public:
    Merge(const SqlConnection& connection, Loader& loader, Writer& writer,
          FunctionRecordSet& own_records)
        : m_connection(connection),
          m_loader(loader),
          m_writer(writer),
          m_own_records(own_records) {}

    // Adds the runs of the inputs, then inserts or updates each of their functions. False once one
    // failed; what was written before stays.
    bool run(const FunctionRecordSet& inputs, FunctionRecordFactory& factory);

private:
    bool read_own_records(const FunctionRecordSet& inputs);
    void write_run_count(const FunctionRecordSet& inputs) const;
    bool write_functions(const FunctionRecordSet& inputs, FunctionRecordFactory& factory);
    bool insert(const FunctionRecord& source);
    bool insert_or_update(const FunctionRecord& source, FunctionRecordFactory& factory);
    OlderRow older_row(const FunctionRecord& source) const;

    const SqlConnection& m_connection;
    Loader& m_loader;
    Writer& m_writer;
    FunctionRecordSet& m_own_records;
    bool m_file_had_functions = false;       // when its rows were read
    std::string m_data_version;              // when its rows were read
    bool m_own_records_are_current = false;  // nobody wrote since then
};

}  // namespace hotpath
