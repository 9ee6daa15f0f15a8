#!/usr/bin/env python3
"""Tests check_edges: what it says of each kind of row, and its kept hits against the sums that the
merge tool stores, on the shipped recordings and on random files.

    check_edges_test.py CHECK_EDGES EDGEFOLD [NUMBER_OF_RANDOM_FILES]
"""

import pathlib
import re
import sqlite3
import subprocess
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True
ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
sys.path.insert(0, str(ROOT / "tests" / "reference"))
import random_case  # noqa: E402

CHECK_EDGES, EDGEFOLD = (str(pathlib.Path(path).resolve()) for path in sys.argv[1:3])
RANDOM_FILES = int(sys.argv[3]) if len(sys.argv) > 3 else 2000

HEADER = ("FromAddress,TypeOfBranch,FromSourceFile,FromSourceLine,FromFunctionMangled,"
          "DestinationEndOfBlockAddress,DestinationSourceFile,DestinationSourceLine,"
          "DestinationFunctionMangled,HitCount\n")
GOOD = "10,Cond,a.c,1,f,20,a.c,2,f,5\n"
KEPT = re.compile(r"  kept: (\d+) rows, (\d+) hits \(edges (\d+), calls (\d+), returns (\d+)\)")


class CheckEdges(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.place = pathlib.Path(directory.name)

    def check(self, *words):
        return subprocess.run([CHECK_EDGES, *words], cwd=self.place, capture_output=True, text=True)

    def report_of(self, rows, *words):
        (self.place / "a.csv").write_bytes((HEADER + rows).encode())
        run = self.check(*words, "a.csv")
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        return run.stdout

    def stored_sums(self, names):
        """The sums of edges and of calls that the merge tool stores, in 64 bits."""
        target = self.place / "sums.db"
        target.unlink(missing_ok=True)
        subprocess.run([EDGEFOLD, "-nologo", "-quiet", "-file", ";".join(names), "-out", target.name],
                       cwd=self.place, check=True, capture_output=True)
        if not target.exists():
            return 0, 0
        database = sqlite3.connect(target)
        sums = [sum(row[0] for row in database.execute("SELECT sf_exec_count FROM " + table)) % 2**64
                for table in ("sf_edges", "sf_calls")]
        database.close()
        return tuple(sums)

    def kept_sums(self, names):
        """The same by the word of the checker, over all files; its own sums don't wrap."""
        run = self.check(*names)
        kept = KEPT.findall(run.stdout)
        self.assertIn(run.returncode, (0, 2), run.stderr)
        return (int(kept[-1][2]) % 2**64, int(kept[-1][3]) % 2**64) if kept else (0, 0)

    def test_a_file_without_fault_loses_nothing(self):
        self.assertEqual(self.report_of(GOOD + "14,Call,a.c,3,f,30,b.c,7,g,4\n"
                                        "34,Ret,b.c,9,g,18,a.c,3,f,3\n"),
                         "a.csv: 3 rows\n"
                         "  kept: 3 rows, 12 hits (edges 5, calls 4, returns 3)\n"
                         "  lost: 0 rows, 0 hits, 0.00 %\n")

    def test_each_loss_comes_with_its_first_line(self):
        self.assertEqual(self.report_of(
            GOOD +
            "10,Cond,a.c,1\n" "\n"
            "11,Cond,a.c,-1,f,20,a.c,2,f,6\n" "12,Cond,a.c,1,f,20,a.c,-1,f,7\n"
            "10,Cond,a.c,9,f,20,a.c,2,f,8\n"
            "13,Call,a.c,1,f,20,,-1,NA,9\n"
            "13,FallThrough,a.c,1,f,20,a.c,2,g,10\n"
            "14,Cond,a.c,1,f,20,a.c,2,f,16777217\n"),
            "a.csv: 9 rows\n"
            "  kept: 2 rows, 16777221 hits (edges 16777221, calls 0, returns 0)\n"
            "  lost: 7 rows, 41 hits, 77.78 %\n"
            "    too few fields: 2 rows, 0 hits, first in line 3\n"
            "    unknown line: 2 rows, 13 hits, first in line 5\n"
            "    position mismatch: 1 rows, 8 hits, first in line 7\n"
            "    unknown callee (NA): 1 rows, 9 hits, first in line 8\n"
            "    unknown branch type: 1 rows, 10 hits, first in line 9\n"
            "    count rounded: 1 rows, 1 hits, first in line 10\n")

    def test_odd_numbers_are_told_and_counted_as_they_are_read(self):
        self.assertEqual(self.report_of(GOOD + "1x,Cond,a.c,1,f,20,a.c,2,f,5\n"
                                        "10,Cond,a.c,1,f,20,a.c,2,f,1e1\n"
                                        "0x10,Cond,a.c,1,f,20,a.c,2,f,5.000000\n"),
                         "a.csv: 4 rows\n"
                         "  kept: 4 rows, 25 hits (edges 25, calls 0, returns 0)\n"
                         "  lost: 0 rows, 0 hits, 0.00 %\n"
                         "  odd numbers: 2 rows, first in line 3\n")

    def test_sums_do_not_wrap(self):
        large = 2**63
        row = "%d,Cond,a.c,%d,f,20,a.c,2,f,%d\n"
        self.assertEqual(self.report_of("".join(row % (address, 1, large) for address in (10, 11, 12)) +
                                        row % (13, -1, large)),
                         "a.csv: 4 rows\n"
                         "  kept: 3 rows, %d hits (edges %d, calls 0, returns 0)\n"
                         "  lost: 1 rows, %d hits, 25.00 %%\n"
                         "    unknown line: 1 rows, %d hits, first in line 5\n" % (3 * large, 3 * large, large, large))

    def test_a_later_file_has_the_positions_of_the_first(self):
        (self.place / "a.csv").write_text(HEADER + GOOD)
        (self.place / "b.csv").write_text(HEADER + GOOD.replace("a.c,1", "a.c,2"))
        self.assertEqual(self.check("a.csv", "b.csv").stdout,
                         "a.csv: 1 rows\n"
                         "  kept: 1 rows, 5 hits (edges 5, calls 0, returns 0)\n"
                         "  lost: 0 rows, 0 hits, 0.00 %\n"
                         "b.csv: 1 rows\n"
                         "  kept: 0 rows, 0 hits (edges 0, calls 0, returns 0)\n"
                         "  lost: 1 rows, 5 hits, 100.00 %\n"
                         "    position mismatch: 1 rows, 5 hits, first in line 2\n"
                         "all files: 2 rows\n"
                         "  kept: 1 rows, 5 hits (edges 5, calls 0, returns 0)\n"
                         "  lost: 1 rows, 5 hits, 50.00 %\n"
                         "    position mismatch: 1 rows, 5 hits\n")

    def test_more_than_the_greatest_loss_is_status_1(self):
        (self.place / "a.csv").write_text(HEADER + GOOD + GOOD + GOOD + "short\n")
        self.assertEqual(self.check("a.csv").returncode, 0)
        self.assertEqual(self.check("--max-lost", "25", "a.csv").returncode, 0)
        self.assertEqual(self.check("--max-lost", "24.9", "a.csv").returncode, 1)

    def test_what_is_no_edge_file_is_status_2(self):
        (self.place / "text").write_text("no edge file\n")
        (self.place / "a.csv").write_text(HEADER + "short\n")
        for name, reason in (("gone", "can't be opened"),
                             ("text", "is no edge file: its first line lacks a column")):
            run = self.check("--max-lost", "0", name, "a.csv")
            self.assertEqual((run.returncode, run.stderr), (2, f"check_edges: {name} {reason}\n"))
            self.assertIn("a.csv: 1 rows\n", run.stdout)

    def test_wrong_use_is_status_2(self):
        for words in ((), ("--max-lost", "x", "a.csv"), ("--max-lost", "-1", "a.csv"), ("--max-lost", "nan", "a.csv"), ("--odd",)):
            self.assertEqual(self.check(*words).returncode, 2)

    def test_help_and_version_are_reported(self):
        self.assertIn("--max-lost PERCENT", self.check("--help").stdout)
        self.assertRegex(self.check("--version").stdout, r"\Acheck_edges \d+\.\d+\.\d+\n\Z")

    def test_kept_hits_of_the_recordings_are_those_stored(self):
        for path in sorted((ROOT / "examples").glob("*.csv")):
            (self.place / path.name).write_bytes(path.read_bytes())
            self.assertEqual(self.kept_sums([path.name]), self.stored_sums([path.name]), path)

    def test_kept_hits_of_random_files_are_those_stored(self):
        in_list = 10
        for first in range(0, RANDOM_FILES, in_list):
            names = ["%d.csv" % number for number in range(first, first + in_list)]
            for number, name in enumerate(names, first):
                maker = random_case.EdgeFileMaker(random_case.Dice(number))
                (self.place / name).write_bytes(maker.content())
            self.assertEqual(self.kept_sums(names), self.stored_sums(names), names)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
