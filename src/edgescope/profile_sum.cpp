#include "edgescope/profile_sum.h"

#include <algorithm>
#include <iterator>
#include <tuple>

#include "edgescope/counts.h"

namespace edgescope {
namespace {

namespace rows = hotpath::rows;

// About what a row takes in a file, for the progress bar.
constexpr std::uint64_t edge_row_size = 50;
constexpr std::uint64_t call_row_size = 40;

std::string in_upper_case(std::string_view text) {
    std::string result(text);
    for (char& c : result)
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    return result;
}

// Where an edge stands among those of its function, with what makes it that edge.
struct EdgePlace {
    std::uint64_t from_address;
    std::uint64_t to_address;
    std::size_t index;

    bool operator<(const EdgePlace& other) const {
        return std::tie(from_address, to_address, index) <
               std::tie(other.from_address, other.to_address, other.index);
    }
    bool is_same_edge(const EdgePlace& other) const {
        return from_address == other.from_address && to_address == other.to_address;
    }
};

// Adds a later sighting to an edge. Of a sighting at other positions only the marks count.
void add_sighting(Edge& edge, const Edge& later) {
    if (same_location(edge.from, later.from) && same_location(edge.to, later.to))
        add_count(edge.count, later.count);
    edge.is_entry = later.is_entry;
    edge.is_exit = later.is_exit;
}

// Makes one edge of all sightings of an address pair. The order stays that of the first sightings.
void fold_edges(std::vector<Edge>& edges) {
    std::vector<EdgePlace> places;
    places.reserve(edges.size());
    for (std::size_t i = 0; i < edges.size(); ++i)
        places.push_back({edges[i].from_address, edges[i].to_address, i});
    std::sort(places.begin(), places.end());
    std::vector<bool> is_later(edges.size());
    bool has_later = false;
    for (std::size_t i = 1, first = 0; i < places.size(); ++i) {
        if (!places[i].is_same_edge(places[first])) {
            first = i;
            continue;
        }
        add_sighting(edges[places[first].index], edges[places[i].index]);
        is_later[places[i].index] = has_later = true;
    }
    if (!has_later) return;
    std::size_t index = 0;
    std::erase_if(edges, [&](const Edge&) { return is_later[index++]; });
}

// Makes one call of all sightings of a callee and line, in their final order.
void fold_calls(std::vector<Call>& calls) {
    std::stable_sort(calls.begin(), calls.end(), [](const Call& a, const Call& b) {
        const int order = a.callee.compare(b.callee);
        return order != 0 ? order < 0 : a.line < b.line;
    });
    std::vector<Call> folded;
    folded.reserve(calls.size());
    for (Call& call : calls) {
        if (!folded.empty() && folded.back().callee == call.callee &&
            folded.back().line == call.line)
            add_count(folded.back().count, call.count);
        else
            folded.push_back(std::move(call));
    }
    calls = std::move(folded);
}

// Appends the elements of `from`, or takes the whole vector if there are none yet.
template <typename Element>
void append(std::vector<Element>& to, std::vector<Element>&& from) {
    if (to.empty())
        to = std::move(from);
    else
        to.insert(to.end(), std::make_move_iterator(from.begin()),
                  std::make_move_iterator(from.end()));
}

std::string key_of(const Function& function) { return function.name + "/" + function.file; }

}  // namespace

bool ProfileSum::add(const std::string& path, const ReadSettings& settings, ProgressBar& progress) {
    progress.begin(path);
    hotpath::RowReader reader;
    const bool is_open =
        settings.is_trusted ? reader.open(path) : reader.open_guarded(path, settings.guard);
    if (is_open && read(reader, progress)) return true;
    print_error(path, reader.error());
    return false;
}

bool ProfileSum::read(hotpath::RowReader& reader, ProgressBar& progress) {
    rows_.clear();
    last_row_ = 0;
    if (!read_runs(reader) || !read_functions(reader) || !read_edges(reader, progress) ||
        !read_calls(reader, progress))
        return false;
    absorb_rows();
    return true;
}

bool ProfileSum::read_runs(hotpath::RowReader& reader) {
    std::optional<std::uint32_t> runs;
    if (!reader.read_runs(runs)) return false;
    profile_.runs += runs.value_or(0);
    if (runs.value_or(0) == 0) all_have_runs_ = false;
    return true;
}

bool ProfileSum::read_functions(hotpath::RowReader& reader) {
    std::unordered_map<std::int64_t, std::string> files;
    return reader.read_files([&](const rows::File& row) {
        files[row.id] = in_upper_case(row.name);
    }) && reader.read_functions([&](const rows::Function& row) { add_function(row, files); });
}

// The place of the function of that name and file, which may be new.
std::size_t ProfileSum::place_of(Function&& function) {
    const auto [place, is_new] = by_key_.emplace(key_of(function), profile_.functions.size());
    if (is_new) profile_.functions.push_back(std::move(function));
    return place->second;
}

void ProfileSum::add(const Profile& profile) {
    profile_.runs += profile.runs;
    for (const Function& function : profile.functions) {
        Function& known = profile_.functions[place_of(
            {.name = function.name, .file = function.file, .edges = {}, .calls = {}})];
        add_count(known.count, function.count);
        known.uses_discriminators |= function.uses_discriminators;
        known.uses_columns |= function.uses_columns;
        append(known.edges, std::vector<Edge>(function.edges));
        append(known.calls, std::vector<Call>(function.calls));
        fold_edges(known.edges);
        fold_calls(known.calls);
    }
}

void ProfileSum::add_function(const rows::Function& row,
                              const std::unordered_map<std::int64_t, std::string>& files) {
    Function function{.name = std::string(row.name), .file = {}, .edges = {}, .calls = {}};
    const auto file = files.find(row.file_id);
    if (file != files.end())
        function.file = file->second;
    else
        ++dangling_.functions;
    const std::size_t place = place_of(std::move(function));
    Function& known = profile_.functions[place];
    add_count(known.count, row.exec_count);
    known.uses_discriminators |= row.uses_discriminators;
    known.uses_columns |= row.uses_columns;
    rows_.push_back({.id = row.id, .function = place, .edges = {}, .calls = {}});
}

ProfileSum::Row* ProfileSum::find_row(std::int64_t id) {
    if (last_row_ < rows_.size() && rows_[last_row_].id == id) return &rows_[last_row_];
    const auto place =
        std::lower_bound(rows_.begin(), rows_.end(), id,
                         [](const Row& row, std::int64_t key) { return row.id < key; });
    if (place == rows_.end() || place->id != id) return nullptr;
    last_row_ = static_cast<std::size_t>(place - rows_.begin());
    return &*place;
}

bool ProfileSum::read_edges(hotpath::RowReader& reader, ProgressBar& progress) {
    return reader.read_edges([&](const rows::Edge& edge) {
        progress.count_row(edge_row_size);
        Row* const row = find_row(edge.function_id);
        if (row == nullptr) {
            ++dangling_.edges;
            return;
        }
        row->edges.push_back({edge.from_address, edge.to_address, edge.exec_count, edge.from,
                              edge.to, edge.is_entry, edge.is_exit});
    });
}

bool ProfileSum::read_calls(hotpath::RowReader& reader, ProgressBar& progress) {
    return reader.read_calls([&](const rows::Call& call) {
        progress.count_row(call_row_size);
        Row* const row = find_row(call.function_id);
        if (!call.callee) ++dangling_.nameless_calls;
        if (row == nullptr) ++dangling_.calls;
        if (row == nullptr || !call.callee) return;
        row->calls.push_back(
            {std::string(*call.callee), call.line, call.relative_line, call.exec_count});
    });
}

void ProfileSum::absorb_rows() {
    for (Row& row : rows_) {
        Function& function = profile_.functions[row.function];
        append(function.edges, std::move(row.edges));
        append(function.calls, std::move(row.calls));
        fold_edges(function.edges);
        fold_calls(function.calls);
    }
}

Profile ProfileSum::finish() {
    for (Function& function : profile_.functions)
        std::stable_sort(function.edges.begin(), function.edges.end(),
                         [](const Edge& a, const Edge& b) { return a.from.line < b.from.line; });
    std::vector<std::pair<std::string, std::size_t>> order;
    order.reserve(by_key_.size());
    for (auto& [key, index] : by_key_) order.emplace_back(key, index);
    std::sort(order.begin(), order.end());
    std::vector<Function> sorted;
    sorted.reserve(order.size());
    for (const auto& place : order) sorted.push_back(std::move(profile_.functions[place.second]));
    profile_.functions = std::move(sorted);
    return std::move(profile_);
}

bool accept_sums(const Profile& profile, const std::string& path) {
    if (can_be_summed(profile)) return true;
    print_error(path, "the counts add up to 2^62 or more; 'edgescope check' tells where they are");
    return false;
}

std::optional<Profile> read_profile(const std::vector<std::string>& paths,
                                    const ReadSettings& settings) {
    ProfileSum sum;
    ProgressBar progress(paths.size());
    for (const std::string& path : paths)
        if (!sum.add(path, settings, progress)) return std::nullopt;
    Profile profile = sum.finish();
    if (!accept_sums(profile, paths.size() == 1 ? paths.front() : "")) return std::nullopt;
    return profile;
}

}  // namespace edgescope
