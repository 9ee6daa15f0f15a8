#include "edgescope/view_overview.h"

#include <algorithm>
#include <cmath>

#include "edgescope/view_functions.h"

namespace edgescope {
namespace {

constexpr std::size_t hottest_functions = 10;
constexpr std::size_t moved_functions = 200;

void write_texts(const std::vector<std::string>& texts, JsonWriter& json) {
    json.open_array();
    for (const std::string& text : texts) json.text(text);
    json.close_array();
}

void write_totals(const Profile& profile, JsonWriter& json) {
    std::uint64_t edges = 0, calls = 0;
    for (const Function& function : profile.functions) {
        edges += function.edges.size();
        calls += function.calls.size();
    }
    json.open_object();
    json.key("functions").count(profile.functions.size());
    json.key("edges").count(edges);
    json.key("calls").count(calls);
    json.key("edge_counts").count(total_edge_count(profile));
    json.key("call_counts").count(total_call_count(profile));
    json.key("entries").count(total_entries(profile));
    json.close_object();
}

void write_culprit(const Culprit& culprit, JsonWriter& json) {
    json.open_object();
    json.key("number").count(culprit.number);
    json.key("function").text(culprit.function);
    json.key("file").text(culprit.file);
    json.close_object();
}

void write_findings(const std::vector<Finding>& findings, JsonWriter& json) {
    json.open_array();
    for (const Finding& finding : findings) {
        json.open_object();
        json.key("severity").text(word_of(finding.severity));
        json.key("kind").text(finding.kind);
        json.key("text").text(finding.text);
        json.key("advice").text(finding.advice);
        json.key("number").count(finding.number);
        json.key("worst").open_array();
        for (const Culprit& culprit : finding.worst) write_culprit(culprit, json);
        json.close_array();
        json.close_object();
    }
    json.close_array();
}

// Those that gained and those that lost, by how much they moved.
std::vector<ChangedFunction> moved(const Comparison& comparison) {
    std::vector<ChangedFunction> functions = comparison.gained;
    functions.insert(functions.end(), comparison.lost.begin(), comparison.lost.end());
    std::stable_sort(
        functions.begin(), functions.end(), [](const ChangedFunction& a, const ChangedFunction& b) {
            return std::abs(a.new_share - a.old_share) > std::abs(b.new_share - b.old_share);
        });
    if (functions.size() > moved_functions)
        functions.erase(functions.begin() + moved_functions, functions.end());
    return functions;
}

void write_comparison(const Comparison& comparison, JsonWriter& json) {
    json.open_object();
    json.key("functions").real(comparison.functions);
    json.key("edges").real(comparison.edges);
    json.key("calls").real(comparison.calls);
    json.key("moved").open_array();
    for (const ChangedFunction& function : moved(comparison)) {
        json.open_array();
        json.text(function.name);
        json.text(other_name(function.name));
        json.text(function.file);
        json.real(function.old_share);
        json.real(function.new_share);
        json.close_array();
    }
    json.close_array();
    json.key("new_functions").count(comparison.added.size());
    json.key("gone_functions").count(comparison.gone.size());
    json.close_object();
}

void write_hottest(const Profile& profile, JsonWriter& json) {
    json.open_array();
    const std::size_t number = std::min(profile.functions.size(), hottest_functions);
    for (std::size_t id = 0; id < number; ++id) json.integer(static_cast<std::int64_t>(id));
    json.close_array();
}

}  // namespace

void write_overview(const Overview& overview, const Profile& profile, JsonWriter& json) {
    json.open_object();
    json.key("generator").text("edgescope " EDGESCOPE_VERSION);
    write_texts(overview.databases, json.key("databases"));
    if (overview.old_database.empty())
        json.key("old").null();
    else
        write_texts({overview.old_database}, json.key("old"));
    json.key("runs").count(profile.runs);
    write_totals(profile, json.key("totals"));
    json.key("measure").text("how often a function was entered");
    json.key("total_weight").count(total_entries(profile));
    write_findings(overview.findings, json.key("findings"));
    write_hottest(profile, json.key("hottest"));
    json.key("flow_size").count(overview.functions_of_segment);
    json.key("has_program").boolean(overview.has_program);
    json.key("compare");
    if (overview.comparison)
        write_comparison(*overview.comparison, json);
    else
        json.null();
    json.close_object();
}

}  // namespace edgescope
