// The reporter without memory, since the process's limit on it can be lowered here.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cstdlib>

#include "diag/message_catalogue.h"
#include "diag/reporter.h"
#include "support/address_sanitizer.h"

namespace diag {
namespace {

using testing::Eq;
using testing::ExitedWithCode;

// Leaves the process without memory to allocate.
void exhaust_memory() {
    const rlimit nothing{1, 1};
    setrlimit(RLIMIT_AS, &nothing);
    for (std::size_t size = 1 << 20; size >= 8; size /= 2) {
        void* volatile block = std::malloc(size);
        while (block != nullptr) block = std::malloc(size);
    }
}

TEST(ReportMessageDeathTest, message_without_memory_for_it_is_catastrophic) {
    if (UNDER_ADDRESS_SANITIZER) GTEST_SKIP() << "the sanitizer needs memory of its own";
    const auto report_without_memory = [] {
        exhaust_memory();
        report_warning(PT_edgefold_no_files);
    };
    EXPECT_EXIT(report_without_memory(), ExitedWithCode(1),
                Eq("catastrophic error: out of memory\n"));
}

TEST(PrintMessageDeathTest, text_without_memory_for_it_is_catastrophic) {
    if (UNDER_ADDRESS_SANITIZER) GTEST_SKIP() << "the sanitizer needs memory of its own";
    const auto print_without_memory = [] {
        exhaust_memory();
        print_message(stderr, PT_edgefold_help_opts);
    };
    EXPECT_EXIT(print_without_memory(), ExitedWithCode(1),
                Eq("catastrophic error: out of memory\n"));
}

TEST(MessageTextDeathTest, copy_without_memory_for_it_is_catastrophic) {
    if (UNDER_ADDRESS_SANITIZER) GTEST_SKIP() << "the sanitizer needs memory of its own";
    const auto copy_without_memory = [] {
        exhaust_memory();
        const ReporterText text = message_text(PT_edgefold_help_opts);
    };
    EXPECT_EXIT(copy_without_memory(), ExitedWithCode(1),
                Eq("catastrophic error: out of memory\n"));
}

}  // namespace
}  // namespace diag
