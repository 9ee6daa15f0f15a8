// The lines of a profile as tests spell it out. Whatever a test has its profile from - the model, a
// database, a second reading - it is printed by these, so that two texts can be compared.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

namespace test_support {

// "10:1.2.3" is line 10, relative line 1, column 2, discriminator 3.
inline std::string position_text(const std::string& line, const std::string& relative_line,
                                 const std::string& column, const std::string& discriminator) {
    return line + ":" + relative_line + "." + column + "." + discriminator;
}

inline std::string hex_text(std::uint64_t value) {
    char text[17];
    std::snprintf(text, sizeof text, "%llx", static_cast<unsigned long long>(value));
    return text;
}

// "f in A.C x7 flags 0". `who` is what stands in front of the count.
inline std::string function_line(const std::string& who, const std::string& count,
                                 const std::string& flags) {
    return who + " x" + count + (flags.empty() ? "" : " flags " + flags) + "\n";
}

struct EdgeText {
    std::uint64_t from_address;
    std::string from_position;
    std::uint64_t to_address;
    std::string to_position;
    std::string count;
    bool is_entry;
    bool is_exit;
};

// "  edge 1a 10:0.0.0 > 2b 11:0.0.0 x5 entry exit"
inline std::string edge_line(const EdgeText& edge) {
    return "  edge " + hex_text(edge.from_address) + " " + edge.from_position + " > " +
           hex_text(edge.to_address) + " " + edge.to_position + " x" + edge.count +
           (edge.is_entry ? " entry" : "") + (edge.is_exit ? " exit" : "") + "\n";
}

// "  call g 12:1 x3": callee, line, relative line, count
inline std::string call_line(const std::string& callee, const std::string& line,
                             const std::string& relative_line, const std::string& count) {
    return "  call " + callee + " " + line + ":" + relative_line + " x" + count + "\n";
}

}  // namespace test_support
