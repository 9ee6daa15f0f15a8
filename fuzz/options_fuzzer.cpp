// The command line, against a second reading of it: the same values, or the same error.
#include <optional>
#include <string>
#include <vector>

#include "edgefold/options.h"
#include "ended_program.h"
#include "fuzz_input.h"
#include "quiet_stderr.h"

namespace {

using Arguments = std::vector<std::string>;

std::optional<std::string> word_of(const std::string& argument) {
    if (argument.starts_with('-')) return argument.substr(1);
    if (argument.starts_with('/') && !argument.starts_with("//")) return argument.substr(1);
    return std::nullopt;
}

enum Taken { no_option, flag, value };

Taken kind_of(const std::string& word) {
    for (const char* name : {"dump", "help", "nologo", "quiet"})
        if (word == name) return flag;
    for (const char* name : {"append", "file", "out", "sort", "trace"})
        if (word == name) return value;
    return no_option;
}

// What the second reading finds, a line for each value that is set; an error instead of all of
// them.
std::string plain_reading(const Arguments& arguments) {
    std::string values;
    std::size_t i = 1;
    while (i < arguments.size()) {
        const auto word = word_of(arguments[i]);
        if (!word) break;
        const Taken kind = kind_of(*word);
        if (kind == no_option) return "error #32500: unknown option '/" + *word + "'";
        if (kind == value && (i + 1 == arguments.size() || word_of(arguments[i + 1])))
            return "error #32501: missing or unexpected option value for '/" + *word + "'";
        values += *word + (kind == value ? "=" + arguments[i + 1] : "") + "\n";
        i += kind == value ? 2 : 1;
    }
    return values + "next " + std::to_string(i);
}

// The parser's work in the same form: handlers note each value, and store it as always.
std::string noted;

template <tool::OptionHandler handler>
bool note(void* target, const char* word, char* text) {
    noted += std::string(word) + (text != nullptr ? "=" + std::string(text) : "") + "\n";
    return handler(target, word, text);
}

std::vector<tool::OptionRow> noting_table() {
    std::vector<tool::OptionRow> table(tool::option_table.begin(), tool::option_table.end());
    for (tool::OptionRow& row : table) {
        switch (row.kind) {
            case tool::OptionKind::flag: row.handler = note<tool::set_flag>; break;
            case tool::OptionKind::integer: row.handler = note<tool::store_integer>; break;
            case tool::OptionKind::string: row.handler = note<tool::store_string>; break;
        }
    }
    return table;
}

std::string tool_reading(Arguments& arguments) {
    static const std::vector<tool::OptionRow> table = noting_table();
    std::vector<char*> pointers;
    for (std::string& argument : arguments) pointers.push_back(argument.data());
    const fuzz::QuietStderr messages;
    noted.clear();
    int next = 0;
    try {
        tool::parse_options(static_cast<int>(pointers.size()), pointers.data(), table, next);
    } catch (const fuzz::ProgramEnded& end) {
        fuzz::require(end.status == 1, "the status of a usage error");
        const std::string text = messages.text();
        const std::size_t usage = text.find("\nVelmora(R)");
        fuzz::require(usage != std::string::npos, "the usage text after the error");
        return text.substr(0, usage);
    }
    fuzz::require(messages.text().empty(), "silence where all options are good");
    return noted + "next " + std::to_string(next);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::FuzzInput input(data, size);
    Arguments arguments = {"edgefold"};
    while (!input.is_empty()) {
        const std::string_view argument = input.text_until('\n');
        arguments.emplace_back(argument.substr(0, argument.find('\0')));
    }
    const std::string expected = plain_reading(arguments);
    fuzz::require_equal(expected, tool_reading(arguments), "the reading of a command line");
    return 0;
}
