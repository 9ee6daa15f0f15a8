// Records as short texts, read through their operations, so that a test can spell out a whole
// profile.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "shared/hotpath/model/function_record_set.h"

namespace test_support {

// "10:1.2.3" is line 10, relative line 1, column 2, discriminator 3.
inline std::string position_text(const hotpath::SourcePosition& position) {
    return std::to_string(position.line) + ":" + std::to_string(position.relative_line) + "." +
           std::to_string(position.column) + "." + std::to_string(position.discriminator);
}

inline std::string hex_text(std::uint64_t value) {
    char text[17];
    std::snprintf(text, sizeof text, "%llx", static_cast<unsigned long long>(value));
    return text;
}

// "  edge 1a 10:0.0.0 > 2b 11:0.0.0 x5 entry exit"
inline std::string edge_text(const hotpath::EdgeRecord& edge) {
    return "  edge " + hex_text(edge.from_address()) + " " + position_text(edge.from_position()) +
           " > " + hex_text(edge.to_address()) + " " + position_text(edge.to_position()) + " x" +
           std::to_string(edge.exec_count()) + (edge.is_entry() ? " entry" : "") +
           (edge.is_exit() ? " exit" : "") + "\n";
}

// "  call g 12:1 x3": callee, line, relative line, count
inline std::string call_text(const hotpath::CallRecord& call) {
    return "  call " + std::string(call.callee_name) + " " + std::to_string(call.line) + ":" +
           std::to_string(call.relative_line) + " x" + std::to_string(call.exec_count) + "\n";
}

inline std::string edges_text(const std::vector<hotpath::EdgeRecord*>& edges) {
    std::string text;
    for (const hotpath::EdgeRecord* edge : edges) text += edge_text(*edge);
    return text;
}

// "f in A.C x7 flags 0", then the edges by line, then the calls in their order.
inline std::string record_text(const hotpath::FunctionRecord& record) {
    std::string text = std::string(record.get_function_name()) + " in " +
                       std::string(record.get_file_name()) + " x" +
                       std::to_string(record.get_exec_count()) + " flags " +
                       std::to_string(record.function_flags()) + "\n";
    std::vector<hotpath::EdgeRecord*> edges;
    record.copy_edges(edges);
    text += edges_text(edges);
    std::vector<const hotpath::CallRecord*> calls;
    record.copy_calls(calls);
    for (const hotpath::CallRecord* call : calls) text += call_text(*call);
    return text;
}

// All records of the set, in its order; proxies are loaded.
inline std::string profile_text(const hotpath::FunctionRecordSet& set) {
    std::string text;
    for (hotpath::FunctionRecordInterface* record : set.records_by_key())
        text += record_text(*record->get_full_record());
    return text;
}

}  // namespace test_support
