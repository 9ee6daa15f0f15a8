// Edge files whose device gives an error in the middle of them.
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include "hotpath/readers/edge_reader.h"
#include "support/profile_text.h"
#include "support/tracking_allocator.h"

namespace hotpath {
namespace {

const std::string header =
    "FromAddress,TypeOfBranch,FromSourceFile,FromSourceLine,FromFunctionMangled,"
    "DestinationEndOfBlockAddress,DestinationSourceFile,DestinationSourceLine,"
    "DestinationFunctionMangled,HitCount\n";
const std::string edge_row = "10,Jump,a.c,1,f,20,a.c,2,f,5\n";
const std::string call_row = "14,Call,a.c,3,f,30,b.c,7,g,4\n";

// Bytes, and behind them the error.
struct Device {
    std::string bytes;
    std::size_t place = 0;
};

ssize_t read_device(void* cookie, char* buffer, std::size_t size) {
    Device& device = *static_cast<Device*>(cookie);
    const std::size_t got = std::min(size, device.bytes.size() - device.place);
    if (got == 0) {
        errno = EIO;
        return -1;
    }
    std::memcpy(buffer, device.bytes.data() + device.place, got);
    device.place += got;
    return static_cast<ssize_t>(got);
}

int close_device(void* cookie) {
    delete static_cast<Device*>(cookie);
    return 0;
}

std::unique_ptr<SampleFeedbackEdgeReader> reader_of(const std::string& bytes) {
    cookie_io_functions_t functions{};
    functions.read = read_device;
    functions.close = close_device;
    auto stream =
        std::make_unique<EdgeStream>(fopencookie(new Device{header + bytes}, "r", functions));
    EdgeHeader columns_of_file;
    stream->take_line([&](std::string_view piece) { columns_of_file.add(piece); });
    EdgeColumnMap columns;
    EXPECT_TRUE(columns_of_file.finish(columns));
    return std::make_unique<SampleFeedbackEdgeReader>(std::move(stream), columns);
}

class FailingDevice : public testing::Test {
protected:
    test_support::HeapFactory factory;
    FunctionRecordSet set{factory};
};

TEST_F(FailingDevice, makes_the_reading_fail_and_is_no_run) {
    EXPECT_FALSE(reader_of(edge_row)->read_function_records(set, factory, false));
    EXPECT_EQ(set.num_runs(), 0U);
}

TEST_F(FailingDevice, leaves_the_rows_that_were_added) {
    EXPECT_FALSE(
        reader_of(edge_row + call_row + "18,Ju")->read_function_records(set, factory, false));
    EXPECT_EQ(test_support::profile_text(set),
              "f in A.C x0 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x5\n"
              "  call g 3:0 x4\n"
              "g in B.C x0 flags 0\n");
}

TEST_F(FailingDevice, adds_nothing_to_the_next_file) {
    reader_of(call_row)->read_function_records(set, factory, false);
    std::FILE* const whole = std::tmpfile();
    const std::string bytes = header + call_row;
    ASSERT_EQ(std::fwrite(bytes.data(), 1, bytes.size(), whole), bytes.size());
    std::rewind(whole);
    auto stream = std::make_unique<EdgeStream>(whole);
    std::string_view line;
    stream->next_line(line);
    EdgeColumnMap columns;
    ASSERT_TRUE(parse_edge_header(line, columns));
    EXPECT_TRUE(SampleFeedbackEdgeReader(std::move(stream), columns)
                    .read_function_records(set, factory, false));
    EXPECT_EQ(set.num_runs(), 1U);
    EXPECT_EQ(test_support::profile_text(set),
              "f in A.C x0 flags 0\n"
              "  call g 3:0 x8\n"
              "g in B.C x4 flags 0\n");
}

}  // namespace
}  // namespace hotpath
