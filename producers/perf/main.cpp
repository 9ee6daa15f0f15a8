// perf2edges: makes an edge file of branch stacks that perf recorded. Here stand its command line
// and its help, which says how to record.
#include <csignal>
#include <cstdlib>

#include "perf/conversion.h"

namespace {

constexpr const char* description =
    R"(Makes an edge file, on standard output, of branch stacks that perf recorded:

    g++ -g -O2 program.cpp -o program
    perf record -e cycles:u -c 1000003 -j any,u -o program.data ./program
    perf script -i program.data -F pid,brstack --show-mmap-events > program.txt
    perf2edges program program.txt > program.csv

Each branch in a stack is one hit, and so is each way straight on between two of them. Code outside
of the program and the libraries given has no rows; calls of it go by the name that the file has
which the recording says lay there.)";

constexpr const char* footer =
    R"(Event and rate: any event of the processor will do (cycles, or branches taken where it has them),
for user code (":u"). A fixed period (-c) that is a prime number keeps in step with no loop. About
1,000 stacks a second and processor cost little; many short runs are as good as a long one.

Machines without branch stacks: -j takes a processor that records branches (most of Intel's, AMD's
since Zen 4) and a system that lets perf at it; virtual machines seldom do. perf record then says
that the event isn't supported. callgrind2edges makes edge files on any machine.

Whole systems and running processes (-a, --pid): the recording names the process of each stack
(-F pid,...), and processes that run other programs are left out. The code of libraries has rows
where they are given by --library.

Names of functions in other files: they are read from these files, by the paths that the recording
has. A file that isn't there, or isn't the same one (by its build-id, else by its inode), gives no
names, and calls into it are calls of "NA". Then give it by --library.

One conversion for each recording: an edge file counts as one run. Convert one recording at a time,
and give the edge files together to edgefold.

Without --show-mmap-events the program is taken to lie where it was linked to, which holds for
-no-pie alone.)";

}  // namespace

int main(int argc, char** argv) {
    // The reader of the rows may stop early. The write then fails, which needs no message.
    std::signal(SIGPIPE, SIG_IGN);
    CLI::App app(description, perf::command);
    app.footer(footer);
    perf::Options options;
    edgefile::add_common_options(app, options.common);
    app.add_option("STACKS", options.stacks, "What perf script printed; - is standard input")
        ->required()
        ->type_name("");
    app.add_option("--cut-like", options.cut_like,
                   "Cut blocks where branches of this recording lead to, too, which isn't counted: "
                   "give all recordings of a program the same list, so that their edges match")
        ->type_name("STACKS")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    if (const auto status = edgefile::parse(app, argc, argv)) return *status;
    return perf::convert(options) ? EXIT_SUCCESS : EXIT_FAILURE;
}
