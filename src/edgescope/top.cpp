#include "edgescope/top.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <vector>

#include "edgescope/json_output.h"
#include "edgescope/message.h"
#include "edgescope/texts.h"

namespace edgescope {
namespace {

// Shares from which on a line is marked by colour.
constexpr double hot_percent = 5.0;
constexpr double warm_percent = 0.5;

// One line of the list: what it counts, and the edge or call, if it is about one.
struct Row {
    std::uint64_t count;
    const Function* function;
    const Edge* edge = nullptr;
    const Call* call = nullptr;
};

std::vector<Row> rows_of(const Function& function, TopKind kind) {
    std::vector<Row> rows;
    if (kind == TopKind::functions)
        rows.push_back({.count = function.count, .function = &function});
    if (kind == TopKind::edges)
        for (const Edge& edge : function.edges)
            rows.push_back({.count = edge.count, .function = &function, .edge = &edge});
    if (kind == TopKind::calls)
        for (const Call& call : function.calls)
            rows.push_back({.count = call.count, .function = &function, .call = &call});
    return rows;
}

bool is_wanted(const Function& function, const std::string& name) {
    return name.empty() || is_function_named(function, name);
}

const char* title_of(TopKind kind) {
    if (kind == TopKind::functions) return "Entries";
    return kind == TopKind::edges ? "Taken" : "Calls";
}

const char* name_of(TopKind kind) {
    if (kind == TopKind::functions) return "functions";
    return kind == TopKind::edges ? "edges" : "calls";
}

std::string place_of(const Row& row) {
    if (row.edge != nullptr)
        return position_text(row.edge->from) + " > " + position_text(row.edge->to);
    if (row.call != nullptr) return position_text({row.call->line, 0, 0, 0});
    return "";
}

// The list, sorted, with the sum that shares are of.
struct List {
    std::vector<Row> rows;
    std::uint64_t total = 0;
};

List make_list(const Profile& profile, const TopOptions& options) {
    List list;
    for (const Function& function : profile.functions) {
        if (!is_wanted(function, options.function)) continue;
        for (const Row& row : rows_of(function, options.kind)) {
            list.total += row.count;
            list.rows.push_back(row);
        }
    }
    std::stable_sort(list.rows.begin(), list.rows.end(),
                     [](const Row& a, const Row& b) { return a.count > b.count; });
    return list;
}

std::size_t shown_rows(const List& list, const TopOptions& options) {
    return options.limit == 0 ? list.rows.size() : std::min(options.limit, list.rows.size());
}

class TextList {
public:
    TextList(const List& list, const TopOptions& options, Output& output)
        : options_(options), output_(output), is_coloured_(output.is_coloured()), list_(list) {
        for (std::size_t i = 0; i < shown_rows(list, options); ++i) {
            place_width_ = std::max(place_width_, place_of(list.rows[i]).size());
            file_width_ = std::max(file_width_, shown_file(list.rows[i].function->file).size());
        }
    }

    void write(std::uint64_t runs) {
        output_.print("# Runs: {}   {}: {}   Sum: {}\n#\n", with_commas(runs),
                      name_of(options_.kind), with_commas(list_.rows.size()),
                      with_commas(list_.total));
        write_line("# Share", " Cumul.", title_of(options_.kind), "Line", "File",
                   options_.kind == TopKind::calls ? "Caller > callee" : "Function");
        std::uint64_t sum = 0;
        for (std::size_t i = 0; i < shown_rows(list_, options_); ++i) write_row(list_.rows[i], sum);
    }

private:
    void write_row(const Row& row, std::uint64_t& sum) {
        sum += row.count;
        const double share = percent(row.count, list_.total);
        std::string name = shown_name(row.function->name, options_.demangle);
        if (row.call != nullptr) name += " > " + shown_name(row.call->callee, options_.demangle);
        const char* const colour = share >= hot_percent    ? "\x1b[31m"
                                   : share >= warm_percent ? "\x1b[32m"
                                                           : "";
        const bool is_marked = is_coloured_ && *colour != '\0';
        if (is_marked) output_.append(colour);
        write_line(fmt::format("{:6.2f}%", share),
                   fmt::format("{:6.2f}%", percent(sum, list_.total)), with_commas(row.count),
                   place_of(row), shown_file(row.function->file), name, is_marked ? "\x1b[0m" : "");
    }

    void write_line(std::string_view share, std::string_view sum, std::string_view count,
                    std::string_view place, std::string_view file, std::string_view name,
                    std::string_view end = "") {
        output_.print("{}  {}  {:>15}  ", share, sum, count);
        if (place_width_ != 0) output_.print("{:<{}}  ", place, std::max(place_width_, size_t{4}));
        output_.print("{:<{}}  {}{}\n", file, std::max(file_width_, size_t{4}), name, end);
    }

    const TopOptions& options_;
    Output& output_;
    bool is_coloured_;
    const List& list_;
    std::size_t place_width_ = 0;
    std::size_t file_width_ = 0;
};

Json json_row(const Row& row, std::uint64_t total) {
    Json json = {{"count", row.count},
                 {"share", percent(row.count, total)},
                 {"function", row.function->name},
                 {"file", row.function->file}};
    if (row.edge != nullptr) {
        json["from"] = json_position(row.edge->from);
        json["to"] = json_position(row.edge->to);
        json["from"]["address"] = row.edge->from_address;
        json["to"]["address"] = row.edge->to_address;
    }
    if (row.call != nullptr) {
        json["callee"] = row.call->callee;
        json["line"] = row.call->line;
        json["relative_line"] = row.call->relative_line;
    }
    return json;
}

void write_json(const List& list, std::uint64_t runs, const TopOptions& options, Output& output) {
    Json json = {{"runs", runs},
                 {"by", name_of(options.kind)},
                 {"rows", list.rows.size()},
                 {"sum", list.total},
                 {"top", Json::array()}};
    for (std::size_t i = 0; i < shown_rows(list, options); ++i)
        json["top"].push_back(json_row(list.rows[i], list.total));
    append_json(json, output);
}

}  // namespace

bool write_top(const Profile& profile, const TopOptions& options, Output& output) {
    const bool is_known = std::any_of(
        profile.functions.begin(), profile.functions.end(),
        [&](const Function& function) { return is_wanted(function, options.function); });
    if (!is_known && !options.function.empty()) {
        print_error("", "no samples of function '" + options.function + "'");
        return false;
    }
    const List list = make_list(profile, options);
    if (options.as_json)
        write_json(list, profile.runs, options, output);
    else
        TextList(list, options, output).write(profile.runs);
    return true;
}

}  // namespace edgescope
