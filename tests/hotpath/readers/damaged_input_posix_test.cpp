// Inputs that are cut short or have a wrong byte. Under the sanitizers these tests say that no
// content makes the readers leave their memory. They write thousands of files, which takes minutes
// under Wine.
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "hotpath/database/sample_db.h"
#include "hotpath/readers/db_reader.h"
#include "hotpath/readers/sample_reader.h"
#include "support/damaged_file.h"
#include "support/profile_text.h"
#include "support/tracking_allocator.h"

namespace hotpath {
namespace {

class DamagedInput : public testing::Test {
protected:
    // What one input brings: "status 2, runs 1", then the profile.
    static std::string loaded(const std::string& path) {
        FunctionRecordFactoryImpl<test_support::TrackingAllocator> factory;
        FunctionRecordSet set(factory);
        const ReaderStatus status = load_input(set, path.c_str());
        return "status " + std::to_string(static_cast<int>(status)) + ", runs " +
               std::to_string(set.num_runs()) + "\n" + test_support::profile_text(set);
    }

    test_support::ScratchDirectory directory_;
};

// --- Edge files
// -----------------------------------------------------------------------------------

// The rows of one edge file, without their counts.
const std::string header =
    "FromAddress,TypeOfBranch,FromSourceFile,FromSourceLine,FromFunctionMangled,"
    "DestinationEndOfBlockAddress,DestinationSourceFile,DestinationSourceLine,"
    "DestinationFunctionMangled,EntryBlock,HitCount";
const std::vector<std::string> rows = {
    "10,Cond,a.c,1,f,20,a.c,2,f,yes,", "20,Call,a.c,2,f,50,b.c,8,g,no,",
    "50,Cond,b.c,8,g,60,b.c,9,g,no,", "60,Ret,b.c,9,g,20,a.c,2,f,no,"};
const std::vector<std::string> counts = {"125", "37", "40", "361"};

using Counts = std::vector<std::optional<std::uint64_t>>;  // of the rows that were read

// The profile of as many of those rows as have a count.
std::string profile_of(const Counts& read) {
    std::string text;
    if (read[0]) {
        text += "f in A.C x" + std::to_string(*read[0]) + " flags 0\n";
        text += "  edge 10 1:0.0.0 > 20 2:0.0.0 x" + std::to_string(*read[0]) + " entry\n";
    }
    if (read[1]) {
        text += "  call g 2:0 x" + std::to_string(*read[1]) + "\n";
        const std::uint64_t entered = std::max(*read[1], read[3].value_or(0));
        text += "g in B.C x" + std::to_string(entered) + " flags 0\n";
    }
    if (read[2])
        text += "  edge 50 8:0.0.0 > 60 9:0.0.0 x" + std::to_string(*read[2]) + " entry" +
                (read[3] ? " exit" : "") + "\n";
    return text;
}

class CutEdgeFile : public DamagedInput, public testing::WithParamInterface<std::string> {
protected:
    // Adds to `text`, byte by byte, and looks at each state.
    void grow(const std::string& addition, const std::string& expected) {
        for (const char byte : addition) {
            text_ += byte;
            EXPECT_EQ(loaded(directory_.write("cut.csv", text_)), expected) << text_;
        }
    }

