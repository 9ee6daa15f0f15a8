#pragma once
// Reads numbers and texts off the front of little-endian bytes. A read beyond the end gives 0 or
// the empty text and marks the reader as failed, so that a decoder may look once for many reads.

#include <cstdint>
#include <string_view>

namespace program {

class ByteReader {
public:
    explicit ByteReader(std::string_view bytes) : bytes_(bytes) {}

    bool failed() const { return failed_; }
    bool at_end() const { return at_ == bytes_.size(); }
    std::size_t position() const { return at_; }
    void skip(std::uint64_t count) { take(count); }

    // A number of 1 to 8 bytes.
    std::uint64_t number(std::size_t size) {
        std::uint64_t value = 0;
        const std::string_view taken = take(size);
        for (std::size_t i = taken.size(); i > 0; --i)
            value = value << 8 | static_cast<unsigned char>(taken[i - 1]);
        return value;
    }

    std::uint64_t unsigned_leb() {
        std::uint64_t value = 0;
        for (unsigned shift = 0;; shift += 7) {
            const std::uint64_t byte = number(1);
            if (shift < 64) value |= (byte & 0x7F) << shift;
            if ((byte & 0x80) == 0) return value;
        }
    }

    std::int64_t signed_leb() {
        std::uint64_t value = 0;
        for (unsigned shift = 0;;) {
            const std::uint64_t byte = number(1);
            if (shift < 64) value |= (byte & 0x7F) << shift;
            shift += 7;
            if ((byte & 0x80) != 0) continue;
            if ((byte & 0x40) != 0 && shift < 64) value |= ~std::uint64_t{0} << shift;
            return static_cast<std::int64_t>(value);
        }
    }

    // Up to a NUL, which is skipped.
    std::string_view text() {
        const std::size_t end = bytes_.find('\0', at_);
        if (end == std::string_view::npos) return take(bytes_.size() - at_ + 1);
        const std::string_view taken = bytes_.substr(at_, end - at_);
        at_ = end + 1;
        return taken;
    }

private:
    std::string_view take(std::uint64_t count) {
        if (count > bytes_.size() - at_) {
            failed_ = true;
            at_ = bytes_.size();
            return {};
        }
        const std::string_view taken = bytes_.substr(at_, count);
        at_ += count;
        return taken;
    }

    std::string_view bytes_;
    std::size_t at_ = 0;
    bool failed_ = false;
};

}  // namespace program
