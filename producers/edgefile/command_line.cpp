#include "edgefile/command_line.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace edgefile {

namespace {

double percent(std::uint64_t part, std::uint64_t whole) {
    return whole == 0 ? 0 : 100.0 * static_cast<double>(part) / static_cast<double>(whole);
}

}  // namespace

void add_common_options(CLI::App& app, CommonOptions& options) {
    app.set_version_flag("--version", app.get_name() + " " EDGEFOLD_VERSION);
    app.set_help_flag("-h,--help", "Print this help and stop");
    app.add_option("PROGRAM", options.program, "The program that ran, with debug information (-g)")
        ->required()
        ->type_name("");
    app.add_option("--library", options.libraries,
                   "A library that it ran with, converted too. May be given several times")
        ->type_name("FILE")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    app.add_option("--debug-file", options.debug_files,
                   "Where the debug information is, if not found by itself (by build-id or "
                   ".gnu_debuglink, below /usr/lib/debug too). May be given several times; goes to "
                   "the program or library of its build-id")
        ->type_name("FILE")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    app.add_option("--root", options.table.root, "Write source paths below DIR relative to it")
        ->type_name("DIR");
    app.add_option("--scale", options.table.scale,
                   "Divide counts by N, rounded to nearest; what was hit once stays hit")
        ->type_name("N")
        ->check(CLI::Range(std::uint64_t{1}, std::uint64_t{1} << 62));
}

std::optional<int> parse(CLI::App& app, int argc, char** argv) {
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& help) {
        return app.exit(help);
    } catch (const CLI::ParseError& error) {
        say(app.get_name(), error.what());
        std::fprintf(stderr, "Try '%s --help'.\n", app.get_name().c_str());
        return 2;
    }
    return std::nullopt;
}

void say(std::string_view name, std::string_view text) {
    const std::string line = fmt::format("{}: {}\n", name, text);
    std::fwrite(line.data(), 1, line.size(), stderr);
}

bool flush_output(std::string_view name) {
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return true;
    if (errno != EPIPE) say(name, fmt::format("standard output: {}", std::strerror(errno)));
    return false;
}

void say_summary(std::string_view name, const Summary& summary, double outside) {
    say(name, fmt::format("{} rows, {} hits; {:.1f} % of the hits without a line, which edgefold "
                          "doesn't count; {:.1f} % of the recording outside of the program",
                          summary.rows, summary.hits,
                          percent(summary.hits_without_line, summary.hits), 100 * outside));
    if (summary.large_edges == 0) return;
    const std::uint64_t scale = (summary.largest_count >> 30) + 1;
    say(name, fmt::format("warning: {} edges have counts from 2147483648 on, which edgefold can't "
                          "read back from a database: use --scale {} for all runs of the program",
                          summary.large_edges, scale));
}

}  // namespace edgefile
