// Files for tests that read some: each test works in a directory of its own, which goes with it.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <string_view>

// A fresh directory below the system's place for temporary files; removed at the end of the test.
class ScratchDirectory {
public:
    ScratchDirectory()
        : directory_(std::filesystem::path(testing::TempDir()) /
                     ("edgefold_test_" + std::to_string(std::random_device()()))) {
        std::filesystem::create_directories(directory_);
    }
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;
    ~ScratchDirectory() { std::filesystem::remove_all(directory_); }

    std::string path() const { return directory_.string(); }
    std::string path(std::string_view name) const { return (directory_ / name).string(); }

    // Writes the file and gives its path.
    std::string write(std::string_view name, std::string_view content) const {
        std::ofstream(directory_ / name, std::ios::binary) << content;
        return path(name);
    }

    std::string read(std::string_view name) const {
        std::ifstream file(directory_ / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

private:
    std::filesystem::path directory_;
};

// An edge file with one edge of function "f" in "a.c", from line 10 to line 20, taken seven times.
inline constexpr std::string_view one_edge_file =
    "FromAddress,TypeOfBranch,FromSourceFile,FromSourceLine,FromFunctionMangled,"
    "DestinationEndOfBlockAddress,DestinationSourceFile,DestinationSourceLine,"
    "DestinationFunctionMangled,HitCount\n"
    "1a0,Cond,a.c,10,f,1b0,a.c,20,f,7\n";
