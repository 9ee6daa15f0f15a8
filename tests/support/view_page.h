// Takes a page that `edgescope view` has written apart. What is damaged is an exception.
#pragma once

#include <zlib.h>

#include <map>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace test_support {

inline std::string from_base64(std::string_view text) {
    constexpr std::string_view digits =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string bytes;
    std::uint32_t bits = 0;
    int bit_count = 0;
    for (const char c : text) {
        const std::size_t digit = digits.find(c);
        if (digit == std::string_view::npos) continue;  // padding
        bits = bits << 6 | static_cast<std::uint32_t>(digit);
        bit_count += 6;
        if (bit_count < 8) continue;
        bit_count -= 8;
        bytes += static_cast<char>(bits >> bit_count & 0xFF);
    }
    return bytes;
}

inline std::string from_gzip(std::string bytes) {
    z_stream stream{};
    if (inflateInit2(&stream, 15 + 16) != Z_OK) throw std::runtime_error("no memory");
    stream.next_in = reinterpret_cast<Bytef*>(bytes.data());
    stream.avail_in = static_cast<uInt>(bytes.size());
    std::string text;
    int status = Z_OK;
    while (status == Z_OK) {
        std::string part(1 << 16, '\0');
        stream.next_out = reinterpret_cast<Bytef*>(part.data());
        stream.avail_out = static_cast<uInt>(part.size());
        status = inflate(&stream, Z_NO_FLUSH);
        text.append(part, 0, part.size() - stream.avail_out);
    }
    const bool is_whole = status == Z_STREAM_END && stream.avail_in == 0;
    inflateEnd(&stream);
    if (!is_whole) throw std::runtime_error("compressed data that are damaged");
    return text;
}

// The data of a page by their ids, and all else of it.
struct ViewPage {
    std::map<std::string, nlohmann::json> data;
    std::vector<std::string> order;  // of the ids
    std::string without_data;

    explicit ViewPage(const std::string& page) {
        const std::string begin = "<script type=\"application/gzip\" id=\"", end = "</script>\n";
        std::size_t place = 0;
        for (;;) {
            const std::size_t next = page.find(begin, place);
            without_data += page.substr(place, next - place);
            if (next == std::string::npos) return;
            const std::size_t id = next + begin.size(), text = page.find("\">", id) + 2;
            const std::size_t stop = page.find(end, text);
            order.push_back(page.substr(id, text - 2 - id));
            data[order.back()] =
                nlohmann::json::parse(from_gzip(from_base64(page.substr(text, stop - text))));
            place = stop + end.size();
        }
    }

    const nlohmann::json& operator[](const std::string& id) const { return data.at(id); }
};

}  // namespace test_support
