#pragma once
// The functions of a program by address: from its symbols, and from the debug information where a
// function has no symbol.

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "program/elf_file.h"
#include "program/scopes.h"

namespace program {

// Machine code with a name. Functions don't overlap; where symbols do, the later one begins where
// it says.
struct Function {
    AddressRange range;
    std::string_view name;  // linkage name without version; a part "f.cold" goes by "f" where there
                            // is one f only
    std::uint32_t owner = 0;  // index of the function that it is a part of; usually its own
    bool has_symbol = true;
    std::string_view symbol_file;  // source file, by the symbol table alone; may be empty
};

class Functions {
public:
    // Of several symbols at one address the most global one holds, of those the first by name.
    Functions(const std::vector<Symbol>& symbols, const Scopes& scopes,
              const std::vector<Code>& code);

    // In order of address.
    const std::vector<Function>& all() const { return functions_; }
    // Index of the function that the address lies in.
    std::optional<std::uint32_t> find(Address address) const;

private:
    std::vector<Function> functions_;
};

}  // namespace program
