#include "hotpath/model/source_position.h"

#include <charconv>

namespace hotpath {
namespace {

char* put_text(char* out, std::string_view text) { return text.copy(out, text.size()) + out; }

char* put_number(char* out, char* end, std::uint32_t value) {
    return std::to_chars(out, end, value).ptr;
}

std::string_view finish(char* out, PositionText& buffer) {
    *out = '\0';
    return {buffer.data(), static_cast<std::size_t>(out - buffer.data())};
}

char* put_column_and_discriminator(char* out, char* end, const SourcePosition& position) {
    out = put_number(put_text(out, ".C"), end, position.column);
    return put_number(put_text(out, ".D"), end, position.discriminator);
}

}  // namespace

std::string_view format_short(const SourcePosition& position, PositionText& buffer) {
    char* const end = buffer.data() + buffer.size();
    char* out = put_number(put_text(buffer.data(), "L"), end, position.line);
    return finish(put_column_and_discriminator(out, end, position), buffer);
}

std::string_view format_full(const SourcePosition& position, PositionText& buffer) {
    char* const end = buffer.data() + buffer.size();
    char* out = put_number(put_text(buffer.data(), "L"), end, position.line);
    out = put_number(put_text(out, "(R"), end, position.relative_line);
    out = put_column_and_discriminator(put_text(out, ")"), end, position);
    return finish(out, buffer);
}

}  // namespace hotpath
