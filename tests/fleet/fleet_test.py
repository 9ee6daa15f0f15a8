#!/usr/bin/env python3
"""Merges runs as trees, by the scripts in examples/fleet, and compares with one merge of all.

    fleet_test.py EDGEFOLD
"""

import os
import pathlib
import random
import shutil
import sqlite3
import subprocess
import sys
import tempfile
import unittest

EDGEFOLD = pathlib.Path(sys.argv[1]).resolve()
EXAMPLES = pathlib.Path(__file__).resolve().parent.parent.parent / "examples"
FLEET = EXAMPLES / "fleet"
SKIPPED = 77

HEADER = ("FromAddress,TypeOfBranch,FromSourceFile,FromSourceLine,FromFunctionMangled,"
          "DestinationEndOfBlockAddress,DestinationSourceFile,DestinationSourceLine,"
          "DestinationFunctionMangled,HitCount\n")
EDGES = "SELECT sf_from_address, sf_to_bb_end_address, sf_from_abs_line, sf_exec_count, sf_flags FROM sf_edges"


def edge_row(line, hits):
    return "0x10,Cond,a.c,%d,f,0x20,a.c,9,f,%d\n" % (line, hits)


RETURN_FROM_0X20 = "0x20,Ret,a.c,9,f,0x99,b.c,1,g,1\n"


