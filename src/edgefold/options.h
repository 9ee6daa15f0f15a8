// The command line: the option values, the table of options, and the parser that fills the values
// from the table. What a combination of options means is decided in main.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

namespace tool {

// The option values. The parser sets them; nobody changes them afterwards. Texts point into the
// arguments, null means absent; the flags are 0 or 1.
extern char* opt_file;
extern char* opt_out;
extern char* opt_append;
extern char* opt_sort;  // "L" unless given
extern std::uint32_t opt_trace;
extern std::uint8_t opt_dump;
extern std::uint8_t opt_help;
extern std::uint8_t opt_nologo;
extern std::uint8_t opt_quiet;

enum class OptionKind { flag = 0, integer = 1, string = 2 };

// Stores an option's value in `target`; `word` is the option as typed, `value` null for a flag.
// False would end the parse quietly.
using OptionHandler = bool (*)(void* target, const char* word, char* value);

// One option. Constant data.
struct OptionRow {
    const char* name;  // without a prefix
    OptionKind kind;
    void* target;  // the option value, of the type that the handler stores
    OptionHandler handler;
};

// All options of the tool.
extern const std::array<OptionRow, 9> option_table;

// Stores the values of the option words from the second argument on, up to the first argument that
// is none; a later value of an option replaces an earlier one. `next_index` becomes the index of
// the first argument that was not read. An unknown option or a missing value ends the program with
// the usage text and status 1.
void parse_options(int argument_count, char* const* arguments, std::span<const OptionRow> table,
                   int& next_index);

// The text after the prefix "-", or "/" unless a second one follows; null if the argument isn't an
// option word.
const char* option_word(const char* argument);

// Index of the row whose name matches the word; -1 without one.
int find_option(std::span<const OptionRow> table, std::string_view word);

// True if the two are equal, byte by byte; "-" and "_" are one.
bool names_match(std::string_view name, std::string_view word);

// The handlers: for a `char*`, which keeps the value itself and no copy, a `std::uint8_t`, and a
// `std::uint32_t`. All give true.
bool store_string(void* target, const char* word, char* value);
bool set_flag(void* target, const char* word, char* value);
bool store_integer(void* target, const char* word, char* value);

// Reads an integer; false if the text is none, but the result is set in any case.
using IntegerParser = bool (*)(const char* text, std::int32_t& result);

// What `store_integer` does with `parse_integer_text`: stores the result in the `std::uint32_t`
// `target`, and warns if the parser gave false.
void store_parsed_integer(void* target, const char* word, const char* value, IntegerParser parse);

// The integer that `text` begins with: decimal, or hexadecimal behind "0x", or octal behind "0";
// saturates at 32 bits; 0 without digits. False only if the result is 0 and the C library's error
// number is set afterwards.
[[nodiscard]] bool parse_integer_text(const char* text, std::int32_t& result);

}  // namespace tool
