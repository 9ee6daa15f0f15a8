// How a function comes to its rows
//
// A new function takes a row of its file, unless the file has one, then its own row, then a row for
// each edge and each call, which carry its row's id. An update deletes the rows of edges and calls,
// changes the count in the function's row and adds all edges and calls again. Statements are
// prepared once, and nothing is written twice.
//
// A function's row may have the same texts as an older one. Whatever SQLite's own id for the new
// row is, its edges and calls go to the row that a search by the texts meets first: the format
// knows a row by its texts alone. `RowIds` tells that id where it follows from what is known; where
// it can't tell, the writer searches, which takes a scan of the table.
//
// Failures: a row of a file or a function that isn't there after its insertion, an edge, a deletion
// and an update end the function; a call is skipped. Nothing is rolled back here. SQLite may do so
// by itself at a failed step, even behind a skipped call; `RowIds` then tells nothing any more.
#include "hotpath/database/writer.h"

#include "diag/trace.h"
#include "hotpath/database/statements.h"
#include "hotpath/model/function_record.h"

namespace hotpath {
namespace {

// The column of an edge or call that names its function's row.
constexpr std::uint32_t owner_column = edges_column::from_func_id;
static_assert(owner_column == calls_column::from_func_id);

void trace_store(const char* what, const FunctionRecord& record) {
    if (!diag::traces(diag::TRACE_DB_STORE)) return;
    diag::trace_texts(
        {what, " function: ", record.get_file_name(), "(", record.get_function_name(), ")\n"});
}

void trace_insert_failure(const FunctionRecord& record, const char* what) {
    if (!diag::traces(diag::TRACE_DB_ERRORS)) return;
    diag::trace_texts({"SampleDB::insert_function_record: ", record.get_file_name(), "(",
                       record.get_function_name(), ")", what, " failed\n"});
}

OptionalId id_of_first_row(const SqlStatement& statement) {
    OptionalId id;
    if (statement.step() == step_row)
        id = {static_cast<std::uint32_t>(statement.column_int(0)), true};
    statement.reset();
    return id;
}

}  // namespace

bool Writer::insert_function_record(const FunctionRecord& record, OlderRow older) {
    trace_store("Insert", record);
    const OptionalId file = file_id(record.key().file());
    if (!file.has_value) {
        trace_insert_failure(record, "Inserting filename");
        return false;
    }
    const OptionalId function = add_function(record, file.value, older);
    if (!function.has_value) {
        trace_insert_failure(record, ": Inserting function");
        return false;
    }
    if (!insert_edges(function.value, record)) return false;
    insert_calls(function.value, record);
    return true;
}

bool Writer::update_function_record(std::uint32_t func_id, const FunctionRecord& record) {
    trace_store("Update", record);
    if (!delete_rows(m_statements.m_delete_edges, func_id)) return false;
    if (!delete_rows(m_statements.m_delete_calls, func_id)) return false;
    m_statements.m_update_function.bind_uint32(functions_column::id, func_id);
    m_statements.m_update_function.bind_uint64(functions_column::exec_count,
                                               record.get_exec_count());
    if (m_statements.m_update_function.run() != step_done) return false;
    if (!insert_edges(func_id, record)) return false;
    insert_calls(func_id, record);
    return true;
}

// The id of a file, whose row is added at its first use.
OptionalId Writer::file_id(const FileName& name) {
    const RowIdAnswer known = m_row_ids.find_file(name);
    if (known.kind == RowIdAnswer::found) return {known.id, true};
    if (known.kind == RowIdAnswer::absent) return add_file(name);
    const OptionalId id = find_file_id(name.text);
    return id.has_value ? id : add_file(name);
}

OptionalId Writer::find_file_id(std::string_view name) const {
    m_statements.m_select_filename.bind_text(filenames_column::filename, name);
    return id_of_first_row(m_statements.m_select_filename);
}

OptionalId Writer::add_file(const FileName& name) {
    m_statements.m_insert_filename.bind_text(filenames_column::filename, name.text);
    if (m_statements.m_insert_filename.run() != step_done) return {};
    const RowIdAnswer added = m_row_ids.added_file(name);
    if (added.kind == RowIdAnswer::found) return {added.id, true};
    return find_file_id(name.text);
}

OptionalId Writer::find_function_id(std::string_view name, std::uint32_t file_id) const {
    m_statements.m_select_function.bind_text(functions_column::func_name, name);
    m_statements.m_select_function.bind_uint32(functions_column::file_id, file_id);
    return id_of_first_row(m_statements.m_select_function);
}

// Adds the function's row and gives its id. A row with these texts that stood there before keeps
// them both: the search finds it first, and with it goes what follows.
OptionalId Writer::add_function(const FunctionRecord& record, std::uint32_t file_id,
                                OlderRow older) {
    const std::string_view name = record.get_function_name();
    m_statements.m_insert_function.bind_text(functions_column::func_name, name);
    m_statements.m_insert_function.bind_uint32(functions_column::file_id, file_id);
    m_statements.m_insert_function.bind_uint64(functions_column::exec_count,
                                               record.get_exec_count());
    m_statements.m_insert_function.bind_uint64(functions_column::flags, record.function_flags());
    // Not looked at: a row that wasn't added isn't found.
    (void)m_statements.m_insert_function.run();
    const RowIdAnswer first = m_row_ids.added_function(name, file_id, older);
    if (first.kind == RowIdAnswer::found) return {first.id, true};
    return find_function_id(name, file_id);
}

bool Writer::insert_edges(std::uint32_t func_id, const FunctionRecord& record) {
    record.copy_edges(m_edges);
    for (const EdgeRecord* edge : m_edges)
        if (!insert_edge(func_id, *edge)) return false;
    return true;
}

bool Writer::insert_edge(std::uint32_t func_id, const EdgeRecord& edge) const {
    const SqlStatement& row = m_statements.m_insert_edge;
    const SourcePosition from = edge.from_position();
    const SourcePosition to = edge.to_position();
    row.bind_uint32(edges_column::from_func_id, func_id);
    row.bind_uint64(edges_column::from_address, edge.from_address());
    row.bind_uint32(edges_column::from_abs_line, from.line);
    row.bind_uint32(edges_column::from_rel_line, from.relative_line);
    row.bind_uint16(edges_column::from_column, from.column);
    row.bind_uint16(edges_column::from_discr, from.discriminator);
    row.bind_uint32(edges_column::to_func_id, func_id);
    row.bind_uint64(edges_column::to_bb_end_address, edge.to_address());
    row.bind_uint32(edges_column::to_abs_line, to.line);
    row.bind_uint32(edges_column::to_rel_line, to.relative_line);
    row.bind_uint16(edges_column::to_column, to.column);
    row.bind_uint16(edges_column::to_discr, to.discriminator);
    row.bind_uint64(edges_column::exec_count, edge.exec_count());
    row.bind_uint64(edges_column::flags, edge.edge_flags());
    return row.run() == step_done;
}

void Writer::insert_calls(std::uint32_t func_id, const FunctionRecord& record) {
    record.copy_calls(m_calls);
    for (const CallRecord* call : m_calls) insert_call(func_id, *call);
}

// A call that can't be written is skipped.
void Writer::insert_call(std::uint32_t func_id, const CallRecord& call) const {
    const SqlStatement& row = m_statements.m_insert_call;
    row.bind_uint32(calls_column::from_func_id, func_id);
    row.bind_uint32(calls_column::from_abs_line, call.line);
    row.bind_uint32(calls_column::from_rel_line, call.relative_line);
    row.bind_text(calls_column::to_func_name, call.callee_name);
    row.bind_uint64(calls_column::exec_count, call.exec_count);
    (void)row.run();
}

bool Writer::delete_rows(const SqlStatement& statement, std::uint32_t func_id) const {
    statement.bind_uint32(owner_column, func_id);
    return statement.run() == step_done;
}

}  // namespace hotpath
