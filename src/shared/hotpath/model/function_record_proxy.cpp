#include "shared/hotpath/model/function_record_proxy.h"

#include <cinttypes>

#include "diag/reporter.h"
#include "shared/hotpath/database/sample_db.h"
#include "shared/hotpath/model/function_record_factory.h"
#include "shared/hotpath/model/function_record_set.h"

namespace hotpath {

FunctionRecordProxy::~FunctionRecordProxy() {
    // The storage belongs to the factory's allocator; only the collections inside need an end.
    if (record_ != nullptr) record_->~FunctionRecord();
}

void FunctionRecordProxy::release_edges(FunctionRecordFactory& factory) {
    if (record_ != nullptr) record_->release_edges(factory);
}

void FunctionRecordProxy::dump() const {
    diag::trace_print("Proxy for %.*s(%.*s)\n", diag::printed_size(get_file_name()),
                      get_file_name().data(), diag::printed_size(get_function_name()),
                      get_function_name().data());
    diag::trace_print("   Index = %d\n", static_cast<std::int32_t>(function_id_));
    diag::trace_print("   Exec_count = %" PRIu64 "\n", get_exec_count());
    diag::trace_print("   Flags = %" PRIx64 "\n", flags_);
}

FunctionRecord* FunctionRecordProxy::get_full_record() {
    if (record_ != nullptr) return record_;
    FunctionRecordFactory& factory = record_set_->factory();
    record_ = factory.create_record(get_file_name(), get_function_name());
    record_->add_exec_count(exec_count_);
    if ((flags_ & function_uses_discriminators) != 0) record_->set_uses_discriminators(true);
    if ((flags_ & function_uses_columns) != 0) record_->set_uses_columns(true);
    record_->set_proxy(this);
    if (database_->load_function_details(function_id_, factory, *record_)) return record_;
    if ((diag::reader_trace_flags & diag::READER_TRACE_RECORDS) != 0) {
        diag::trace_print("Error loading record for proxy:");
        dump();
    }
    factory.destroy_record(record_, sizeof(FunctionRecord));
    record_ = nullptr;
    return nullptr;
}

}  // namespace hotpath
