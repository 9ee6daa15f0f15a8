#!/usr/bin/env python3
"""The program of the archive on other systems: an older and a newer release of Debian, a folder with nothing in it,
and the plainest processor.

    anywhere_test.py EDGEFOLD ROOTS

Takes root and debootstrap. The releases are installed below ROOTS, once.
"""

import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

PROJECT = pathlib.Path(__file__).resolve().parents[2]
MIRROR = "http://deb.debian.org/debian"
EDGEFOLD = pathlib.Path(sys.argv[1]).resolve()
ROOTS = pathlib.Path(sys.argv[2]).resolve()
ARGUMENTS = ["-nologo", "-file", "minigzip.csv", "-append", "out.db", "-dump", "-sort", "C-"]


def release(name):
    """The root of a release, installed if it isn't there."""
    root = ROOTS / name
    if not root.exists():
        ROOTS.mkdir(parents=True, exist_ok=True)
        half = ROOTS / (name + ".part")
        shutil.rmtree(half, ignore_errors=True)
        done = subprocess.run(["debootstrap", "--variant=minbase", name, half, MIRROR], capture_output=True, text=True,
                              check=False)
        if done.returncode != 0:
            raise AssertionError(done.stdout[-2000:] + done.stderr)
        half.rename(root)
    return root


def results(command, directory):
    """All that two runs give: status, streams and the database's bytes."""
    given = []
    for _ in range(2):
        done = subprocess.run(command, cwd=directory, capture_output=True, timeout=300, check=False)
        given += [done.returncode, done.stdout, done.stderr, (directory / "out.db").read_bytes()]
    return given


class Anywhere(unittest.TestCase):
    def setUp(self):
        place = tempfile.TemporaryDirectory()
        self.addCleanup(place.cleanup)
        self.expected = results([EDGEFOLD, *ARGUMENTS], self.filled(pathlib.Path(place.name)))
        self.assertEqual(self.expected[0], 0)

    def filled(self, directory):
        shutil.copy(PROJECT / "examples/minigzip.csv", directory)
        return directory

    def check_below(self, root):
        """Runs the program with `root` as its whole world."""
        with tempfile.TemporaryDirectory(dir=root) as inside:
            directory = self.filled(pathlib.Path(inside))
            shutil.copy(EDGEFOLD, directory / "edgefold")
            # `chroot` begins at the root, so a shell of ours goes to the folder first.
            command = [sys.executable, "-c", "import os, sys; os.chroot(sys.argv[1]); os.chdir(sys.argv[2]);"
                       "os.execve('./edgefold', sys.argv[3:], {})", root, "/" + directory.name, "edgefold", *ARGUMENTS]
            self.assertEqual(results(command, directory), self.expected)

    def test_an_older_release_runs_it(self):
        self.check_below(release("bullseye"))

    def test_a_newer_release_runs_it(self):
        self.check_below(release("trixie"))

    def test_it_needs_nothing_but_its_input(self):
        with tempfile.TemporaryDirectory() as empty:
            self.check_below(empty)

    def test_the_plainest_processor_runs_it(self):
        with tempfile.TemporaryDirectory() as place:
            self.assertEqual(results(["qemu-x86_64", "-cpu", "qemu64", EDGEFOLD, *ARGUMENTS],
                                     self.filled(pathlib.Path(place))), self.expected)

    def test_it_asks_for_no_loader(self):
        self.assertNotIn("INTERP", subprocess.run(["readelf", "--wide", "--program-headers", EDGEFOLD], check=True,
                                                  capture_output=True, text=True).stdout)


if __name__ == "__main__":
    if os.geteuid() != 0:
        sys.exit("anywhere_test.py: only root may change the root folder")
    unittest.main(argv=sys.argv[:1])
