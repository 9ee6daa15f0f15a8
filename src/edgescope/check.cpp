#include "edgescope/check.h"

#include <algorithm>
#include <map>
#include <unordered_map>

#include "edgescope/imbalance.h"
#include "edgescope/json_output.h"
#include "edgescope/message.h"
#include "edgescope/texts.h"

namespace edgescope {
namespace {

// Edge counts from here on lose their high half when the merge tool reads them again.
constexpr std::uint64_t first_count_that_is_cut = std::uint64_t{1} << 31;

// Shares up to here are worth a note only.
constexpr double unremarkable_percent = 5;

Severity severity_of(double share, double most) {
    if (share > most) return Severity::error;
    return share > std::min(most, unremarkable_percent) ? Severity::warning : Severity::note;
}

Culprit culprit(std::uint64_t number, const Function& function) {
    return {number, function.name, function.file};
}

// Looks for one kind of fault after the other.
class Search {
public:
    Search(const Profile& profile, const CheckOptions& options)
        : profile_(profile), options_(options) {}

    void look_for_content();
    void look_for_dangling_rows(const DanglingRows& dangling);
    void look_for_large_counts();
    void look_for_large_sums();
    void look_for_huge_counts();
    void look_for_imbalance();
    void look_for_calls_beyond_entries();
    void look_for_functions_without_edges();
    void look_for_unknown_lines();
    void look_for_two_positions();
    void look_for_missing_files();

    std::vector<Finding> findings() &&;

private:
    void add(Finding finding);
    void add_rows(const char* kind, std::uint64_t number, const char* noun, const char* what);

