// The cutting of the input list, against a second tokenizer that never writes to its text.
#include <optional>
#include <string>
#include <vector>

#include "edgefold/input_list.h"
#include "fuzz_input.h"

namespace {

using fuzz::require_equal;

constexpr const char* delimiter_sets[] = {";",  nullptr, ";,",        "\\;",
                                          "\"", ";'",    "123456789", "0123456789;"};

class PlainTokenizer {
public:
    PlainTokenizer(std::string text, const char* delimiters) : text_(std::move(text)) {
        if (delimiters != nullptr) delimiters_ = std::string(delimiters).substr(0, 9);
    }

    std::optional<std::string> next() {
        if (place_ >= text_.size()) return std::nullopt;
        place_ = std::min(text_.find_first_not_of(delimiters_, place_), text_.size());
        const std::size_t begin = place_;
        const std::size_t end = end_of_token(begin);
        place_ = end + 1;
        return text_.substr(begin, end - begin);
    }

private:
    std::size_t end_of_token(std::size_t begin) const {
        char quote = 0;
        bool escaped = false;
        std::size_t inner = std::string::npos;
        for (std::size_t i = begin; i < text_.size(); ++i) {
            const char c = text_[i];
            if (delimiters_.find(c) != std::string::npos) {
                if (quote == 0) return i;
                inner = std::min(inner, i);
                escaped = c == '\\' && !escaped;
            } else if (escaped) {
                escaped = false;
            } else if (c == '\\') {
                escaped = true;
            } else if (c == '"' || c == '\'') {
                quote = quote == 0 ? c : quote == c ? '\0' : quote;
            }
        }
        return quote != 0 ? std::min(inner, text_.size()) : text_.size();
    }

    std::string text_;
    std::string delimiters_;
    std::size_t place_ = 0;
};

std::string plain_strip(const std::string& token) {
    if (token.size() < 2 || !token.starts_with('"') || !token.ends_with('"')) return token;
    const std::string inner = token.substr(1, token.size() - 2);
    std::string result;
    for (std::size_t i = 0; i < inner.size(); ++i) {
        const bool escapes = inner[i] == '\\' && i + 1 < inner.size() &&
                             std::string_view("\\\"'").find(inner[i + 1]) != std::string::npos;
        result += inner[escapes ? ++i : i];
    }
    return result;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::FuzzInput input(data, size);
    const char* const delimiters = delimiter_sets[input.below(std::size(delimiter_sets))];
    const std::string text(input.text_until('\0'));

    std::vector<char> writable(text.begin(), text.end());
    writable.push_back('\0');
    tool::ListTokenizer list(writable.data(), delimiters);
    PlainTokenizer plain(text, delimiters);
    for (;;) {
        char* const token = list.next_token();
        const std::optional<std::string> expected = plain.next();
        fuzz::require((token != nullptr) == expected.has_value(), "the number of tokens");
        if (token == nullptr) return 0;
        require_equal(*expected, token, "a token");
        require_equal(plain_strip(*expected), tool::strip_token(token), "a stripped token");
    }
}
