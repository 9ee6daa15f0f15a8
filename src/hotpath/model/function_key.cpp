#include "hotpath/model/function_key.h"

#include <algorithm>
#include <array>
#include <new>

namespace hotpath {
namespace {

// A walk through a joined text, piece by piece.
class JoinedText {
public:
    JoinedText(std::string_view function_name, std::string_view file_name)
        : pieces_{function_name, "/", file_name} {
        skip_empty();
    }

    bool at_end() const { return piece_ == pieces_.size(); }

    // What is left of the piece; not empty but at the end.
    std::string_view piece() const { return at_end() ? std::string_view() : pieces_[piece_]; }

    void advance(std::size_t size) {
        pieces_[piece_].remove_prefix(size);
        skip_empty();
    }

private:
    void skip_empty() {
        while (!at_end() && pieces_[piece_].empty()) ++piece_;
    }

    std::array<std::string_view, 3> pieces_;
    std::size_t piece_ = 0;
};

// Below 0, 0 or above 0, as the first text stands in front of the second, equals it or stands
// behind it.
int compare(JoinedText a, JoinedText b) {
    while (!a.at_end() && !b.at_end()) {
        const std::size_t size = std::min(a.piece().size(), b.piece().size());
        const int order = a.piece().substr(0, size).compare(b.piece().substr(0, size));
        if (order != 0) return order;
        a.advance(size);
        b.advance(size);
    }
    return a.at_end() ? (b.at_end() ? 0 : -1) : 1;
}

}  // namespace

const KeptText* KeptText::make(void* storage, std::string_view text) {
    auto* const kept = new (storage) KeptText(text.size());
    char* const bytes = reinterpret_cast<char*>(kept + 1);
    bytes[text.copy(bytes, text.size())] = '\0';
    return kept;
}

bool same_joined(const FunctionKey& key, const FileName& file, std::string_view function_name) {
    if (&key.file() == &file) return key.function_name() == function_name;
    if (key.function_name().size() + key.file_name().size() !=
        function_name.size() + file.text.size())
        return false;
    return compare({key.function_name(), key.file_name()}, {function_name, file.text}) == 0;
}

bool joined_less(const FunctionKey& a, const FunctionKey& b) {
    const std::string_view function_a = a.function_name();
    const std::string_view function_b = b.function_name();
    const std::size_t size = std::min(function_a.size(), function_b.size());
    // Mostly the function names differ before one of them ends.
    const int order = function_a.substr(0, size).compare(function_b.substr(0, size));
    if (order != 0) return order < 0;
    return compare({a.function_name(), a.file_name()}, {b.function_name(), b.file_name()}) < 0;
}

std::uint64_t joined_number_at(const FunctionKey& key, std::size_t place) {
    const std::string_view function = key.function_name();
    const std::string_view file = key.file_name();
    std::array<char, 8> bytes{};
    if (place + bytes.size() <= function.size()) {
        function.copy(bytes.data(), bytes.size(), place);
    } else {
        for (std::size_t k = 0; k < bytes.size(); ++k) {
            const std::size_t i = place + k;
            const std::size_t behind = i - function.size() - 1;  // place in the file name
            if (i < function.size())
                bytes[k] = function[i];
            else if (i == function.size())
                bytes[k] = '/';
            else if (behind < file.size())
                bytes[k] = file[behind];
        }
    }
    std::uint64_t number = 0;
    for (const char byte : bytes) number = number << 8 | static_cast<unsigned char>(byte);
    return number;
}

}  // namespace hotpath
