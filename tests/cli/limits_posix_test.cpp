// Limits of the system that a run meets from outside: full and read-only places, rights, files that
// aren't plain, long paths and lists, few open files. Calls that are made to fail one by one stand
// in tests/faults.
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "cli_support.h"

namespace cli {
namespace {

namespace fs = std::filesystem;

class Limits : public CliTest {
protected:
    // Runs the program as another command starts it, without the banner. That command gets the
    // program's words as its last ones.
    Outcome run_by(std::vector<std::string> command, const std::vector<std::string>& arguments) {
        const std::string program = command.front();
        command.erase(command.begin());
        command.insert(command.end(), {program_, "-nologo"});
        command.insert(command.end(), arguments.begin(), arguments.end());
        const test_support::ProgramRun run =
            test_support::run_program({.program = program,
                                       .arguments = command,
                                       .directory = path(),
                                       .environment = environment_});
        EXPECT_FALSE(run.timed_out) << run;
        return {run.exit_status, run.standard_output, run.standard_error};
    }

    void in_failsafe_mode() { environment_ = {{"HOTPATH_DB_MODE", "FAILSAFE_MODE"}}; }
};

std::string many_edges() {
    std::string text = ten_columns;
    for (int i = 0; i < 1000; ++i) text += std::to_string(i) + ",Cond,a.c,1,f,9,a.c,1,f,5\n";
    return text;
}

// --- A file that may not grow

// The database of the test has nine pages and room for its run count in one of them.
class LargestFile : public Limits {
protected:
    void SetUp() override {
        make_database("x", one_edge_rows);
        write("a.csv", many_edges());
        preparation_ = "ulimit -f 72";
    }

    void expect_that_only_the_run_counts() {
        EXPECT_EQ(run_plain({"-file", "a.csv", "-append", "x"}), (Outcome{0, "", merged(1)}));
        preparation_.clear();
        EXPECT_EQ(profile("x"), one_edge_profile);
        EXPECT_EQ(runs("x"), "num_runs|2\n");
        EXPECT_EQ(rows("x", "PRAGMA integrity_check"), "ok\n");
    }
};

TEST_F(LargestFile, loses_the_commit_unnoticed) { expect_that_only_the_run_counts(); }

TEST_F(LargestFile, loses_the_commit_unnoticed_in_failsafe_mode) {
    in_failsafe_mode();
    expect_that_only_the_run_counts();
}

// --- A full disk

bool can_mount() { return std::system("unshare -m mount -t tmpfs none /mnt 2>/dev/null") == 0; }

class FullDisk : public Limits {
protected:
    // Runs the program in a file system of its own that has so many pages of 4096 bytes, with the
    // directory's files in it; "x" is there again afterwards.
    Outcome run_on_disk(int pages, const std::vector<std::string>& arguments) {
        const std::string script =
            "mkdir disk && mount -t tmpfs -o size=" + std::to_string(pages * 4) +
            "k none disk || exit 77; cp a.csv disk; [ ! -e x ] || cp x disk; "
            "(cd disk; exec \"$0\" \"$@\"); status=$?; [ ! -e disk/x ] || cp disk/x x; exit "
            "$status";
        return run_by({"/usr/bin/unshare", "-m", "/bin/sh", "-c", script}, arguments);
    }
};

TEST_F(FullDisk, has_no_room_for_the_schema) {
    if (!can_mount()) GTEST_SKIP() << "needs the right to mount";
    write("a.csv", one_edge);
    EXPECT_EQ(run_on_disk(6, {"-trace", "1", "-file", "a.csv", "-out", "x"}),
              (Outcome{1, "",
                       "SQL error: database or disk is full\n"
                       "Failed to create filenames table\n"
                       "SampleDB::open_writable(x): Error while creating schema\n" +
                           internal_error}));
    EXPECT_EQ(rows("x", "SELECT name FROM sqlite_master"), "sf_version\nsf_run_info\n");
}

TEST_F(FullDisk, loses_the_commit_unnoticed) {
    if (!can_mount()) GTEST_SKIP() << "needs the right to mount";
    make_database("x", one_edge_rows);
    write("a.csv", many_edges());
    EXPECT_EQ(run_on_disk(20, {"-file", "a.csv", "-append", "x"}), (Outcome{0, "", merged(1)}));
    EXPECT_EQ(profile("x"), one_edge_profile);
    EXPECT_EQ(runs("x"), "num_runs|2\n");
}

// --- Rights. The superuser has all, so the tests give them up.

class Rights : public Limits {
protected:
    void SetUp() override {
        write("a.csv", one_edge);
        install_program("edgefold");
        if (geteuid() != 0) return;
        fs::permissions(path(), fs::perms::others_read | fs::perms::others_exec,
                        fs::perm_options::add);
    }

