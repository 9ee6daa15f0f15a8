// Names of functions in files that aren't converted. A recording has no names, but it says which
// file lay where: the file itself has the names, as long as it is the one that ran.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <unordered_map>
#include <vector>

#include "edgefile/edge_table.h"
#include "perf/address_spaces.h"
#include "program/functions.h"

namespace perf {

class ForeignNames {
public:
    // The place of the function that begins there, `edgefile::foreign` if none of known name does.
    // The file is `file` on each call with the same number.
    Place place(const FilePlace& place, const OtherFile& file);

    // Those of the places given so far. The first one stands for all that have no name.
    std::span<const edgefile::ForeignFunction> functions() const { return functions_; }

private:
    struct Names {
        std::unique_ptr<program::ElfFile> file;
        std::unique_ptr<program::Functions> functions;
        std::unordered_map<program::Address, Place> places;  // that were asked for
    };

    Place new_place(const Names& names, program::Address address);

    std::unordered_map<std::uint32_t, Names> files_;
    std::vector<edgefile::ForeignFunction> functions_{1};
};

}  // namespace perf
