// Letters as the name stages and the path operations see them: those of ASCII, whatever the user's
// settings say.
#pragma once

namespace hotpath {

constexpr bool is_lower(char c) { return c >= 'a' && c <= 'z'; }

constexpr bool is_letter(char c) { return is_lower(c) || (c >= 'A' && c <= 'Z'); }

constexpr char to_upper(char c) { return is_lower(c) ? static_cast<char>(c - 'a' + 'A') : c; }

}  // namespace hotpath
