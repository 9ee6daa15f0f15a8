#include "edgefold/banner.h"

#include <array>
#include <cstdio>

#include "diag/message_catalogue.h"
#include "diag/reporter.h"
#include "edgefold/package_info.h"

namespace tool {
namespace {

constexpr const char* build_stamp = "20221119_000000";
constexpr const char* rights_years = "2012-2022";
constexpr std::size_t banner_buffer_size = 320;

std::string text_of(diag::MessagePosition position) { return diag::message_text(position).get(); }

std::string build_version_line() {
    std::string id = package_id(PackageFile::c);
    if (id.empty()) id = package_id(PackageFile::fortran);
    const std::string family = text_of(diag::VER_VELMORA);
    const std::string tool = text_of(diag::VER_EDGEFOLD);
    const std::string architecture = text_of(diag::VER_ARCH_VELMORA64);
    const std::string qualifier;  // the template has a place for one; this tool has none
    const std::string version = version_number(id);
    const std::array<diag::FillIn, 6> fill_ins{family,    tool,    architecture,
                                               qualifier, version, build_stamp};
    std::string line;
    diag::fill_in(text_of(diag::VER_PLAIN_TEMPLATE), fill_ins,
                  [&line](std::string_view piece) { line += piece; });
    return line + "\n";
}

std::string rights_line() {
    return text_of(diag::VER_rights_claim) + " " + rights_years + " " +
           text_of(diag::VER_rights_reserved) + "\n";
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
