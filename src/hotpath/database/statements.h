// The eleven statements that read and write functions: their texts, and the order in which they are
// prepared and finalized. Who steps them stands in the loader and the writer.
#pragma once

#include "hotpath/database/sql_connection.h"

namespace hotpath {

// The statements of one connection, on which they must be finalized before it is closed.
class Statements {
public:
    // Prepares all; once they are, a further call does nothing. False if SQLite can't prepare one;
    // those in front of it stay prepared.
    bool prepare(DatabaseHandle& db);

    // Finalizes all, the last one first.
    void finalize();

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

private:
    bool prepare_searches(DatabaseHandle& db);
    bool prepare_inserts(DatabaseHandle& db);

    bool m_are_ready = false;
};

}  // namespace hotpath
