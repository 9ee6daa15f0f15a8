#include "edgescope/compare.h"

#include <algorithm>
#include <tuple>

#include "edgescope/json_output.h"
#include "edgescope/message.h"
#include "edgescope/texts.h"

namespace edgescope {
namespace {

// Sums the smaller shares of things that two profiles have in common.
class Overlap {
public:
    Overlap(std::uint64_t old_total, std::uint64_t new_total)
        : old_total_(old_total), new_total_(new_total) {}

    void add(std::uint64_t old_count, std::uint64_t new_count) {
        smaller_counts_ += std::min(old_count, new_count);
        smaller_shares_ += std::min(share(old_count, old_total_), share(new_count, new_total_));
    }

    double in_percent() const {
        if (old_total_ == 0 || new_total_ == 0) return old_total_ == new_total_ ? 100 : 0;
        // Of equal totals the counts say it without rounding.
        if (old_total_ == new_total_) return percent(smaller_counts_, old_total_);
        return static_cast<double>(std::min(100.0L, 100 * smaller_shares_));
    }

private:
    static long double share(std::uint64_t count, std::uint64_t total) {
        return total == 0 ? 0 : static_cast<long double>(count) / static_cast<long double>(total);
    }

    std::uint64_t old_total_;
    std::uint64_t new_total_;
    std::uint64_t smaller_counts_ = 0;
    long double smaller_shares_ = 0;
};

// What an edge or call is known by in another profile, and its count.
struct Counted {
    std::tuple<std::string_view, std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t> key;
    std::uint64_t count;
};

// Sorts by key and makes one of all with equal keys.
void sum_equal_keys(std::vector<Counted>& counted) {
    std::sort(counted.begin(), counted.end(),
              [](const Counted& a, const Counted& b) { return a.key < b.key; });
    std::size_t kept = 0;
    for (std::size_t i = 1; i < counted.size(); ++i) {
        if (counted[i].key == counted[kept].key)
            counted[kept].count += counted[i].count;
        else
            counted[++kept] = counted[i];
    }
    if (!counted.empty()) counted.resize(kept + 1);
}

bool has_relative_lines(const Function& function) {
    return std::any_of(function.edges.begin(), function.edges.end(),
                       [](const Edge& edge) {
                           return edge.from.relative_line != 0 || edge.to.relative_line != 0;
                       }) ||
           std::any_of(function.calls.begin(), function.calls.end(),
                       [](const Call& call) { return call.relative_line != 0; });
}

std::vector<Counted> edges_of(const Function& function, bool by_relative_lines) {
    const auto line = [&](const Position& position) {
        return by_relative_lines ? position.relative_line : position.line;
    };
    const auto column = [](const Position& position) {
        return static_cast<std::uint32_t>(position.column << 16 | position.discriminator);
    };
    std::vector<Counted> counted;
    counted.reserve(function.edges.size());
    for (const Edge& edge : function.edges)
        counted.push_back(
            {{"", line(edge.from), column(edge.from), line(edge.to), column(edge.to)}, edge.count});
    sum_equal_keys(counted);
    return counted;
}

std::vector<Counted> calls_of(const Function& function, bool by_relative_lines) {
    std::vector<Counted> counted;
    counted.reserve(function.calls.size());
    for (const Call& call : function.calls)
        counted.push_back(
            {{call.callee, by_relative_lines ? call.relative_line : call.line, 0, 0, 0},
             call.count});
    sum_equal_keys(counted);
    return counted;
}

void add_common(const std::vector<Counted>& old_ones, const std::vector<Counted>& new_ones,
                Overlap& overlap) {
    auto place = new_ones.begin();
    for (const Counted& one : old_ones) {
        while (place != new_ones.end() && place->key < one.key) ++place;
        if (place == new_ones.end()) return;
        if (place->key == one.key) overlap.add(one.count, place->count);
    }
}

// Walks two profiles side by side.
class Walk {
public:
    Walk(const Profile& old_profile, const Profile& new_profile)
        : old_profile_(old_profile),
          new_profile_(new_profile),
          old_entries_(total_entries(old_profile)),
          new_entries_(total_entries(new_profile)),
          functions_(old_entries_, new_entries_),
          edges_(total_edge_count(old_profile), total_edge_count(new_profile)),
          calls_(total_call_count(old_profile), total_call_count(new_profile)) {}

    Comparison result() &&;

private:
    void visit_both(const Function& old_function, const Function& new_function);
    void visit_old(const Function& function);
    void visit_new(const Function& function);

