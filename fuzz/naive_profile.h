// A profile in ordered maps, by the plainest code that its rules allow, and the text of a profile,
// in which the tool's own can be held against it.
#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "hotpath/model/function_record_set.h"
#include "support/profile_text.h"

namespace fuzz {

struct NaiveEdge {
    hotpath::SourcePosition from;
    hotpath::SourcePosition to;
    std::uint64_t count = 0;
    bool entry = false;
    bool exit = false;
};

struct NaiveCall {
    std::uint32_t relative_line = 0;
    std::uint64_t count = 0;
};

using AddressPair = std::pair<std::uint64_t, std::uint64_t>;
using CallSite = std::pair<std::string, std::uint32_t>;

struct NaiveFunction {
    std::uint64_t count = 0;
    std::uint64_t flags = 0;
    std::map<AddressPair, NaiveEdge> edges{};
    std::map<CallSite, NaiveCall> calls{};

    // A sighting that disagrees with the first one's positions loses its count.
    NaiveEdge& add_edge(const AddressPair& addresses, const hotpath::SourcePosition& from,
                        const hotpath::SourcePosition& to, std::uint64_t taken) {
        NaiveEdge& edge = edges.insert({addresses, {from, to}}).first->second;
        const auto agree = [](const hotpath::SourcePosition& a, const hotpath::SourcePosition& b) {
            return a.line == b.line && a.column == b.column && a.discriminator == b.discriminator;
        };
        if (agree(edge.from, from) && agree(edge.to, to)) edge.count += taken;
        return edge;
    }

    void add_call(const std::string& callee, std::uint32_t line, std::uint32_t relative_line,
                  std::uint64_t taken) {
        calls.insert({{callee, line}, {relative_line}}).first->second.count += taken;
    }
};

struct NaiveProfile {
    std::uint32_t runs = 0;
    // By the joined text of name, "/" and upper-case file name.
    std::map<std::string, NaiveFunction> functions{};

    NaiveFunction& function(const std::string& file, const std::string& name) {
        std::string upper = file;
        for (char& c : upper)
            if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
        return functions[name + "/" + upper];
    }
};

// What a profile's text says of the marks of edges and functions.
enum class Marks { shown, left_out };

inline std::string head_text(const std::string& who, std::uint64_t count, std::uint64_t flags,
                             Marks marks) {
    return test_support::function_line(who, std::to_string(count),
                                       marks == Marks::shown ? std::to_string(flags) : "");
}

inline std::string edge_line(const AddressPair& addresses, const NaiveEdge& edge, Marks marks) {
    const bool shown = marks == Marks::shown;
    return test_support::edge_line({addresses.first, test_support::position_text(edge.from),
                                    addresses.second, test_support::position_text(edge.to),
                                    std::to_string(edge.count), shown && edge.entry,
                                    shown && edge.exit});
}

inline std::string profile_text(const NaiveProfile& profile, Marks marks = Marks::shown) {
    std::string text = "runs " + std::to_string(profile.runs) + "\n";
    for (const auto& [key, function] : profile.functions) {
        text += head_text(key, function.count, function.flags, marks);
        for (const auto& [addresses, edge] : function.edges)
            text += edge_line(addresses, edge, marks);
        for (const auto& [site, call] : function.calls)
            text +=
                test_support::call_text({site.first, site.second, call.relative_line, call.count});
    }
    return text;
}

inline std::string record_text(const hotpath::FunctionRecord& record, Marks marks) {
    std::string text = head_text(test_support::joined_text(record), record.get_exec_count(),
                                 record.function_flags(), marks);
    // The tool has its edges by line.
    std::map<AddressPair, NaiveEdge> sorted;
    std::vector<hotpath::EdgeRecord*> edges;
    record.copy_edges(edges);
    for (const hotpath::EdgeRecord* edge : edges)
        sorted[{edge->from_address(), edge->to_address()}] = {
            edge->from_position(), edge->to_position(), edge->exec_count(), edge->is_entry(),
            edge->is_exit()};
    for (const auto& [addresses, edge] : sorted) text += edge_line(addresses, edge, marks);
    std::vector<const hotpath::CallRecord*> calls;
    record.copy_calls(calls);
    for (const hotpath::CallRecord* call : calls) text += test_support::call_text(*call);
    return text;
}

inline std::string profile_text(const hotpath::FunctionRecordSet& set, Marks marks = Marks::shown) {
    std::string text = "runs " + std::to_string(set.num_runs()) + "\n";
    for (hotpath::FunctionRecordInterface* record : set.records_by_key())
        text += record_text(*record->get_full_record(), marks);
    return text;
}

}  // namespace fuzz
