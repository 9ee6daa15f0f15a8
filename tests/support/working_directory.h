// A test's stay in another working directory.
#pragma once

#include <filesystem>

namespace test_support {

// Works in a directory and comes back with the object.
class WorkingDirectory {
public:
    explicit WorkingDirectory(const std::filesystem::path& directory)
        : home_(std::filesystem::current_path()) {
        std::filesystem::current_path(directory);
    }
    WorkingDirectory(const WorkingDirectory&) = delete;
    WorkingDirectory& operator=(const WorkingDirectory&) = delete;
    ~WorkingDirectory() { std::filesystem::current_path(home_); }

private:
    std::filesystem::path home_;
};

}  // namespace test_support
