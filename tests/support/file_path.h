// Paths of the file system from the UTF-8 of the tests, and back, whatever the system makes of
// plain texts.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace test_support {

inline std::filesystem::path file_path(std::string_view utf8) {
    return std::u8string(utf8.begin(), utf8.end());
}

inline std::string text_of(const std::filesystem::path& path) {
    const std::u8string text = path.u8string();
    return {text.begin(), text.end()};
}

// The same for other texts that the system takes in wide characters alone.
inline std::wstring wide_text(std::string_view utf8) { return file_path(utf8).wstring(); }

}  // namespace test_support
