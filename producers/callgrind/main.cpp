// Makes an edge file from a recording of valgrind's callgrind tool.
#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "callgrind/flow.h"
#include "callgrind/recording.h"
#include "callgrind/run.h"
#include "edgefile/command_line.h"
#include "edgefile/edge_table.h"
#include "edgefile/programs.h"

namespace {

using edgefile::Place;

constexpr const char* command = "callgrind2edges";
constexpr double largest_misfit = 0.01;

constexpr const char* description =
    R"(Makes an edge file, on standard output, from a recording of valgrind's callgrind tool:

    g++ -g -O2 program.cpp -o program
    valgrind --tool=callgrind --dump-instr=yes --collect-jumps=yes --demangle=no \
        --callgrind-out-file=program.out ./program
    callgrind2edges program program.out > program.csv

It has rows with exact counts, as a sampler would deliver that takes every transfer of control. Code
outside of the program and the libraries given has no rows; calls of it go by the name that the
recording has.)";

constexpr const char* footer =
    R"(Several recordings are taken for threads or parts of one run. "-" is standard input.

Counts are exact: one that the edge file's numbers would round is written as several rows. Edges
that were hit 2^31 times or more can't be read back from a database: divide them by --scale.

Where a function is left by an exception or longjmp, no row says so: the recording doesn't know it.

Debian's valgrind (3.19) gives up reading the debug information of programs of several files that
clang built with DWARF 5, its default: compile them with -gdwarf-4. It knows no AVX-512: a program
that uses it ends with SIGILL, and its recording is refused.)";

struct Options {
    edgefile::CommonOptions common;
    std::vector<std::string> recordings;
    std::vector<std::string> cut_like;
    bool unfinished = false;
};

void add_options(CLI::App& app, Options& options) {
    edgefile::add_common_options(app, options.common);
    app.add_option("RECORDING", options.recordings, "Callgrind's output, or several of one run")
        ->required()
        ->type_name("");
    app.add_option(
           "--cut-like", options.cut_like,
           "Cut blocks at the jump targets of this recording too, which isn't counted: give "
           "all files of a program the same list, so that their edges match")
        ->type_name("RECORDING")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    app.add_flag("--unfinished", options.unfinished,
                 "Take the recording of a program that a signal ended, too");
}

[[nodiscard]] bool fail(const std::string& text) {
    edgefile::say(command, text);
    return false;
}

std::FILE* open_recording(const std::string& path) {
    return path == "-" ? stdin : std::fopen(path.c_str(), "rb");
}

bool read_recording(const std::string& path, callgrind::Recording& recording) {
    std::FILE* stream = open_recording(path);
    if (stream == nullptr) return fail(path + ": " + std::strerror(errno));
    std::string problem;
    const bool good = recording.read(stream, problem);
    if (stream != stdin) std::fclose(stream);
    return good || fail(path + ": " + problem);
}

bool begins_with(const std::string& path, std::string_view text) {
    std::FILE* stream = path == "-" ? nullptr : std::fopen(path.c_str(), "rb");
    if (stream == nullptr) return false;
    std::string front(text.size(), '\0');
    front.resize(std::fread(front.data(), 1, front.size(), stream));
    std::fclose(stream);
    return front == text;
}

bool are_swapped(const Options& options) {
    return begins_with(options.recordings.front(), "\177ELF") &&
           !begins_with(options.common.program, "\177ELF");
}

bool open_programs(const Options& options, edgefile::Programs& programs) {
    if (are_swapped(options))
        return fail(fmt::format("{} is a program and {} is none: the program comes first",
                                options.recordings.front(), options.common.program));
    const edgefile::CommonOptions& common = options.common;
    std::string problem;
    if (!programs.open(common.program, common.libraries, common.debug_files, problem))
        return fail(problem);
    return true;
}

// Without debug information there are no lines, and without lines the merge tool drops all edges.
bool have_debug_information(const edgefile::Programs& programs) {
    for (std::uint32_t i = 0; i < programs.size(); ++i) {
        if (programs[i].has_debug_information()) continue;
        const std::string text =
            programs[i].path() +
            ": has no debug information: compile it with -g, or say where it is by --debug-file";
        if (i == 0) return fail(text);
        edgefile::say(command, "warning: " + text);
    }
    return true;
}

std::string names_of(const callgrind::Recording& recording) {
    std::vector<std::string> names;
    for (const callgrind::Object& object : recording.objects())
        if (!object.executed.empty()) names.push_back(object.name);
    std::sort(names.begin(), names.end());
    return names.empty() ? "nothing" : fmt::format("{}", fmt::join(names, ", "));
}

// Whether the recording can be one of the programs.
bool fits(const callgrind::Run& run, const callgrind::Recording& recording,
          const edgefile::Programs& programs) {
    if (!run.problem().empty()) return fail(run.problem());
    for (std::uint32_t i = 0; i < programs.size(); ++i) {
        const std::string& path = programs[i].path();
        const callgrind::Fit& fit = run.fits()[i];
        if (!fit.is_recorded && i == 0)
            return fail(
                fmt::format("the recording is not of {}, but of {}", path, names_of(recording)));
        if (!fit.is_recorded)
            edgefile::say(command, "warning: the recording has nothing of " + path);
        if (fit.misfits == 0) continue;
        const double share = static_cast<double>(fit.misfits) / static_cast<double>(fit.places);
        const std::string text = fmt::format(
            "{}: {:.1f} % of the addresses recorded don't fit its instructions", path, 100 * share);
        if (share > largest_misfit) return fail(text + ": the recording is of another build");
        edgefile::say(command, "warning: " + text);
    }
    return run.has_jumps() || fail("the recording has no jumps: record with --collect-jumps=yes");
}

bool read_run(const Options& options, callgrind::Recording& recording) {
    for (const std::string& path : options.recordings)
        if (!read_recording(path, recording)) return false;
    if (recording.objects().empty()) return fail("the recording is empty");
    return options.unfinished || !recording.was_killed() ||
           fail(
               "the recording ends with a crash of the program, or another signal (SIGILL where "
               "valgrind doesn't know an instruction): if it is to count, say --unfinished");
}

// Targets of other recordings, which make more blocks and no counts.
bool cut_like(const Options& options, edgefile::Code& code) {
    for (const std::string& path : options.cut_like) {
        callgrind::Recording recording;
        if (!read_recording(path, recording)) return false;
        const callgrind::Run run(code, recording);
        if (!fits(run, recording, code.programs())) return false;
        code.cut(run.targets());
    }
    return true;
}

bool convert(const Options& options) {
    callgrind::Recording recording;
    edgefile::Programs programs;
    if (!open_programs(options, programs) || !read_run(options, recording)) return false;
    edgefile::Code code(programs);
    const callgrind::Run run(code, recording);
    if (!fits(run, recording, programs) || !have_debug_information(programs)) return false;
    code.cut(run.targets());
    if (!cut_like(options, code)) return false;
    edgefile::EdgeTable table(code, run.foreign_functions(), options.common.table);
    const edgefile::Summary summary = table.write(callgrind::Flow(code, run).transfers(), stdout);
    if (!edgefile::flush_output(command)) return false;
    edgefile::say_summary(command, summary, run.share_outside());
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app(description, command);
    app.footer(footer);
    Options options;
    add_options(app, options);
    if (const auto status = edgefile::parse(app, argc, argv)) return *status;
    return convert(options) ? EXIT_SUCCESS : EXIT_FAILURE;
}
