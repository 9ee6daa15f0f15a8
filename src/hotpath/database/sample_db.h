// A sample database: an SQLite file that holds, for each sampled function, its execution count, its
// edges and its calls, and the number of merged runs. It is the tool's output, and an input of
// later merges. This room is the door to the others of its folder.
#pragma once

#include <cstdint>
#include <string>

#include "hotpath/database/loader.h"
#include "hotpath/database/schema.h"
#include "hotpath/database/sql_connection.h"
#include "hotpath/database/statements.h"
#include "hotpath/database/writer.h"

namespace hotpath {

// One database file. Made closed; opened once; it stays open until `close` or its end. Proxies that
// were made from it point to it.
class SampleDB : public SqlConnection {
public:
    SampleDB() = default;
    ~SampleDB() { close(); }

    // Opens the file at `path` (UTF-8) for update; a file that doesn't exist is created with an
    // empty schema. `record_set` is borrowed; the merge fills it with the file's own records.
    DbOpenResult open_writable(FunctionRecordSet* record_set, const char* path);

    // Opens an existing file for reading.
    DbOpenResult open_readonly(const char* path);

    // Finalizes all statements in the reverse of their order, then closes the connection.
    void close();

    // Adds the file's run count and functions to `set`: as proxies, whose counts and flags are
    // assigned, or as full records, to which the file's data is added. False if the file is damaged
    // or can't be read; what was read until then stays in `set`.
    bool read_function_records(FunctionRecordSet& set, FunctionRecordFactory& factory,
                               bool proxies);

    // Adds the edges and calls of a function row to `record`. Always true.
    bool load_function_details(std::uint32_t func_id, FunctionRecordFactory& factory,
                               FunctionRecord& record);

    // Brings the inputs into the open file: adds their runs, inserts each function or merges it
    // with the file's own. False once a function failed; what was written before stays.
    bool merge_records(const FunctionRecordSet& input_records, FunctionRecordFactory& factory);

    // Writes a function that the file doesn't hold. False if the function or one of its edges could
    // not be written.
    bool insert_function_record(const FunctionRecord& record);

    // Replaces the count, edges and calls of a function row. False if a step failed.
    bool update_function_record(std::uint32_t func_id, const FunctionRecord& record);

    // A key's value; empty, or -1, if there is none.
    std::string get_value(const TableSpec& table, const char* key) const;
    std::int32_t get_int_value(const TableSpec& table, const char* key) const;

    // Add, or replace, a key's value. False if SQLite gave an error text for the insertion.
    bool add_value(const TableSpec& table, const char* key, const char* value) const;
    bool add_value(const TableSpec& table, const char* key, std::int32_t value) const;
    bool set_value(const TableSpec& table, const char* key, const char* value) const;
    bool set_value(const TableSpec& table, const char* key, std::int32_t value) const;

private:
    void apply_pragmas() const;

    FunctionRecordSet* m_record_set = nullptr;
    Schema m_schema{*this};
    Statements m_statements;
    Loader m_loader{*this, m_statements};
    Writer m_writer{*this, m_statements};
};

}  // namespace hotpath
