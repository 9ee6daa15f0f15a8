// A sample database: an SQLite file that holds, for each sampled function, its execution count, its
// edges and its calls, and the number of merged runs. It is the tool's output, and an input of
// later merges.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "shared/hotpath/database/file_table.h"
#include "shared/hotpath/database/row_id_memory.h"
#include "shared/hotpath/database/sql_connection.h"

namespace hotpath {

struct CallRecord;
class EdgeRecord;
class FunctionRecord;
class FunctionRecordFactory;
class FunctionRecordInterface;
class FunctionRecordSet;
class FunctionRow;

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
    bool create_schema();
    bool create_tables() const;
    void write_version_rows() const;
    bool create_indexes() const;
    void read_db_version();
    bool is_compatible() const;
    void apply_pragmas() const;
    bool prepare_statements();

    bool load_filenames_table(FileTable& names) const;
    bool read_proxies(FunctionRecordSet& set, const FunctionRecordSet* wanted);
    bool read_full_records(FunctionRecordSet& set, FunctionRecordFactory& factory);
    bool read_tables(FunctionRecordSet& set, FileTable& files, TextTable& functions) const;
    void add_proxy(FunctionRecordSet& set, const FunctionRow& row, std::string_view file_name,
                   const FunctionRecordSet* wanted);
    void add_full_record(FunctionRecordSet& set, const FunctionRow& row, std::string_view file_name,
                         FunctionRecordFactory& factory);
    void load_edges(std::uint32_t func_id, FunctionRecordFactory& factory, FunctionRecord& record);
    void load_calls(std::uint32_t func_id, FunctionRecordFactory& factory, FunctionRecord& record);

    OptionalId file_id(std::string_view name);
    OptionalId find_file_id(std::string_view name) const;
    OptionalId add_file(std::string_view name);
    OptionalId find_function_id(std::string_view name, std::uint32_t file_id) const;
    OptionalId add_function(const FunctionRecord& record, std::uint32_t file_id);
    bool may_have_stood(const FunctionRecord& record) const;
    bool insert_edges(std::uint32_t func_id, const FunctionRecord& record);
    bool insert_edge(std::uint32_t func_id, const EdgeRecord& edge) const;
    void insert_calls(std::uint32_t func_id, const FunctionRecord& record);
    void insert_call(std::uint32_t func_id, const CallRecord& call);
    bool delete_rows(const SqlStatement& statement, std::uint32_t func_id) const;
    bool insert_new(const FunctionRecord& source);
    bool merge_function(const FunctionRecord& source, FunctionRecordFactory& factory);

    std::uint8_t m_schema_version = 0;
    std::uint8_t m_filenames_tbl_col_cnt = 0;
    std::uint8_t m_functions_tbl_col_cnt = 0;
    std::uint8_t m_edges_tbl_col_cnt = 0;
    std::uint8_t m_calls_tbl_col_cnt = 0;
    FunctionRecordSet* m_record_set = nullptr;
    bool m_statements_ready = false;
    SelectStatement m_select_filename;
    InsertStatement m_insert_filename;
    SelectStatement m_select_function;
    InsertStatement m_insert_function;
    UpdateStatement m_update_function;
    SelectStatement m_select_edges;
    DeleteStatement m_delete_edges;
    InsertStatement m_insert_edge;
    SelectStatement m_select_calls;
    DeleteStatement m_delete_calls;
    InsertStatement m_insert_call;
    RowIdMemory m_row_ids;
    bool m_held_functions = false;  // there were function rows when the proxies were read
    bool m_proxies_read = false;    // the function rows that an input names stand in `m_record_set`
    std::vector<EdgeRecord*> m_edges;        // of the function that is being written
    std::vector<const CallRecord*> m_calls;  // likewise
};

}  // namespace hotpath
