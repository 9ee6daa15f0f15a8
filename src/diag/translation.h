// The place where a translated text would take the place of a message's own. The tool has no
// translations, so nothing feeds it; the check that one would have to pass stands ready.
#pragma once

#include <string>
#include <string_view>

#include "diag/message_catalogue.h"

namespace diag {

// True if `translated` may stand in place of the row's own text: it asks for the same fill-ins. A
// conversion that isn't known is reported as `DIAG_bad_message_arg`; a failed check isn't reported
// here.
[[nodiscard]] bool verify_translation(std::string_view translated, const MessageRow& row);

// `translated` if it passes that check; if not, the row's own text, with a report of
// `DIAG_message_verify_fail` at `warning`.
[[nodiscard]] std::string accepted_text(std::string_view translated, const MessageRow& row);

}  // namespace diag