class Fleet(unittest.TestCase):
    def setUp(self):
        self.place = pathlib.Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.place)

    def run_command(self, command, **variables):
        path = os.pathsep.join([str(EDGEFOLD.parent), str(FLEET), os.environ["PATH"]])
        return subprocess.run([str(word) for word in command], cwd=self.place, capture_output=True, text=True,
                              env=dict(os.environ, PATH=path, **variables), check=False)

    def succeed(self, command, **variables):
        done = self.run_command(command, **variables)
        self.assertEqual(done.returncode, 0, done.stderr)

    def write(self, name, text):
        (self.place / name).write_text(text)
        return name

    def merge(self, out, *inputs):
        self.succeed(["edgefold", "-nologo", "-quiet", "-file", ";".join(inputs), "-out", out])
        return out

    def tree(self, out, inputs, group):
        self.succeed(["merge-tree", out, *inputs], GROUP=str(group))
        return out

    def query(self, database, sql):
        with sqlite3.connect(self.place / database) as connection:
            return connection.execute(sql).fetchall()

    def runs_of_programs(self, count):
        """Runs of the recorded programs, each of which saw two of three rows."""
        chance = random.Random(1)
        (self.place / "runs").mkdir()
        for n in range(count):
            lines = (EXAMPLES / ("gtest-run1.csv", "fasttree.csv")[n % 2]).read_text().splitlines(True)
            self.write("runs/%02d.csv" % n,
                       lines[0] + "".join(line for line in lines[1:] if chance.random() < 2 / 3))
        return ["runs/%02d.csv" % n for n in range(count)]

    def marked(self, database, bit):
        """The edges with this bit among their flags."""
        return set(self.query(database, "SELECT sf_from_func_id, sf_from_address, sf_to_bb_end_address "
                                        "FROM sf_edges WHERE sf_flags & %d" % bit))

    def assert_same_content(self, one, other):
        for sql in ("SELECT * FROM sf_run_info", "SELECT * FROM sf_filenames", "SELECT * FROM sf_functions",
                    "SELECT * FROM sf_calls",
                    "SELECT sf_from_func_id, sf_from_address, sf_from_abs_line, sf_from_rel_line, "
                    "sf_from_column, sf_from_discr, sf_to_func_id, sf_to_bb_end_address, sf_to_abs_line, "
                    "sf_to_rel_line, sf_to_column, sf_to_discr, sf_exec_count FROM sf_edges"):
            rows = self.query(one, sql)
            self.assertGreater(len(rows), 0)
            self.assertEqual(rows, self.query(other, sql))

    def test_each_script_gives_the_content_of_one_merge(self):
        runs = self.runs_of_programs(11)
        one = self.merge("one.db", *runs)
        self.assertEqual(self.query(one, "SELECT sf_value FROM sf_run_info"), [("11",)])
        self.assert_same_content(one, self.tree("parallel.db", runs, 2))
        self.succeed(["make", "-s", "-f", FLEET / "Makefile", "-j2", "RUNS=runs", "GROUP=4", "merged.db"])
        self.assert_same_content(one, "merged.db")
        self.write("list.txt", "\n".join(runs) + "\n")
        (self.place / "shares").mkdir()
        for task in range(7):  # of which the last has nothing to do
            self.succeed(["bash", FLEET / "merge-array.sbatch", "list.txt", "shares"],
                         SLURM_ARRAY_TASK_ID=str(task), SLURM_ARRAY_TASK_COUNT="7")
        shares = sorted("shares/" + share.name for share in (self.place / "shares").iterdir())
        self.assertEqual(len(shares), 6)
        self.succeed(["merge-group", "slurm.db", *shares])
        self.assert_same_content(one, "slurm.db")

    def test_absolute_paths_are_taken(self):
        self.write("a.csv", HEADER + edge_row(5, 1))
        self.tree(self.place / "out.db", [self.place / "a.csv", self.place / "a.csv"], 2)
        self.assertEqual(self.query("out.db", EDGES), [(0x10, 0x20, 5, 2, 0)])

    def test_tree_adds_no_marks_and_may_lose_those_that_the_last_input_lacks(self):
        runs = self.runs_of_programs(8)
        one, tree = self.merge("one.db", *runs), self.tree("tree.db", runs, 3)
        entry, left = 1, 2
        self.assertLessEqual(self.marked(tree, entry), self.marked(one, entry))
        self.assertLess(self.marked(tree, left), self.marked(one, left))

    def test_last_database_with_an_edge_decides_its_marks(self):
        with_return = self.merge("r.db", self.write("r.csv", HEADER + edge_row(5, 1) + RETURN_FROM_0X20))
        without = self.merge("n.db", self.write("n.csv", HEADER + edge_row(5, 1)))
        self.assertEqual(self.query(self.merge("1.db", "r.csv", "n.csv"), EDGES), [(0x10, 0x20, 5, 2, 2)])
        self.assertEqual(self.query(self.merge("2.db", with_return, without), EDGES), [(0x10, 0x20, 5, 2, 0)])
        self.assertEqual(self.query(self.merge("3.db", without, with_return), EDGES), [(0x10, 0x20, 5, 2, 2)])

    def test_edge_counts_from_2_to_the_31st_on_wrap_where_a_database_is_read(self):
        big = self.merge("big.db", self.write("big.csv", HEADER + edge_row(5, 1 << 31)))
        self.assertEqual(self.query(big, EDGES), [(0x10, 0x20, 5, 1 << 31, 0)])
        self.assertEqual(self.query(self.merge("again.db", big), EDGES), [(0x10, 0x20, 5, -(1 << 31), 0)])
        shutil.copy(EXAMPLES / "minigzip.csv", self.place)
        hottest = "SELECT MAX(sf_exec_count) FROM sf_edges"
        one = self.query(self.merge("gzip.db", "minigzip.csv"), hottest)
        self.assertGreater(one[0][0], 1 << 31)
        self.assertLess(self.query(self.merge("gzip2.db", "gzip.db"), hottest)[0][0], 1 << 31)

    def test_last_step_may_sum_up_to_2_to_the_31st_and_more(self):
        part = self.merge("part.db", self.write("part.csv", HEADER + edge_row(5, 1 << 30)))
        self.assertEqual(self.query(self.merge("sum.db", part, part, part), EDGES),
                         [(0x10, 0x20, 5, 3 << 30, 0)])

    def test_tree_over_two_builds_may_lose_counts_that_one_merge_keeps(self):
        old, new = (self.write(name, HEADER + edge_row(line, 1)) for name, line in (("old.csv", 5), ("new.csv", 6)))
        self.assertEqual(self.query(self.merge("one.db", old, new, old), EDGES), [(0x10, 0x20, 5, 2, 0)])
        second = self.merge("second.db", new, old)
        self.assertEqual(self.query(self.merge("tree.db", old, second), EDGES), [(0x10, 0x20, 5, 1, 0)])

    def test_group_without_a_readable_input_fails_the_tree(self):
        self.write("a.csv", HEADER + edge_row(5, 1))
        done = self.run_command(["merge-tree", "out.db", "a.csv", "missing1.csv", "missing2.csv", "a.csv"], GROUP="2")
        self.assertEqual(done.returncode, 0, done.stderr)  # each group has one
        self.assertEqual(self.query("out.db", "SELECT sf_value FROM sf_run_info"), [("2",)])
        done = self.run_command(["merge-tree", "out2.db", "a.csv", "a.csv", "missing1.csv", "missing2.csv"], GROUP="2")
        self.assertNotEqual(done.returncode, 0)
        self.assertFalse((self.place / "out2.db").exists())


if __name__ == "__main__":
    missing = [program for program in ("parallel", "make") if not shutil.which(program)]
    if missing:
        print("skipped: not installed: " + ", ".join(missing))
        sys.exit(SKIPPED)
    unittest.main(argv=sys.argv[:1])
