// Writes records into an open sample database.
#include "diag/reporter.h"
#include "shared/hotpath/database/sample_db.h"
#include "shared/hotpath/model/function_record_set.h"

namespace hotpath {
namespace {

void trace_store(const char* what, const FunctionRecord& record) {
    if ((diag::trace_flags & diag::TRACE_DB_STORE) == 0) return;
    diag::trace_print("%s function: %.*s(%.*s)\n", what, diag::printed_size(record.get_file_name()),
                      record.get_file_name().data(), diag::printed_size(record.get_function_name()),
                      record.get_function_name().data());
}

void trace_insert_failure(const FunctionRecord& record, const char* what) {
    if ((diag::trace_flags & diag::TRACE_DB_ERRORS) == 0) return;
    diag::trace_print("SampleDB::insert_function_record: %.*s(%.*s)",
                      diag::printed_size(record.get_file_name()), record.get_file_name().data(),
                      diag::printed_size(record.get_function_name()),
                      record.get_function_name().data());
    diag::trace_print("%s failed\n", what);
}

OptionalId id_of_first_row(const SqlStatement& statement) {
    OptionalId id;
    if (statement.step() == step_row)
        id = {static_cast<std::uint32_t>(statement.column_int(0)), true};
    statement.reset();
    return id;
}

}  // namespace

bool SampleDB::insert_function_record(const FunctionRecord& record) {
    trace_store("Insert", record);
    const OptionalId file = file_id(record.get_file_name());
    if (!file.has_value) {
        trace_insert_failure(record, "Inserting filename");
        return false;
    }
    const OptionalId function = add_function(record, file.value);
    if (!function.has_value) {
        trace_insert_failure(record, ": Inserting function");
        return false;
    }
    if (!insert_edges(function.value, record)) return false;
    insert_calls(function.value, record);
    return true;
}

bool SampleDB::update_function_record(std::uint32_t func_id, const FunctionRecord& record) {
    trace_store("Update", record);
    if (!delete_rows(m_delete_edges, func_id)) return false;
    if (!delete_rows(m_delete_calls, func_id)) return false;
    m_update_function.bind_uint32(functions_column::id, func_id);
    m_update_function.bind_uint64(functions_column::exec_count, record.get_exec_count());
    const int code = m_update_function.step();
    m_update_function.reset();
    if (code != step_done) return false;
    if (!insert_edges(func_id, record)) return false;
    insert_calls(func_id, record);
    return true;
}

// The id of a file, whose row is added at its first use.
OptionalId SampleDB::file_id(std::string_view name) {
    if (!m_row_ids.is_started()) m_row_ids.start(db());
    const OptionalId known = m_row_ids.holds() ? m_row_ids.find_file(name) : find_file_id(name);
    return known.has_value ? known : add_file(name);
}

OptionalId SampleDB::find_file_id(std::string_view name) const {
    m_select_filename.bind_text(filenames_column::filename, name);
    return id_of_first_row(m_select_filename);
}

OptionalId SampleDB::add_file(std::string_view name) {
    m_insert_filename.bind_text(filenames_column::filename, name);
    const int code = m_insert_filename.step();
    m_insert_filename.reset();
    if (code != step_done) {
        m_row_ids.forget();
        return {};
    }
    const OptionalId added = m_row_ids.added_file(name);
    return added.has_value ? added : find_file_id(name);
}

OptionalId SampleDB::find_function_id(std::string_view name, std::uint32_t file_id) const {
    m_select_function.bind_text(functions_column::func_name, name);
    m_select_function.bind_uint32(functions_column::file_id, file_id);
    return id_of_first_row(m_select_function);
}

// Adds the function's row and gives its id. A row with these texts that stood there before keeps
// them both: the search finds it first, and with it goes what follows.
OptionalId SampleDB::add_function(const FunctionRecord& record, std::uint32_t file_id) {
    const std::string_view name = record.get_function_name();
    m_insert_function.bind_text(functions_column::func_name, name);
    m_insert_function.bind_uint32(functions_column::file_id, file_id);
    m_insert_function.bind_uint64(functions_column::exec_count, record.get_exec_count());
    m_insert_function.bind_uint64(functions_column::flags, record.function_flags());
    const int code = m_insert_function.step();
    m_insert_function.reset();
    if (code != step_done) m_row_ids.forget();
    const OptionalId added = m_row_ids.added_function(name, file_id);
    return added.has_value && !may_have_stood(record) ? added : find_function_id(name, file_id);
}

// True if the file may have held a row with the function's texts before: under its key, of which
// the record set knows all, stands also a function whose names are cut otherwise.
bool SampleDB::may_have_stood(const FunctionRecord& record) const {
    if (!m_row_ids.had_functions()) return false;
    return !m_proxies_read ||
           m_record_set->holds_key(record.get_file_name(), record.get_function_name());
}

bool SampleDB::insert_edges(std::uint32_t func_id, const FunctionRecord& record) {
    record.copy_edges(m_edges);
    for (const EdgeRecord* edge : m_edges)
        if (!insert_edge(func_id, *edge)) return false;
    return true;
}

bool SampleDB::insert_edge(std::uint32_t func_id, const EdgeRecord& edge) const {
    const SqlStatement& row = m_insert_edge;
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
    const int code = row.step();
    row.reset();
    return code == step_done;
}

void SampleDB::insert_calls(std::uint32_t func_id, const FunctionRecord& record) {
    record.copy_calls(m_calls);
    for (const CallRecord* call : m_calls) insert_call(func_id, *call);
}

// A call that can't be written is passed over.
void SampleDB::insert_call(std::uint32_t func_id, const CallRecord& call) {
    const SqlStatement& row = m_insert_call;
    row.bind_uint32(calls_column::from_func_id, func_id);
    row.bind_uint32(calls_column::from_abs_line, call.line);
    row.bind_uint32(calls_column::from_rel_line, call.relative_line);
    row.bind_text(calls_column::to_func_name, call.callee_name);
    row.bind_uint64(calls_column::exec_count, call.exec_count);
    if (row.step() != step_done) m_row_ids.forget();
    row.reset();
}

bool SampleDB::delete_rows(const SqlStatement& statement, std::uint32_t func_id) const {
    statement.bind_uint32(edges_column::from_func_id, func_id);
    const int code = statement.step();
    statement.reset();
    return code == step_done;
}

}  // namespace hotpath