    const Profile& profile_;
    const CheckOptions& options_;
    std::vector<Finding> findings_;
};

void Search::add(Finding finding) {
    std::stable_sort(finding.worst.begin(), finding.worst.end(),
                     [](const Culprit& a, const Culprit& b) { return a.number > b.number; });
    if (finding.worst.size() > options_.worst) finding.worst.resize(options_.worst);
    findings_.push_back(std::move(finding));
}

std::vector<Finding> Search::findings() && {
    std::stable_sort(findings_.begin(), findings_.end(),
                     [](const Finding& a, const Finding& b) { return a.severity > b.severity; });
    return std::move(findings_);
}

void Search::look_for_content() {
    if (profile_.runs == 0)
        add({Severity::error, "no-runs", "the database holds no runs",
             "merge at least one recording into it", 0});
    if (profile_.functions.empty())
        add({Severity::error, "no-functions", "the database holds no functions",
             "look whether the recording has samples of your program", 0});
}

void Search::add_rows(const char* kind, std::uint64_t number, const char* noun, const char* what) {
    if (number != 0)
        add({Severity::error, kind, counted(number, noun) + " " + what,
             "make the database anew from its edge files", number});
}

void Search::look_for_dangling_rows(const DanglingRows& dangling) {
    add_rows("dangling-edges", dangling.edges, "edge", "without a function");
    add_rows("dangling-calls", dangling.calls, "call", "without a function");
    add_rows("dangling-functions", dangling.functions, "function", "without a row of its file");
    add_rows("nameless-calls", dangling.nameless_calls, "call", "without a callee");
}

// The functions with counts that would be cut, and how many they have.
std::vector<Culprit> functions_with_large_counts(const Profile& profile) {
    std::vector<Culprit> found;
    for (const Function& function : profile.functions) {
        const auto cut = static_cast<std::uint64_t>(
            std::count_if(function.edges.begin(), function.edges.end(),
                          [](const Edge& edge) { return edge.count >= first_count_that_is_cut; }));
        if (cut != 0) found.push_back(culprit(cut, function));
    }
    return found;
}

std::uint64_t sum_of(const std::vector<Culprit>& culprits) {
    std::uint64_t sum = 0;
    for (const Culprit& one : culprits) sum += one.number;
    return sum;
}

void Search::look_for_large_counts() {
    std::vector<Culprit> worst = functions_with_large_counts(profile_);
    const std::uint64_t number = sum_of(worst);
    if (number != 0)
        add({Severity::error, "large-counts",
             counted(number, "edge count") +
                 " of 2,147,483,648 or more: another merge of this database "
                 "would cut them to 32 bits",
             "merge its edge files anew instead of the database, or lower the counts in them",
             number, 0, std::move(worst)});
}

void Search::look_for_large_sums() {
    std::vector<Culprit> worst = functions_with_large_counts(profile_);
    const std::uint64_t number = sum_of(worst);
    if (number != 0)
        add({Severity::warning, "large-sums",
             counted(number, "edge count") +
                 " of 2,147,483,648 or more in the sum: a database that they are merged into could "
                 "not be merged again",
             "keep the edge files and merge them all at once, or lower the counts in them", number,
             0, std::move(worst)});
}

void Search::look_for_huge_counts() {
    constexpr std::uint64_t first_that_is_huge = std::uint64_t{1} << 48;
    std::vector<Culprit> worst;
    for (const Function& function : profile_.functions) {
        const std::uint64_t sum = sum_of_counts(function);
        if (sum >= first_that_is_huge) worst.push_back(culprit(sum, function));
    }
    const std::uint64_t number = worst.size();
    add({Severity::error, "huge-counts",
         "the counts add up to 2^62 or more, so that shares can't be told; other commands refuse "
         "this database",
         "make the database anew from its edge files: counts that an earlier merge has cut may be "
         "negative, which is read as a huge number",
         number, 0, std::move(worst)});
}

void Search::look_for_imbalance() {
    Imbalance all;
    std::uint64_t number = 0;
    std::vector<Culprit> worst;
    for (const Function& function : profile_.functions) {
        const Imbalance imbalance = imbalance_of(function, profile_.runs);
        all.judged += imbalance.judged;
        all.missing += imbalance.missing;
        all.noise += imbalance.noise;
        if (imbalance.missing == imbalance.noise) continue;
        ++number;
        worst.push_back(culprit(imbalance.missing - imbalance.noise, function));
    }
    if (all.missing == 0) return;
    const double share = percent(all.missing - all.noise, all.judged);
    const std::string text =
        number == 0 ? fmt::format(
                          "the flow doesn't balance by {:.2f} % of the counts, as sampling "
                          "explains",
                          percent(all.noise, all.judged))
                    : fmt::format(
                          "the flow of {} doesn't balance: by {:.2f} % of the counts, "
                          "beside {:.2f} % that sampling explains",
                          counted(number, "function"), share, percent(all.noise, all.judged));
    add({number == 0 ? Severity::note : severity_of(share, options_.max_imbalance), "imbalance",
         text, "record longer, or more runs; look whether all parts of the program were recorded",
         number, share, std::move(worst)});
}

void Search::look_for_calls_beyond_entries() {
    std::unordered_map<std::string_view, std::uint64_t> calls;
    for (const Function& function : profile_.functions)
        for (const Call& call : function.calls) calls[call.callee] += call.count;
    std::unordered_map<std::string_view, std::uint64_t> entries;
    for (const Function& function : profile_.functions) entries[function.name] += function.count;
    std::uint64_t beyond = 0, all = 0;
    std::vector<Culprit> worst;
    for (const auto& [callee, count] : calls) {
        all += count;
        const auto place = entries.find(callee);
        const std::uint64_t entered = place == entries.end() ? 0 : place->second;
        if (count <= entered) continue;
        beyond += count - entered;
        worst.push_back({count - entered, std::string(callee), ""});
    }
    if (beyond == 0) return;
    std::sort(worst.begin(), worst.end(),
              [](const Culprit& a, const Culprit& b) { return a.function < b.function; });
    const std::uint64_t number = worst.size();
    const double share = percent(beyond, all);
    add({severity_of(share, options_.max_imbalance), "calls-beyond-entries",
         fmt::format("{} called more often than entered, by {:.2f} % of all calls",
                     counted(number, "function"), share),
         "look whether the recordings are of one build", number, share, std::move(worst)});
}

void Search::look_for_functions_without_edges() {
    std::uint64_t number = 0, count = 0;
    std::vector<Culprit> worst;
    for (const Function& function : profile_.functions) {
        if (function.count == 0 || !function.edges.empty()) continue;
        ++number;
        count += function.count;
        worst.push_back(culprit(function.count, function));
    }
    if (number == 0) return;
    const double share = percent(count, total_entries(profile_));
    add({Severity::note, "no-edges",
         fmt::format("{} entered but without edges: {:.2f} % of all entries",
                     counted(number, "function"), share),
         "nothing, if they are one block each; otherwise record more samples", number, share,
         std::move(worst)});
}

void Search::look_for_unknown_lines() {
    const auto is_unknown = [](const Position& position) {
        return position.line == unknown_line || position.line == 0;
    };
    std::uint64_t number = 0, count = 0;
    std::vector<Culprit> worst;
    for (const Function& function : profile_.functions) {
        std::uint64_t here = 0;
        for (const Edge& edge : function.edges) {
            if (!is_unknown(edge.from) && !is_unknown(edge.to)) continue;
            ++number;
            here += edge.count;
        }
        count += here;
        if (here != 0) worst.push_back(culprit(here, function));
    }
    if (number == 0) return;
    const double share = percent(count, total_edge_count(profile_));
    add({severity_of(share, options_.max_unknown_lines), "unknown-lines",
         fmt::format("{} without a source line: {:.2f} % of all edge counts",
                     counted(number, "edge"), share),
         "build the program with debug information (-g)", number, share, std::move(worst)});
}

// An address and what it was said to be.
struct AddressPlace {
    std::uint64_t address;
    const Function* function;
    Position position;

