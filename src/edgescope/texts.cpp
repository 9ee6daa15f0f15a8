#include "edgescope/texts.h"

#include <cxxabi.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <unordered_map>

#include "edgescope/message.h"

namespace edgescope {

// "S1_" and "T_" stand for earlier parts of a name, which may hold others in turn: 300 characters
// can stand for more than any memory holds. Whatever is shown of a part, it is reached by each of
// these tokens at most once, so the product of their uses tells how often it may be repeated.
static bool may_grow_without_end(std::string_view name) {
    constexpr std::string_view digits = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";
    constexpr std::size_t longest_token = 8;
    constexpr double most_repeats = 1 << 26;  // names in large C++ programs stay below 2^23
    std::unordered_map<std::string_view, double> ways;
    for (std::size_t at = name.find_first_of("ST"); at != std::string_view::npos;
         at = name.find_first_of("ST", at + 1)) {
        const std::string_view rest = name.substr(at, longest_token);
        const std::size_t end = rest.find_first_not_of(digits, 1);
        if (end != std::string_view::npos && rest[end] == '_')
            ways.try_emplace(rest.substr(0, end), 1).first->second += 1;
    }
    double repeats = 1;
    for (const auto& [token, number] : ways) repeats = std::min(repeats * number, 2 * most_repeats);
    return repeats > most_repeats;
}

std::string demangled(const std::string& name) {
    if (!name.starts_with("_Z") || may_grow_without_end(name)) return name;
    int status = 0;
    const std::unique_ptr<char, void (*)(void*)> text(
        abi::__cxa_demangle(name.c_str(), nullptr, nullptr, &status), &std::free);
    return status == 0 && text != nullptr ? text.get() : name;
}

bool is_function_named(const Function& function, const std::string& name) {
    return function.name == name || demangled(function.name) == name;
}

std::string shown_name(const std::string& name, bool demangle) {
    return printable(demangle ? demangled(name) : name);
}

std::string shown_file(std::string_view file) {
    const std::size_t separator = file.find_last_of("/\\");
    if (separator != std::string_view::npos) file.remove_prefix(separator + 1);
    return file.empty() ? "-" : printable(file);
}

std::string position_text(const Position& position) {
    if (position.line == unknown_line) return "?";
    std::string text = std::to_string(position.line);
    if (position.column != 0) text += ":" + std::to_string(position.column);
    if (position.discriminator != 0) text += "." + std::to_string(position.discriminator);
    return text;
}

std::string with_commas(std::uint64_t count) {
    std::string text = std::to_string(count);
    for (std::size_t place = text.size(); place > 3;) text.insert(place -= 3, 1, ',');
    return text;
}

std::string counted(std::uint64_t count, std::string_view noun) {
    return with_commas(count) + " " + std::string(noun) + (count == 1 ? "" : "s");
}

double percent(std::uint64_t part, std::uint64_t whole) {
    if (part == whole && whole != 0) return 100;  // which rounding may miss
    return whole == 0 ? 0 : 100.0 * static_cast<double>(part) / static_cast<double>(whole);
}

}  // namespace edgescope
