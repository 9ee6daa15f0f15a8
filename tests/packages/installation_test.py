"""Installations without a package manager: the archive, and `cmake --install`."""

import os
import subprocess
import unittest

from scratch_root import PROJECT, run, scratch_directory, unpacked_archive


def files(directory):
    return {os.path.relpath(path, directory) for path in directory.rglob("*") if not path.is_dir()}


class Installation(unittest.TestCase):
    def test_cmake_install_heeds_destdir_and_fills_gnu_directories(self):
        stage = scratch_directory()
        run(["cmake", "--install", PROJECT / "build/release", "--prefix", "/opt/fold"],
            env={**os.environ, "DESTDIR": str(stage)})
        self.assertEqual([entry.name for entry in stage.iterdir()], ["opt"])
        self.assertEqual({entry.name for entry in (stage / "opt/fold").iterdir()},
                         {"bin", "include", "lib", "share"})
        self.assertLessEqual({"bin/edgefold", "lib/libhotpath.a", "share/man/man1/edgefold.1.gz",
                              "share/doc/edgefold/CHANGELOG.md"}, files(stage / "opt/fold"))

    def test_the_archive_holds_the_same_as_an_installation(self):
        place = scratch_directory()
        run(["cmake", "--install", PROJECT / "build/release", "--prefix", place])
        self.assertEqual(files(unpacked_archive()), files(place))

    def test_the_programs_of_the_archive_need_no_library(self):
        programs = sorted((unpacked_archive() / "bin").iterdir())
        self.assertEqual([program.name for program in programs],
                         ["callgrind2edges", "check_edges", "edgefold", "edgescope", "perf2edges"])
        for program in programs:
            with self.subTest(program.name):
                headers, _ = run(["readelf", "--wide", "--program-headers", "--dynamic", program])
                self.assertNotIn("INTERP", headers)
                self.assertNotIn("(NEEDED)", headers)
                if program.name != "edgefold":
                    self.assertIn("Usage:", run([program, "--help"], env={})[0])

    def test_the_scripts_of_the_archive_can_be_run(self):
        scripts = unpacked_archive() / "share/edgefold-producers/fleet"
        self.assertTrue(os.access(scripts / "merge-group", os.X_OK))
        self.assertFalse(os.access(scripts / "Makefile", os.X_OK))

    def test_neither_holds_a_package_information_file(self):
        self.assertEqual([name for name in files(unpacked_archive()) if "package_" in name], [])
        self.assertFalse((PROJECT / "build/share").exists())

    def test_the_program_of_the_archive_runs_and_finds_its_information_file(self):
        place = unpacked_archive()
        (place / "share/edgefold").mkdir()
        (place / "share/edgefold/package_c.txt").write_text("Package ID: suite.4.1\n")
        result = subprocess.run([place / "bin/edgefold"], stderr=subprocess.PIPE, text=True)
        self.assertEqual(result.stderr.splitlines()[0],
                         "Velmora(R) Quillon sampling merge tool for applications running on "
                         "Velmora(R) 64, Version 2021.8.4.1 Build 20221119_000000")


if __name__ == "__main__":
    unittest.main()
