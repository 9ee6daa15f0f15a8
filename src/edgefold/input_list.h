// The value of `-file`: a list of paths in one text, cut at its semicolons, each path handed to the
// readers. The readers know what an input holds; that a bad one is a warning is decided here.
#pragma once

#include <array>
#include <cstdint>

#include "hotpath/model/function_record_set.h"
#include "hotpath/readers/sample_reader.h"

namespace tool {

// Cuts a list text in place into tokens. The text is borrowed, is written to, and must live as long
// as the tokens, which point into it.
class ListTokenizer {
public:
    // Up to nine delimiters; further ones are dropped. Null means none.
    ListTokenizer(char* text, const char* delimiters);

    bool is_delimiter(char character) const;

    // The next token, with its quotes and backslashes; null at the end of the list. Delimiters in
    // front of a token are skipped, those inside quotes belong to it.
    [[nodiscard]] char* next_token();

private:
    class Quotes;

    void end_token(char* place);

    std::array<char, 10> delimiters_{};
    std::uint8_t delimiter_count_ = 0;
    char* cursor_;
};

// The token without its enclosing double quotes and, if it had such, without escapes; works in
// place. Null gives null.
[[nodiscard]] char* strip_token(char* token);

// Reads all inputs of the list into `records`, in their order. The result is the number of list
// entries that were read; the others are warned about. Null is the empty list. The list is cut up.
[[nodiscard]] std::uint32_t read_input_list(char* file_list, hotpath::FunctionRecordSet& records);

// True if the input was read. Warns if not; a status of no known value ends the program.
[[nodiscard]] bool check_input(hotpath::ReaderStatus status, const char* path);

}  // namespace tool
