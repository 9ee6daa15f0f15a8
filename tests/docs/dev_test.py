#!/usr/bin/env python3
"""Tests of what ./dev says of itself.

    dev_test.py
"""

import pathlib
import re
import subprocess
import unittest

DEV = pathlib.Path(__file__).resolve().parent.parent.parent / "dev"


def run(*words):
    return subprocess.run([DEV, *words], capture_output=True, text=True, check=False)


class Dev(unittest.TestCase):
    def test_unknown_command_is_named(self):
        for words in (["foo"], ["test", "foo"], ["build", "foo"], ["package", "foo"]):
            done = run(*words)
            self.assertEqual(done.returncode, 2)
            self.assertEqual(done.stderr.splitlines()[0], "./dev: unknown command: " + " ".join(words))
            self.assertEqual(done.stdout, "")

    def test_help_tells_each_command(self):
        text = DEV.read_text(encoding="utf-8")
        commands = re.findall(r"(?m)^    ([a-z]+)\)", text[text.index("\ncase ${1:-help} in"):])
        self.assertGreater(len(commands), 10)
        told = run("help").stdout
        self.assertEqual([command for command in commands if not re.search(r"(?m)^  %s\b" % command, told)], [])


if __name__ == "__main__":
    unittest.main()
