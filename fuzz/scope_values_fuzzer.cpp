// Sample databases with any values, read by edgescope. What it exports as an edge file without a
// warning must bring the same functions, edges and calls back, and its page must have them all.
#include <fstream>
#include <iterator>
#include <map>
#include <string>

#include "database_files.h"
#include "fuzz_input.h"
#include "hotpath/facade/sample_set.h"
#include "quiet_stderr.h"
#include "raw_database.h"
#include "scope_commands.h"
#ifdef FUZZ_PAGE
#include "edgescope/view.h"
#include "support/view_page.h"
#endif

namespace {

using fuzz::FuzzInput;

constexpr const char* names[] = {
    "'f'",   "'g'",  "'fisra.0'", "'f.1'",       "'(anon ns)'",          "''", "NULL", "'_Z1fv'",
    "'a,b'", "'NA'", "'[x,y]'",   "'</script>'", "CAST(x'66ff' AS TEXT)"};
constexpr std::int64_t counts[] = {0, 1, 5, 16777217, 0x80000000LL, 0x123456789ABCDEFLL};
constexpr std::int64_t huge_counts[] = {-1, INT64_MAX, 0x3FFFFFFFFFFFFFFFLL};

std::string count(FuzzInput& input) {
    const std::size_t choice = input.below(std::size(counts) + 2);
    // Rare, since a database with one is refused
    if (choice > std::size(counts) && input.below(8) == 0)
        return std::to_string(huge_counts[input.below(std::size(huge_counts))]);
    return std::to_string(counts[choice % std::size(counts)]);
}
std::string small(FuzzInput& input) { return std::to_string(input.below(6)); }
std::string line(FuzzInput& input) { return std::to_string(static_cast<int>(input.below(12)) - 1); }
std::string name(FuzzInput& input) { return names[input.below(std::size(names))]; }

std::string row(FuzzInput& input) {
    switch (input.below(4)) {
        case 0: return "INSERT INTO sf_filenames (sf_filename) VALUES (" + name(input) + ");";
        case 1:
            return "INSERT INTO sf_functions (sf_func_name, sf_file_id, sf_exec_count, sf_flags)"
                   " VALUES (" +
                   name(input) + "," + small(input) + "," + count(input) + "," + small(input) +
                   ");";
        case 2: {
            std::string sql = "INSERT INTO sf_edges VALUES (" + small(input) + "," + small(input);
            sql += "," + line(input) + "," + line(input) + "," + small(input) + "," + small(input);
            sql += ",1," + small(input) + "," + line(input) + "," + line(input);
            return sql + "," + small(input) + "," + small(input) + "," + count(input) + "," +
                   small(input) + ");";
        }
        default:
            return "INSERT INTO sf_calls VALUES (" + small(input) + "," + line(input) + "," +
                   line(input) + "," + name(input) + "," + count(input) + ");";
    }
}

// Everything that a profile keeps but its order.
std::string text_of(const std::string& file, const std::string& function, std::uint64_t entries) {
    return function + " in " + file + " x" + std::to_string(entries);
}

std::string text_of(const edgescope::Profile& profile) {
    std::string text;
    for (const edgescope::Function& function : profile.functions) {
        text += text_of(function.file, function.name, function.count) + "\n";
        for (const edgescope::Edge& edge : function.edges)
            text += "  " + std::to_string(edge.from_address) + " > " +
                    std::to_string(edge.to_address) + " x" + std::to_string(edge.count) +
                    (edge.is_entry ? " entry" : "") + (edge.is_exit ? " exit" : "") + "\n";
        for (const edgescope::Call& call : function.calls)
            text += "  " + call.callee + ":" + std::to_string(call.line) + " x" +
                    std::to_string(call.count) + "\n";
    }
    return text;
}

std::string text_of(const hotpath::SampleSet& samples) {
    std::string text;
    for (const hotpath::SampledFunction& function : samples.functions()) {
        text += text_of(std::string(function.file_name()), std::string(function.name()),
                        function.exec_count()) +
                "\n";
        for (const hotpath::SampledEdge& edge : function.edges())
            text += "  " + std::to_string(edge.from_address) + " > " +
                    std::to_string(edge.to_address) + " x" + std::to_string(edge.exec_count) +
                    (edge.is_entry ? " entry" : "") + (edge.is_exit ? " exit" : "") + "\n";
        for (const hotpath::SampledCall& call : function.calls())
            text += "  " + std::string(call.callee) + ":" + std::to_string(call.line) + " x" +
                    std::to_string(call.exec_count) + "\n";
    }
    return text;
}

void require_round_trip(const edgescope::Profile& profile) {
    const std::string path = fuzz::fresh_database("scope.csv");
    edgescope::Output output(path);
    edgescope::ExportOptions options;
    options.format = "csv";
    std::string warnings;
    {
        const fuzz::QuietStderr messages;
        fuzz::require(edgescope::write_export(profile, options, output), "an edge file");
        warnings = messages.text();
    }
    if (!warnings.empty()) return;
    fuzz::require(output.write(), "an edge file on the disk");
    hotpath::SampleSet samples;
    fuzz::require(samples.add(path) == hotpath::SampleLoad::done, "an edge file that can be read");
    fuzz::require_equal(text_of(profile), text_of(samples), "what an edge file brings back");
}

#ifdef FUZZ_PAGE
// The page of the database, compared with itself, has all functions and edges.
void require_page(const std::string& database, const edgescope::Profile& profile) {
    const std::string path = fuzz::fresh_database("scope.html");
    edgescope::Output output(path);
    edgescope::ReadSettings settings;
    settings.is_trusted = true;
    edgescope::ViewOptions options;
    options.old_database = database;
    const fuzz::QuietStderr messages;
    fuzz::require(
        edgescope::run_view({database}, settings, options, output) == edgescope::exit_fine,
        "a page");
    fuzz::require(output.write(), "a page on the disk");
    std::ifstream stream(path, std::ios::binary);
    const test_support::ViewPage page({std::istreambuf_iterator<char>(stream), {}});
    std::size_t functions = 0, edges = 0;
    for (const auto& [id, data] : page.data)
        if (id.starts_with("flow-"))
            for (const auto& function : data["functions"]) {
                ++functions;
                edges += function["e"].size();
            }
    fuzz::require(functions == profile.functions.size() &&
                      page["functions"]["names"].size() == functions &&
                      page["overview"]["totals"]["edges"] == edges,
                  "all functions and edges are in the page");
}
#endif

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    const std::string path = fuzz::empty_sample_database("scope.db");
    std::string sql;
    while (!input.is_empty() && sql.size() < 20000) sql += row(input);
    {
        const fuzz::RawConnection connection(path);
        fuzz::require(
            connection.run("PRAGMA synchronous = OFF; PRAGMA journal_mode = MEMORY; BEGIN;" + sql +
                           "COMMIT"),
            "rows");
    }
    std::optional<edgescope::Profile> profile;
    {
        const fuzz::QuietStderr messages;
        profile = fuzz::read_with_edgescope(path, false);
        if (profile) fuzz::run_all_commands(*profile);
    }
    if (profile) {
        require_round_trip(*profile);
#ifdef FUZZ_PAGE
        require_page(path, *profile);
#endif
    } else {
        fuzz::require(fuzz::is_refused_for_its_counts(path, false), "a sound database is read");
    }
    return 0;
}
