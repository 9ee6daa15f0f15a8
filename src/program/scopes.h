#pragma once
// The functions of a program's debug information and what was inlined into them, by address. The
// tree of each unit is walked once; what is kept is one record for each function and each inlined
// call.

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "program/elf_file.h"
#include "program/line_table.h"
#include "program/text_ids.h"

struct Dwarf;

namespace program {

// A function of the source.
struct SourceFunction {
    std::string_view name;  // linkage name; where there is none (C), the name
    std::uint32_t file = TextIds::none;
    std::uint32_t line = 0;  // 0: unknown
};

// Code of a function that stands for itself, or of one that was inlined.
struct Scope {
    static constexpr std::uint32_t none = 0xFFFFFFFF;

    std::uint32_t caller = none;  // the scope that it was inlined into
    std::uint32_t function = 0;   // index of its SourceFunction
    // Where the call stood that was inlined
    std::uint32_t call_file = TextIds::none;
    std::uint32_t call_line = 0;
    std::uint32_t call_discriminator = 0;
    std::uint16_t call_column = 0;
};

class Scopes {
public:
    // Code of a function that stands for itself: one of possibly several parts. The first of a
    // scope's holds its entry.
    struct Part {
        AddressRange range;
        std::uint32_t scope = 0;
    };

    // Reads the units of the debug information, and their line tables into `lines`. The texts stay
    // with `dwarf`.
    void read(Dwarf* dwarf, const std::vector<AddressRange>& code, LineTable& lines);

    // The innermost scope at the address, or Scope::none.
    std::uint32_t find(Address address) const;
    // The scope of the function that stands for itself, into which that one was inlined. Of
    // Scope::none: Scope::none.
    std::uint32_t outermost(std::uint32_t index) const;
    const Scope& scope(std::uint32_t index) const { return scopes_[index]; }
    const SourceFunction& function_of(const Scope& scope) const {
        return functions_[scope.function];
    }
    std::span<const Part> parts() const { return parts_; }
    // A file that a unit's debug information was split off into, and that can't be read as such;
    // empty if there is none. What was inlined in the unit's code is then unknown.
    const std::string& missing_file() const { return missing_file_; }

private:
    friend class ScopeReader;

    // From its start to the start of the next one, one scope (or none) is the innermost.
    struct Piece {
        Address start = 0;
        std::uint32_t scope = Scope::none;
    };

    std::vector<SourceFunction> functions_;
    std::vector<Scope> scopes_;
    std::vector<Part> parts_;
    std::vector<Piece> pieces_;
    std::string missing_file_;
};

}  // namespace program
