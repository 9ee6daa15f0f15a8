#include "hotpath/readers/edge_stream.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "diag/platform.h"
#include "support/random_text.h"
#include "support/scratch_directory.h"

namespace hotpath {
namespace {

using Lines = std::vector<std::string>;

constexpr std::size_t buffer_size = 256 * 1024;

std::FILE* file_of(std::string_view bytes) {
    std::FILE* const file = std::tmpfile();
    EXPECT_EQ(std::fwrite(bytes.data(), 1, bytes.size(), file), bytes.size());
    std::rewind(file);
    return file;
}

// All lines. Reads the bytes behind each line too, so that a sanitizer sees whether they are there.
Lines lines_of(std::string_view bytes) {
    EdgeStream stream(file_of(bytes));
    Lines lines;
    volatile char byte = 0;
    for (std::string_view line; stream.next_line(line);) {
        lines.emplace_back(line);
        for (std::size_t i = 0; i < EdgeStream::overrun; ++i) byte = line.data()[line.size() + i];
    }
    std::string_view line;
    EXPECT_FALSE(stream.next_line(line)) << "the end is no end";
    static_cast<void>(byte);
    return lines;
}

// The first line in pieces, joined, and the lines behind it.
Lines lines_behind_pieces(std::string_view bytes) {
    EdgeStream stream(file_of(bytes));
    Lines lines(1);
    stream.take_line([&](std::string_view piece) {
        EXPECT_LE(piece.size(), buffer_size);
        lines.front() += piece;
    });
    for (std::string_view line; stream.next_line(line);) lines.emplace_back(line);
    EXPECT_FALSE(stream.failed());
    return lines;
}

TEST(EdgeStream, a_line_comes_in_pieces_without_its_end) {
    EXPECT_EQ(lines_behind_pieces(""), Lines{""});
    EXPECT_EQ(lines_behind_pieces("a"), Lines{"a"});
    EXPECT_EQ(lines_behind_pieces("a\r"), Lines{"a\r"});
    EXPECT_EQ(lines_behind_pieces("a\nb"), (Lines{"a", "b"}));
    EXPECT_EQ(lines_behind_pieces("a\r\r\n\nb\r\n"), (Lines{"a\r", "", "b"}));
}

TEST(EdgeStream, a_line_in_pieces_may_be_longer_than_the_buffer) {
    for (const std::size_t size :
         {buffer_size - 1, buffer_size, buffer_size + 1, 3 * buffer_size}) {
        const std::string line(size, 'x');
        for (const std::string end : {"\n", "\r\n"})
            EXPECT_TRUE(lines_behind_pieces(line + end + "b") == (Lines{line, "b"})) << size;
        EXPECT_TRUE(lines_behind_pieces(line) == Lines{line});
        EXPECT_TRUE(lines_behind_pieces(line + "\r") == Lines{line + "\r"});
        EXPECT_TRUE(lines_behind_pieces(line + "\r\rz\nb") == (Lines{line + "\r\rz", "b"}));
    }
}

TEST(EdgeStream, an_empty_file_has_no_lines) { EXPECT_EQ(lines_of(""), Lines{}); }

TEST(EdgeStream, an_lf_ends_a_line) {
    EXPECT_EQ(lines_of("a\nbc\n"), (Lines{"a", "bc"}));
    EXPECT_EQ(lines_of("\n"), Lines{""});
    EXPECT_EQ(lines_of("\n\na\n\n"), (Lines{"", "", "a", ""}));
}

TEST(EdgeStream, a_last_line_without_lf_counts) {
    EXPECT_EQ(lines_of("a"), Lines{"a"});
    EXPECT_EQ(lines_of("a\nb"), (Lines{"a", "b"}));
}

TEST(EdgeStream, one_cr_directly_before_the_lf_is_dropped) {
    EXPECT_EQ(lines_of("a\r\nb\r\n"), (Lines{"a", "b"}));
    EXPECT_EQ(lines_of("\r\n"), Lines{""});
    EXPECT_EQ(lines_of("a\r\r\n"), Lines{"a\r"});
    EXPECT_EQ(lines_of("\r\r\r\n"), Lines{"\r\r"});
}

TEST(EdgeStream, a_cr_elsewhere_is_a_byte_like_any_other) {
    EXPECT_EQ(lines_of("\ra\rb\r c\n"), Lines{"\ra\rb\r c"});
    EXPECT_EQ(lines_of("a\n\rb\n"), (Lines{"a", "\rb"}));
}

TEST(EdgeStream, a_cr_at_the_end_of_a_last_line_without_lf_stays) {
    EXPECT_EQ(lines_of("a\r"), Lines{"a\r"});
    EXPECT_EQ(lines_of("\r"), Lines{"\r"});
    EXPECT_EQ(lines_of("a\r\nb\r"), (Lines{"a", "b\r"}));
}

TEST(EdgeStream, a_cr_of_the_line_before_is_never_dropped) {
    EXPECT_EQ(lines_of("a\r\n\nb\r\n\n"), (Lines{"a", "", "b", ""}));
}

TEST(EdgeStream, all_other_bytes_stay) {
    std::string line;
    for (int byte = 0; byte < 256; ++byte)
        if (byte != '\n') line += static_cast<char>(byte);
    EXPECT_EQ(lines_of(line + "\n" + line), (Lines{line, line}));
}

TEST(EdgeStream, zero_bytes_and_0x1a_end_nothing) {
    const std::string bytes(
        "a\0b\n\0\n\x1A"
        "c\n\0",
        10);
    EXPECT_EQ(lines_of(bytes), (Lines{std::string("a\0b", 3), std::string(1, '\0'),
                                      "\x1A"
                                      "c",
                                      std::string(1, '\0')}));
}

TEST(EdgeStream, a_line_can_be_as_long_as_the_buffer_and_longer) {
    for (const std::size_t size :
         {buffer_size - 1, buffer_size, buffer_size + 1, 5 * buffer_size}) {
        const std::string line(size, 'x');
        ASSERT_EQ(lines_of("a\n" + line + "\nb\n"), (Lines{"a", line, "b"})) << size;
        ASSERT_EQ(lines_of(line), Lines{line}) << size;
    }
}

TEST(EdgeStream, line_ends_can_stand_at_the_buffers_end) {
    for (std::size_t size = buffer_size - 4; size <= buffer_size + 2; ++size) {
        const std::string line(size, 'x');
        ASSERT_EQ(lines_of(line + "\r\nb\r\n"), (Lines{line, "b"})) << size;
        ASSERT_EQ(lines_of(line + "\n\r\n\n"), (Lines{line, "", ""})) << size;
        ASSERT_EQ(lines_of(line + "\r"), Lines{line + "\r"}) << size;
        ASSERT_EQ(lines_of(line + "\r\r\n"), Lines{line + "\r"}) << size;
    }
}

TEST(EdgeStream, line_ends_can_stand_at_the_buffers_end_behind_other_lines) {
    const std::string first(1000, 'a');
    for (std::size_t size = buffer_size - 1006; size <= buffer_size - 996; ++size) {
        const std::string line(size, 'x');
        ASSERT_EQ(lines_of(first + "\n" + line + "\r\nb\r\nc"), (Lines{first, line, "b", "c"}))
            << size;
    }
}

TEST(EdgeStream, many_lines_come_whole) {
    test_support::RandomText random(11);
    std::string bytes;
    Lines expected;
    for (int i = 0; i < 20000; ++i) {
        expected.push_back(random.of("ab,\0\r", 120) + "x");
        bytes += expected.back() + (random.below(2) == 0 ? "\n" : "\r\n");
    }
    EXPECT_EQ(lines_of(bytes), expected);
}

// All lines, taken many at once. The lines of one call are looked at when all of them are there.
Lines lines_in_batches_of(std::size_t size, std::string_view bytes) {
    EdgeStream stream(file_of(bytes));
    Lines lines;
    std::vector<std::string_view> batch(size);
    while (const std::size_t count = stream.next_lines(batch)) {
        EXPECT_LE(count, size);
        lines.insert(lines.end(), batch.begin(),
                     batch.begin() + static_cast<std::ptrdiff_t>(count));
    }
    EXPECT_EQ(stream.next_lines(batch), 0U) << "the end is no end";
    return lines;
}

TEST(EdgeStream, gives_as_many_lines_as_asked_for) {
    EdgeStream stream(file_of("a\nb\nc\nd\n"));
    std::vector<std::string_view> batch(3);
    ASSERT_EQ(stream.next_lines(batch), 3U);
    EXPECT_EQ(batch[0], "a");
    EXPECT_EQ(batch[1], "b");
    EXPECT_EQ(batch[2], "c");
    ASSERT_EQ(stream.next_lines(batch), 1U);
    EXPECT_EQ(batch[0], "d");
    EXPECT_EQ(stream.next_lines(batch), 0U);
}

TEST(EdgeStream, many_at_once_are_the_same_lines) {
    for (const std::size_t size : {1U, 2U, 32U}) {
        EXPECT_EQ(lines_in_batches_of(size, ""), Lines{});
        EXPECT_EQ(lines_in_batches_of(size, "\n\r\na"), (Lines{"", "", "a"}));
        EXPECT_EQ(lines_in_batches_of(size, "a\r\nb\r\nc\r"), (Lines{"a", "b", "c\r"}));
    }
}

TEST(EdgeStream, many_at_once_stay_valid_where_the_buffer_is_filled_again) {
    test_support::RandomText random(18);
    std::string bytes;
    Lines expected;
    while (bytes.size() < 5 * buffer_size) {
        expected.push_back(random.of("abc,", 1 << random.below(17)));
        bytes += expected.back() + (random.below(2) == 0 ? "\n" : "\r\n");
    }
    EXPECT_EQ(lines_in_batches_of(32, bytes), expected);
    EXPECT_EQ(lines_in_batches_of(3, bytes), expected);
}

TEST(EdgeStream, reads_from_where_the_file_stands) {
    std::FILE* const file = file_of("abc\nd\n");
    std::fseek(file, 2, SEEK_SET);
    EdgeStream stream(file);
    std::string_view line;
    ASSERT_TRUE(stream.next_line(line));
    EXPECT_EQ(line, "c");
    ASSERT_TRUE(stream.next_line(line));
    EXPECT_EQ(line, "d");
    EXPECT_FALSE(stream.next_line(line));
}

TEST(EdgeStream, a_file_opened_by_its_path_is_read_byte_by_byte) {
    const test_support::ScratchDirectory directory;
    const std::string path = directory.write("edges.csv",
                                             "a\r\n\x1A"
                                             "b\n");
    EdgeStream stream(diag::platform::open_for_reading(path.c_str()));
    std::string_view line;
    ASSERT_TRUE(stream.next_line(line));
    EXPECT_EQ(line, "a");
    ASSERT_TRUE(stream.next_line(line));
    EXPECT_EQ(line,
              "\x1A"
              "b");
    EXPECT_FALSE(stream.next_line(line));
}

}  // namespace
}  // namespace hotpath
