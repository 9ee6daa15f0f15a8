#include "hotpath/model/function_record.h"

#include <cinttypes>

#include "diag/trace.h"
#include "hotpath/model/function_record_factory.h"

namespace hotpath {

void FunctionRecord::release_edges(FunctionRecordFactory& factory) {
    edges_.release_edges(factory);
}

void FunctionRecord::dump() const {
    diag::trace_texts({get_file_name(), ":", get_function_name()});
    diag::trace_print(":%" PRIu64 "\n", exec_count_);
    diag::trace_print("  Uses columns: %c\n", uses_columns() ? 'T' : 'F');
    diag::trace_print("  Uses discriminators: %c\n", uses_discriminators() ? 'T' : 'F');
    edges_.dump_edges();
    std::vector<const CallRecord*> calls;
    copy_calls(calls);
    for (const CallRecord* call : calls) {
        diag::trace_texts({"  call to: ", call->callee_name});
        diag::trace_print(" Line:%u Exec_cnt: %" PRIu64 "\n", call->line, call->exec_count);
    }
}

void FunctionRecord::add_exec_count(std::uint64_t count) {
    exec_count_ += count;
    if (count != 0) flags_ |= has_counts_mask;
}

std::uint64_t FunctionRecord::function_flags() const {
    std::uint64_t flags = 0;
    if (uses_discriminators()) flags |= function_uses_discriminators;
    if (uses_columns()) flags |= function_uses_columns;
    return flags;
}

EdgeRecord* FunctionRecord::add_edge(std::uint64_t from_address,
                                     const SourcePosition& from_position, std::uint64_t to_address,
                                     const SourcePosition& to_position, std::uint64_t count,
                                     FunctionRecordFactory& factory) {
    if (count != 0) flags_ |= has_counts_mask;
    return edges_.add_edge(from_address, from_position, to_address, to_position, count, factory);
}

void FunctionRecord::merge(const FunctionRecord& source, FunctionRecordFactory& factory) {
    add_exec_count(source.get_exec_count());
    std::vector<const CallRecord*> calls;
    source.copy_calls(calls);
    for (const CallRecord* call : calls)
        add_call(call->callee_name, call->line, call->relative_line, call->exec_count);
    edges_.merge_from(source.edges_, factory);
}

}  // namespace hotpath