    // Runs the program as somebody who owns nothing.
    Outcome run_without_rights(const std::vector<std::string>& arguments) {
        if (geteuid() != 0) return run_by({"/usr/bin/env"}, arguments);
        return run_by({"/usr/bin/setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"},
                      arguments);
    }

    void make_writable(const std::string& name) { fs::permissions(path(name), fs::perms::all); }

    // The directory takes no new file; files in it stay as they are.
    void close_directory() {
        if (geteuid() != 0)
            fs::permissions(path(), fs::perms::owner_write, fs::perm_options::remove);
    }

    void TearDown() override {
        if (geteuid() != 0) fs::permissions(path(), fs::perms::owner_all, fs::perm_options::add);
    }
};

TEST_F(Rights, a_directory_that_takes_no_file_takes_no_database) {
    close_directory();
    EXPECT_EQ(run_without_rights({"-file", "a.csv", "-out", "x"}),
              (Outcome{1, "", "error #30001: Failed to open x for writing.\n"}));
    EXPECT_FALSE(exists("x"));
}

TEST_F(Rights, a_directory_that_takes_no_file_has_databases_that_can_be_read) {
    make_database("x", one_edge_rows);
    close_directory();
    EXPECT_EQ(run_without_rights({"-file", "x", "-dump"}), (Outcome{0, one_edge_report, ""}));
}

TEST_F(Rights, a_directory_that_takes_no_journal_needs_none_by_default) {
    make_database("x", one_edge_rows);
    make_writable("x");
    close_directory();
    EXPECT_EQ(run_without_rights({"-file", "a.csv", "-append", "x"}), (Outcome{0, "", merged(1)}));
    EXPECT_EQ(runs("x"), "num_runs|2\n");
    EXPECT_EQ(rows("x", "SELECT sf_exec_count FROM sf_edges"), "10\n");
}

TEST_F(Rights, a_directory_that_takes_no_journal_keeps_the_rows_in_failsafe_mode) {
    make_database("x", one_edge_rows);
    make_writable("x");
    close_directory();
    in_failsafe_mode();
    EXPECT_EQ(run_without_rights({"-trace", "1", "-file", "a.csv", "-append", "x"}),
              (Outcome{1, "",
                       "SQL error: attempt to write a readonly database\n"
                       "SQL error: attempt to write a readonly database\n"
                       "Error while updating function.\n" +
                           internal_error}));
    EXPECT_EQ(runs("x"), "num_runs|1\n");
    EXPECT_EQ(profile("x"), one_edge_profile);
}

TEST_F(Rights, a_target_that_may_only_be_read_takes_no_row) {
    make_database("x", one_edge_rows);
    fs::permissions(path("x"), fs::perms::owner_read | fs::perms::others_read);
    EXPECT_EQ(run_without_rights({"-trace", "1", "-file", "a.csv", "-append", "x"}),
              (Outcome{1, "",
                       "SQL error: attempt to write a readonly database\n"
                       "SQL error: attempt to write a readonly database\n"
                       "Error while updating function.\n" +
                           internal_error}));
    EXPECT_EQ(profile("x"), one_edge_profile);
}

TEST_F(Rights, a_target_that_may_not_be_read_passes_the_test_for_existing_files) {
    make_database("x");
    fs::permissions(path("x"), fs::perms::none);
    EXPECT_EQ(run_without_rights({"-file", "a.csv", "-out", "x"}),
              (Outcome{1, "", "error #30001: Failed to open x for writing.\n"}));
}

TEST_F(Rights, an_input_that_may_not_be_read_can_not_be_opened) {
    fs::permissions(path("a.csv"), fs::perms::none);
    EXPECT_EQ(run_without_rights({"-file", "a.csv", "-dump"}),
              (Outcome{0, empty_report, cannot_open("a.csv")}));
}

// --- A file system that may only be read, for the superuser, too

TEST_F(Limits, a_read_only_file_system_takes_no_row) {
    if (!can_mount()) GTEST_SKIP() << "needs the right to mount";
    write("disk/a.csv", one_edge);
    fs::create_directory(path("disk/in"));
    make_database("disk/x", one_edge_rows);
    const std::vector<std::string> command = {
        "/usr/bin/unshare", "-m", "/bin/sh", "-c",
        "mount --bind disk disk && mount -o remount,ro,bind disk && cd disk && exec \"$0\" \"$@\""};
    EXPECT_EQ(run_by(command, {"-file", "a.csv", "-out", "y"}),
              (Outcome{1, "", "error #30001: Failed to open y for writing.\n"}));
    EXPECT_EQ(run_by(command, {"-file", "x", "-dump"}), (Outcome{0, one_edge_report, ""}));
    EXPECT_EQ(run_by(command, {"-trace", "1", "-file", "a.csv", "-append", "x"}),
              (Outcome{1, "",
                       "SQL error: attempt to write a readonly database\n"
                       "SQL error: attempt to write a readonly database\n"
                       "Error while updating function.\n" +
                           internal_error}));
}

// --- Streams that take nothing

TEST_F(Limits, full_streams_cost_no_merge) {
    write("a.csv", one_edge);
    preparation_ = "exec >/dev/full 2>&1";
    EXPECT_EQ(run_plain({"-trace", "15", "-file", "gone;a.csv", "-out", "x", "-dump"}),
              (Outcome{0, "", ""}));
    EXPECT_EQ(profile("x"), one_edge_profile);
}

TEST_F(Limits, full_streams_keep_the_status_of_a_failure) {
    preparation_ = "exec >/dev/full 2>&1";
    EXPECT_EQ(run_plain({"-file", "a.csv"}), (Outcome{1, "", ""}));
}

TEST_F(Limits, closed_streams_cost_no_merge) {
    write("a.csv", one_edge);
    preparation_ = "exec <&- >&- 2>&-";
    EXPECT_EQ(run_plain({"-nologo", "-file", "a.csv", "-out", "x"}), (Outcome{0, "", ""}));
    EXPECT_EQ(profile("x"), one_edge_profile);
    EXPECT_EQ(rows("x", "PRAGMA integrity_check"), "ok\n");
}

// --- Inputs that are no plain files

class Fifo : public Limits {
protected:
    // Runs the program while the text is written into "pipe", once: whoever opens the pipe behind
    // that waits for ever.
    Outcome run_with_pipe(const std::string& text, const std::vector<std::string>& arguments) {
        EXPECT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
        write("text", text);
        preparation_ = "timeout 10 sh -c 'cat text >pipe' >&- 2>&- & true";
        const Outcome outcome = run_plain(arguments);
        fs::remove(path("pipe"));
        return outcome;
    }
};

TEST_F(Fifo, with_an_edge_file_is_read) {
    EXPECT_EQ(run_with_pipe(one_edge, {"-file", "pipe", "-dump"}),
              (Outcome{0, one_edge_report, ""}));
}

TEST_F(Fifo, with_another_text_has_no_samples) {
    EXPECT_EQ(run_with_pipe("no edge file\n", {"-file", "pipe", "-dump"}),
              (Outcome{0, empty_report, cannot_read("pipe")}));
}

TEST_F(Fifo, with_another_text_costs_no_other_input) {
    write("a.csv", one_edge);
    EXPECT_EQ(run_with_pipe("no edge file\n", {"-file", "pipe;a.csv", "-dump"}),
              (Outcome{0, one_edge_report, cannot_read("pipe")}));
}

TEST_F(Limits, standard_input_that_is_a_plain_file_may_be_a_database) {
    make_database("x", one_edge_rows);
    preparation_ = "exec <x";
    EXPECT_EQ(run_plain({"-file", "//dev/stdin", "-dump"}), (Outcome{0, one_edge_report, ""}));
}

// --- Lines without an end

// The file has no bytes on the disk. In memory its line would be the largest thing by far.
TEST_F(Limits, a_first_line_longer_than_the_memory_is_no_header) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "a sanitizer takes its memory before";
#else
    write("long", "");
    fs::resize_file(path("long"), 1 << 30);
    write("a.csv", one_edge);
    preparation_ = "ulimit -v 200000";
    EXPECT_EQ(run_plain({"-file", "long;a.csv", "-dump"}),
              (Outcome{0, one_edge_report, cannot_read("long")}));
#endif
}

// The fields of a row by themselves would take twice the memory.
TEST_F(Limits, a_row_of_20_million_fields_is_a_row_like_others) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "a sanitizer takes its memory before";
#else
    const std::string commas = "x" + std::string(20000000, ',');
    write("a.csv", commas + ten_columns + commas + one_edge.substr(one_edge.find('\n') + 1));
    preparation_ = "ulimit -v 200000";
    EXPECT_EQ(run_plain({"-file", "a.csv", "-dump"}), (Outcome{0, one_edge_report, ""}));
#endif
}

