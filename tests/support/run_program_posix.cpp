#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "support/run_program.h"

namespace test_support {
namespace {

using Clock = std::chrono::steady_clock;

// A pipe that the program's stream is written into; this end of it is read.
class OutputPipe {
public:
    OutputPipe() {
        if (pipe2(ends_.data(), O_CLOEXEC) != 0) ADD_FAILURE() << "pipe2: " << strerror(errno);
    }
    OutputPipe(const OutputPipe&) = delete;
    OutputPipe& operator=(const OutputPipe&) = delete;
    ~OutputPipe() {
        close_end(0);
        close_end(1);
    }

    int write_end() const { return ends_[1]; }
    void close_write_end() { close_end(1); }

    // An entry for poll(); poll() skips a pipe that was read to its end.
    pollfd poll_entry() const { return {ends_[0], POLLIN, 0}; }
    bool is_open() const { return ends_[0] >= 0; }

    // Appends what is there, once poll() said that there is something.
    void read_into(std::string& text) {
        std::array<char, 65536> bytes;
        const ssize_t count = read(ends_[0], bytes.data(), bytes.size());
        if (count > 0) {
            text.append(bytes.data(), static_cast<std::size_t>(count));
        } else if (count == 0 || errno != EINTR) {
            close_end(0);
        }
    }

private:
    void close_end(std::size_t end) {
        if (ends_[end] >= 0) close(ends_[end]);
        ends_[end] = -1;
    }

    std::array<int, 2> ends_{-1, -1};
};

// A file without a name that holds the text and stands at its beginning.
std::FILE* file_with(std::string_view text) {
    std::FILE* file = std::tmpfile();
    if (file == nullptr) return nullptr;
    std::fwrite(text.data(), 1, text.size(), file);
    std::fflush(file);
    std::rewind(file);
    return file;
}

std::vector<char*> as_vector(std::vector<std::string>& texts) {
    std::vector<char*> entries;
    for (std::string& text : texts) entries.push_back(text.data());
    entries.push_back(nullptr);
    return entries;
}

// This process's environment with the additions. The database mode of whoever runs the tests stays
// out of them.
std::vector<std::string> environment_with(
    const std::vector<std::pair<std::string, std::string>>& additions) {
    std::vector<std::string> variables;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string_view variable = *entry;
        const std::string_view name = variable.substr(0, variable.find('='));
        const bool is_replaced =
            std::any_of(additions.begin(), additions.end(),
                        [=](const auto& added) { return added.first == name; });
        if (!is_replaced && name != "HOTPATH_DB_MODE") variables.emplace_back(variable);
    }
    for (const auto& [name, value] : additions) variables.push_back(name + "=" + value);
    return variables;
}

// The new process, or -1 after a failure of the test.
pid_t spawn(const ProgramStart& start, int input, int output, int error) {
    std::vector<std::string> arguments{start.name.empty() ? start.program : start.name};
    arguments.insert(arguments.end(), start.arguments.begin(), start.arguments.end());
    std::vector<std::string> environment = environment_with(start.environment);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addchdir_np(&actions, start.directory.c_str());
    posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, error, STDERR_FILENO);
    pid_t process = -1;
    const int failure = posix_spawn(&process, start.program.c_str(), &actions, nullptr,
                                    as_vector(arguments).data(), as_vector(environment).data());
    posix_spawn_file_actions_destroy(&actions);
    if (failure == 0) return process;
    ADD_FAILURE() << "can't start " << start.program << ": " << strerror(failure);
    return -1;
}

// Reads both streams to their ends; false where the time was over before.
bool read_streams(OutputPipe& output, OutputPipe& error, Clock::time_point end, ProgramRun& run) {
    while (output.is_open() || error.is_open()) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now());
        if (left.count() <= 0) return false;
        std::array<pollfd, 2> entries{output.poll_entry(), error.poll_entry()};
        if (poll(entries.data(), entries.size(), static_cast<int>(left.count())) <= 0) continue;
        if (entries[0].revents != 0) output.read_into(run.standard_output);
        if (entries[1].revents != 0) error.read_into(run.standard_error);
    }
    return true;
}

}  // namespace

ProgramRun run_program(const ProgramStart& start) {
    ProgramRun run;
    OutputPipe output;
    OutputPipe error;
    std::FILE* const input = file_with(start.standard_input);
    if (input == nullptr) {
        ADD_FAILURE() << "no temporary file: " << strerror(errno);
        return run;
    }
    const pid_t process = spawn(start, fileno(input), output.write_end(),
                                start.one_stream ? output.write_end() : error.write_end());
    std::fclose(input);
    output.close_write_end();
    error.close_write_end();
    if (process < 0) return run;

    run.timed_out = !read_streams(output, error, Clock::now() + start.time_limit, run);
    if (run.timed_out) kill(process, SIGKILL);
    int status = 0;
    while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    if (WIFEXITED(status)) run.exit_status = WEXITSTATUS(status);
    if (WIFSIGNALED(status)) run.signal = WTERMSIG(status);
    return run;
}

std::string written_text(const std::string& stream) { return stream; }

}  // namespace test_support
