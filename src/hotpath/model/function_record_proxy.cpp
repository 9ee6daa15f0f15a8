#include "hotpath/model/function_record_proxy.h"

#include <cinttypes>

#include "diag/trace.h"
#include "hotpath/model/function_loader.h"
#include "hotpath/model/function_record_factory.h"

namespace hotpath {

void FunctionRecordProxy::release_edges(FunctionRecordFactory& factory) {
    if (record_ != nullptr) record_->release_edges(factory);
}

void FunctionRecordProxy::dump() const {
    diag::trace_texts({"Proxy for ", get_file_name(), "(", get_function_name(), ")\n"});
    diag::trace_print("   Index = %d\n", static_cast<std::int32_t>(function_id_));
    diag::trace_print("   Exec_count = %" PRIu64 "\n", get_exec_count());
    diag::trace_print("   Flags = %" PRIx64 "\n", flags_);
}

FunctionRecord* FunctionRecordProxy::get_full_record() {
    if (record_ != nullptr) return record_;
    record_ = factory_->create_record(key());
    record_->add_exec_count(exec_count_);
    if ((flags_ & function_uses_discriminators) != 0) record_->set_uses_discriminators(true);
    if ((flags_ & function_uses_columns) != 0) record_->set_uses_columns(true);
    record_->set_proxy(this);
    if (database_->load_function_details(function_id_, *factory_, *record_)) return record_;
    if (diag::traces(diag::reader_trace_records)) {
        diag::trace_print("Error loading record for proxy:");
        dump();
    }
    factory_->destroy_record(record_, sizeof(FunctionRecord));
    record_ = nullptr;
    return nullptr;
}

}  // namespace hotpath