    bool agrees_with(const AddressPlace& other) const {
        return function == other.function && same_location(position, other.position);
    }
};

// What all ends of edges say, by address.
std::vector<AddressPlace> address_places(const Profile& profile) {
    std::vector<AddressPlace> places;
    for (const Function& function : profile.functions)
        for (const Edge& edge : function.edges) {
            places.push_back({edge.from_address, &function, edge.from});
            places.push_back({edge.to_address, &function, edge.to});
        }
    std::stable_sort(
        places.begin(), places.end(),
        [](const AddressPlace& a, const AddressPlace& b) { return a.address < b.address; });
    return places;
}

void Search::look_for_two_positions() {
    const std::vector<AddressPlace> places = address_places(profile_);
    std::uint64_t addresses = 0;
    std::map<const Function*, std::uint64_t> doubtful;
    std::uint64_t number = 0;
    for (std::size_t first = 0, end = 0; first < places.size(); first = end) {
        const Function* other = nullptr;
        for (end = first; end < places.size() && places[end].address == places[first].address;
             ++end)
            if (!places[end].agrees_with(places[first])) other = places[end].function;
        ++addresses;
        if (other == nullptr) continue;
        ++number;
        ++doubtful[other];
    }
    if (number == 0) return;
    std::vector<Culprit> worst;
    worst.reserve(doubtful.size());
    for (const auto& [function, count] : doubtful) worst.push_back(culprit(count, *function));
    std::sort(worst.begin(), worst.end(),
              [](const Culprit& a, const Culprit& b) { return a.function < b.function; });
    const double share = percent(number, addresses);
    add({share > options_.max_two_positions ? Severity::error : Severity::warning, "two-positions",
         fmt::format("two positions in the source for {} of {} ({:.2f} %), as where two builds are "
                     "mixed",
                     with_commas(number), with_commas(addresses) + " addresses", share),
         "merge only recordings of one build", number, share, std::move(worst)});
}

void Search::look_for_missing_files() {
    std::uint64_t number = 0, count = 0, all = 0;
    std::vector<Culprit> worst;
    for (const Function& function : profile_.functions) {
        const std::uint64_t here = function.count + total_edge_count(function);
        all += here;
        if (has_file(function)) continue;
        ++number;
        count += here;
        worst.push_back(culprit(here, function));
    }
    if (number == 0) return;
    const double share = percent(count, all);
    add({severity_of(share, options_.max_without_file), "no-file",
         fmt::format("{} without a source file: {:.2f} % of all counts",
                     counted(number, "function"), share),
         "build them with debug information (-g), or leave them out of the recording", number,
         share, std::move(worst)});
}

const char* colour_of(Severity severity) {
    if (severity == Severity::error) return "\x1b[31m";
    return severity == Severity::warning ? "\x1b[35m" : "\x1b[36m";
}

void write_text(const std::string& path, const std::vector<Finding>& findings, Output& output) {
    const bool is_coloured = output.is_coloured();
    for (const Finding& finding : findings) {
        output.print("{}: {}{}{}: {} [{}]\n", printable(path),
                     is_coloured ? colour_of(finding.severity) : "", word_of(finding.severity),
                     is_coloured ? "\x1b[0m" : "", finding.text, finding.kind);
        output.print("    advice: {}\n", finding.advice);
        for (const Culprit& one : finding.worst)
            output.print("    {:>15}  {}{}\n", with_commas(one.number), printable(one.function),
                         one.file.empty() ? "" : " (" + shown_file(one.file) + ")");
    }
    const auto has = [&](Severity severity) {
        return static_cast<std::uint64_t>(
            std::count_if(findings.begin(), findings.end(),
                          [&](const Finding& finding) { return finding.severity == severity; }));
    };
    output.print("{}: {}, {}, {}\n", printable(path), counted(has(Severity::error), "error"),
                 counted(has(Severity::warning), "warning"), counted(has(Severity::note), "note"));
}

Json json_finding(const Finding& finding) {
    Json json = {{"severity", word_of(finding.severity)},
                 {"kind", finding.kind},
                 {"number", finding.number},
                 {"share", finding.share},
                 {"text", finding.text},
                 {"advice", finding.advice},
                 {"worst", Json::array()}};
    for (const Culprit& one : finding.worst)
        json["worst"].push_back(
            {{"number", one.number}, {"function", one.function}, {"file", one.file}});
    return json;
}

Json json_file(const std::string& path, const std::vector<Finding>& findings) {
    Json json = {{"database", path}, {"findings", Json::array()}};
    for (const Finding& finding : findings) json["findings"].push_back(json_finding(finding));
    return json;
}

}  // namespace

const char* word_of(Severity severity) {
    if (severity == Severity::error) return "error";
    return severity == Severity::warning ? "warning" : "note";
}

std::vector<Finding> find_faults(const Profile& profile, const DanglingRows& dangling,
                                 const CheckOptions& options) {
    Search search(profile, options);
    search.look_for_content();
    search.look_for_dangling_rows(dangling);
    search.look_for_large_counts();
    search.look_for_two_positions();
    if (!can_be_summed(profile)) {
        search.look_for_huge_counts();
        return std::move(search).findings();
    }
    search.look_for_imbalance();
    search.look_for_calls_beyond_entries();
    search.look_for_functions_without_edges();
    search.look_for_unknown_lines();
    search.look_for_missing_files();
    return std::move(search).findings();
}

std::vector<Finding> find_faults_of_sum(const Profile& sum, const CheckOptions& options) {
    Search search(sum, options);
    search.look_for_large_sums();
    return std::move(search).findings();
}

int run_check(const std::vector<std::string>& paths, const ReadSettings& settings,
              const CheckOptions& options, Output& output) {
    ProgressBar progress(paths.size());
    Json files = Json::array();
    ProfileSum all;
    bool has_error = false;
    for (const std::string& path : paths) {
        ProfileSum sum;
        if (!sum.add(path, settings, progress)) return exit_failure;
        const Profile profile = sum.finish();
        if (paths.size() > 1) all.add(profile);
        const auto findings = find_faults(profile, sum.dangling_rows(), options);
        has_error |= !findings.empty() && findings.front().severity == Severity::error;
        if (options.as_json)
            files.push_back(json_file(path, findings));
        else
            write_text(path, findings, output);
    }
    if (paths.size() > 1) {
        const auto findings = find_faults_of_sum(all.finish(), options);
        if (options.as_json)
            files.push_back(json_file("", findings));
        else if (!findings.empty())
            write_text("all databases", findings, output);
    }
    if (options.as_json) append_json(files, output);
    return has_error ? exit_finding : exit_fine;
}

}  // namespace edgescope