    std::string text_;
};

TEST_P(CutEdgeFile, what_stands_before_the_cut_counts) {
    const std::string line_end = GetParam();
    const std::string nothing_read = "status 1, runs 0\n";
    const std::string run_read = "status 2, runs 1\n";
    Counts read(rows.size());

    EXPECT_EQ(loaded(directory_.write("cut.csv", "")), nothing_read);
    grow(header.substr(0, header.size() - 1), nothing_read);
    grow("t", run_read);
    // A CR without its LF belongs to the last column's name.
    if (line_end == "\r\n") grow("\r", nothing_read);
    grow("\n", run_read);
    for (std::size_t row = 0; row < rows.size(); ++row) {
        grow(rows[row].substr(0, rows[row].size() - 1), run_read + profile_of(read));
        read[row] = 0;  // the last field is there, and empty
        grow(",", run_read + profile_of(read));
        for (const char digit : counts[row]) {
            read[row] = *read[row] * 10 + static_cast<std::uint64_t>(digit - '0');
            grow(std::string(1, digit), run_read + profile_of(read));
        }
        grow(line_end, run_read + profile_of(read));
    }
    EXPECT_EQ(profile_of(read),
              "f in A.C x125 flags 0\n"
              "  edge 10 1:0.0.0 > 20 2:0.0.0 x125 entry\n"
              "  call g 2:0 x37\n"
              "g in B.C x361 flags 0\n"
              "  edge 50 8:0.0.0 > 60 9:0.0.0 x40 entry exit\n");
}

INSTANTIATE_TEST_SUITE_P(LineEnds, CutEdgeFile, testing::Values("\n", "\r\n"));

// --- Databases
// ------------------------------------------------------------------------------------

class DamagedInputDatabase : public DamagedInput {
protected:
    // As `load_input` does it, but the database is closed at once: thousands of open files are more
    // than a process may have.
    std::string read(const std::string& bytes) {
        const std::string path = directory_.write("read.db", bytes);
        SampleDB database;
        opened_ = database.open_readonly(path.c_str()) == DbOpenOk;
        if (!opened_) return "status 1, runs 0\n";
        FunctionRecordFactoryImpl<test_support::TrackingAllocator> factory;
        FunctionRecordSet set(factory);
        succeeded_ = SampleFeedbackDBReader(database).read_function_records(set, factory, false);
        return "status " + std::string(succeeded_ ? "2" : "1") + ", runs " +
               std::to_string(set.num_runs()) + "\n" + test_support::profile_text(set);
    }

    std::string bytes_ = test_support::small_database_bytes(directory_);
    std::size_t last_page_ = bytes_.size() - test_support::small_page_size;
    bool opened_ = false;     // by the last `read`
    bool succeeded_ = false;  // likewise
};

TEST_F(DamagedInputDatabase, a_file_without_its_last_page_is_no_sample_database) {
    for (std::size_t size = 0; size <= last_page_; ++size)
        EXPECT_EQ(loaded(directory_.write("cut.db", bytes_.substr(0, size))), "status 1, runs 0\n")
            << size;
    EXPECT_EQ(loaded(directory_.write("whole.db", bytes_)),
              "status 2, runs 3\n"
              "f in A.C x7 flags 1\n"
              "  edge 10 1:2.3.4 > 20 5:6.7.8 x9 entry\n"
              "  call g 10:1 x8\n"
              "g in B.C x8 flags 2\n"
              "  edge 30 1:0.0.0 > 40 2:0.0.0 x5 exit\n");
}

TEST_F(DamagedInputDatabase, what_its_last_page_lacks_reads_as_zeros) {
    for (std::size_t size = last_page_ + 1; size < bytes_.size(); ++size) {
        const std::string cut = bytes_.substr(0, size);
        const std::string filled = cut + std::string(bytes_.size() - size, '\0');
        EXPECT_EQ(read(cut), read(filled)) << size;
        EXPECT_TRUE(opened_);
    }
}

TEST_F(DamagedInputDatabase, any_wrong_byte_is_read_or_refused) {
    int refused = 0;
    int failed = 0;
    int changed = 0;
    const std::string whole = read(bytes_);
    EXPECT_EQ(whole, loaded(directory_.write("whole.db", bytes_)));
    const int count = test_support::for_each_damaged_byte(bytes_, [&](const std::string& damaged) {
        const std::string text = read(damaged);
        if (!opened_)
            ++refused;
        else if (!succeeded_)
            ++failed;
        else if (text != whole)
            ++changed;
    });
    // All ends are met: most bytes of the schema matter to SQLite, most others to the profile.
    EXPECT_GT(refused, 1000);
    EXPECT_GT(failed, 50);
    EXPECT_GT(changed, 300);
    EXPECT_LT(refused + failed + changed, count);
}

}  // namespace
}  // namespace hotpath
