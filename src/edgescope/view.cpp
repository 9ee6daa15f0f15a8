#include "edgescope/view.h"

#include "edgescope/view_flow.h"
#include "edgescope/view_overview.h"
#include "edgescope/view_page.h"
#include "edgescope/view_sources.h"
#include "edgescope/view_table.h"

namespace edgescope {
namespace {

// All that is read for a page.
struct ViewInput {
    Profile profile;
    DanglingRows dangling;
    std::optional<Profile> old_profile;
    std::optional<ProgramLines> program;
};

bool read_databases(const std::vector<std::string>& paths, const ReadSettings& settings,
                    const std::string& old_path, ViewInput& input) {
    ProgressBar progress(paths.size() + (old_path.empty() ? 0 : 1));
    ProfileSum sum, old_sum;
    for (const std::string& path : paths)
        if (!sum.add(path, settings, progress)) return false;
    input.profile = sum.finish();
    input.dangling = sum.dangling_rows();
    if (!accept_sums(input.profile, paths.size() == 1 ? paths.front() : "")) return false;
    if (old_path.empty()) return true;
    if (!old_sum.add(old_path, settings, progress)) return false;
    input.old_profile = old_sum.finish();
    return accept_sums(*input.old_profile, old_path);
}

bool read_program([[maybe_unused]] const std::string& path, [[maybe_unused]] ViewInput& input) {
#ifdef EDGESCOPE_READS_PROGRAMS
    if (!path.empty()) return count_program_lines(input.profile, path, input.program.emplace());
#endif
    return true;
}

Overview overview_of(const ViewInput& input, const std::vector<std::string>& paths,
                     const ViewOptions& options) {
    Overview overview{.databases = paths,
                      .old_database = options.old_database,
                      .findings = find_faults(input.profile, input.dangling, {}),
                      .comparison = {},
                      .functions_of_segment = functions_of_segment(input.profile),
                      .has_program = input.program.has_value()};
    if (input.old_profile)
        overview.comparison = compare_profiles(*input.old_profile, input.profile);
    return overview;
}

void write_flows(const FunctionIds& ids, const ViewLines& lines, std::size_t size,
                 PageWriter& page) {
    for (std::size_t first = 0, number = 0; first < ids.size(); first += size, ++number)
        page.add("flow-" + std::to_string(number), [&](JsonWriter& json) {
            write_flow_segment(ids, lines, first, std::min(first + size, ids.size()), json);
        });
}

void write_page(const ViewInput& input, const Overview& overview, const std::string& directory,
                Output& output) {
    const FunctionIds ids(input.profile);
    const ViewLines lines(input.program ? &*input.program : nullptr);
    const ViewSources sources(input.profile, lines, directory);
    PageWriter page(page_without_data(), output);
    page.add("overview", [&](JsonWriter& json) { write_overview(overview, input.profile, json); });
    page.add("functions", [&](JsonWriter& json) {
        write_function_table(ids, lines, sources, input.old_profile ? &*input.old_profile : nullptr,
                             json);
    });
    page.add("calls", [&](JsonWriter& json) { write_call_graph(ids, json); });
    write_flows(ids, lines, overview.functions_of_segment, page);
    for (std::size_t number = 0; number < sources.size(); ++number)
        page.add("source-" + std::to_string(number),
                 [&](JsonWriter& json) { sources.write(number, json); });
    page.finish();
}

}  // namespace

int run_view(const std::vector<std::string>& paths, const ReadSettings& settings,
             const ViewOptions& options, Output& output) {
    if (output.is_shown()) {
        print_error("", "a page isn't for a terminal; '-o FILE' names a file for it");
        return exit_failure;
    }
    ViewInput input;
    if (!read_databases(paths, settings, options.old_database, input) ||
        !read_program(options.program, input))
        return exit_failure;
    write_page(input, overview_of(input, paths, options), options.sources, output);
    return exit_fine;
}

}  // namespace edgescope
