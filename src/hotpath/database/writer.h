// Writes functions into a sample database: new ones, and new states of those that the file holds.
// Which of the two a function needs, and the transaction around all, is the merge's to decide.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "hotpath/database/row_ids.h"
#include "hotpath/database/sql_connection.h"

namespace hotpath {

struct CallRecord;
class EdgeRecord;
class FunctionRecord;
class Statements;

// Writes to one open database. Connection and statements must outlive it.
class Writer {
public:
    Writer(const SqlConnection& connection, const Statements& statements)
        : m_statements(statements), m_row_ids(connection) {}

    // Adds the function's row, with its edges and calls; those go to the first row with its texts.
    // False if the function or one of its edges could not be written.
    bool insert_function_record(const FunctionRecord& record, OlderRow older);

    // Replaces the count, edges and calls of a function row. False if a step failed.
    bool update_function_record(std::uint32_t func_id, const FunctionRecord& record);

private:
    OptionalId file_id(const FileName& name);
    OptionalId find_file_id(std::string_view name) const;
    OptionalId add_file(const FileName& name);
    OptionalId find_function_id(std::string_view name, std::uint32_t file_id) const;
    OptionalId add_function(const FunctionRecord& record, std::uint32_t file_id, OlderRow older);
    bool insert_edges(std::uint32_t func_id, const FunctionRecord& record);
    bool insert_edge(std::uint32_t func_id, const EdgeRecord& edge) const;
    void insert_calls(std::uint32_t func_id, const FunctionRecord& record);
    void insert_call(std::uint32_t func_id, const CallRecord& call) const;
    bool delete_rows(const SqlStatement& statement, std::uint32_t func_id) const;

    const Statements& m_statements;
    RowIds m_row_ids;
    std::vector<EdgeRecord*> m_edges;        // of the function that is being written
    std::vector<const CallRecord*> m_calls;  // likewise
};

}  // namespace hotpath
