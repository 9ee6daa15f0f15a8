// The stages that rewrite a function's name from the form that object code has into the form under
// which the compiler looks the function up later. The NameNormaliser knows which stages a name
// passes, and in which order.
#pragma once

#include <cstddef>
#include <cstdint>

#include "hotpath/names/regex_matcher.h"

namespace hotpath {

// One stage of a chain. It does its own rewriting and hands the result to the stage after it,
// which it doesn't own. The base class rewrites nothing.
class NameUndecoratorBase {
public:
    explicit NameUndecoratorBase(NameUndecoratorBase* next = nullptr) : next_(next) {}
    NameUndecoratorBase(const NameUndecoratorBase&) = delete;
    NameUndecoratorBase& operator=(const NameUndecoratorBase&) = delete;

    virtual ~NameUndecoratorBase();

    // The name as this stage and those after it write it: `name` itself where none has anything to
    // rewrite, otherwise a text in some stage's buffer that lives until that stage's next call.
    virtual const char* undecorate(const char* name);

protected:
    // This stage's room, of at least `size` bytes; a larger request moves it. Without memory the
    // program ends.
    char* scratch(std::size_t size);

    // A terminated copy of `length` characters in this stage's room, of which it asks for `size`
    // bytes.
    const char* copy_to_scratch(const char* text, std::size_t length, std::size_t size);

private:
    NameUndecoratorBase* next_;
    char* buffer_ = nullptr;
    std::uint32_t buffer_capacity_ = 0;
};

// Gives the outlined routine of an OpenMP region the name of the function that it was cut from:
// `L_main_23__par_region0_2.1` becomes `main`. Text around the generated name is dropped.
class NameUndecoratorOMPMangling final : public NameUndecoratorBase {
public:
    explicit NameUndecoratorOMPMangling(NameUndecoratorBase* next);
    const char* undecorate(const char* name) override;

private:
    RegexMatcher matcher_;
};

// Removes the suffix that a compiler gives to a function's clone: `foo.a.123` becomes `foo`.
class NameUndecoratorSuffixRemover final : public NameUndecoratorBase {
public:
    explicit NameUndecoratorSuffixRemover(NameUndecoratorBase* next) : NameUndecoratorBase(next) {}
    const char* undecorate(const char* name) override;

    // True if the name has a suffix: the text from `head_end` up to `tail_start`. Only the first
    // one counts, and text may follow it.
    static bool find_suffix(const char* name, const char*& head_end, const char*& tail_start);
};

// Replaces the path in the name of a function of an unnamed namespace by a fixed text. The last
// stage of a chain.
class NameUndecoratorCppFilePath final : public NameUndecoratorBase {
public:
    const char* undecorate(const char* name) override;
};

// Removes a Fortran name's trailing underscore. No chain uses it: Fortran names are recorded as
// they stand in the file.
class NameUndecoratorFortranMangling final : public NameUndecoratorBase {
public:
    explicit NameUndecoratorFortranMangling(NameUndecoratorBase* next)
        : NameUndecoratorBase(next) {}
    const char* undecorate(const char* name) override;
};

}  // namespace hotpath
