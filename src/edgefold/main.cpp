// The entry point: what a command line means, in one fixed order of tests. The order decides which
// message a wrong combination of options gets.
#include "diag/message_catalogue.h"
#include "diag/platform.h"
#include "diag/reporter.h"
#include "diag/trace.h"
#include "edgefold/arguments.h"
#include "edgefold/banner.h"
#include "edgefold/dump_action.h"
#include "edgefold/merge_action.h"
#include "edgefold/options.h"

using namespace tool;

#ifdef _WIN32
extern "C" int wmain(int argument_count, wchar_t** argument_values) {
#else
int main(int argument_count, char** argument_values) {
#endif
    // A reader of the report that stops early must not cost the merge.
    diag::platform::let_writes_fail();
    // Each input database stays open to the end of the run.
    diag::platform::raise_open_file_limit();
    diag::platform::raise_stack_limit();

    // Static, since option values point into them and nobody frees them.
    static char** const arguments = copy_arguments(argument_count, argument_values);
    int next_index = 1;  // what follows the options is ignored
    parse_options(argument_count, arguments, option_table, next_index);

    if (opt_nologo == 0) print_banner();
    if (opt_help != 0) print_help(arguments[0]);
    diag::trace_flags = opt_trace;
    if (opt_file == nullptr) diag::report_fatal(diag::PT_edgefold_no_files);

    if (opt_out != nullptr) {
        if (opt_append != nullptr) diag::report_fatal(diag::PT_edgefold_cannot_out_and_append);
        merge_action(opt_file, opt_out, TargetFile::must_be_new);
    } else if (opt_append != nullptr) {
        merge_action(opt_file, opt_append, TargetFile::may_exist);
    } else if (opt_dump != 0) {
        dump_action(opt_file);
    } else {
        diag::report_fatal(diag::PT_edgefold_no_action);
    }
    return 0;
}
