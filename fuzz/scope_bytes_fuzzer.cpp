// A file of any bytes where edgescope expects a sample database: each is either refused with a
// message or read to its end, and what was read can be shown, checked, compared and exported.
#include <string>

#include "database_files.h"
#include "fuzz_input.h"
#include "quiet_stderr.h"
#include "scope_commands.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const fuzz::SqliteLimits limits;
    fuzz::FuzzInput input(data, size);
    fuzz::fresh_database("scope.db");
    const std::string path = fuzz::database_directory().write("scope.db", input.rest());
    for (const bool is_trusted : {false, true}) {
        fuzz::SqliteLimits::begin_again();
        fuzz::QuietStderr messages;
        const std::optional<edgescope::Profile> profile =
            fuzz::read_with_edgescope(path, is_trusted);
        fuzz::require(profile.has_value() == messages.text().empty(),
                      "a message for each file that is refused, and for no other");
        if (profile) fuzz::run_all_commands(*profile);
    }
    return 0;
}
