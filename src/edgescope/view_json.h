// JSON written piece by piece and compressed as it comes, for tables that are too large to be built
// in memory first.
#pragma once

#include <zlib.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace edgescope {

// Compresses one text after the other, each into a gzip file of its own.
class Gzip {
public:
    Gzip();
    ~Gzip();
    Gzip(const Gzip&) = delete;
    Gzip& operator=(const Gzip&) = delete;

    void add(std::string_view text) { run(text, Z_NO_FLUSH); }

    // The compressed text. The next one begins here.
    std::string finish();

private:
    void run(std::string_view text, int flush);

    z_stream stream_{};
    std::string compressed_;
};

// Writes one JSON value into a `Gzip`. The caller keeps the order of keys and values.
class JsonWriter {
public:
    explicit JsonWriter(Gzip& gzip) : gzip_(&gzip) { buffer_.reserve(2 * enough); }
    JsonWriter(const JsonWriter&) = delete;
    JsonWriter& operator=(const JsonWriter&) = delete;
    ~JsonWriter() { gzip_->add(buffer_); }

    void open_object() { open('{'); }
    void close_object() { close('}'); }
    void open_array() { open('['); }
    void close_array() { close(']'); }

    // Begins a member. The key is written as it stands.
    JsonWriter& key(std::string_view key);

    // Each byte that isn't UTF-8 becomes U+FFFD.
    void text(std::string_view text);
    void integer(std::int64_t number);
    // A number; a text of digits from 2^53 on, where numbers of JavaScript aren't exact.
    void count(std::uint64_t count);
    void real(double number);
    void boolean(bool value) { literal(value ? "true" : "false"); }
    void null() { literal("null"); }

private:
    static constexpr std::size_t enough = std::size_t{1} << 16;

    void begin_value() {
        if (has_previous_) buffer_ += ',';
        has_previous_ = true;
    }
    void open(char bracket) {
        begin_value();
        buffer_ += bracket;
        has_previous_ = false;
    }
    void close(char bracket) {
        buffer_ += bracket;
        has_previous_ = true;
        if (buffer_.size() >= enough) flush();
    }
    void literal(std::string_view text) {
        begin_value();
        buffer_ += text;
    }
    void flush();
    void quoted(std::string_view text);

    Gzip* gzip_;
    std::string buffer_;
    bool has_previous_ = false;  // a value stands in front, in the same object or array
};

}  // namespace edgescope
