#include "diag/translation.h"

#include <algorithm>
#include <vector>

#include "diag/ascii.h"
#include "diag/reporter.h"

namespace diag {
namespace {

bool ends_in_digit(std::string_view key) { return !key.empty() && is_digit(key.back()); }

// The key up to and with the first of `ends` after its first character; the whole key without one.
std::string_view cut_after(std::string_view key, std::string_view ends) {
    const std::size_t end = key.find_first_of(ends, 1);
    return end == std::string_view::npos ? key : key.substr(0, end + 1);
}

// Cuts what stands after a "%" to the conversion that it begins with. A "%" at the text's end has
// nothing behind it, which no conversion allows.
std::string_view cut_key(std::string_view key) {
    const auto begins_with_one_of = [key](std::string_view set) {
        return !key.empty() && set.find(key.front()) != std::string_view::npos;
    };
    if (begins_with_one_of("cdsux")) return key.substr(0, 1);
    if (begins_with_one_of("+-.0123456789I")) return cut_after(key, "dfsx");
    if (begins_with_one_of("l")) return cut_after(key, "dlu");
    if (!begins_with_one_of("%"))
        report_message(Severity::error, DIAG_bad_message_arg, "format", std::string(key).c_str());
    return key;
}

// The conversion key that `rest` begins with: any one character, then letters and digits.
std::string_view read_key(std::string_view rest) {
    std::size_t size = rest.empty() ? 0 : 1;
    while (size < rest.size() && is_letter_or_digit(rest[size])) ++size;
    return cut_key(rest.substr(0, size));
}

// All conversion keys of a template in the order of their appearance.
std::vector<std::string_view> conversion_keys(std::string_view message) {
    std::vector<std::string_view> keys;
    for (std::size_t i = 0; i < message.size(); ++i) {
        if (message[i] == '\\') {
            ++i;
        } else if (message[i] == '%') {
            keys.push_back(read_key(message.substr(i + 1)));
            i += keys.back().size();
        }
    }
    return keys;
}

// True if the same keys stand in both lists, in any order.
bool same_keys_in_any_order(const std::vector<std::string_view>& wanted,
                            std::vector<std::string_view> given) {
    for (const std::string_view key : wanted) {
        const auto found = std::find(given.begin(), given.end(), key);
        if (found == given.end()) return false;
        given.erase(found);
    }
    return true;
}

}  // namespace

bool verify_translation(std::string_view translated, const MessageRow& row) {
    if (translated == row.text) return true;
    const std::vector<std::string_view> own = conversion_keys(row.text);
    const std::vector<std::string_view> given = conversion_keys(translated);
    if (own.size() != given.size()) return false;
    // Numbered keys may stand in any order.
    if (std::any_of(own.begin(), own.end(), ends_in_digit))
        return same_keys_in_any_order(own, given);
    return own == given;
}

std::string accepted_text(std::string_view translated, const MessageRow& row) {
    if (verify_translation(translated, row)) return std::string(translated);
    report_warning(DIAG_message_verify_fail, std::to_string(row.id).c_str());
    return row.text;
}

}  // namespace diag