// --- Statements that need much of the stack

// Each row of one table makes one of the next; a statement that adds the first is prepared whole.
TEST_F(Limits, a_database_of_7000_chained_triggers_ends_no_run) {
    make_database("x", one_edge_rows);
    std::string sql = "PRAGMA synchronous = OFF; BEGIN;";
    std::string from = "sf_calls";
    for (int i = 0; i < 7000; ++i) {
        const std::string to = "t" + std::to_string(i);
        sql += "CREATE TABLE " + to + " (a); CREATE TRIGGER on_" + to + " AFTER INSERT ON " + from +
               " BEGIN INSERT INTO " + to + " VALUES (1); END;";
        from = to;
    }
    execute("x", sql + "COMMIT");
    write("a.csv", one_edge);
    const Outcome outcome = run_plain({"-file", "x;a.csv", "-out", "y"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_TRUE(outcome.err.ends_with("files to output file.\n")) << outcome.err;
}

TEST_F(Limits, a_device_is_an_input_like_any_other) {
    EXPECT_EQ(run_plain({"-file", "//dev/null", "-dump"}),
              (Outcome{0, empty_report, cannot_read("//dev/null")}));
}

// --- Targets that are no plain files

// Makes a socket, whose path may have a hundred bytes.
void bind_socket(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    const int descriptor = socket(AF_UNIX, SOCK_STREAM, 0);
    EXPECT_EQ(bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    close(descriptor);
}

TEST_F(Limits, a_pipe_a_socket_and_a_device_are_no_targets) {
    write("a.csv", one_edge);
    ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
    bind_socket(path("socket"));
    for (const char* const target : {"pipe", "socket"})
        EXPECT_EQ(
            run_plain({"-file", "a.csv", "-append", target}),
            (Outcome{1, "",
                     "error #30001: Failed to open " + std::string(target) + " for writing.\n"}));
    for (const char* const target : {"//dev/null", "//dev/zero"})
        EXPECT_EQ(run_plain({"-file", "a.csv", "-append", target}),
                  (Outcome{1, "", incompatible(target)}));
}

TEST_F(Limits, a_special_target_isnt_opened) {
    write("a.csv", one_edge);
    EXPECT_EQ(run_plain({"-trace", "3", "-file", "a.csv", "-append", "//dev/null"}),
              (Outcome{1, "",
                       "SampleDB::open_writable(//dev/null): Error due to incompatible schema\n" +
                           incompatible("//dev/null")}));
}

// --- Long paths and long lists

// A path of this many bytes, whose directories exist, to a file of the name "a.csv".
class LongPath : public Limits {
protected:
    std::string make_path(std::size_t size) {
        const std::string name = "/a.csv";
        std::string long_path;
        while (long_path.size() + 100 + name.size() < size) long_path += std::string(99, 'd') + "/";
        long_path += std::string(size - name.size() - long_path.size(), 'e');
        fs::create_directories(path(long_path));
        return long_path + name;
    }
};

TEST_F(LongPath, leads_to_an_edge_file) {
    const std::string input = make_path(4000);
    write(input, one_edge);
    EXPECT_EQ(run_plain({"-file", input, "-dump"}), (Outcome{0, one_edge_report, ""}));
}

TEST_F(LongPath, to_no_file_is_shown_whole) {
    const std::string input = make_path(4000);
    EXPECT_EQ(run_plain({"-file", input, "-dump"}), (Outcome{0, empty_report, cannot_open(input)}));
}

TEST_F(LongPath, is_more_than_a_database_can_have) {
    const std::string target = make_path(4000);
    write("a.csv", one_edge);
    EXPECT_EQ(run_plain({"-file", "a.csv", "-out", target}),
              (Outcome{1, "", "error #30001: Failed to open " + target + " for writing.\n"}));
    make_database("b.db", one_edge_rows);
    fs::copy_file(path("b.db"), path(target));
    EXPECT_EQ(run_plain({"-file", target, "-dump"}),
              (Outcome{0, empty_report, cannot_read(target)}));
}

TEST_F(Limits, a_list_of_120_kilobytes_names_thousands_of_inputs) {
    const std::string input = std::string(39, 'n');
    write(input, one_edge);
    std::string list;
    for (int i = 0; i < 3000; ++i) list += input + ";";
    ASSERT_EQ(list.size(), 120000U);
    EXPECT_EQ(run_plain({"-file", list, "-out", "x"}), (Outcome{0, "", merged(3000)}));
    EXPECT_EQ(runs("x"), "num_runs|3000\n");
    EXPECT_EQ(rows("x", "SELECT sf_exec_count FROM sf_edges"), "15000\n");
}

// --- Few open files

TEST_F(Limits, databases_beyond_the_hard_limit_of_open_files_can_not_be_read) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the search for leaks opens files";
#else
    make_database("x", one_edge_rows);
    preparation_ = "ulimit -n 10";
    const Outcome outcome = run_plain({"-file", "x;x;x;x;x;x;x;x;x;x", "-dump"});
    EXPECT_EQ(outcome.status, 0);
    // The system decides how many are open already.
    std::string all;
    for (int i = 0; i < 9; ++i) all += cannot_read("x");
    EXPECT_TRUE(outcome.err.ends_with(cannot_read("x"))) << outcome.err;
    EXPECT_TRUE(all.ends_with(outcome.err)) << outcome.err;
#endif
}

TEST_F(Limits, a_target_beyond_the_hard_limit_of_open_files_can_not_be_opened) {
    make_database("x", one_edge_rows);
    write("a.csv", one_edge);
    preparation_ = "ulimit -n 10";
    const Outcome outcome = run_plain({"-file", "a.csv;x;x;x;x;x;x;x;x;x;x", "-out", "y"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(
        outcome.err.ends_with(cannot_read("x") + "error #30001: Failed to open y for writing.\n"))
        << outcome.err;
}

}  // namespace
}  // namespace cli
