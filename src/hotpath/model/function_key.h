// The names of one function, and the text that they join to: function name, "/", file name. That
// text decides which record a function has and where the record stands in a set. It is never built:
// a file name is kept once, however many functions the file has.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "hotpath/model/joined_hash.h"

namespace hotpath {

// A text in storage of a factory's, as a size with the bytes and a terminator behind it.
class KeptText {
public:
    // The storage that a text of this size takes, aligned like the size.
    static std::size_t storage_size(std::string_view text) {
        return sizeof(KeptText) + text.size() + 1;
    }
    static const KeptText* make(void* storage, std::string_view text);

    std::string_view text() const { return {reinterpret_cast<const char*>(this + 1), size_}; }

private:
    explicit KeptText(std::size_t size) : size_(size) {}

    std::uint64_t size_;
};

// A source file's name, as all records of that file share it.
struct FileName {
    std::string_view text;
    JoinedHash hash;
};

// Two borrowed names; the factory keeps them.
class FunctionKey {
public:
    FunctionKey(const FileName& file, const KeptText& function)
        : function_(&function), file_(&file) {}

    std::string_view function_name() const { return function_->text(); }
    std::string_view file_name() const { return file_->text; }
    const FileName& file() const { return *file_; }

private:
    const KeptText* function_;
    const FileName* file_;
};

// True if the names of the two functions join to one text, whatever the names are.
bool same_joined(const FunctionKey& key, const FileName& file, std::string_view function_name);

// The order of the joined texts by their bytes.
bool joined_less(const FunctionKey& a, const FunctionKey& b);

// The joined text's eight bytes from `place` on, a multiple of 8, as a number that compares like
// them; zeros stand behind the text's end.
std::uint64_t joined_number_at(const FunctionKey& key, std::size_t place);

}  // namespace hotpath
