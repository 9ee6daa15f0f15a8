#include "tool/arguments.h"

#include <cstdlib>
#include <cstring>

#include "diag/reporter.h"

namespace tool {
namespace {

char* copy_text(const char* text) {
    const std::size_t size = std::strlen(text) + 1;
    void* const copy = std::malloc(size);
    return copy == nullptr ? nullptr : static_cast<char*>(std::memcpy(copy, text, size));
}

}  // namespace

char** copy_arguments(int count, const char* const* arguments) {
    const auto entries = static_cast<std::size_t>(count);
    auto** const copies = static_cast<char**>(diag::checked_malloc((entries + 1) * sizeof(char*)));
    for (std::size_t i = 0; i < entries; ++i) copies[i] = copy_text(arguments[i]);
    copies[entries] = nullptr;
    return copies;
}

}  // namespace tool
