#!/usr/bin/env python3
"""The benchmark of growth, with small inputs: what it measures is right, its times are not judged.

    growth_test.py EDGEFOLD
"""

import math
import os
import pathlib
import stat
import subprocess
import sys
import tempfile
import unittest

PROJECT = pathlib.Path(__file__).resolve().parents[2]
sys.dont_write_bytecode = True
sys.path.insert(0, str(PROJECT / "bench"))

import growth  # noqa: E402

EDGEFOLD = os.path.abspath(sys.argv.pop(1))


IN_MEMORY = {**os.environ, "TMPDIR": "/dev/shm"} if os.path.isdir("/dev/shm") else None


def run(program, *arguments):
    return subprocess.run([sys.executable, PROJECT / "bench/growth.py", "--binary", program, "--scale", "0.0003",
                           "--repeat", "1", *arguments], capture_output=True, text=True, timeout=300, env=IN_MEMORY)


class Growth(unittest.TestCase):
    def test_the_exponent_is_the_slope_of_the_logarithms(self):
        self.assertAlmostEqual(growth.exponent([(n, 5 * n ** 2) for n in (10, 20, 40)]), 2)
        self.assertAlmostEqual(growth.exponent([(n, n) for n in (10, 20, 40)]), 1)
        self.assertAlmostEqual(growth.exponent([(1, 1), (math.e, 1), (math.e ** 2, math.e ** 3)]), 1.5)

    def test_each_dimension_has_six_sizes_and_their_figures(self):
        result = run(EDGEFOLD, "--before", EDGEFOLD)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        blocks = result.stdout.strip().split("\n\n")[1:]
        self.assertEqual([block[:33].strip() for block in blocks], [d.title for d in growth.DIMENSIONS])
        for block in blocks:
            sizes, *figures = (line[33:].split() for line in block.split("\n"))
            self.assertEqual([int(b) // int(a) for a, b in zip(sizes, sizes[1:6])], [2] * 5)
            self.assertEqual([len(line) for line in figures], [7, 6, 7, 6])

    def test_a_program_that_leaves_units_out_is_found(self):
        with tempfile.TemporaryDirectory() as place:
            hasty = pathlib.Path(place) / "hasty"
            hasty.write_text("#!/bin/sh\nsed -i 3d input.csv\nexec '%s' \"$@\"\n" % EDGEFOLD)
            hasty.chmod(hasty.stat().st_mode | stat.S_IXUSR)
            result = run(hasty, "--only", "callees")
        self.assertEqual((result.returncode, result.stderr),
                         (1, "callees of one function: 30 units gave 29, not 30\n"))


if __name__ == "__main__":
    unittest.main()
