#include "edgefold/options.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <limits>

#include "diag/ascii.h"
#include "diag/message_catalogue.h"
#include "diag/reporter.h"
#include "edgefold/banner.h"

namespace tool {
namespace {

char default_sort[] = "L";

// Messages show every option with this prefix, whichever one was typed.
constexpr const char* shown_prefix = "/";

char* option_value(int argument_count, char* const* arguments, int index, const OptionRow& row) {
    char* const value = index + 1 < argument_count ? arguments[index + 1] : nullptr;
    if (value == nullptr || option_word(value) != nullptr)
        diag::report_usage_error(1, diag::CLI_option_missing_value, print_usage, arguments[0],
                                 shown_prefix, row.name);
    return value;
}

// The base is chosen here: newer C libraries would read binary numbers too.
int announced_base(const char* text) {
    while (diag::is_space(*text)) ++text;
    if (*text == '+' || *text == '-') ++text;
    if (*text != '0') return 10;
    return text[1] == 'x' || text[1] == 'X' ? 16 : 8;
}

// The conversion leaves the error number as it was.
std::int32_t convert_integer(const char* text) {
    const int error_before = errno;
    const long long value = std::strtoll(text, nullptr, announced_base(text));
    errno = error_before;
    using Limits = std::numeric_limits<std::int32_t>;
    return static_cast<std::int32_t>(std::clamp(value, static_cast<long long>(Limits::min()),
                                                static_cast<long long>(Limits::max())));
}

}  // namespace

char* opt_file = nullptr;
char* opt_out = nullptr;
char* opt_append = nullptr;
char* opt_sort = default_sort;
std::uint32_t opt_trace = 0;
std::uint8_t opt_dump = 0;
std::uint8_t opt_help = 0;
std::uint8_t opt_nologo = 0;
std::uint8_t opt_quiet = 0;

const std::array<OptionRow, 9> option_table = {{
    {"append", OptionKind::string, &opt_append, store_string},
    {"dump", OptionKind::flag, &opt_dump, set_flag},
    {"file", OptionKind::string, &opt_file, store_string},
    {"help", OptionKind::flag, &opt_help, set_flag},
    {"nologo", OptionKind::flag, &opt_nologo, set_flag},
    {"out", OptionKind::string, &opt_out, store_string},
    {"quiet", OptionKind::flag, &opt_quiet, set_flag},
    {"sort", OptionKind::string, &opt_sort, store_string},
    {"trace", OptionKind::integer, &opt_trace, store_integer},
}};

void parse_options(int argument_count, char* const* arguments, std::span<const OptionRow> table,
                   int& next_index) {
    next_index = 1;
    while (next_index < argument_count) {
        const char* const word = option_word(arguments[next_index]);
        if (word == nullptr) return;
        const int place = find_option(table, word);
        if (place < 0)
            diag::report_usage_error(1, diag::CLI_unknown_option, print_usage, arguments[0],
                                     shown_prefix, word);
        const OptionRow& row = table[static_cast<std::size_t>(place)];
        const bool has_value = row.kind != OptionKind::flag;
        char* const value =
            has_value ? option_value(argument_count, arguments, next_index, row) : nullptr;
        if (!row.handler(row.target, word, value)) return;
        next_index += has_value ? 2 : 1;
    }
}

const char* option_word(const char* argument) {
    if (argument == nullptr) return nullptr;  // an argument that found no memory for its copy
    if (argument[0] == '-') return argument + 1;
    if (argument[0] == '/' && argument[1] != '/') return argument + 1;
    return nullptr;
}

int find_option(std::span<const OptionRow> table, std::string_view word) {
    if (word.starts_with('?')) return -1;
    const auto found = std::find_if(table.begin(), table.end(), [&](const OptionRow& row) {
        return names_match(row.name, word);
    });
    return found == table.end() ? -1 : static_cast<int>(found - table.begin());
}

bool names_match(std::string_view name, std::string_view word) {
    const auto joins_words = [](char c) { return c == '-' || c == '_'; };
    return std::equal(name.begin(), name.end(), word.begin(), word.end(),
                      [&](char a, char b) { return a == b || (joins_words(a) && joins_words(b)); });
}

bool store_string(void* target, const char* /*word*/, char* value) {
    *static_cast<char**>(target) = value;
    return true;
}

bool set_flag(void* target, const char* /*word*/, char* /*value*/) {
    *static_cast<std::uint8_t*>(target) = 1;
    return true;
}

bool store_integer(void* target, const char* word, char* value) {
    store_parsed_integer(target, word, value, parse_integer_text);
    return true;
}

void store_parsed_integer(void* target, const char* word, const char* value, IntegerParser parse) {
    std::int32_t result = 0;
    if (!parse(value, result))
        diag::report_message(diag::Severity::warning_cmdline,
                             diag::CLI_ignore_option_integer_value_required, shown_prefix, word);
    *static_cast<std::uint32_t*>(target) = static_cast<std::uint32_t>(result);
}

// A weak test on purpose: the conversion doesn't touch the error number, so a text that is no
// number gives a silent 0.
bool parse_integer_text(const char* text, std::int32_t& result) {
    errno = 0;
    result = convert_integer(text);
    return result != 0 || errno == 0;
}

}  // namespace tool
