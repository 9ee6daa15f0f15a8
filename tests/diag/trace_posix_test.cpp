// What of a trace is lost where a process ends at once, seen after a fork.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <thread>
#include <vector>

#include "diag/trace.h"

namespace diag {
namespace {

using testing::Eq;
using testing::ExitedWithCode;

TEST(TracePrintDeathTest, text_is_not_flushed) {
    const auto trace_and_stop = [] {
        std::setvbuf(stderr, nullptr, _IOFBF, BUFSIZ);
        trace_print("lost");
        std::_Exit(0);
    };
    EXPECT_EXIT(trace_and_stop(), ExitedWithCode(0), Eq(""));
}

// So many bytes, of which the memory holds a few: the same pages stand there again and again.
class LongText {
public:
    explicit LongText(std::size_t pieces) : size_(pieces * piece_size) {
        const int file = memfd_create("text", 0);
        EXPECT_EQ(ftruncate(file, piece_size), 0);
        void* const place = mmap(nullptr, size_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        EXPECT_NE(place, MAP_FAILED);
        text_ = static_cast<char*>(place);
        for (std::size_t i = 0; i < pieces; ++i)
            EXPECT_NE(mmap(text_ + i * piece_size, piece_size, PROT_READ | PROT_WRITE,
                           MAP_SHARED | MAP_FIXED, file, 0),
                      MAP_FAILED);
        close(file);
        std::memset(text_, 'n', piece_size);
    }
    LongText(const LongText&) = delete;
    LongText& operator=(const LongText&) = delete;
    ~LongText() { munmap(text_, size_); }

    std::string_view view() const { return {text_, size_}; }

private:
    static constexpr std::size_t piece_size = 1 << 24;

    std::size_t size_;
    char* text_ = nullptr;
};

// How many bytes the action writes on the standard error stream.
template <class Action>
std::uint64_t written_by(Action action) {
    std::array<int, 2> ends{};
    EXPECT_EQ(pipe(ends.data()), 0);
    std::uint64_t size = 0;
    std::thread counter([&] {
        std::vector<char> buffer(1 << 16);
        for (ssize_t got; (got = read(ends[0], buffer.data(), buffer.size())) > 0;)
            size += static_cast<std::uint64_t>(got);
    });
    std::fflush(stderr);
    const int kept = dup(STDERR_FILENO);
    dup2(ends[1], STDERR_FILENO);
    close(ends[1]);
    action();
    std::fflush(stderr);
    dup2(kept, STDERR_FILENO);
    close(kept);
    counter.join();
    close(ends[0]);
    return size;
}

TEST(TraceTexts, a_name_of_more_than_2_gib_is_printed_whole) {
    const LongText name(130);
    EXPECT_EQ(written_by([&] {
                  trace_texts({"Load function: A.C(", name.view(), ")"});
              }),
              130 * (std::uint64_t{1} << 24) + 20);
}

}  // namespace
}  // namespace diag
