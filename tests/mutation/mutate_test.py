#!/usr/bin/env python3
"""Tests what `mutate.py` works on: its list of files, its mutants, and the copy that it builds."""

import pathlib
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True
import mutate  # noqa: E402


class MutateTest(unittest.TestCase):
    def test_each_file_has_mutants(self):
        for path in mutate.FILES:
            self.assertTrue(mutate.mutants_of([path]), path)

    def test_a_mutant_changes_its_line(self):
        for mutant in mutate.mutants_of(mutate.FILES):
            self.assertNotEqual(mutant.line.rstrip("\n"), mutant.changed.rstrip("\n"))

    def test_the_copy_of_the_tree_can_be_configured(self):
        with tempfile.TemporaryDirectory() as top:
            copy = mutate.Copy(pathlib.Path(top))
            copy.configure()
            self.assertTrue((copy.build / "build.ninja").exists())


if __name__ == "__main__":
    unittest.main()
