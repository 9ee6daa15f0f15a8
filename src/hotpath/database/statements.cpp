#include "hotpath/database/statements.h"

#include <initializer_list>

namespace hotpath {
namespace {

namespace files = filenames_column;
namespace functions = functions_column;
namespace edges = edges_column;
namespace calls = calls_column;

ColumnList list(const std::initializer_list<std::uint32_t>& columns) {
    return {columns.begin(), columns.size()};
}

}  // namespace

bool Statements::prepare(DatabaseHandle& db) {
    if (m_are_ready) return true;
    if (!prepare_searches(db) || !prepare_inserts(db)) return false;
    m_are_ready = m_update_function.init(db, functions_table, functions::exec_count, functions::id);
    return m_are_ready;
}

// Those that find or delete rows that are there.
bool Statements::prepare_searches(DatabaseHandle& db) {
    if (!m_select_filename.init(db, filenames_table, list({files::filename}))) return false;
    if (!m_select_function.init(db, functions_table,
                                list({functions::func_name, functions::file_id})))
        return false;
    if (!m_select_edges.init(db, edges_table, list({edges::from_func_id}))) return false;
    if (!m_delete_edges.init(db, edges_table, edges::from_func_id)) return false;
    if (!m_select_calls.init(db, calls_table, list({calls::from_func_id}))) return false;
    return m_delete_calls.init(db, calls_table, calls::from_func_id);
}

bool Statements::prepare_inserts(DatabaseHandle& db) {
    if (!m_insert_filename.init(db, filenames_table, list({files::filename}))) return false;
    // The file id stands twice in this text, as older files' writers have it; SQLite takes the
    // first. A failure shows at the first bind.
    m_insert_function.init(db, functions_table,
                           list({functions::func_name, functions::file_id, functions::file_id,
                                 functions::exec_count, functions::flags}));
    if (!m_insert_edge.init(db, edges_table,
                            list({edges::from_func_id, edges::from_address, edges::from_abs_line,
                                  edges::from_rel_line, edges::from_column, edges::from_discr,
                                  edges::to_bb_end_address, edges::to_func_id, edges::to_abs_line,
                                  edges::to_rel_line, edges::to_column, edges::to_discr,
                                  edges::exec_count, edges::flags})))
        return false;
    return m_insert_call.init(db, calls_table,
                              list({calls::from_func_id, calls::from_abs_line, calls::from_rel_line,
                                    calls::to_func_name, calls::exec_count}));
}

void Statements::finalize() {
    m_insert_call.finalize();
    m_delete_calls.finalize();
    m_select_calls.finalize();
    m_insert_edge.finalize();
    m_delete_edges.finalize();
    m_select_edges.finalize();
    m_update_function.finalize();
    m_insert_function.finalize();
    m_select_function.finalize();
    m_insert_filename.finalize();
    m_select_filename.finalize();
    m_are_ready = false;
}

}  // namespace hotpath
