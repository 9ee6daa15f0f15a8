// Failures that links, permissions, pipes and a process's limits bring about.
#include <unistd.h>

#include <cstdlib>
#include <regex>

#include "failures_fixture.h"

namespace cli {
namespace {

// --- The target can't be opened

TEST_F(Failures, a_target_that_exists_but_leads_nowhere_is_left_to_the_opening) {
    write("a.csv", one_edge);
    std::filesystem::create_symlink("loop", path("loop"));
    EXPECT_EQ(
        run_plain({"-file", "gone;a.csv", "-out", "loop"}),
        (Outcome{1, "", cannot_open("gone") + "error #30001: Failed to open loop for writing.\n"}));
}

TEST_F(Failures, an_unreadable_target_passes_the_test_for_existing_files) {
    if (geteuid() == 0) GTEST_SKIP() << "the superuser may read any file";
    write("a.csv", one_edge);
    make_database("x");
    std::filesystem::permissions(path("x"), std::filesystem::perms::none);
    EXPECT_EQ(run_plain({"-file", "a.csv", "-out", "x"}),
              (Outcome{1, "", "error #30001: Failed to open x for writing.\n"}));
}

TEST_F(Failures, an_unreadable_input_can_not_be_opened) {
    if (geteuid() == 0) GTEST_SKIP() << "the superuser may read any file";
    write("a.csv", one_edge);
    std::filesystem::permissions(path("a.csv"), std::filesystem::perms::none);
    EXPECT_EQ(run_plain({"-file", "a.csv", "-dump"}),
              (Outcome{0, empty_report, cannot_open("a.csv")}));
}

TEST_F(Failures, a_target_that_may_only_be_read_takes_no_row) {
    if (geteuid() == 0) GTEST_SKIP() << "the superuser may write any file";
    make_database("x", one_edge_rows);
    std::filesystem::permissions(path("x"), std::filesystem::perms::owner_read);
    EXPECT_EQ(append_one_edge("1"), failed("SQL error: attempt to write a readonly database\n"
                                           "SQL error: attempt to write a readonly database\n"
                                           "Error while updating function.\n"));
}

// --- The schema can't be made. The limit of the file's size, in pages of 4096 bytes, lets the
// first steps pass: each table and index takes a page, beside the first.

class SchemaFailure : public Failures {
protected:
    // What a run says whose file may have this many pages, and the tables that it leaves.
    Outcome run_with_pages(int pages) {
        write("a.csv", one_edge);
        preparation_ = "ulimit -f " + std::to_string(pages * 8);
        return run_plain({"-trace", "1", "-file", "a.csv", "-out", "x"});
    }

    std::string tables() const {
        return rows("x",
                    "SELECT group_concat(name) FROM (SELECT name FROM sqlite_master ORDER BY "
                    "rowid)");
    }

    static Outcome failed_at(const std::string& step) {
        return failed("SQL error: disk I/O error\n" + step +
                      "SampleDB::open_writable(x): Error while creating schema\n");
    }
};

TEST_F(SchemaFailure, at_the_version_table) {
    EXPECT_EQ(run_with_pages(1), failed_at("Failed to create version info table\n"));
}

TEST_F(SchemaFailure, at_the_run_table) {
    EXPECT_EQ(run_with_pages(2), failed_at("Failed to create run info table\n"));
    EXPECT_EQ(tables(), "sf_version\n");
}

TEST_F(SchemaFailure, at_the_file_table) {
    EXPECT_EQ(run_with_pages(3), failed_at("Failed to create filenames table\n"));
    EXPECT_EQ(tables(), "sf_version,sf_run_info\n");
}

TEST_F(SchemaFailure, at_the_function_table) {
    EXPECT_EQ(run_with_pages(4), failed_at("Failed to create functions table\n"));
    EXPECT_EQ(tables(), "sf_version,sf_run_info,sf_filenames\n");
}

TEST_F(SchemaFailure, at_the_edge_table) {
    EXPECT_EQ(run_with_pages(5), failed_at("Failed to create edges table\n"));
    EXPECT_EQ(tables(), "sf_version,sf_run_info,sf_filenames,sf_functions\n");
}

TEST_F(SchemaFailure, at_the_call_table) {
    EXPECT_EQ(run_with_pages(6), failed_at("Failed to create calls table\n"));
    EXPECT_EQ(tables(), "sf_version,sf_run_info,sf_filenames,sf_functions,sf_edges\n");
}

TEST_F(SchemaFailure, at_the_first_index) {
    EXPECT_EQ(run_with_pages(7), failed_at("Failed to create 'edges' index on 'func_id'.\n"));
    EXPECT_EQ(rows("x", "SELECT COUNT(*) FROM sf_version"), "5\n");
}

TEST_F(SchemaFailure, at_the_second_index) {
    EXPECT_EQ(run_with_pages(8), failed_at("Failed to create 'calls' index on 'func_id'.\n"));
}

TEST_F(SchemaFailure, leaves_a_file_that_the_next_run_refuses) {
    run_with_pages(4);
    preparation_.clear();
    EXPECT_EQ(run_plain({"-file", "a.csv", "-append", "x"}), (Outcome{1, "", incompatible("x")}));
}

// --- Streams that take nothing

class BrokenPipe : public Failures {
protected:
    // The exit status of a run whose streams lead to a program that has ended already.
    std::string status_of(const std::string& arguments) const {
        write("a.csv", one_edge);
        const std::string run = "cd '" + path() + "' && { sleep 0.2; '" + program_ + "' " +
                                arguments + " 2>&1; echo $? > status; } | true";
        EXPECT_EQ(std::system(run.c_str()), 0);
        return read("status");
    }
};

TEST_F(BrokenPipe, is_a_failed_write_that_nobody_looks_at) {
    EXPECT_EQ(status_of("-file a.csv -dump"), "0\n");
}

TEST_F(BrokenPipe, costs_no_merge) {
    EXPECT_EQ(status_of("-file a.csv -out x -dump"), "0\n");
    EXPECT_EQ(profile("x"), one_edge_profile);
}

TEST_F(Failures, a_full_device_for_the_report_is_not_looked_at) {
    write("a.csv", one_edge);
    preparation_ = "exec >/dev/full";
    EXPECT_EQ(run_plain({"-file", "a.csv", "-dump"}), (Outcome{0, "", ""}));
}

// --- Memory that ends

TEST_F(Failures, exhausted_memory_is_one_line_and_status_1_whoever_asked_for_it) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the address sanitizer needs more address space than any limit leaves";
#else
    std::string text = ten_columns;
    for (int i = 0; i < 100000; ++i)
        text += "10,Cond,a.c,1,function_" + std::to_string(i) + ",20,a.c,2,function_" +
                std::to_string(i) + ",5\n";
    write("a.csv", text);
    const std::regex out_of_memory(
        "error #30072: Out of memory, trying to allocate [0-9]+\\.\n"
        "|catastrophic error: out of memory\n");
    int failures = 0;
    for (int limit = 16000; limit <= 48000; limit += 4000) {
        preparation_ = "ulimit -v " + std::to_string(limit);
        const Outcome outcome = run_plain({"-file", "a.csv", "-dump", "-sort", "A"});
        if (outcome.status == 0) continue;
        ++failures;
        EXPECT_EQ(outcome.status, 1) << limit;
        EXPECT_TRUE(std::regex_match(outcome.err, out_of_memory)) << limit << ": " << outcome.err;
    }
    EXPECT_GT(failures, 2);
#endif
}

}  // namespace
}  // namespace cli
