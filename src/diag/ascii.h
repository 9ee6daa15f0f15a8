// Classes of characters and upper case: those of ASCII, on every platform and whatever the user's
// settings say.
#pragma once

namespace diag {

// White space of the "C" locale.
constexpr bool is_space(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

constexpr bool is_digit(char c) { return c >= '0' && c <= '9'; }

constexpr bool is_lower(char c) { return c >= 'a' && c <= 'z'; }

constexpr bool is_letter(char c) { return is_lower(c) || (c >= 'A' && c <= 'Z'); }

constexpr bool is_letter_or_digit(char c) { return is_letter(c) || is_digit(c); }

constexpr char to_upper(char c) { return is_lower(c) ? static_cast<char>(c - 'a' + 'A') : c; }

}  // namespace diag
