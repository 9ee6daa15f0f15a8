#include "edgescope/command_line.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <filesystem>
#include <map>
#include <set>

#include "edgescope/message.h"

namespace edgescope {
namespace {

// Help as other programs write it: what stands behind a command is shown by its usage line.
class HelpFormat : public CLI::Formatter {
public:
    HelpFormat() { column_width(26); }

    std::string make_usage(const CLI::App* app, std::string /*name*/) const override {
        const bool is_whole = app->get_parent() == nullptr;
        if (is_whole) return "Usage: edgescope COMMAND [OPTIONS] DATABASE...\n";
        const bool takes_two = app->get_name() == "compare";
        return "Usage: edgescope " + app->get_name() + " [OPTIONS] " +
               (takes_two ? "OLD NEW" : "DATABASE...") + "\n";
    }
    std::string make_subcommands(const CLI::App* app, CLI::AppFormatMode mode) const override {
        std::string text = CLI::Formatter::make_subcommands(app, mode);
        const std::string title = "Subcommands:";
        const std::size_t place = text.find(title);
        return place == std::string::npos ? text : text.replace(place, title.size(), "Commands:");
    }
    std::string make_positionals(const CLI::App* /*app*/) const override { return ""; }
};

// CLI11's own check of a range lets pass what is no number.
CLI::Validator within(double least, double most) {
    const auto check = [least, most](std::string& text) {
        double value = 0;
        if (CLI::detail::lexical_cast(text, value) && value >= least && value <= most)
            return std::string();
        return fmt::format("'{}' is no number from {} to {}", text, least, most);
    };
    return {check, ""};
}

// A number of lines: CLI11 would take a sign, and 010 for 8.
void add_lines(CLI::App& command, std::size_t& value, const char* description) {
    const auto check = [](std::string& text) {
        std::size_t number = 0;
        const char* const end = text.data() + text.size();
        const auto result = std::from_chars(text.data(), end, number);
        if (text.empty() || result.ec != std::errc() || result.ptr != end)
            return fmt::format("'{}' is no number of lines", text);
        text = std::to_string(number);
        return std::string();
    };
    command.add_option("-n,--lines", value, description)
        ->option_text("NUMBER")
        ->transform(CLI::Validator(check, ""));
}

// Options that all commands have.
void add_common_options(CLI::App& command, CommandLine& line, double& time_limit) {
    command.add_option("-o,--output", line.output, "Write to FILE instead of standard output")
        ->option_text("FILE");
    command.add_flag("--trust", line.reading.is_trusted,
                     "Leave out the checks of files of unknown origin");
    command
        .add_option("--time-limit", time_limit,
                    "Seconds that reading one file may take (default 60)")
        ->option_text("SECONDS")
        ->check(within(0.001, 1e6));
}

void add_databases(CLI::App& command, CommandLine& line, const char* description) {
    command.add_option("DATABASE", line.databases, description)->required();
}

void add_names_option(CLI::App& command, bool& demangle) {
    command.add_flag("--demangle", demangle, "Show names of C++ as in the source");
}

void add_json_option(CLI::App& command, bool& as_json) {
    command.add_flag("--json", as_json, "Write JSON");
}

CLI::Option* add_percent(CLI::App& command, const char* name, double& value,
                         const char* description) {
    return command.add_option(name, value, description)
        ->option_text("PERCENT")
        ->check(within(0, 100));
}

CLI::App* add_top(CLI::App& app, CommandLine& line) {
    CLI::App* const top = app.add_subcommand("top", "List the hottest functions, edges or calls");
    static const std::map<std::string, TopKind> kinds = {
        {"functions", TopKind::functions}, {"edges", TopKind::edges}, {"calls", TopKind::calls}};
    top->add_option_function<std::string>(
           "--by", [&line](const std::string& name) { line.top.kind = kinds.at(name); },
           "functions (default), edges or calls")
        ->check(CLI::IsMember(kinds))
        ->option_text("KIND");
    add_lines(*top, line.top.limit, "Lines of the list (default 20), 0 for all");
    top->add_option("--function", line.top.function, "Only of the function NAME")
        ->option_text("NAME");
    add_names_option(*top, line.top.demangle);
    add_json_option(*top, line.top.as_json);
    add_databases(*top, line, "Databases, which are summed");
    return top;
}

CLI::App* add_check(CLI::App& app, CommandLine& line) {
    CLI::App* const check = app.add_subcommand("check", "Tell whether databases are fit for use");
    CheckOptions& options = line.check;
    add_percent(*check, "--max-imbalance", options.max_imbalance,
                "Counts that may be missing in the flow (default 50)");
    add_percent(*check, "--max-unknown-lines", options.max_unknown_lines,
                "Edge counts that may be without a line (default 50)");
    add_percent(*check, "--max-two-positions", options.max_two_positions,
                "Addresses that may have two positions (default 1)");
    add_percent(*check, "--max-without-file", options.max_without_file,
                "Counts that may be without a source file (default 50)");
    add_lines(*check, options.worst, "Functions that a finding names (default 10)");
    add_json_option(*check, options.as_json);
    add_databases(*check, line, "Databases, each checked by itself");
    return check;
}

CLI::App* add_compare(CLI::App& app, CommandLine& line) {
    CLI::App* const compare = app.add_subcommand("compare", "Tell how much two databases agree");
    CompareOptions& options = line.compare;
    add_percent(*compare, "--min-overlap", options.min_overlap,
                "Exit with status 1 if an overlap is smaller");
    add_lines(*compare, options.limit, "Functions in each list (default 10), 0 for all");
    add_names_option(*compare, options.demangle);
    add_json_option(*compare, options.as_json);
    compare->add_option("DATABASE", line.databases, "The old database and the new one")
        ->required()
        ->expected(2);
    return compare;
}

void add_program_option(CLI::App& command, std::string& program) {
    CLI::Option* const option =
        command.add_option("--program", program,
                           "llvm: take lines and inlined functions from the program FILE that ran");
    option->option_text("FILE");
#ifdef EDGESCOPE_READS_PROGRAMS
    option->check(CLI::ExistingFile);
#else
    option->check(CLI::Validator(
        [](std::string&) {
            return std::string("this edgescope is built without what reads programs");
        },
        ""));
#endif
}

// Without a word, an option that the format doesn't take would leave its user in error.
void refuse_what_does_not_fit(const CLI::App& command, const std::string& format) {
    static const std::map<std::string, std::set<std::string>> formats = {
        {"--function", {"dot"}},
        {"--min-share", {"dot"}},
        {"--program", {"llvm"}},
        {"--sources", {"lcov", "callgrind"}}};
    for (const auto& [option, takers] : formats)
        if (command.count(option) != 0 && takers.count(format) == 0)
            throw CLI::ValidationError(option, "doesn't go with --to " + format);
}

CLI::App* add_export(CLI::App& app, CommandLine& line) {
    std::string formats = "Formats:\n";
    std::vector<std::string> names;
    for (const ExportFormat& format : export_formats()) {
        formats += fmt::format("  {:<24}{}\n", format.name, format.description);
        names.emplace_back(format.name);
    }
    CLI::App* const command = app.add_subcommand("export", "Write another program's format");
    ExportOptions& options = line.exporting;
    command->footer(formats);
    command->add_option("--to", options.format, "One of the formats below")
        ->required()
        ->option_text("FORMAT")
        ->check(CLI::IsMember(names));
    command->add_option("--function", options.function, "dot: draw the flow of the function NAME")
        ->option_text("NAME");
    add_program_option(*command, options.program);
    add_percent(*command, "--min-share", options.min_share, "dot: leave out smaller shares");
    command
        ->add_option("--sources", options.sources, "lcov, callgrind: find source files below DIR")
        ->option_text("DIR")
        ->check(CLI::ExistingDirectory);
    add_names_option(*command, options.demangle);
    add_databases(*command, line, "Databases, which are summed");
    command->callback([command, &options] { refuse_what_does_not_fit(*command, options.format); });
    return command;
}

CLI::App* add_view(CLI::App& app, CommandLine& line) {
    CLI::App* const view = app.add_subcommand("view", "Write a page for a browser");
    ViewOptions& options = line.viewing;
    view->add_option("--source", options.sources, "Show source files, found below DIR")
        ->option_text("DIR")
        ->check(CLI::ExistingDirectory);
    view->add_option("--compare", options.old_database, "Show what changed since the database OLD")
        ->option_text("OLD");
#ifdef EDGESCOPE_READS_PROGRAMS
    view->add_option("--program", options.program,
                     "Take counts of lines from the program FILE that ran")
        ->option_text("FILE")
        ->check(CLI::ExistingFile);
#endif
    add_databases(*view, line, "Databases, which are summed");
    return view;
}

int refuse(const CLI::App& app, const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) return app.exit(error);
    const std::vector<std::string> words = app.remaining();
    const bool has_command = !app.get_subcommands().empty();
    if (has_command || words.empty())
        print_error("", has_command ? error.what() : "a command is required");
    else
        print_error("", "'" + words.front() + "' is no command");
    fmt::print(stderr, "Try 'edgescope --help' for more information.\n");
    return exit_failure;
}

// Databases are never written to, not even by mistake.
bool would_replace_an_input(const CommandLine& line) {
    const auto path_of = [](const std::string& name) {
        return std::filesystem::path(std::u8string(name.begin(), name.end()));
    };
    std::vector<std::string> inputs = line.databases;
    for (const std::string& name :
         {line.viewing.old_database, line.viewing.program, line.exporting.program})
        inputs.push_back(name);
    return std::any_of(inputs.begin(), inputs.end(), [&](const std::string& input) {
        std::error_code failure;
        return std::filesystem::equivalent(path_of(input), path_of(line.output), failure) &&
               std::filesystem::is_regular_file(path_of(input), failure);
    });
}

}  // namespace

