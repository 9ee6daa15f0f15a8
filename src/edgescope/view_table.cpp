#include "edgescope/view_table.h"

#include <map>
#include <utility>

#include "edgescope/texts.h"

namespace edgescope {
namespace {

// Writes a column: `write` is called for each function.
template <typename Write>
void write_column(const char* name, const FunctionIds& ids, JsonWriter& json, Write write) {
    json.key(name).open_array();
    for (std::size_t id = 0; id < ids.size(); ++id) write(ids[id]);
    json.close_array();
}

void write_files(const FunctionIds& ids, JsonWriter& json) {
    TextNumbers files;
    write_column("file", ids, json, [&](const Function& function) {
        json.integer(
            function.file.empty() ? -1 : static_cast<std::int64_t>(files.number_of(function.file)));
    });
    json.key("files").open_array();
    for (const std::string_view file : files.texts()) json.text(file);
    json.close_array();
}

void write_counts(const FunctionIds& ids, JsonWriter& json) {
    for (const char* const name : {"weight", "entries"})
        write_column(name, ids, json,
                     [&](const Function& function) { json.count(function.count); });
    write_column("edges", ids, json,
                 [&](const Function& function) { json.count(function.edges.size()); });
    write_column("edge_counts", ids, json,
                 [&](const Function& function) { json.count(total_edge_count(function)); });
    write_column("calls", ids, json,
                 [&](const Function& function) { json.count(function.calls.size()); });
}

void write_old_shares(const FunctionIds& ids, const Profile& old_profile, JsonWriter& json) {
    std::map<std::pair<std::string_view, std::string_view>, std::uint64_t> counts;
    for (const Function& function : old_profile.functions)
        counts.emplace(std::pair(std::string_view(function.name), std::string_view(function.file)),
                       function.count);
    const std::uint64_t all = total_entries(old_profile);
    write_column("old_weight_share", ids, json, [&](const Function& function) {
        const auto found = counts.find({function.name, function.file});
        if (found == counts.end())
            json.null();
        else
            json.real(percent(found->second, all));
    });
}

}  // namespace

void write_function_table(const FunctionIds& ids, const ViewLines& lines,
                          const ViewSources& sources, const Profile* old_profile,
                          JsonWriter& json) {
    json.open_object();
    write_column("names", ids, json, [&](const Function& function) { json.text(function.name); });
    write_column("demangled", ids, json,
                 [&](const Function& function) { json.text(other_name(function.name)); });
    write_files(ids, json);
    write_column("line", ids, json, [&](const Function& function) {
        const auto line = lines.first_line_of(function);
        json.integer(line ? static_cast<std::int64_t>(*line) : -1);
    });
    write_counts(ids, json);
    write_column("source", ids, json,
                 [&](const Function& function) { json.integer(sources.number_of(function.file)); });
    if (old_profile != nullptr) write_old_shares(ids, *old_profile, json);
    json.close_object();
}

}  // namespace edgescope
