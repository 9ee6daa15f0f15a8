#!/usr/bin/env python3
"""Gives perf2edges thousands of damaged recordings and programs: each has to end in a message or in a result.

    perf_inputs_test.py COMPILER PERF2EDGES
"""

import concurrent.futures
import os
import pathlib
import random
import shutil
import subprocess
import sys
import tempfile
import unittest

from tool_support import HERE, output_of, symbols

COMPILER, TOOL = sys.argv[1], os.path.abspath(sys.argv[2])
RECORDINGS, PROGRAMS = 2000, 400
PIECES = [b"0x", b"/", b"-", b"\n", b" ", b"\t", b"\0", b"(", b")", b"[", b"]", b"@", b"77", b"PERF_RECORD_MMAP2 ",
          b"PERF_RECORD_FORK(", b"PERF_RECORD_COMM exec: ", b"ffffffffffffffff", b"\xff\xfe", b"0x0/0x0/P/-/-/0 "]


def damaged(data, chance):
    """The bytes with a few changes"""
    made = bytearray(data)
    for _ in range(chance.randint(1, 6)):
        at = chance.randrange(len(made) + 1)
        to = min(len(made), at + chance.randint(1, 40))
        change = chance.randrange(5)
        if change == 0:
            del made[at:to]
        elif change == 1:
            made[at:at] = chance.choice(PIECES)
        elif change == 2:
            made[at:at] = made[at:to]
        elif change == 3 and at < len(made):
            made[at] = chance.randrange(256)
        elif change == 4 and chance.random() < 0.1:
            del made[at:]
    return bytes(made)


def damaged_program(data, chance):
    """The program with some bytes changed, half of the time in its headers, or cut off"""
    made = bytearray(data)
    for _ in range(chance.randint(1, 8)):
        made[chance.randrange(64 if chance.random() < 0.3 else len(made))] = chance.choice(
            (0, 1, 0x7F, 0x80, 0xFF, chance.randrange(256)))
    return bytes(made[:chance.randrange(len(made))] if chance.random() < 0.1 else made)


class DamagedInputs(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.place = pathlib.Path(tempfile.mkdtemp())
        cls.program = cls.place / "steps"
        output_of(COMPILER, "-g", "-pie", HERE / "steps.s", "-o", cls.program)
        cls.recording = cls.make_recording(symbols(cls.program))

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.place)

    @classmethod
    def make_recording(cls, names):
        lines, base = [], 0x555555554000
        for process in (77, 78):
            lines.append("steps %d 1.0: PERF_RECORD_MMAP2 %d/%d: [0x%x(0x1000) @ 0x1000 fe:00 110 904]: r-xp %s" %
                         (process, process, process, base + 0x1000, os.path.realpath(cls.program)))
        lines.append("steps 77 1.0: PERF_RECORD_FORK(99:99):(77:77)")
        stack = [("work_ret", "after_work"), ("skip", "skip_to"), ("loop_end", "loop"), ("call_work", "work")]
        entries = "  ".join("0x%x/0x%x/P/-/-/1" % (base + names[a], base + names[b]) for a, b in stack)
        lines += ["  %d  %s" % (process, entries) for process in (77, 78, 99)]
        return ("\n".join(lines) + "\n").encode()

    def check(self, number, program, recording):
        """Runs one conversion of these bytes."""
        place = self.place / str(number)
        place.mkdir()
        paths = place / "steps", place / "stacks.txt"
        for path, data in zip(paths, (program, recording)):
            path.write_bytes(data)
        done = subprocess.run([TOOL, *paths], capture_output=True, timeout=60, check=False)
        shutil.rmtree(place)
        said = done.stderr.decode(errors="replace")
        fine = said.startswith("perf2edges: ") and (
            done.returncode == 0 and done.stdout.startswith(b"FromAddress,") or
            done.returncode == 1 and not done.stdout)
        return fine, done.returncode, number, said

    def check_all(self, count, make):
        """The inputs come from a seed, so that a number tells which one failed. Returns how many were converted."""
        with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
            results = list(pool.map(lambda number: self.check(number, *make(random.Random(number))), range(count)))
        self.assertEqual([result for result in results if not result[0]], [])
        return sum(status == 0 for _, status, _, _ in results)

    def test_damaged_recordings(self):
        program = self.program.read_bytes()
        converted = self.check_all(RECORDINGS, lambda chance: (program, damaged(self.recording, chance)))
        self.assertGreater(converted, RECORDINGS // 10)
        self.assertLess(converted, RECORDINGS)

    def test_damaged_programs(self):
        program = self.program.read_bytes()
        self.check_all(PROGRAMS, lambda chance: (damaged_program(program, chance), self.recording))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
