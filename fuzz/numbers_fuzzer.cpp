// The number conversions of edge files and of the command line, against those of the C library.
#include <cmath>
#include <cstdlib>
#include <string>

#include "diag/decimal_text.h"
#include "edgefold/options.h"
#include "fuzz_input.h"
#include "hotpath/readers/edge_numbers.h"

namespace {

using fuzz::require;

std::uint64_t hex_of_library(const std::string& text) {
    return std::strtoull(text.c_str(), nullptr, 16);
}

long long decimal_of_library(const std::string& text) {
    return std::strtoll(text.c_str(), nullptr, 10);
}

std::string without_commas(const std::string& text) {
    std::string result;
    for (const char c : text)
        if (c != ',') result += c;
    return result;
}

// To 64 bits as the format's compilers convert: everything in wide integers.
std::uint64_t count_of_library(const std::string& text) {
    constexpr std::uint64_t two_to_63 = std::uint64_t{1} << 63;
    const float value = std::strtof(text.c_str(), nullptr);
    if (std::isnan(value)) return two_to_63;
    const double whole = std::trunc(static_cast<double>(value));
    if (whole < -0x1p63) return two_to_63;
    if (whole < 0) return 0 - static_cast<std::uint64_t>(-whole);
    return whole < 0x1p64 ? static_cast<std::uint64_t>(whole) : 0;
}

int integer_of_library(const std::string& text) {
    const long value = std::strtol(text.c_str(), nullptr, 0);
    return static_cast<int>(std::min(std::max(value, -2147483648L), 2147483647L));
}

// Bytes that belong to no field follow the field, so the quick forms must not see them.
void check_field(std::string_view field) {
    const std::string text(field);
    require(hotpath::parse_hex_u64(field) == hex_of_library(text), "an address");
    require(hotpath::parse_hex_u64_padded(field) == hex_of_library(text), "an address, quickly");
    const auto decimal = static_cast<std::uint32_t>(decimal_of_library(without_commas(text)));
    require(hotpath::parse_int_field(field) == decimal, "a decimal field");
    require(hotpath::parse_int_field_padded(field) == decimal, "a decimal field, quickly");
    require(hotpath::parse_count(field) == count_of_library(text), "a count");
    require(hotpath::parse_count_padded(field) == count_of_library(text), "a count, quickly");
    require(diag::decimal_prefix(field) == decimal_of_library(text), "a decimal prefix");
    std::int32_t integer = 0;
    (void)tool::parse_integer_text(text.c_str(), integer);  // the value counts here
    require(integer == integer_of_library(text), "an option's integer");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::FuzzInput input(data, size);
    const std::size_t length = input.byte();
    const std::string_view bytes = input.rest();
    std::string buffer(bytes);
    buffer.append(hotpath::number_overrun, '7');
    check_field(std::string_view(buffer).substr(0, std::min(length, bytes.size())));
    return 0;
}
