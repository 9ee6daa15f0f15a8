// The standard error stream of the C library as a text: what the tool says there is checked or
// dropped, and doesn't flood the fuzzing engine's log.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

namespace fuzz {

// While it lives, writes to `stderr` are kept. Findings and sanitizers must not write through it.
class QuietStderr {
public:
    QuietStderr() { stderr = open_memstream(&text_, &size_); }
    QuietStderr(const QuietStderr&) = delete;
    QuietStderr& operator=(const QuietStderr&) = delete;
    ~QuietStderr() {
        std::fclose(stderr);
        stderr = before_;
        std::free(text_);
    }

    std::string text() const {
        std::fflush(stderr);
        return {text_, size_};
    }

private:
    std::FILE* before_ = stderr;
    char* text_ = nullptr;
    std::size_t size_ = 0;
};

}  // namespace fuzz
