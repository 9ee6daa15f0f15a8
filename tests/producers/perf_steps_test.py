#!/usr/bin/env python3
"""Holds perf2edges against programs that were run instruction by instruction.

    perf_steps_test.py PERF2EDGES STEP_PROGRAM COMPILER...

The steps tell each branch that was taken and each way straight on. Cut into stacks, as a processor would deliver them,
the branches have to come back as rows with these very counts.
"""

import collections
import pathlib
import re
import shutil
import sys
import tempfile
import unittest

from tool_support import HERE, instructions, output_of, rows_of, symbols

TOOL, STEP_PROGRAM, COMPILERS = sys.argv[1], sys.argv[2], sys.argv[3:]
DEPTH = 32  # branches of a stack
LEADS_AWAY = re.compile(r"(bnd |notrack |repz )*(call|jmp|ret)")
LEVELS = ("-O0", "-O1", "-O2", "-O3", "-Os")


def stubs(program):
    """The addresses of instructions in linkage stubs"""
    sections = output_of("objdump", "-d", "--no-show-raw-insn", program).split("Disassembly of section ")
    return {int(address, 16) for section in sections if section.startswith(".plt")
            for address in re.findall(r"^ *([0-9a-f]+):\t", section, re.MULTILINE)}


class Steps:
    """One run of a program, in addresses of its file. Linkage stubs count as code of others, which they lead to."""

    def __init__(self, program, output):
        names = symbols(program)
        output_of(STEP_PROGRAM, output, names["main"] - names["_start"], program)
        self.mapping, *lines = output.read_text().splitlines()
        run = [int(line, 16) for line in lines]
        self.shift = run[0] - names["main"]
        texts = instructions(program)
        ends = dict(zip(texts, list(texts)[1:]))
        self.texts = texts
        self.stubs = stubs(program)
        self.branches = []  # (source, destination), None for code of others, which begins and ends a stack's way
        self.ways = []  # of each branch but the first: the steps straight on before it
        way = []
        for here, there in zip(run, run[1:]):
            here, there = here - self.shift, there - self.shift
            if here == there:  # a string operation repeats
                continue
            if ends.get(here) == there and not LEADS_AWAY.match(texts[here]):
                way.append((here, there))
                continue
            self.branches.append((here, there))
            self.ways.append(way)
            way = []

    def stacks(self):
        """Slices of the branches"""
        return [slice(i, i + DEPTH) for i in range(0, len(self.branches), DEPTH)]

    def recording(self):
        """The text that perf script would print"""
        lines = [self.mapping]
        for part in self.stacks():
            lines.append("   77  " + "  ".join("0x%x/0x%x/P/-/-/1" % (source + self.shift, there + self.shift)
                                               for source, there in reversed(self.branches[part])))
        return "\n".join(lines) + "\n"

    def counts(self):
        """(source, destination, falls through) -> times, of all that the stacks tell"""
        counts = collections.Counter()
        before = dict(zip(list(self.texts)[1:], self.texts))
        for part in self.stacks():
            for source, there in self.branches[part]:
                inside = there in self.texts and there not in self.stubs
                if source in self.texts and source not in self.stubs:
                    counts[source, there if inside else None, False] += 1
                call = before.get(there) if inside else None
                returns = self.texts.get(source, "ret").startswith(("ret", "repz ret"))
                if returns and call and self.texts[call].startswith("call"):
                    counts[call, there, True] += 1
            for way in self.ways[part][1:]:
                counts.update((here, there, True) for here, there in way)
        return counts


class PerfSteps(unittest.TestCase):
    def setUp(self):
        self.place = pathlib.Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.place)

    def check(self, compiler, *flags):
        program = self.place / "tally"
        output_of(compiler, "-g", *flags, HERE / "tally.cpp", "-o", program)
        steps = Steps(program, self.place / "steps")
        stacks = self.place / "stacks.txt"
        stacks.write_text(steps.recording())
        expected = steps.counts()
        rows = collections.Counter()
        for row in rows_of(output_of(TOOL, program, stacks)):
            destination = int(row["DestinationAddress"], 16)
            known = row["DestinationFunctionMangled"] != "NA"
            rows[int(row["FromAddress"], 16), destination if known else None,
                 row["TypeOfBranch"] == "FallThrough"] += row["HitCount"]
        self.assertGreater(sum(rows.values()), 1000)
        for key, count in rows.items():
            self.assertEqual(count, expected[key], key)
        # No row is missing: of branches in functions, and of conditional jumps that weren't taken.
        places = {source for source, _, _ in rows}
        for (source, destination, falls), count in expected.items():
            text = steps.texts[source]
            if source in places and (not falls or text.startswith("j")):
                self.assertEqual(rows[source, destination, falls], count, text)

    def test_counts_are_those_of_the_steps(self):
        for compiler in COMPILERS:
            for flags in [(level,) for level in LEVELS] + [("-O2", "-no-pie")]:
                with self.subTest(compiler=compiler, flags=flags):
                    self.check(compiler, *flags)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
