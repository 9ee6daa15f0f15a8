// Files for tests that need real ones. The test knows what stands in a file.
#pragma once

#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <string_view>

#include "support/file_path.h"

namespace test_support {

// A directory of its own below the system's temporary one, removed with the object.
class ScratchDirectory {
public:
    ScratchDirectory() {
        std::random_device random;
        do {
            directory_ = std::filesystem::temp_directory_path() /
                         ("edgefold_test_" + std::to_string(random()));
        } while (!std::filesystem::create_directory(directory_));
    }
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;
    ~ScratchDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(directory_, ignored);
    }

    std::string path() const { return text_of(directory_); }
    std::string path(const char* name) const { return text_of(directory_ / file_path(name)); }

    // Writes the bytes as they stand, and gives the file's path.
    std::string write(const char* name, std::string_view bytes) const {
        std::ofstream stream(directory_ / file_path(name), std::ios::binary);
        stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        return path(name);
    }

private:
    std::filesystem::path directory_;
};

}  // namespace test_support
