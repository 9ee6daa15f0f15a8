#!/usr/bin/env python3
"""Holds callgrind2edges against programs that were run instruction by instruction, build by build.

    callgrind_steps_test.py CALLGRIND2EDGES STEP_PROGRAM EDGEFOLD COMPILER...

What the steps say of the functions of the source is the truth: how often each transfer was made, and how often each
function was entered. The rows have to say the same, and the database made of them.
"""

import collections
import pathlib
import re
import shutil
import sqlite3
import subprocess
import sys
import tempfile
import unittest

from tool_support import HERE, instructions, output_of, rows_of, symbols

TOOL, STEP_PROGRAM, EDGEFOLD = (pathlib.Path(path).resolve() for path in sys.argv[1:4])
COMPILERS = sys.argv[4:]
RECORD = ["valgrind", "-q", "--tool=callgrind", "--dump-instr=yes", "--collect-jumps=yes", "--demangle=no"]
BUILDS = [(level, version) for level in ("-O0", "-O1", "-O2", "-O3", "-Os") for version in ("-gdwarf-4", "-gdwarf-5")]
SOURCE = HERE / "tally.cpp"


def builds(compiler):
    links = ["-fuse-ld=gold"] if "clang" in compiler else []
    return BUILDS + [("-O2", "-flto", version, *links) for version in ("-gdwarf-4", "-gdwarf-5")]


def is_call(text):
    return re.match(r"(bnd |notrack )*call", text) is not None


class Steps:
    """A run from main on, in addresses of the program's file; code of others, linkage stubs included, is None."""

    def __init__(self, program, output):
        names = symbols(program)
        output_of(STEP_PROGRAM, "--callbacks", output, names["main"] - names["_start"], program)
        _, *lines = output.read_text().splitlines()
        run = [int(line, 16) for line in lines]
        shift = run[0] - names["main"]
        self.texts = instructions(program)
        sections = output_of("objdump", "-d", "--no-show-raw-insn", program).split("Disassembly of section ")
        stubs = {int(address, 16) for section in sections if section.startswith(".plt")
                 for address in re.findall(r"^ *([0-9a-f]+):\t", section, re.MULTILINE)}
        places = [address - shift if address - shift in self.texts and address - shift not in stubs else None
                  for address in run]
        self.executed = collections.Counter()
        self.transfers = collections.Counter()
        for here, there in zip([None] + places, places):
            if here == there and (here is None or self.texts[here].startswith("rep")):
                continue  # a string operation repeats itself
            self.executed[there] += 1
            self.transfers[here, there] += 1
        self.following = dict(zip(self.texts, list(self.texts)[1:]))

    def came_back(self, call):
        """Times that the call came back: what arrived behind it, but for jumps of its own function"""
        back = self.following[call]
        return sum(count for (here, there), count in self.transfers.items()
                   if there == back and (here is None or "ret" in self.texts[here]))

    def count(self, row):
        """Times that the row's transfer was made; None for a return, which goes where it likes"""
        source, destination = int(row["FromAddress"], 16), int(row["DestinationAddress"], 16)
        if row["TypeOfBranch"] == "FallThrough" and is_call(self.texts[source]):
            return self.came_back(source)
        return self.transfers[source, destination if destination in self.texts else None]


class CallgrindSteps(unittest.TestCase):
    def setUp(self):
        self.place = pathlib.Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.place)

    def convert(self, compiler, flags):
        program = self.place / "tally"
        subprocess.run([compiler, "-g", *flags, SOURCE, "-o", program], check=True, stderr=subprocess.DEVNULL)
        subprocess.run([*RECORD, "--callgrind-out-file=tally.out", program], check=True, cwd=self.place,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        text = output_of(TOOL, program, "tally.out", place=self.place)
        (self.place / "tally.csv").write_text(text)
        return program, rows_of(text)

    def check_counts(self, rows, steps):
        """Each transfer from a function of the source has its true count, and none is missing."""
        told, returned = collections.Counter(), collections.Counter()
        first = {}
        for row in rows:
            if row["TypeOfBranch"] == "Ret":
                returned[int(row["FromAddress"], 16)] += row["HitCount"]
                continue
            key = row["FromAddress"], row["TypeOfBranch"] == "FallThrough", row["DestinationAddress"]
            if int(row["DestinationAddress"], 16) not in steps.texts:
                key = key[:2] + (None,)
            told[key] += row["HitCount"]
            first[key] = row
        for key, count in told.items():
            self.assertEqual(count, steps.count(first[key]), first[key])
        for source, count in returned.items():
            self.assertEqual(count, steps.executed[source])
        self.assertGreater(len(told), 40)
        sources = {int(row["FromAddress"], 16) for row in rows}
        for (here, there), count in steps.transfers.items():
            if here in sources and "ret" not in steps.texts[here]:
                falls = there == steps.following[here] and not is_call(steps.texts[here])
                found = [told["0x%x" % here, kind, there if there is None else "0x%x" % there]
                         for kind in ((True, False) if falls else (False,))]
                self.assertIn(count, found, "%x %s" % (here, there))

    def check_names(self, rows):
        """No hits are lost for want of a line, and each function stands under one file."""
        files = collections.defaultdict(set)
        for row in rows:
            for end in ("From", "Destination"):
                if row[end + "SourceFile"] != "NA":
                    files[row[end + "FunctionMangled"]].add(row[end + "SourceFile"])
            if row["FromFunctionMangled"] == row["DestinationFunctionMangled"]:
                self.assertNotIn("-1", (row["FromSourceLine"], row["DestinationSourceLine"]), row)
        self.assertGreater(len(files), 8)
        self.assertEqual({name: found for name, found in files.items() if len(found) > 1}, {})

    def check_entries(self, program, steps, functions):
        """The database's execution counts are the entries that really happened."""
        (self.place / "tally.db").unlink(missing_ok=True)
        output_of(EDGEFOLD, "-file", "tally.csv", "-out", "tally.db", place=self.place)
        with sqlite3.connect(self.place / "tally.db") as database:
            counts = dict(database.execute(
                "SELECT sf_func_name, sf_exec_count FROM sf_functions JOIN sf_filenames n ON n.sf_id = sf_file_id "
                "WHERE n.sf_filename LIKE '%TALLY.CPP'"))
        names = symbols(program)
        entries = {name: steps.executed[names[name]] for name in functions}
        self.assertEqual({name: counts.get(name) for name in functions}, entries)
        self.assertGreater(sum(entries.values()), 500)

    def test_each_build_says_what_happened(self):
        for compiler in COMPILERS:
            for flags in builds(compiler):
                with self.subTest(compiler=compiler, flags=flags):
                    program, rows = self.convert(compiler, flags)
                    steps = Steps(program, self.place / "steps")
                    own = [row for row in rows if row["FromSourceFile"] == str(SOURCE)]
                    self.check_counts(own, steps)
                    self.check_names(own)
                    self.check_entries(program, steps, {row["FromFunctionMangled"] for row in own})


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
