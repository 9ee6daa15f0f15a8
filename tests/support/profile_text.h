// Records as short texts, read through their operations, so that a test can spell out a whole
// profile.
#pragma once

#include <string>
#include <vector>

#include "hotpath/model/function_record_set.h"
#include "support/profile_lines.h"

namespace test_support {

inline std::string position_text(const hotpath::SourcePosition& position) {
    return position_text(std::to_string(position.line), std::to_string(position.relative_line),
                         std::to_string(position.column), std::to_string(position.discriminator));
}

inline std::string edge_text(const hotpath::EdgeRecord& edge) {
    return edge_line({edge.from_address(), position_text(edge.from_position()), edge.to_address(),
                      position_text(edge.to_position()), std::to_string(edge.exec_count()),
                      edge.is_entry(), edge.is_exit()});
}

inline std::string call_text(const hotpath::CallRecord& call) {
    return call_line(std::string(call.callee_name), std::to_string(call.line),
                     std::to_string(call.relative_line), std::to_string(call.exec_count));
}

inline std::string edges_text(const std::vector<hotpath::EdgeRecord*>& edges) {
    std::string text;
    for (const hotpath::EdgeRecord* edge : edges) text += edge_text(*edge);
    return text;
}

// "f in A.C x7 flags 0", then the edges by line, then the calls in their order.
inline std::string record_text(const hotpath::FunctionRecord& record) {
    std::string text = function_line(
        std::string(record.get_function_name()) + " in " + std::string(record.get_file_name()),
        std::to_string(record.get_exec_count()), std::to_string(record.function_flags()));
    std::vector<hotpath::EdgeRecord*> edges;
    record.copy_edges(edges);
    text += edges_text(edges);
    std::vector<const hotpath::CallRecord*> calls;
    record.copy_calls(calls);
    for (const hotpath::CallRecord* call : calls) text += call_text(*call);
    return text;
}

// Function name, "/", file name: the text that orders the records of a set.
inline std::string joined_text(const hotpath::FunctionRecordInterface& record) {
    return std::string(record.get_function_name()) + "/" + std::string(record.get_file_name());
}

// All records of the set, in its order; proxies are loaded.
inline std::string profile_text(const hotpath::FunctionRecordSet& set) {
    std::string text;
    for (hotpath::FunctionRecordInterface* record : set.records_by_key())
        text += record_text(*record->get_full_record());
    return text;
}

}  // namespace test_support
