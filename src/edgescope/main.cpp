// edgescope: what is in a sample database, is it sound, what changed, and put it to use.
#include <algorithm>
#include <new>

#include "edgescope/command_line.h"
#include "edgescope/terminal.h"

using namespace edgescope;

static int run_top(const CommandLine& line, Output& output) {
    const std::optional<Profile> profile = read_profile(line.databases, line.reading);
    return profile && write_top(*profile, line.top, output) ? exit_fine : exit_failure;
}

static int run_export(const CommandLine& line, Output& output) {
    const std::optional<Profile> profile = read_profile(line.databases, line.reading);
    return profile && write_export(*profile, line.exporting, output) ? exit_fine : exit_failure;
}

static int run_command(const CommandLine& line, Output& output) {
    switch (line.command) {
        case Command::top: return run_top(line, output);
        case Command::check: return run_check(line.databases, line.reading, line.check, output);
        case Command::compare:
            return run_compare(line.databases[0], line.databases[1], line.reading, line.compare,
                               output);
        case Command::export_profile: return run_export(line, output);
        case Command::view: return run_view(line.databases, line.reading, line.viewing, output);
    }
    return exit_failure;
}

int main(int argument_count, char** arguments) {
    prepare_streams();
    const std::vector<std::string> words = utf8_arguments(argument_count, arguments);
    std::vector<const char*> texts(words.size());
    std::transform(words.begin(), words.end(), texts.begin(),
                   [](const std::string& word) { return word.c_str(); });
    CommandLine line;
    const int early_status = parse_command_line(static_cast<int>(texts.size()), texts.data(), line);
    if (early_status >= 0) return early_status;
    try {
        Output output(line.output);
        const int status = run_command(line, output);
        if (status == exit_failure) return status;
        return output.write() ? status : exit_failure;
    } catch (const std::bad_alloc&) {
        print_error("", "out of memory");
        return exit_failure;
    }
}
