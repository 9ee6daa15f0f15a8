// Each stage is short, but for one: the search for outlined routines, `find_routine`.
//
// `omp_pattern` says what an outlined routine looks like, and matching it against the whole name
// would do. But an edge file is a foreign file, and a name can be made of nothing but `L_`: the
// matcher then runs over the rest of the name from each of them, which costs quadratic time.
//
// So the search begins where a match must end. All that the pattern allows before its dot are
// letters, digits and underscores, and the captured name may hold all of these too. From its `L_`
// up to the dot a match is therefore one stretch of such characters, and whether there is one
// depends on how the stretch ends: on the `_2`, the digits, the kind of region, the digits and the
// `_`, which are read from the dot backwards. If they are there, the leftmost `L_` in front of them
// begins the match. A stretch never reaches back over a dot, so each character is read a few times
// at most. The matcher is then run from that `L_`, where its first attempt succeeds, and gives the
// captured name.
//
// The grammar thus stands here twice, as a pattern and as `drop_routine_end`. A test compares the
// two on all names of a few pieces, and the fuzzer of the name chain on names without end.
#include "hotpath/names/name_undecorator.h"

#include <cstdlib>
#include <cstring>
#include <string_view>

#include "diag/ascii.h"
#include "diag/checked_memory.h"
#include "diag/trace.h"
#include "hotpath/names/client.h"

namespace hotpath {
namespace {

constexpr std::size_t initial_capacity = 512;

// Group 0 is the name of the function that the routine was cut from.
constexpr char omp_pattern[] =
    R"(L_{[_a-zA-Z0-9]*}_[0-9]+__par_((crewloop)|(loop)|(section)|(taskq)|(region))[0-9]+_2\.[0-9]+)";

constexpr char suffix_separator = '.';

// Takes a text off the end of another, or one digit and more; false if it isn't there.
bool drop_end(std::string_view& text, std::string_view end) {
    if (!text.ends_with(end)) return false;
    text.remove_suffix(end.size());
    return true;
}
bool drop_digits(std::string_view& text) {
    if (text.empty() || !diag::is_digit(text.back())) return false;
    while (!text.empty() && diag::is_digit(text.back())) text.remove_suffix(1);
    return true;
}

bool drop_kind(std::string_view& text) {
    return drop_end(text, "__par_crewloop") || drop_end(text, "__par_loop") ||
           drop_end(text, "__par_section") || drop_end(text, "__par_taskq") ||
           drop_end(text, "__par_region");
}

// True if `text` ends in what stands before a routine's dot; takes it off.
bool drop_routine_end(std::string_view& text) {
    return drop_end(text, "_2") && drop_digits(text) && drop_kind(text) && drop_digits(text) &&
           drop_end(text, "_");
}

// The last characters of `text` that a captured name can have.
std::string_view captured_end(std::string_view text) {
    std::size_t size = 0;
    const auto is_captured = [](char c) {
        return c == '_' || diag::is_letter(c) || diag::is_digit(c);
    };
    while (size < text.size() && is_captured(text[text.size() - 1 - size])) ++size;
    return text.substr(text.size() - size);
}

// Where the leftmost match of the pattern begins; null if there is none.
const char* find_routine(const char* name) {
    const char* dot = std::strchr(name, '.');
    for (; dot != nullptr; dot = std::strchr(dot + 1, '.')) {
        std::string_view before(name, static_cast<std::size_t>(dot - name));
        if (!diag::is_digit(dot[1]) || !drop_routine_end(before)) continue;
        const std::string_view parent = captured_end(before);
        const std::size_t start = parent.find("L_");
        if (start != std::string_view::npos) return parent.data() + start;
    }
    return nullptr;
}

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
    const char* const routine = find_routine(name);
    const char* start = nullptr;
    const char* end = nullptr;
    if (routine == nullptr || matcher_.match(routine) != 0 || matcher_.group(0, start, end) == 0)
        return NameUndecoratorBase::undecorate(name);

    const auto length = static_cast<std::size_t>(end - start);
    const char* const parent = copy_to_scratch(start, length, length + 1);
    if (diag::traces(diag::reader_trace_choice)) {
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
    if (diag::is_letter(*q) && p[2] == suffix_separator)
        q = p + 3;  // a one-letter tag, as in `.a.`
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

    const auto head_length = static_cast<std::size_t>(head_end - name);
    const std::size_t tail_size = std::strlen(tail_start) + 1;
    char* const joined = scratch(static_cast<std::size_t>(tail_start - name) + tail_size);
    std::memcpy(joined, name, head_length);
    std::memcpy(joined + head_length, tail_start, tail_size);
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
