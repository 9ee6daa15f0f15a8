#include "edgefold/arguments.h"

#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>

#include "diag/checked_memory.h"
#include "diag/platform.h"

namespace tool {
namespace {

char* copy_text(const char* text, std::size_t size) {
    auto* const copy = static_cast<char*>(std::malloc(size + 1));
    if (copy == nullptr) return nullptr;
    std::memcpy(copy, text, size);
    copy[size] = '\0';
    return copy;
}

char* utf8_copy(const char* text) { return copy_text(text, std::strlen(text)); }

char* utf8_copy(const wchar_t* text) {
    const std::optional<std::string> utf8 = diag::platform::wide_to_utf8(text);
    return utf8 ? copy_text(utf8->data(), utf8->size()) : nullptr;
}

template <class Character>
char** copy_vector(int count, const Character* const* arguments) {
    const auto entries = static_cast<std::size_t>(count);
    auto** const copies = static_cast<char**>(diag::checked_malloc((entries + 1) * sizeof(char*)));
    for (std::size_t i = 0; i < entries; ++i) copies[i] = utf8_copy(arguments[i]);
    copies[entries] = nullptr;
    return copies;
}

}  // namespace

char** copy_arguments(int count, const char* const* arguments) {
    return copy_vector(count, arguments);
}

char** copy_arguments(int count, const wchar_t* const* arguments) {
    return copy_vector(count, arguments);
}

}  // namespace tool
