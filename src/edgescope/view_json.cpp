#include "edgescope/view_json.h"

#include <fmt/format.h>

#include <array>
#include <charconv>
#include <new>
#include <utility>

namespace edgescope {
namespace {

// Numbers of JavaScript are exact up to here.
constexpr std::uint64_t first_inexact = std::uint64_t{1} << 53;

// zlib's own numbers: with 16 added to the window's size it writes the frame of gzip.
constexpr int gzip_window = 15 + 16;
constexpr int memory_level = 9;
constexpr int compression_level = 5;

bool is_continuation(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

// The number of bytes of the character that the text begins with; 0 if they aren't UTF-8.
std::size_t length_of_character(std::string_view text) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    if (byte(0) < 0x80) return 1;
    const std::size_t length = byte(0) >= 0xF0 ? 4 : byte(0) >= 0xE0 ? 3 : 2;
    if (byte(0) < 0xC2 || byte(0) > 0xF4 || text.size() < length) return 0;
    for (std::size_t i = 1; i < length; ++i)
        if (!is_continuation(text[i])) return 0;
    // Longer than need be, a half of a UTF-16 pair, or beyond the last character
    if ((byte(0) == 0xE0 && byte(1) < 0xA0) || (byte(0) == 0xED && byte(1) > 0x9F) ||
        (byte(0) == 0xF0 && byte(1) < 0x90) || (byte(0) == 0xF4 && byte(1) > 0x8F))
        return 0;
    return length;
}

bool is_plain(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte >= 0x20 && byte < 0x80 && c != '"' && c != '\\';
}

}  // namespace

Gzip::Gzip() {
    if (deflateInit2(&stream_, compression_level, Z_DEFLATED, gzip_window, memory_level,
                     Z_DEFAULT_STRATEGY) != Z_OK)
        throw std::bad_alloc();
}

Gzip::~Gzip() { deflateEnd(&stream_); }

void Gzip::run(std::string_view text, int flush) {
    std::array<unsigned char, std::size_t{1} << 16> out;
    do {
        // zlib counts with fewer bits than a text may have bytes.
        const std::string_view part = text.substr(0, std::size_t{1} << 30);
        stream_.next_in = reinterpret_cast<z_const Bytef*>(const_cast<char*>(part.data()));
        stream_.avail_in = static_cast<uInt>(part.size());
        do {
            stream_.next_out = out.data();
            stream_.avail_out = static_cast<uInt>(out.size());
            deflate(&stream_, flush);
            compressed_.append(reinterpret_cast<const char*>(out.data()),
                               out.size() - stream_.avail_out);
        } while (stream_.avail_out == 0);
        text.remove_prefix(part.size());
    } while (!text.empty());
}

std::string Gzip::finish() {
    run({}, Z_FINISH);
    deflateReset(&stream_);
    return std::exchange(compressed_, {});
}

void JsonWriter::flush() {
    gzip_->add(buffer_);
    buffer_.clear();
}

JsonWriter& JsonWriter::key(std::string_view key) {
    begin_value();
    buffer_ += '"';
    buffer_ += key;
    buffer_ += "\":";
    has_previous_ = false;
    return *this;
}

void JsonWriter::text(std::string_view text) {
    begin_value();
    quoted(text);
    if (buffer_.size() >= enough) flush();
}

void JsonWriter::quoted(std::string_view text) {
    buffer_ += '"';
    while (!text.empty()) {
        std::size_t plain = 0;
        while (plain < text.size() && is_plain(text[plain])) ++plain;
        buffer_ += text.substr(0, plain);
        text.remove_prefix(plain);
        if (text.empty()) break;
        const std::size_t length = length_of_character(text);
        if (length == 0)
            buffer_ += "\xEF\xBF\xBD";
        else if (length == 1)
            buffer_ += fmt::format("\\u{:04x}", text.front());
        else
            buffer_ += text.substr(0, length);
        text.remove_prefix(length == 0 ? 1 : length);
    }
    buffer_ += '"';
}

void JsonWriter::integer(std::int64_t number) {
    std::array<char, 24> digits;
    const auto result = std::to_chars(digits.data(), digits.data() + digits.size(), number);
    literal({digits.data(), static_cast<std::size_t>(result.ptr - digits.data())});
}

void JsonWriter::count(std::uint64_t count) {
    if (count < first_inexact)
        integer(static_cast<std::int64_t>(count));
    else
        literal(fmt::format("\"{}\"", count));
}

void JsonWriter::real(double number) { literal(fmt::format("{}", number)); }

}  // namespace edgescope
