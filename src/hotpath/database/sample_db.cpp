#include "hotpath/database/sample_db.h"

#include "diag/platform.h"
#include "diag/trace.h"
#include "hotpath/database/key_values.h"
#include "hotpath/database/merge.h"

namespace hotpath {

using diag::platform::FileKind;
using diag::platform::kind_of_file;

namespace {

void trace_open_failure(const char* path, const char* reason) {
    if (!diag::traces(diag::TRACE_DB_ERRORS)) return;
    diag::trace_print("SampleDB::open_writable(%s)", path);
    diag::trace_print(": Error %s\n", reason);
}

DbOpenResult incompatible(const char* path) {
    trace_open_failure(path, "due to incompatible schema");
    return DbOpenIncompatible;
}

}  // namespace

// A pipe, socket or device never comes to SQLite, here and below: it would wait for a pipe's writer
// and read from a device what can't be read again.
DbOpenResult SampleDB::open_writable(FunctionRecordSet* record_set, const char* path) {
    m_record_set = record_set;
    const FileKind kind = kind_of_file(path);
    if (kind == FileKind::stream) return DbOpenCannotOpen;
    if (kind == FileKind::device) return incompatible(path);
    const DbOpenResult existing = open(path, OpenMode::ReadWrite);
    if (existing == DbOpenSchemaError) return DbOpenSchemaError;
    if (existing == DbOpenOk) {
        m_schema.read_db_version();
        if (!m_schema.is_compatible()) return incompatible(path);
    } else {
        const DbOpenResult created = open(path, OpenMode::ReadWriteCreate);
        if (created != DbOpenOk) return created;
        if (!m_schema.create_schema()) {
            trace_open_failure(path, "while creating schema");
            return DbOpenSchemaError;
        }
    }
    apply_pragmas();
    return m_statements.prepare(db()) ? DbOpenOk : DbOpenSchemaError;
}

DbOpenResult SampleDB::open_readonly(const char* path) {
    if (kind_of_file(path) != FileKind::ordinary) return DbOpenIncompatible;
    const DbOpenResult result = open(path, OpenMode::ReadOnly);
    if (result != DbOpenOk) return result;
    m_schema.read_db_version();
    if (!m_schema.is_compatible()) return DbOpenIncompatible;
    return m_statements.prepare(db()) ? DbOpenOk : DbOpenSchemaError;
}

void SampleDB::close() {
    m_statements.finalize();
    SqlConnection::close();
}

bool SampleDB::read_function_records(FunctionRecordSet& set, FunctionRecordFactory& factory,
                                     bool proxies) {
    if (proxies) return m_loader.read_proxies(set).has_value();
    return m_loader.read_full_records(set, factory);
}

bool SampleDB::load_function_details(std::uint32_t func_id, FunctionRecordFactory& factory,
                                     FunctionRecord& record) {
    return m_loader.load_function_details(func_id, factory, record);
}

bool SampleDB::merge_records(const FunctionRecordSet& input_records,
                             FunctionRecordFactory& factory) {
    return Merge(*this, m_loader, m_writer, *m_record_set).run(input_records, factory);
}

bool SampleDB::insert_function_record(const FunctionRecord& record) {
    return m_writer.insert_function_record(record, OlderRow::possible);
}

bool SampleDB::update_function_record(std::uint32_t func_id, const FunctionRecord& record) {
    return m_writer.update_function_record(func_id, record);
}

std::string SampleDB::get_value(const TableSpec& table, const char* key) const {
    return hotpath::get_value(*this, table, key);
}

std::int32_t SampleDB::get_int_value(const TableSpec& table, const char* key) const {
    return hotpath::get_int_value(*this, table, key);
}

bool SampleDB::add_value(const TableSpec& table, const char* key, const char* value) const {
    return hotpath::add_value(*this, table, key, value);
}

bool SampleDB::add_value(const TableSpec& table, const char* key, std::int32_t value) const {
    return hotpath::add_value(*this, table, key, value);
}

bool SampleDB::set_value(const TableSpec& table, const char* key, const char* value) const {
    return hotpath::set_value(*this, table, key, value);
}

bool SampleDB::set_value(const TableSpec& table, const char* key, std::int32_t value) const {
    return hotpath::set_value(*this, table, key, value);
}

// Speed over safety unless the user asks for the opposite: no disk waits, no journal file.
void SampleDB::apply_pragmas() const {
    if (diag::platform::environment_value("HOTPATH_DB_MODE") == "FAILSAFE_MODE") return;
    exec_sql("PRAGMA synchronous = OFF");
    exec_sql("PRAGMA journal_mode = MEMORY");
}

}  // namespace hotpath
