#include "shared/hotpath/names/name_undecorator.h"

#include <cstdlib>
#include <cstring>

#include "diag/decimal_text.h"
#include "diag/reporter.h"
#include "shared/hotpath/names/ascii.h"
#include "shared/hotpath/names/client.h"

namespace hotpath {
namespace {

constexpr std::size_t initial_capacity = 512;

// Group 0 is the name of the function that the routine was cut from.
constexpr char omp_pattern[] =
    R"(L_{[_a-zA-Z0-9]*}_[0-9]+__par_((crewloop)|(loop)|(section)|(taskq)|(region))[0-9]+_2\.[0-9]+)";

constexpr char suffix_separator = '.';

}  // namespace

NameUndecoratorBase::~NameUndecoratorBase() { std::free(buffer_); }

const char* NameUndecoratorBase::undecorate(const char* name) {
    return next_ == nullptr ? name : next_->undecorate(name);
}

char* NameUndecoratorBase::scratch(std::size_t size) {
    if (buffer_ == nullptr) {
        buffer_ = static_cast<char*>(diag::checked_malloc(initial_capacity));
        buffer_capacity_ = initial_capacity;
    }
    if (size > buffer_capacity_) {
        buffer_ = static_cast<char*>(diag::checked_realloc(buffer_, size));
        buffer_capacity_ = static_cast<std::uint32_t>(size);
    }
    return buffer_;
}

const char* NameUndecoratorBase::copy_to_scratch(const char* text, std::size_t length,
                                                 std::size_t size) {
    char* const copy = scratch(size);
    std::memcpy(copy, text, length);
    copy[length] = '\0';
    return copy;
}

NameUndecoratorOMPMangling::NameUndecoratorOMPMangling(NameUndecoratorBase* next)
    : NameUndecoratorBase(next) {
    matcher_.compile(omp_pattern);
}

const char* NameUndecoratorOMPMangling::undecorate(const char* name) {
    // Every text that the pattern matches holds this literal, and hardly any name does: a plain
    // search spares nearly all names the engine.
    if (std::strstr(name, "__par_") == nullptr) return NameUndecoratorBase::undecorate(name);

    const char* start = nullptr;
    const char* end = nullptr;
    if (matcher_.match(name) != 0 || matcher_.group(0, start, end) == 0)
        return NameUndecoratorBase::undecorate(name);

    const auto length = static_cast<std::size_t>(end - start);
    const char* const parent = copy_to_scratch(start, length, length + 1);
    if ((diag::reader_trace_flags & diag::READER_TRACE_CHOICE) != 0) {
        diag::trace_print("OMP mangled name conversion: ");
        diag::trace_print("Old name = %s. New name = %s\n", name, parent);
    }
    return NameUndecoratorBase::undecorate(parent);
}

bool NameUndecoratorSuffixRemover::find_suffix(const char* name, const char*& head_end,
                                               const char*& tail_start) {
    const char* const p = std::strchr(name, suffix_separator);
    if (p == nullptr) return false;
    const char* q = p + 1;
    if (is_letter(*q) && p[2] == suffix_separator) q = p + 3;  // a one-letter tag, as in `.a.`
    if (*q == suffix_separator) ++q;
    while (diag::is_digit(*q)) ++q;
    if (*q == suffix_separator) ++q;
    head_end = p;
    tail_start = q;
    return true;
}

const char* NameUndecoratorSuffixRemover::undecorate(const char* name) {
    const char* head_end = nullptr;
    const char* tail_start = nullptr;
    if (!find_suffix(name, head_end, tail_start)) return NameUndecoratorBase::undecorate(name);

    const std::size_t tail_length = std::strlen(tail_start);
    const auto size = static_cast<std::size_t>(tail_start - name) + tail_length + 1;
    char* const joined = scratch(size);
    bounded_print(joined, size, "%.*s%.*s%c", static_cast<int>(head_end - name), name,
                  static_cast<int>(tail_length), tail_start, '\0');
    return NameUndecoratorBase::undecorate(joined);
}

const char* NameUndecoratorCppFilePath::undecorate(const char* name) {
    const auto key_name = key_name_for(name);
    if (!key_name) return NameUndecoratorBase::undecorate(name);
    const std::size_t length = key_name->size();
    return NameUndecoratorBase::undecorate(copy_to_scratch(key_name->c_str(), length, length + 1));
}

const char* NameUndecoratorFortranMangling::undecorate(const char* name) {
    const std::size_t length = std::strlen(name);
    if (length == 0 || name[length - 1] != '_') return NameUndecoratorBase::undecorate(name);
    const bool separated = length > 1 && name[length - 2] == suffix_separator;
    const std::size_t kept = length - (separated ? 2 : 1);
    return NameUndecoratorBase::undecorate(copy_to_scratch(name, kept, length));
}

}  // namespace hotpath
