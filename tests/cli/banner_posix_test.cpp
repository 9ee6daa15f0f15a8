// The banner of a program that can't learn where it stands: its directory's path is longer than
// the system tells.
#include <filesystem>

#include "cli_support.h"

namespace cli {
namespace {

class BannerFromAfar : public CliTest {
protected:
    void SetUp() override {
        write("bin/qlnc", "");
        std::filesystem::permissions(path("bin/qlnc"), std::filesystem::perms::owner_all);
        write("share/edgefold/package_c.txt", "Package ID: a.b.c\n");
        const std::string folder(200, 'd');
        preparation_ = "for i in 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20 21; do mkdir " +
                       folder + " && cd -P " + folder + " || exit; done; cp '" + program_ +
                       "' edgefold; ";
        program_ = "./edgefold";
    }

    std::string version() const {
        const std::string text = run({}).err;
        const std::size_t begin = text.find("Version ");
        return text.substr(begin, text.find(" Build") - begin);
    }
};

TEST_F(BannerFromAfar, has_the_version_of_the_drivers_package) {
    preparation_ += "export PATH='" + path("bin") + "'";
    EXPECT_EQ(version(), "Version 2021.8.b.c");
}

TEST_F(BannerFromAfar, has_the_default_version_without_a_path_to_search) {
    preparation_ += "unset PATH";
    EXPECT_EQ(version(), "Version 2021.8.0");
}

class BannerOfTheSystem : public CliTest {};

// Windows drops it.
TEST_F(BannerOfTheSystem, keeps_a_cr_at_the_end_of_a_package_id) {
    install_program("suite/bin/edgefold");
    write("suite/share/edgefold/package_c.txt", "Name: x\r\nPackage ID: a.b.c\r\n");
    EXPECT_NE(run({}).err.find("Version 2021.8.b.c\r Build"), std::string::npos) << run({}).err;
}

}  // namespace
}  // namespace cli
