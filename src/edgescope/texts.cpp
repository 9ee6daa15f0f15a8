#include "edgescope/texts.h"

#include <cxxabi.h>

#include <cstdlib>
#include <memory>

#include "edgescope/message.h"

namespace edgescope {

std::string demangled(const std::string& name) {
    if (!name.starts_with("_Z")) return name;
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
