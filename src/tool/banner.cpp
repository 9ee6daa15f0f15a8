#include "tool/banner.h"

#include <array>
#include <cstdio>

#include "diag/message_catalogue.h"
#include "diag/reporter.h"
#include "diag/safety.h"
#include "tool/package_info.h"

namespace tool {
namespace {

constexpr const char* build_stamp = "20221119_000000";
constexpr const char* rights_years = "2012-2022";
constexpr std::size_t banner_buffer_size = 320;

// The template's conversions filled in one behind the other.
std::string fill_in(const std::string& text, std::initializer_list<std::string> fill_ins) {
    std::string result;
    std::size_t done = 0;
    for (const std::string& fill_in : fill_ins) {
        const std::size_t conversion = text.find("%s", done);
        result.append(text, done, conversion - done).append(fill_in);
        done = conversion + 2;
    }
    return result.append(text, done);
}

std::string build_version_line() {
    std::string id = package_id(false);
    if (id.empty()) id = package_id(true);
    const std::string
        architecture_qualifier;  // the template has a place for one; this tool has none
    return fill_in(diag::message_text(diag::VER_PLAIN_TEMPLATE).get(),
                   {diag::message_text(diag::VER_VELMORA).get(),
                    diag::message_text(diag::VER_EDGEFOLD).get(),
                    diag::message_text(diag::VER_ARCH_VELMORA64).get(), architecture_qualifier,
                    version_number(id), build_stamp}) +
           "\n";
}

std::string rights_line() {
    return std::string(diag::message_text(diag::VER_RIGHTS_CLAIM).get()) + " " + rights_years +
           " " + diag::message_text(diag::VER_RIGHTS_RESERVED).get() + "\n";
}

void print_flushed(const char* text) {
    std::fputs(text, stderr);
    std::fflush(stderr);
}

}  // namespace

void print_banner() { print_banner_lines(version_line().c_str()); }

void print_banner_lines(const char* first_line) {
    std::array<char, banner_buffer_size> buffer;
    std::snprintf(buffer.data(), buffer.size(), "%s", first_line);
    print_flushed(buffer.data());
    print_flushed(rights_line().c_str());
    print_flushed("\n");
}

void print_usage(const char* program_name) {
    print_banner();
    diag::print_message(stderr, diag::PT_tool_usage, program_name);
    diag::print_message(stderr, diag::PT_edgefold_usage_opts);
    diag::end_program(1);
}

void print_help(const char* program_name) {
    diag::print_message(stderr, diag::PT_tool_help, program_name);
    diag::print_message(stderr, diag::PT_edgefold_help_opts);
    diag::end_program(1);
}

const std::string& version_line() {
    static const std::string line = build_version_line();
    return line;
}

}  // namespace tool
