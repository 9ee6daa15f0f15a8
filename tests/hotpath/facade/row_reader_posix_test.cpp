#include <gtest/gtest.h>
#include <sys/stat.h>

#include "hotpath/facade/row_reader.h"
#include "support/scratch_directory.h"

namespace {

TEST(RowReader, refuses_what_is_no_plain_file) {
    const test_support::ScratchDirectory directory;
    const std::string pipe = directory.path("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (const std::string& path : {pipe, std::string("/dev/null")}) {
        hotpath::RowReader reader;
        EXPECT_FALSE(reader.open(path));
        EXPECT_EQ(reader.error(), "is no file");
        hotpath::RowReader guarded;
        EXPECT_FALSE(guarded.open_guarded(path, {}));
        EXPECT_EQ(guarded.error(), "is no file");
    }
}

}  // namespace
