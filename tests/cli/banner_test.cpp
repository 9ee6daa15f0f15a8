// What the program says about itself: the banner with its version number, and its own name.
#include "cli_support.h"

namespace cli {
namespace {

class Banner : public CliTest {
protected:
    void SetUp() override { install_program("suite/bin/edgefold"); }

    void write_c_package(std::string_view text) const {
        write("suite/share/edgefold/package_c.txt", text);
    }
    void write_fortran_package(std::string_view text) const {
        write("suite/share/edgefold/package_fortran.txt", text);
    }

    // The banner with this version number, then the complaint about the missing files.
    static Outcome with_version(const std::string& version) {
        return {1, "",
                "Velmora(R) Quillon sampling merge tool for applications running on Velmora(R) 64, "
                "Version " +
                    version +
                    " Build 20221119_000000\n"
                    "Copyright (C) 2012-2022 Velmora. All rights reserved.\n"
                    "\n" +
                    no_files};
    }

    Outcome with_package_id(const std::string& id) const {
        write_c_package("Package ID: " + id + "\n");
        return run({});
    }
};

TEST_F(Banner, without_a_package_the_version_is_the_default) {
    EXPECT_EQ(run({}), with_version("2021.8.0"));
}

TEST_F(Banner, two_dots_show_the_text_from_the_first_of_them) {
    EXPECT_EQ(with_package_id("a.b.c"), with_version("2021.8.b.c"));
}

TEST_F(Banner, of_more_dots_the_last_two_count) {
    EXPECT_EQ(with_package_id("a.b.c.d"), with_version("2021.8.c.d"));
    EXPECT_EQ(with_package_id("foldsuite_update3.5.6"), with_version("2021.8.5.6"));
}

TEST_F(Banner, one_dot_shows_the_text_from_it) {
    EXPECT_EQ(with_package_id("abc.7"), with_version("2021.8.7"));
    EXPECT_EQ(with_package_id("update3.5"), with_version("2021.8.5"));
}

TEST_F(Banner, no_dot_shows_the_product_version_alone) {
    EXPECT_EQ(with_package_id("abc"), with_version("2021.8"));
    EXPECT_EQ(with_package_id("foldsuite_update3"), with_version("2021.8"));
}

TEST_F(Banner, an_update_of_the_suite_shows_what_is_behind_the_word) {
    EXPECT_EQ(with_package_id("foldsuite_update3.5"), with_version("2021.8.3.5"));
    EXPECT_EQ(with_package_id("1.foldsuite update"), with_version("2021.8."));
    EXPECT_EQ(with_package_id("foldsuite_update1.update2"), with_version("2021.8.1.update2"));
}

TEST_F(Banner, the_suite_without_an_update_shows_a_zero) {
    EXPECT_EQ(with_package_id("foldsuite.5"), with_version("2021.8.0.5"));
}

TEST_F(Banner, blanks_and_tabs_in_front_of_the_id_are_skipped) {
    write_c_package("Package ID: \t  \ta.b.c\n");
    EXPECT_EQ(run({}), with_version("2021.8.b.c"));
    write_c_package("Package ID:a.b.c\n");
    EXPECT_EQ(run({}), with_version("2021.8.b.c"));
}

TEST_F(Banner, the_marker_may_stand_in_any_line_but_only_at_its_beginning) {
    write_c_package("Name: x\n Package ID: no.no.no\nPackage ID: a.b.c\nPackage ID: d.e.f\n");
    EXPECT_EQ(run({}), with_version("2021.8.b.c"));
}

TEST_F(Banner, a_last_line_without_its_end_loses_a_character) {
    write_c_package("Package ID: a.b.cd");
    EXPECT_EQ(run({}), with_version("2021.8.b.c"));
}

TEST_F(Banner, a_marker_with_blanks_only_counts_as_none) {
    write_c_package("Package ID:  \t\n");
    EXPECT_EQ(run({}), with_version("2021.8.0"));
    write_fortran_package("Package ID: a.b.c\n");
    EXPECT_EQ(run({}), with_version("2021.8.b.c"));
}

TEST_F(Banner, a_package_without_a_marker_counts_as_none) {
    write_c_package("");
    EXPECT_EQ(run({}), with_version("2021.8.0"));
    write_c_package("package id: a.b.c\n");
    EXPECT_EQ(run({}), with_version("2021.8.0"));
}

TEST_F(Banner, the_fortran_package_is_asked_where_the_other_has_no_id) {
    write_fortran_package("Package ID: a.b.c\n");
    EXPECT_EQ(run({}), with_version("2021.8.b.c"));
}

TEST_F(Banner, the_c_package_goes_first) {
    write_fortran_package("Package ID: a.b.c\n");
    EXPECT_EQ(with_package_id("d.e.f"), with_version("2021.8.e.f"));
}

TEST_F(Banner, a_longer_version_line_is_cut_at_319_characters) {
    const std::string line =
        "Velmora(R) Quillon sampling merge tool for applications running on Velmora(R) 64, "
        "Version 2021.8.b." +
        std::string(300, 'x');
    EXPECT_EQ(
        with_package_id("a.b." + std::string(300, 'x')),
        (Outcome{1, "",
                 line.substr(0, 319) + "Copyright (C) 2012-2022 Velmora. All rights reserved.\n\n" +
                     no_files}));
}

TEST_F(Banner, usage_prints_the_banner_and_the_program_name_as_given) {
    write_c_package("Package ID: a.b.c\n");
    Outcome expected = with_version("2021.8.b.c");
    expected.err = "error #32500: unknown option '/x'\n" +
                   expected.err.substr(0, expected.err.size() - no_files.size()) +
                   usage("./suite/bin/../bin/edgefold");
    name_ = "./suite/bin/../bin/edgefold";
    EXPECT_EQ(run({"-x"}), expected);
}

// Where the program's own path is too long, the driver's directory is taken in its place.
class BannerByDriver : public Banner {
protected:
    void SetUp() override {
        // Many bytes in few characters: a system may start no program by a longer path.
        std::string folder;
        for (int i = 0; i < 50; ++i) folder += "\xe2\x82\xac";
        install_program(folder + "/" + folder + "/edgefold");
        for (const std::string& name : {driver("qlnc"), driver("qlnf")}) {
            write(name, "");
            std::filesystem::permissions(path(name), std::filesystem::perms::owner_all |
                                                         std::filesystem::perms::others_exec |
                                                         std::filesystem::perms::others_read);
        }
        const std::string separator = on_windows ? ";" : ":";
        environment_ = {{"PATH", path("nowhere") + separator + path("drivers/bin") + separator +
                                     path("elsewhere")}};
    }

    static std::string driver(const std::string& name) {
        return "drivers/bin/" + name + (on_windows ? ".exe" : "");
    }

    static constexpr bool on_windows = std::filesystem::path::preferred_separator == '\\';
};

TEST_F(BannerByDriver, the_package_is_found_from_the_drivers_directory) {
    write("drivers/share/edgefold/package_c.txt", "Package ID: a.b.c\n");
    EXPECT_EQ(run({}), with_version("2021.8.b.c"));
}

TEST_F(BannerByDriver, the_fortran_package_is_found_from_its_own_driver) {
    std::filesystem::remove(path(driver("qlnc")));
    write("drivers/share/edgefold/package_c.txt", "Package ID: a.b.c\n");
    write("drivers/share/edgefold/package_fortran.txt", "Package ID: d.e.f\n");
    EXPECT_EQ(run({}), with_version("2021.8.e.f"));
}

TEST_F(BannerByDriver, without_a_driver_the_version_is_the_default) {
    environment_ = {{"PATH", path("nowhere")}};
    EXPECT_EQ(run({}), with_version("2021.8.0"));
}

}  // namespace
}  // namespace cli
