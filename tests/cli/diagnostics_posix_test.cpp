// Messages on systems whose arguments are bytes.
#include "cli_support.h"

namespace cli {
namespace {

class DiagnosticsOfBytes : public CliTest {};

TEST_F(DiagnosticsOfBytes, bytes_that_are_no_text_pass_unchanged) {
    EXPECT_EQ(run_plain({"-file", "a\xff\xc0\x80z", "-dump"}),
              (Outcome{0, empty_report, cannot_open("a\xff\xc0\x80z")}));
}

}  // namespace
}  // namespace cli
