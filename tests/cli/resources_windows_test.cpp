// What the program's file says of itself to the system.
#define NOMINMAX
#include <windows.h>

#include <string_view>

#include "cli_support.h"

namespace cli {
namespace {

class Resources : public CliTest {
protected:
    Resources()
        : file_(LoadLibraryExW(test_support::wide_text(program_).c_str(), nullptr,
                               LOAD_LIBRARY_AS_DATAFILE)) {}
    ~Resources() override { FreeLibrary(file_); }

    // The bytes of resource 1 of this type; none if there is no such resource.
    std::string_view resource(WORD type) const {
        const HRSRC place = FindResourceW(file_, MAKEINTRESOURCEW(1), MAKEINTRESOURCEW(type));
        if (place == nullptr) return {};
        const void* const bytes = LockResource(LoadResource(file_, place));
        return {static_cast<const char*>(bytes), SizeofResource(file_, place)};
    }

    // Whether the version resource has this text for the name, as it stands there in UTF-16.
    bool has_version_text(std::u16string_view name, std::u16string_view text) const {
        const std::string_view bytes = resource(16);
        const auto bytes_of = [](std::u16string_view wide) {
            return std::string_view(reinterpret_cast<const char*>(wide.data()), wide.size() * 2);
        };
        const std::size_t at = bytes.find(bytes_of(name));
        if (at == std::string_view::npos) return false;
        const std::size_t value = bytes.find_first_not_of('\0', at + name.size() * 2);
        return bytes.substr(value).starts_with(bytes_of(text));
    }

private:
    HMODULE file_;
};

TEST_F(Resources, the_manifest_asks_for_long_paths_and_utf8_and_no_privileges) {
    const std::string_view manifest = resource(24);
    for (const std::string_view part :
         {"WindowsSettings\">true</longPathAware>", "WindowsSettings\">UTF-8</activeCodePage>",
          "level=\"asInvoker\" uiAccess=\"false\"",
          "<supportedOS Id=\"{8e0f7a12-bfb3-4fe8-b9a5-48fd50a15a9a}\"/>"})
        EXPECT_NE(manifest.find(part), std::string_view::npos) << part;
}

TEST_F(Resources, the_version_is_that_of_the_project) {
    EXPECT_TRUE(has_version_text(u"ProductName", u"edgefold"));
    EXPECT_TRUE(has_version_text(u"FileVersion", u"" EDGEFOLD_VERSION));
    EXPECT_TRUE(has_version_text(u"ProductVersion", u"" EDGEFOLD_VERSION));
}

}  // namespace
}  // namespace cli
