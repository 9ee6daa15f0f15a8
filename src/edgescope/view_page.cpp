#include "edgescope/view_page.h"

#include <cstdint>

namespace edgescope {
namespace {

constexpr std::string_view place_of_data = "<!--data-->\n";

std::string base64(std::string_view bytes) {
    constexpr std::string_view digits =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        const auto byte = [&](std::size_t k) -> std::uint32_t {
            return i + k < bytes.size() ? static_cast<unsigned char>(bytes[i + k]) : 0;
        };
        const std::uint32_t bits = byte(0) << 16 | byte(1) << 8 | byte(2);
        for (int shift = 18; shift >= 0; shift -= 6) text += digits[bits >> shift & 63];
    }
    const std::size_t missing = (3 - bytes.size() % 3) % 3;
    text.replace(text.size() - missing, missing, missing, '=');
    return text;
}

}  // namespace

PageWriter::PageWriter(std::string_view page, Output& output) : rest_(page), output_(output) {
    const std::size_t place = rest_.find(place_of_data);
    output_.append(rest_.substr(0, place));
    rest_.remove_prefix(place == std::string_view::npos ? rest_.size()
                                                        : place + place_of_data.size());
}

void PageWriter::add_element(std::string_view id, std::string_view compressed) {
    output_.append("<script type=\"application/gzip\" id=\"");
    output_.append(id);
    output_.append("\">");
    output_.append(base64(compressed));
    output_.append("</script>\n");
}

void PageWriter::finish() { output_.append(rest_); }

}  // namespace edgescope