    const Profile& old_profile_;
    const Profile& new_profile_;
    std::uint64_t old_entries_;
    std::uint64_t new_entries_;
    Overlap functions_;
    Overlap edges_;
    Overlap calls_;
    Comparison comparison_;
};

void Walk::visit_both(const Function& old_function, const Function& new_function) {
    functions_.add(old_function.count, new_function.count);
    const bool by_relative_lines =
        has_relative_lines(old_function) && has_relative_lines(new_function);
    add_common(edges_of(old_function, by_relative_lines), edges_of(new_function, by_relative_lines),
               edges_);
    add_common(calls_of(old_function, by_relative_lines), calls_of(new_function, by_relative_lines),
               calls_);
    const double old_share = percent(old_function.count, old_entries_);
    const double new_share = percent(new_function.count, new_entries_);
    if (new_share > old_share)
        comparison_.gained.push_back({new_function.name, new_function.file, old_share, new_share});
    if (new_share < old_share)
        comparison_.lost.push_back({new_function.name, new_function.file, old_share, new_share});
}

void Walk::visit_old(const Function& function) {
    comparison_.gone.push_back(
        {function.name, function.file, percent(function.count, old_entries_), 0});
}

void Walk::visit_new(const Function& function) {
    comparison_.added.push_back(
        {function.name, function.file, 0, percent(function.count, new_entries_)});
}

void sort_by_change(std::vector<ChangedFunction>& functions) {
    const auto change = [](const ChangedFunction& function) {
        return std::max(function.new_share - function.old_share,
                        function.old_share - function.new_share);
    };
    std::stable_sort(
        functions.begin(), functions.end(),
        [&](const ChangedFunction& a, const ChangedFunction& b) { return change(a) > change(b); });
}

// The functions of a profile by name and file: the profile's own order joins the two.
std::vector<const Function*> by_name_and_file(const Profile& profile) {
    std::vector<const Function*> functions;
    for (const Function& function : profile.functions) functions.push_back(&function);
    std::sort(functions.begin(), functions.end(), [](const Function* a, const Function* b) {
        return std::tie(a->name, a->file) < std::tie(b->name, b->file);
    });
    return functions;
}

Comparison Walk::result() && {
    const auto old_functions = by_name_and_file(old_profile_);
    const auto new_functions = by_name_and_file(new_profile_);
    auto new_place = new_functions.begin();
    for (const Function* const function : old_functions) {
        const auto key = std::tie(function->name, function->file);
        while (new_place != new_functions.end() &&
               std::tie((*new_place)->name, (*new_place)->file) < key)
            visit_new(**new_place++);
        if (new_place != new_functions.end() &&
            std::tie((*new_place)->name, (*new_place)->file) == key)
            visit_both(*function, **new_place++);
        else
            visit_old(*function);
    }
    while (new_place != new_functions.end()) visit_new(**new_place++);
    for (auto* const list :
         {&comparison_.gained, &comparison_.lost, &comparison_.added, &comparison_.gone})
        sort_by_change(*list);
    comparison_.functions = functions_.in_percent();
    comparison_.edges = edges_.in_percent();
    comparison_.calls = calls_.in_percent();
    return std::move(comparison_);
}

void write_list(const char* title, const std::vector<ChangedFunction>& functions,
                const CompareOptions& options, Output& output) {
    if (functions.empty()) return;
    output.print("\n{}: {}\n", title, with_commas(functions.size()));
    std::size_t rows = 0;
    for (const ChangedFunction& function : functions) {
        if (options.limit != 0 && rows++ == options.limit) break;
        output.print("  {:6.2f}% > {:6.2f}%  {} ({})\n", function.old_share, function.new_share,
                     shown_name(function.name, options.demangle), shown_file(function.file));
    }
}

void write_text(const Comparison& comparison, const CompareOptions& options, Output& output) {
    output.print("Overlap of functions {:8.3f} %\n", comparison.functions);
    output.print("Overlap of edges     {:8.3f} %\n", comparison.edges);
    output.print("Overlap of calls     {:8.3f} %\n", comparison.calls);
    write_list("Gained", comparison.gained, options, output);
    write_list("Lost", comparison.lost, options, output);
    write_list("New", comparison.added, options, output);
    write_list("Gone", comparison.gone, options, output);
}

Json json_list(const std::vector<ChangedFunction>& functions, const CompareOptions& options) {
    Json list = Json::array();
    for (const ChangedFunction& function : functions) {
        if (options.limit != 0 && list.size() == options.limit) break;
        list.push_back({{"function", function.name},
                        {"file", function.file},
                        {"old_share", function.old_share},
                        {"new_share", function.new_share}});
    }
    return list;
}

void write_json(const Comparison& comparison, const CompareOptions& options, Output& output) {
    append_json({{"overlap",
                  {{"functions", comparison.functions},
                   {"edges", comparison.edges},
                   {"calls", comparison.calls}}},
                 {"gained", json_list(comparison.gained, options)},
                 {"lost", json_list(comparison.lost, options)},
                 {"new", json_list(comparison.added, options)},
                 {"gone", json_list(comparison.gone, options)}},
                output);
}

// True, with a message, if an overlap is below the limit.
bool is_below_limit(const char* what, double overlap, double limit) {
    if (overlap >= limit) return false;
    print_error("",
                fmt::format("the overlap of {} is {:.3f} %, below {:g} %", what, overlap, limit));
    return true;
}

}  // namespace

Comparison compare_profiles(const Profile& old_profile, const Profile& new_profile) {
    return Walk(old_profile, new_profile).result();
}

int run_compare(const std::string& old_path, const std::string& new_path,
                const ReadSettings& settings, const CompareOptions& options, Output& output) {
    ProgressBar progress(2);
    ProfileSum old_sum, new_sum;
    if (!old_sum.add(old_path, settings, progress) || !new_sum.add(new_path, settings, progress))
        return exit_failure;
    const Profile old_profile = old_sum.finish(), new_profile = new_sum.finish();
    if (!accept_sums(old_profile, old_path) || !accept_sums(new_profile, new_path))
        return exit_failure;
    const Comparison comparison = compare_profiles(old_profile, new_profile);
    if (options.as_json)
        write_json(comparison, options, output);
    else
        write_text(comparison, options, output);
    bool is_below = is_below_limit("functions", comparison.functions, options.min_overlap);
    is_below |= is_below_limit("edges", comparison.edges, options.min_overlap);
    is_below |= is_below_limit("calls", comparison.calls, options.min_overlap);
    return is_below ? exit_finding : exit_fine;
}

}  // namespace edgescope