int parse_command_line(int argument_count, const char* const* arguments, CommandLine& line) {
    CLI::App app("Shows what is in sample databases, checks and compares them, and exports them.",
                 "edgescope");
    app.set_version_flag("--version", "edgescope " EDGESCOPE_VERSION, "Print the version and exit");
    app.set_help_flag("-h,--help", "Print this help and exit");
    app.formatter(std::make_shared<HelpFormat>());
    app.require_subcommand(1);
    app.footer(
        "'edgescope COMMAND --help' lists the options of a command.\n"
        "Exit status: 0 fine, 1 a finding, 2 wrong use or unreadable input.");
    const std::map<const CLI::App*, Command> commands = {
        {add_top(app, line), Command::top},
        {add_check(app, line), Command::check},
        {add_compare(app, line), Command::compare},
        {add_export(app, line), Command::export_profile},
        {add_view(app, line), Command::view}};
    double time_limit = 60;
    for (const auto& [command, value] : commands)
        add_common_options(*const_cast<CLI::App*>(command), line, time_limit);
    try {
        app.parse(argument_count, arguments);
    } catch (const CLI::ParseError& error) {
        return refuse(app, error);
    }
    if (would_replace_an_input(line)) {
        print_error(line.output, "is read, so it can't be the output");
        return exit_failure;
    }
    line.command = commands.at(app.get_subcommands().front());
    line.reading.guard.time_limit =
        std::chrono::milliseconds(static_cast<std::int64_t>(time_limit * 1000));
    return -1;
}

}  // namespace edgescope
