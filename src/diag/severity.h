// How serious a message is. The values are fixed; the word that each one prints is a message of the
// catalogue.
#pragma once

#include <cstdint>

namespace diag {

enum class Severity : std::int32_t {
    from_row = 0,  // the row's own severity
    error = 1,
    error_non_discretion = 2,
    error_cmdline = 3,
    error_internal = 4,
    error_catastrophic = 5,
    warning = 6,
    warning_cmdline = 7,
    remark = 8,
    remark_cmdline = 9,
    text = 10,
};

}  // namespace diag
