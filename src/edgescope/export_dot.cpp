// The call graph, or the flow through one function's blocks, for Graphviz.
#include <algorithm>
#include <map>

#include "edgescope/blocks.h"
#include "edgescope/export.h"
#include "edgescope/message.h"
#include "edgescope/texts.h"

namespace edgescope {
namespace {

// A text between double quotes.
std::string quoted(const std::string& text) {
    std::string result = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') result += '\\';
        result += c;
    }
    return result + "\"";
}

// Thick and red where much runs.
std::string weight(double share) {
    return fmt::format("penwidth={:.1f}, color=\"0.0 {:.2f} {:.2f}\"", 1 + share / 20,
                       std::min(1.0, share / 20), std::min(0.8, share / 20));
}

void write_begin(const std::string& name, Output& output) {
    output.print(
        "digraph {} {{\n  node [shape=box, fontname=\"sans-serif\", fontsize=10];\n"
        "  edge [fontname=\"sans-serif\", fontsize=9];\n",
        quoted(name));
}

class CallGraph {
public:
    CallGraph(const Profile& profile, const ExportOptions& options, Output& output)
        : profile_(profile), options_(options), output_(output) {
        for (const Function& function : profile.functions)
            nodes_.push_back(
                {.name = function.name, .file = function.file, .count = function.count});
        for (std::size_t i = 0; i < nodes_.size(); ++i) by_name_[nodes_[i].name].push_back(i);
        add_calls();
    }

    void write();

private:
    struct Node {
        std::string name;
        std::string file;
        std::uint64_t count = 0;
        bool is_called_or_calls = false;
    };

    void add_calls();
    std::size_t node_of_callee(const std::string& name);

    const Profile& profile_;
    const ExportOptions& options_;
    Output& output_;
    std::vector<Node> nodes_;
    std::map<std::string, std::vector<std::size_t>> by_name_;
    std::map<std::pair<std::size_t, std::size_t>, std::uint64_t> calls_;
};

// The one function of this name; a node of its own if there are none or several, since a call
// doesn't say which of them it leads to.
std::size_t CallGraph::node_of_callee(const std::string& name) {
    std::vector<std::size_t>& known = by_name_[name];
    if (known.size() != 1) {
        nodes_.push_back({.name = name, .file = "", .count = 0});
        known = {nodes_.size() - 1};
    }
    return known.front();
}

void CallGraph::add_calls() {
    for (std::size_t caller = 0; caller < profile_.functions.size(); ++caller)
        for (const Call& call : profile_.functions[caller].calls)
            calls_[{caller, node_of_callee(call.callee)}] += call.count;
}

void CallGraph::write() {
    const std::uint64_t all_calls = total_call_count(profile_);
    const std::uint64_t all_entries = total_entries(profile_);
    std::erase_if(calls_, [&](const auto& call) {
        return percent(call.second, all_calls) < options_.min_share;
    });
    for (const auto& [ends, count] : calls_)
        nodes_[ends.first].is_called_or_calls = nodes_[ends.second].is_called_or_calls = true;
    write_begin("calls", output_);
    for (std::size_t i = 0; i < nodes_.size(); ++i) {
        const Node& node = nodes_[i];
        const double share = percent(node.count, all_entries);
        if (!node.is_called_or_calls && share < options_.min_share) continue;
        const std::string label = shown_name(node.name, options_.demangle) + "\n" +
                                  shown_file(node.file) + "\n" + with_commas(node.count) +
                                  fmt::format(" ({:.2f} %)", share);
        output_.print("  n{} [label={}, {}];\n", i, quoted(label), weight(share));
    }
    for (const auto& [ends, count] : calls_)
        output_.print("  n{} -> n{} [label=\"{}\", {}];\n", ends.first, ends.second,
                      with_commas(count), weight(percent(count, all_calls)));
    output_.append("}\n");
}

// One function's blocks and edges, as a part of the graph.
void write_flow(const Function& function, std::size_t number, const ExportOptions& options,
                Output& output) {
    const std::uint64_t all = total_edge_count(function);
    const std::string title = shown_name(function.name, options.demangle) + "\n" +
                              shown_file(function.file) + ", entered " +
                              with_commas(function.count) + " times";
    output.print("  subgraph cluster{} {{\n    label={};\n", number, quoted(title));
    std::map<std::uint64_t, bool> is_shown;
    for (const Edge& edge : function.edges) {
        if (percent(edge.count, all) < options.min_share) continue;
        is_shown[edge.from_address] = is_shown[edge.to_address] = true;
    }
    for (const Block& block : blocks_of(function)) {
        if (!is_shown.contains(block.address)) continue;
        output.print("    b{}_{:x} [label=\"line {}\\n{:#x}\\n{}\"{}{}];\n", number, block.address,
                     position_text(block.position), block.address, with_commas(block.count()),
                     block.is_entry ? ", style=bold" : "", block.is_exit ? ", peripheries=2" : "");
    }
    for (const Edge& edge : function.edges) {
        const double share = percent(edge.count, all);
        if (share < options.min_share) continue;
        output.print("    b{}_{:x} -> b{}_{:x} [label=\"{}\", {}];\n", number, edge.from_address,
                     number, edge.to_address, with_commas(edge.count), weight(share));
    }
    output.append("  }\n");
}

bool write_flows(const Profile& profile, const ExportOptions& options, Output& output) {
    write_begin(options.function, output);
    std::size_t number = 0;
    for (const Function& function : profile.functions)
        if (is_function_named(function, options.function))
            write_flow(function, number++, options, output);
    output.append("}\n");
    if (number == 0) print_error("", "no samples of function '" + options.function + "'");
    return number != 0;
}

}  // namespace

bool export_dot(const Profile& profile, const ExportOptions& options, Output& output) {
    if (!options.function.empty()) return write_flows(profile, options, output);
    CallGraph(profile, options, output).write();
    return true;
}

}  // namespace edgescope
