#include "edgefold/input_list.h"

#include <algorithm>
#include <cstring>

#include "diag/checked_strncpy.h"
#include "diag/message_catalogue.h"
#include "diag/reporter.h"

namespace tool {

// Follows quotes and escapes along one token.
class ListTokenizer::Quotes {
public:
    bool is_open() const { return open_ != '\0'; }

    void take(char character) {
        if (escaped_) {
            escaped_ = false;
        } else if (character == '\\') {
            escaped_ = true;
        } else if (character == '"' || character == '\'') {
            if (!is_open())
                open_ = character;
            else if (open_ == character)
                open_ = '\0';
        }
    }

    // A delimiter inside the quotes is a plain character, also where it is a quote.
    void take_delimiter(char character) { escaped_ = character == '\\' && !escaped_; }

private:
    char open_ = '\0';  // the quote that is open, or 0
    bool escaped_ = false;
};

ListTokenizer::ListTokenizer(char* text, const char* delimiters) : cursor_(text) {
    if (delimiters == nullptr) return;
    delimiter_count_ = static_cast<std::uint8_t>(std::strlen(delimiters));
    diag::checked_strncpy(delimiters_.data(), delimiters, delimiters_.size());
    delimiters_.back() = '\0';
}

bool ListTokenizer::is_delimiter(char character) const {
    const auto count = std::min<std::size_t>(delimiter_count_, delimiters_.size() - 1);
    const auto end = delimiters_.begin() + static_cast<std::ptrdiff_t>(count);
    return std::find(delimiters_.begin(), end, character) != end;
}

char* ListTokenizer::next_token() {
    if (*cursor_ == '\0') return nullptr;
    while (is_delimiter(*cursor_)) ++cursor_;
    char* const token = cursor_;
    Quotes quotes;
    char* first_inner_delimiter = nullptr;
    for (; *cursor_ != '\0'; ++cursor_) {
        if (!is_delimiter(*cursor_)) {
            quotes.take(*cursor_);
        } else if (!quotes.is_open()) {
            end_token(cursor_);
            return token;
        } else {
            // Not forgotten when the quote closes: a later quote that stays open is cut here too.
            if (first_inner_delimiter == nullptr) first_inner_delimiter = cursor_;
            quotes.take_delimiter(*cursor_);
        }
    }
    // A quote that never closes protects nothing: the list goes on after its first delimiter.
    if (quotes.is_open() && first_inner_delimiter != nullptr) end_token(first_inner_delimiter);
    return token;
}

void ListTokenizer::end_token(char* place) {
    *place = '\0';
    cursor_ = place + 1;
}

char* strip_token(char* token) {
    if (token == nullptr) return nullptr;
    const std::size_t size = std::strlen(token);
    if (size < 2 || token[0] != '"' || token[size - 1] != '"') return token;
    token[size - 1] = '\0';
    char* const text = token + 1;
    char* out = text;
    for (const char* in = text; *in != '\0'; ++in) {
        if (in[0] == '\\' && (in[1] == '\\' || in[1] == '"' || in[1] == '\'')) ++in;
        *out++ = *in;
    }
    *out = '\0';
    return text;
}

std::uint32_t read_input_list(char* file_list, hotpath::FunctionRecordSet& records) {
    if (file_list == nullptr) return 0;
    ListTokenizer list(file_list, ";");
    std::uint32_t count = 0;
    while (const char* const path = strip_token(list.next_token()))
        if (check_input(hotpath::load_input(records, path), path)) ++count;
    return count;
}

bool check_input(hotpath::ReaderStatus status, const char* path) {
    switch (status) {
        case hotpath::ReaderStatus::ready: return true;
        case hotpath::ReaderStatus::cannot_open:
            diag::report_warning(diag::PT_cannot_open_file, path);
            return false;
        case hotpath::ReaderStatus::no_samples:
            diag::report_warning(diag::PT_cannot_read_samples, path);
            return false;
    }
    diag::report_fatal(diag::PT_edgefold_internal_error);
}

}  // namespace tool
