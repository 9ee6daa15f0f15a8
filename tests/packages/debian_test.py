"""The Debian packages: what they say of themselves, and their way in and out of a system."""

import os
import re
import shutil
import subprocess
import unittest

from scratch_root import (NAMES, PROJECT, VERSION, ScratchRoot, debian_package, installed_root, run,
                          scratch_directory)

MERGED = "remark #30101: Merged 1 files to output file.\n"


def banner(root):
    """The first line of a run without inputs, which ends with an error."""
    result = subprocess.run([root.path / "usr/bin/edgefold"], stderr=subprocess.PIPE, text=True)
    return result.stderr.split("\n", 1)[0]


class DebianPackages(unittest.TestCase):
    def test_lintian_has_nothing_against_them(self):
        # One archive and one package share their directories: libraries lie in /usr/lib itself.
        run(["lintian", "--allow-root", "--fail-on", "error,warning", "--suppress-tags",
             "pkg-config-unavailable-for-cross-compilation", *map(debian_package, NAMES)])

    def test_the_version_is_the_projects_and_the_newest_change_tells_of_it(self):
        for name in NAMES:
            self.assertEqual(run(["dpkg", "-f", debian_package(name), "Version"])[0].strip(),
                             VERSION)
        changes = (PROJECT / "CHANGELOG.md").read_text(encoding="utf-8")
        self.assertEqual(re.search(r"^## (\S+)", changes, flags=re.M)[1], VERSION)

    def test_the_packages_install_run_and_leave_nothing_behind(self):
        root = ScratchRoot()
        self.assertEqual(root.files(), set())
        root.install()
        directory = root.path / "tmp"
        directory.mkdir()
        shutil.copy(PROJECT / "examples/minigzip.csv", directory)
        program = root.path / "usr/bin/edgefold"
        self.assertEqual(run([program, "-nologo", "-file", "minigzip.csv", "-out", "new.db"],
                             cwd=directory), ("", MERGED))
        report, _ = run([program, "-nologo", "-file", "new.db", "-dump"], cwd=directory)
        self.assertTrue(report.startswith("Sampling merge header:Input file count: 1\n"))
        checked, _ = run([root.path / "usr/bin/edgescope", "compare", "new.db", "new.db"],
                         cwd=directory)
        self.assertTrue(checked.startswith("Overlap of functions  100.000 %\n"))
        shutil.rmtree(directory)
        root.purge()
        self.assertEqual(root.files(), set())
        self.assertFalse((root.path / "usr").exists())

    def test_nothing_is_depended_on_twice(self):
        for name in NAMES:
            needed = [part.split()[0] for part in run(["dpkg", "-f", debian_package(name), "Depends"])[0].split(",")]
            self.assertEqual(sorted(set(needed)), sorted(needed))

    def test_the_packages_need_what_they_are_linked_with(self):
        root = ScratchRoot()
        (root.path / "var/lib/dpkg/status").write_text("")
        with self.assertRaisesRegex(AssertionError, "edgefold depends on libsqlite3-0"):
            root.install()

    def test_the_scripts_for_fleets_work_where_they_are_installed(self):
        root = installed_root()
        directory = scratch_directory()
        shutil.copy(PROJECT / "examples/gtest-run1.csv", directory / "1.csv")
        shutil.copy(PROJECT / "examples/fasttree.csv", directory / "2.csv")
        path = [root.path / "usr/share/edgefold-producers/fleet", root.path / "usr/bin", os.environ["PATH"]]
        run(["merge-group", "all.db", "1.csv", "2.csv"], cwd=directory,
            env={**os.environ, "PATH": ":".join(map(str, path))})
        self.assertTrue((directory / "all.db.sums").read_text().startswith("runs 2\n"))

    def test_the_banner_follows_a_package_information_file(self):
        root = ScratchRoot().install()
        self.assertIn("Version 2021.8.0 Build", banner(root))
        self.assertFalse((root.path / "usr/share/edgefold").exists())
        (root.path / "usr/share/edgefold").mkdir()
        (root.path / "usr/share/edgefold/package_c.txt").write_text("Package ID: suite.4.1\n")
        self.assertIn("Version 2021.8.4.1 Build", banner(root))

    def test_the_packages_hold_what_people_look_for(self):
        wanted = ["/usr/bin/edgefold", "/usr/bin/edgescope",
                  "/usr/share/bash-completion/completions/edgescope",
                  "/usr/share/fish/vendor_completions.d/edgescope.fish",
                  "/usr/share/zsh/vendor-completions/_edgescope",
                  "/usr/bin/callgrind2edges", "/usr/bin/perf2edges", "/usr/bin/check_edges",
                  "/usr/share/bash-completion/completions/check_edges",
                  "/usr/share/fish/vendor_completions.d/perf2edges.fish",
                  "/usr/share/zsh/vendor-completions/_edge_files",
                  "/usr/share/man/man1/callgrind2edges.1.gz", "/usr/share/man/man1/perf2edges.1.gz",
                  "/usr/share/man/man1/check_edges.1.gz", "/usr/share/man/man7/edgefold-fleet.7.gz",
                  "/usr/share/edgefold-producers/fleet/merge-group",
                  "/usr/share/man/man1/edgescope.1.gz", "/usr/lib/libhotpath.a", "/usr/lib/pkgconfig/hotpath.pc",
                  "/usr/lib/cmake/hotpath/hotpathConfig.cmake",
                  "/usr/share/bash-completion/completions/edgefold",
                  "/usr/share/fish/vendor_completions.d/edgefold.fish",
                  "/usr/share/zsh/vendor-completions/_edgefold",
                  "/usr/share/man/man1/edgefold.1.gz", "/usr/share/man/man5/edgefold-db.5.gz",
                  "/usr/share/man/man5/edgefold-edges.5.gz"]
        self.assertEqual(set(wanted) - installed_root().files(), set())


if __name__ == "__main__":
    unittest.main()
