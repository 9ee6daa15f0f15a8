// Turns rows of a sample database into records of the profile model, whole ones or proxies. The two
// tables of files and functions are read at once, edges and calls for one function at a time.
#pragma once

#include <cstdint>
#include <optional>

#include "hotpath/database/sql_connection.h"
#include "hotpath/model/function_loader.h"

namespace hotpath {

struct FileName;
class FileTable;
class FunctionRow;
class FunctionRecordSet;
class Statements;

// Loads from one open database. Connection and statements must outlive it, and it the proxies that
// it makes.
class Loader final : public FunctionLoader {
public:
    Loader(const SqlConnection& connection, const Statements& statements)
        : m_connection(connection), m_statements(statements) {}

    // Adds the file's run count to `set`, and a proxy for each function row, or for each that a
    // record of `wanted` may find. A proxy's count and flags are assigned. Gives the number of
    // rows; no value if the file is damaged or can't be read. What was read until then stays in
    // `set`.
    std::optional<std::uint64_t> read_proxies(FunctionRecordSet& set,
                                              const FunctionRecordSet* wanted = nullptr);

    // Adds the file's run count and all its data to `set`. False as above.
    bool read_full_records(FunctionRecordSet& set, FunctionRecordFactory& factory);

    // Always true.
    bool load_function_details(std::uint32_t func_id, FunctionRecordFactory& factory,
                               FunctionRecord& record) override;

private:
    bool load_filenames_table(FileTable& names) const;
    bool read_tables(FunctionRecordSet& set, FileTable& files, TextTable& functions,
                     const RowTest& is_kept = {}) const;
    void add_proxy(FunctionRecordSet& set, const FunctionRow& row, const FileName& file,
                   const FunctionRecordSet* wanted);
    void add_full_record(FunctionRecordSet& set, const FunctionRow& row, const FileName& file,
                         FunctionRecordFactory& factory);
    void load_edges(std::uint32_t func_id, FunctionRecordFactory& factory,
                    FunctionRecord& record) const;
    void load_calls(std::uint32_t func_id, FunctionRecordFactory& factory,
                    FunctionRecord& record) const;

    const SqlConnection& m_connection;
    const Statements& m_statements;
};

}  // namespace hotpath
