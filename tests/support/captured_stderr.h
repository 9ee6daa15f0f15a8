// What the tool says on the standard error stream, as a text.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "diag/trace.h"

namespace test_support {

// Runs the operation and gives the bytes that it wrote on the standard error stream.
template <class Operation>
std::string captured_stderr(Operation operation) {
    testing::internal::CaptureStderr();
    operation();
    return testing::internal::GetCapturedStderr();
}

// The same with these bits of `reader_trace_flags` set.
template <class Operation>
std::string captured_trace(std::uint32_t bits, Operation operation) {
    diag::reader_trace_flags = bits;
    const std::string text = captured_stderr(operation);
    diag::reader_trace_flags = 0;
    return text;
}

}  // namespace test_support
