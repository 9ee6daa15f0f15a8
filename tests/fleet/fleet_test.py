#!/usr/bin/env python3
"""Merges runs as trees, by the scripts in examples/fleet, and compares with one merge of all.

    fleet_test.py EDGEFOLD

check_edges stands beside it.
"""

import contextlib
import os
import pathlib
import random
import shutil
import signal
import sqlite3
import subprocess
import sys
import tempfile
import time
import unittest

EDGEFOLD = pathlib.Path(sys.argv[1]).resolve()
EXAMPLES = pathlib.Path(__file__).resolve().parent.parent.parent / "examples"
FLEET = EXAMPLES / "fleet"

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

    def make(self, *words):
        return self.run_command(["make", "-f", FLEET / "Makefile", "RUNS=runs", *words, "merged.db"])

    def array_task(self, task, first, last, count, step=1):
        return self.run_command(["bash", FLEET / "merge-array.sbatch", "parts"],
                                SLURM_ARRAY_TASK_ID=str(task), SLURM_ARRAY_TASK_MIN=str(first),
                                SLURM_ARRAY_TASK_MAX=str(last), SLURM_ARRAY_TASK_COUNT=str(count),
                                SLURM_ARRAY_TASK_STEP=str(step))

    def list_groups(self, paths, group):
        return subprocess.run([FLEET / "list-groups", "parts", str(group)], cwd=self.place, text=True,
                              input="".join(str(path) + "\n" for path in paths), capture_output=True, check=False)

    def assert_refused(self, done, text, out="out.db"):
        """The command failed with this text, and left no result and nothing half done."""
        self.assertNotEqual(done.returncode, 0)
        self.assertIn(text, done.stderr)
        self.assertEqual([path.name for path in self.place.glob(out + "*")], [])

    def sums(self, database):
        return dict(line.split() for line in (self.place / (database + ".sums")).read_text().splitlines())

    def runs_of(self, database):
        return int(self.query(database, "SELECT sf_value FROM sf_run_info")[0][0])

    def test_each_script_gives_the_content_of_one_merge(self):
        runs = self.runs_of_programs(11)
        one = self.merge("one.db", *runs)
        self.assertEqual(self.query(one, "SELECT sf_value FROM sf_run_info"), [("11",)])
        self.assert_same_content(one, self.tree("parallel.db", runs, 2))
        self.assertEqual(self.make("-j2", "GROUP=4").returncode, 0)
        self.assert_same_content(one, "merged.db")
        shutil.rmtree(self.place / "parts")
        self.assertEqual(self.list_groups(runs, 2).returncode, 0)
        for task in range(4):
            self.assertEqual(self.array_task(task, 0, 3, 4).returncode, 0)
        self.succeed(["merge-group", "slurm.db", "--parts", "parts"])
        self.assert_same_content(one, "slurm.db")

    def test_absolute_paths_are_taken(self):
        self.write("a.csv", HEADER + edge_row(5, 1))
        self.write("b.csv", HEADER + edge_row(5, 1))
        self.tree(self.place / "out.db", [self.place / "a.csv", self.place / "b.csv"], 2)
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

    # What merge-group refuses

    def edge_file(self, name, line=5, hits=1):
        return self.write(name, HEADER + edge_row(line, hits))

    def group(self, *words):
        return self.run_command(["merge-group", "out.db", *words])

    def test_names_of_any_kind_are_taken(self):
        names = ["a;b.csv", 'quote".csv', "back\\slash.csv", "ends in \\", "apostrophe's.csv", "-dash.csv", "$x`y`.csv",
                 "two  blanks.csv", "100%.csv", "\u00e4.csv", '"all"', "#8.csv", "tab\t.csv", "star*.csv"]
        (self.place / "runs").mkdir()
        for name in names:
            self.edge_file("runs/" + name)
            self.edge_file(name)
        self.tree("out.db", names, 3)
        self.assertEqual(self.runs_of("out.db"), len(names))
        done = self.make("GROUP=3")
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertEqual(self.runs_of("merged.db"), sum(name.endswith(".csv") for name in names))
        self.succeed(["merge-group", "o;u't\"\\.db", "--", *names])
        self.assertEqual(self.runs_of("o;u't\"\\.db"), len(names))

    def test_missing_or_foreign_input_gives_no_result(self):
        self.edge_file("a.csv")
        self.assert_refused(self.group("a.csv", "missing.csv"), "missing.csv")
        self.write("text.csv", "no edge file\n")
        self.assert_refused(self.group("a.csv", "text.csv"), "text.csv")
        self.assert_refused(self.group("a.csv", self.place), "directory")
        self.write("empty.csv", "")
        self.assert_refused(self.group("a.csv", "empty.csv"), "empty.csv: cut off")

    def test_edge_file_that_was_cut_off_gives_no_result(self):
        self.write("cut.csv", HEADER + edge_row(5, 1) + edge_row(6, 1)[:-4])
        self.assert_refused(self.group("cut.csv"), "cut.csv: cut off")

    def test_damaged_database_gives_no_result(self):
        self.runs_of_programs(2)
        part = self.place / self.merge("part.db", "runs/00.csv", "runs/01.csv")
        content = bytearray(part.read_bytes())
        content[40960:45056] = bytes(4096)
        part.write_bytes(content)
        self.assert_refused(self.group("part.db"), "part.db: ")
        part.write_bytes(content[:40960])
        self.assert_refused(self.group("part.db"), "part.db: ")

    def test_database_that_is_being_written_gives_no_result(self):
        self.merge("part.db", self.edge_file("a.csv"))
        self.write("part.db-journal", "")
        self.assert_refused(self.group("part.db"), "part.db-journal: a write to the database was cut off")

    def test_input_given_twice_gives_no_result(self):
        self.edge_file("a.csv")
        self.assert_refused(self.group("a.csv", "./a.csv"), "a.csv: given twice")
        done = self.run_command(["merge-tree", "out.db", "a.csv", "b.csv", "a.csv"])
        self.assertNotEqual(done.returncode, 0)
        self.assertIn("a.csv: given twice", done.stderr)

    def test_result_is_no_input_of_its_own(self):
        self.edge_file("a.csv")
        self.succeed(["merge-group", "all.db", "a.csv"])
        done = self.run_command(["merge-group", "all.db", "all.db", self.edge_file("b.csv")])
        self.assertNotEqual(done.returncode, 0)
        self.assertIn("all.db: given twice", done.stderr)
        self.assertEqual(self.runs_of("all.db"), 1)

    def test_count_that_a_database_would_not_give_back_is_refused(self):
        self.edge_file("big.csv", hits=1 << 31)
        self.assert_refused(self.group("--part", "big.csv"), "taken 2147483648 times")
        self.succeed(["merge-group", "last.db", "big.csv"])  # may be large: it is not read again
        self.assertEqual(self.query("last.db", EDGES), [(0x10, 0x20, 5, 1 << 31, 0)])
        self.assert_refused(self.group("last.db"), "last.db: an edge was taken 2147483648 times")
        self.edge_file("odd.csv", hits=-1)
        self.assert_refused(self.group("odd.csv"), "taken -1 times")

    def test_last_step_of_a_tree_may_reach_2_to_the_31st(self):
        names = [self.edge_file("%d.csv" % n, hits=1 << 30) for n in range(3)]
        self.assertEqual(self.query(self.tree("out.db", names, 1 << 30), EDGES), [(0x10, 0x20, 5, 3 << 30, 0)])
        done = self.run_command(["merge-tree", "other.db", *names], GROUP="2")
        self.assertNotEqual(done.returncode, 0)
        self.assertIn("taken 2147483648 times", done.stderr)
        self.assertFalse((self.place / "other.db").exists())

    def test_database_with_other_sums_than_kept_is_refused(self):
        self.edge_file("a.csv")
        self.succeed(["merge-group", "part.db", "a.csv"])
        self.assertEqual({name: self.sums("part.db")[name] for name in ("runs", "executions", "calls", "edges")},
                         {"runs": "1", "executions": "0", "calls": "0", "edges": "1"})
        with sqlite3.connect(self.place / "part.db") as database:
            database.execute("UPDATE sf_edges SET sf_exec_count = 7")
        self.assert_refused(self.group("part.db"), "part.db: other sums than in part.db.sums: 7 edges instead of 1")

    def test_counts_dropped_between_databases_of_two_builds_are_told(self):
        for name, line in (("old", 5), ("new", 6)):
            self.merge(name + ".db", self.edge_file(name + ".csv", line))
        self.assert_refused(self.group("old.db", "new.db"), "1 edges instead of 2; are these runs of one build?")

    def test_edgefold_that_loses_rows_is_noticed(self):
        """As where a disk is full: a result may be short although its writer reports success."""
        self.write("a.csv", HEADER + edge_row(5, 1) + "0x20,Call,a.c,9,f,0x50,b.c,1,g,3\n")
        self.merge("part.db", "a.csv")
        for given, sql, text in (("part.db", "UPDATE sf_run_info SET sf_value = 2", "2 runs instead of 1"),
                                 ("part.db", "DELETE FROM sf_edges", "0 edges instead of 1"),
                                 ("part.db", "DROP TABLE sf_calls", "no sample database"),
                                 ("a.csv", "DELETE FROM sf_functions WHERE sf_id = 2",
                                  "1 functions, 3 calls, 1 edges instead of 2, 3, 1"),
                                 ("a.csv", "DELETE FROM sf_calls", "0 calls instead of 3"),
                                 ("a.csv", "DELETE FROM sf_edges", "0 edges instead of 1"),
                                 ("a.csv", "UPDATE sf_run_info SET sf_value = 2", "2 runs instead of 1")):
            (self.place / "bin").mkdir(exist_ok=True)
            fake = self.place / "bin" / "edgefold"
            fake.write_text('#!/bin/bash\n%s "$@" && out=${@: -2:1} && sqlite3 "${out#/}" "%s"\n' % (EDGEFOLD, sql))
            fake.chmod(0o755)
            path = os.pathsep.join([str(fake.parent), str(FLEET), os.environ["PATH"]])
            done = subprocess.run(["merge-group", "out.db", given], cwd=self.place, capture_output=True, text=True,
                                  env=dict(os.environ, PATH=path), check=False)
            self.assert_refused(done, text)

    def test_word_of_check_edges_is_held_against_the_result(self):
        self.write("a.csv", HEADER + edge_row(5, 2) + "0x20,Call,a.c,9,f,0x50,b.c,1,g,3\n")
        self.edge_file("-b.csv", hits=5)
        self.merge("part.db", "a.csv")
        (self.place / "bin").mkdir()
        checker = self.place / "bin" / "check_edges"
        path = os.pathsep.join([str(checker.parent), str(EDGEFOLD.parent), str(FLEET), os.environ["PATH"]])
        for edges, calls, status, text in ((7, 3, 0, None), (8, 3, 0, "9 edges instead of 10"),
                                           (7, 2, 0, "6 calls instead of 5"), (7, 3, 2, "-b.csv is odd")):
            checker.write_text("#!/bin/sh\n[ \"$*\" = '-- a.csv -b.csv' ] || exit 9\n"
                               "echo '  kept: 2 rows, 5 hits (edges 2, calls 3, returns 0)'\n"
                               "echo '  kept: 3 rows, 10 hits (edges %d, calls %d, returns 0)'\n"
                               "echo 'check_edges: -b.csv is odd' >&2; exit %d\n" % (edges, calls, status))
            checker.chmod(0o755)
            done = subprocess.run(["merge-group", "out.db", "--", "part.db", "a.csv", "-b.csv"], cwd=self.place, text=True,
                                  capture_output=True, env=dict(os.environ, PATH=path), check=False)
            if text is None:
                self.assertEqual(done.returncode, 0, done.stderr)
                for left in self.place.glob("out.db*"):
                    left.unlink()
            else:
                self.assert_refused(done, text)

    def scripts_alone(self):
        """A copy of the scripts and of edgefold in a directory that nothing else is in."""
        place = self.place / "alone"
        shutil.copytree(FLEET, place)
        shutil.copy(EDGEFOLD, place)
        return place

    def run_alone(self, *words):
        path = os.pathsep.join([str(self.place / "alone"), "/usr/bin", "/bin"])
        return subprocess.run(words, cwd=self.place, capture_output=True, text=True, env=dict(os.environ, PATH=path),
                              check=False)

    def test_without_check_edges_there_is_no_result_of_edge_files(self):
        self.merge("part.db", self.edge_file("a.csv"))
        self.scripts_alone()
        missing = "check_edges is missing"
        self.assert_refused(self.run_alone("merge-group", "out.db", "part.db", "a.csv"), missing)
        self.assertIn(missing, self.run_alone("merge-tree", "out.db", "a.csv").stderr)
        self.assertFalse((self.place / "out.db").exists())
        done = self.run_alone("merge-group", "of-databases.db", "part.db")
        self.assertEqual(done.returncode, 0, done.stderr)

    def test_check_edges_is_found_beside_edgefold_and_in_the_tree(self):
        self.edge_file("a.csv")
        self.scripts_alone()
        checker = EDGEFOLD.parent / "check_edges"
        for place, script in (("alone", "alone/merge-group"), ("tree/producers", "tree/examples/fleet/merge-group")):
            (self.place / place).mkdir(parents=True, exist_ok=True)
            (self.place / script).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(FLEET / "merge-group", self.place / script)
            self.assertIn("check_edges is missing", self.run_alone(self.place / script, "out.db", "a.csv").stderr)
            shutil.copy(checker, self.place / place)
            done = self.run_alone(self.place / script, "out.db", "a.csv")
            self.assertEqual((done.returncode, done.stderr), (0, ""))
            (self.place / place / "check_edges").unlink()
            (self.place / "out.db").unlink()

    def test_earlier_result_survives_a_failure(self):
        self.succeed(["merge-group", "all.db", self.edge_file("a.csv")])
        before = (self.place / "all.db").read_bytes(), self.sums("all.db")
        self.assertNotEqual(self.run_command(["merge-group", "all.db", "a.csv", "missing.csv"]).returncode, 0)
        self.assertEqual(((self.place / "all.db").read_bytes(), self.sums("all.db")), before)

    # What is done is not done again

    def test_step_whose_inputs_are_the_same_is_not_done_again(self):
        self.edge_file("a.csv")
        self.succeed(["merge-group", "all.db", "a.csv"])
        first = os.stat(self.place / "all.db").st_ino
        self.succeed(["merge-group", "all.db", "a.csv"])
        self.assertEqual(os.stat(self.place / "all.db").st_ino, first)
        self.edge_file("a.csv", hits=2)
        self.succeed(["merge-group", "all.db", "a.csv"])
        self.assertEqual(self.query("all.db", EDGES), [(0x10, 0x20, 5, 2, 0)])

    def test_damaged_result_is_not_taken_for_done(self):
        self.edge_file("a.csv")
        self.succeed(["merge-group", "all.db", "a.csv"])
        with sqlite3.connect(self.place / "all.db") as database:
            database.execute("DELETE FROM sf_edges")
        database.close()
        self.succeed(["merge-group", "all.db", "a.csv"])
        self.assertEqual(self.query("all.db", EDGES), [(0x10, 0x20, 5, 1, 0)])
        with open(self.place / "all.db", "r+b") as file:
            file.truncate(8192)
        self.succeed(["merge-group", "all.db", "a.csv"])
        self.assertEqual(self.query("all.db", EDGES), [(0x10, 0x20, 5, 1, 0)])

    def made_groups(self, *words):
        done = self.make(*words)
        self.assertEqual(done.returncode, 0, done.stderr)
        return [line.split()[2] for line in done.stdout.splitlines() if line.startswith("merge-group --part ")]

    def numbered_runs(self, count):
        (self.place / "runs").mkdir()
        for n in range(1, count + 1):
            self.edge_file("runs/%d.csv" % n, hits=1 << n)

    def assert_merged(self, *numbers):
        self.assertEqual(self.runs_of("merged.db"), len(numbers))
        self.assertEqual(self.query("merged.db", EDGES)[0][3], sum(1 << n for n in numbers))

    def test_make_keeps_groups_right_when_runs_come_and_go(self):
        self.numbered_runs(9)
        self.assertEqual(len(self.made_groups("GROUP=3")), 3)
        self.assert_merged(*range(1, 10))
        self.assertEqual(self.made_groups("GROUP=3"), [])
        self.edge_file("runs/10.csv", hits=1 << 10)
        self.assertEqual(self.made_groups("GROUP=3"), ["parts/00004.db"])
        self.assert_merged(*range(1, 11))
        (self.place / "runs/10.csv").unlink()
        self.assertEqual(self.made_groups("GROUP=3"), [])
        self.assert_merged(*range(1, 10))
        (self.place / "runs/5.csv").unlink()
        self.assertEqual(self.made_groups("GROUP=3"), ["parts/00002.db", "parts/00003.db"])
        self.assert_merged(1, 2, 3, 4, 6, 7, 8, 9)

    def test_make_merges_a_run_again_that_was_replaced_by_an_older_file(self):
        self.numbered_runs(4)
        self.made_groups("GROUP=2")
        self.edge_file("runs/3.csv", hits=0)
        os.utime(self.place / "runs/3.csv", (1, 1))
        self.assertEqual(self.made_groups("GROUP=2"), ["parts/00002.db"])
        self.assertEqual(self.query("merged.db", EDGES)[0][3], 2 + 4 + 16)

    def test_make_with_another_group_or_directory_keeps_no_old_parts(self):
        self.numbered_runs(7)
        self.made_groups("GROUP=2")
        self.made_groups("GROUP=5")
        self.assert_merged(*range(1, 8))
        self.assertEqual(sorted(path.name for path in (self.place / "parts").glob("*.db")), ["00001.db", "00002.db"])
        (self.place / "other").mkdir()
        self.edge_file("other/a.csv", hits=8)
        self.made_groups("GROUP=5", "RUNS=other")
        self.assert_merged(3)

    def test_make_without_runs_or_with_a_bad_one_fails(self):
        (self.place / "runs").mkdir()
        self.assertNotEqual(self.make().returncode, 0)
        self.edge_file("runs/1.csv")
        self.write("runs/2.csv", "no edge file\n")
        self.assertNotEqual(self.make().returncode, 0)
        self.assertFalse((self.place / "merged.db").exists())
        self.edge_file("runs/2.csv")
        self.assertEqual(self.make().returncode, 0)
        self.assertEqual(self.runs_of("merged.db"), 2)

    def test_array_ids_may_begin_anywhere_and_leave_gaps_of_one_width(self):
        self.numbered_runs(7)
        paths = ["runs/%d.csv" % n for n in range(1, 8)]
        for first, last, count, step in ((0, 3, 4, 1), (1, 4, 4, 1), (10, 30, 3, 10), (5, 5, 1, 1), (1, 20, 20, 1)):
            shutil.rmtree(self.place / "parts", ignore_errors=True)
            self.list_groups(paths, 2)
            for task in range(first, last + 1, step):
                done = self.array_task(task, first, last, count, step)
                self.assertEqual(done.returncode, 0, done.stderr)
            self.succeed(["merge-group", "merged.db", "--parts", "parts"])
            self.assert_merged(*range(1, 8))
            (self.place / "merged.db").unlink()
        done = self.array_task(1, 1, 7, 3, 2)
        self.assertNotEqual(done.returncode, 0)
        self.assertIn("one distance", done.stderr)

    def test_result_without_the_part_of_a_failed_task_is_refused(self):
        self.numbered_runs(4)
        self.list_groups(["runs/%d.csv" % n for n in range(1, 5)], 2)
        self.assertEqual(self.array_task(0, 0, 1, 2).returncode, 0)
        self.assert_refused(self.run_command(["merge-group", "out.db", "--parts", "parts"]), "parts/00002.db")

    def test_part_of_other_members_is_refused(self):
        self.numbered_runs(4)
        self.list_groups(["runs/%d.csv" % n for n in range(1, 5)], 2)
        self.succeed(["merge-group", "parts/00001.db", "--list", "parts/00001.list"])
        self.succeed(["merge-group", "parts/00002.db", "runs/3.csv"])
        self.assert_refused(self.run_command(["merge-group", "out.db", "--parts", "parts"]),
                            "3 runs instead of 4")

    def test_tree_goes_on_where_it_was_stopped(self):
        names = [self.edge_file("%d.csv" % n) for n in range(4)]
        self.write("3.csv", "no edge file\n")
        done = self.run_command(["merge-tree", "out.db", *names], GROUP="2", PARALLEL="-j1")
        self.assertNotEqual(done.returncode, 0)
        self.assertFalse((self.place / "out.db").exists())
        first = os.stat(self.place / "out.db.tree/1/00001.db").st_ino
        self.edge_file("3.csv")
        self.tree("out.db", names, 2)
        self.assertEqual(self.runs_of("out.db"), 4)
        self.assertEqual(os.stat(self.place / "out.db.tree/1/00001.db").st_ino, first)

    def test_killed_step_leaves_nothing_under_the_final_name(self):
        (self.place / "bin").mkdir()
        slow = self.place / "bin" / "edgefold"
        slow.write_text('#!/bin/bash\n%s "$@"; touch merged; exec sleep 60\n' % EDGEFOLD)
        slow.chmod(0o755)
        path = os.pathsep.join([str(slow.parent), str(FLEET), os.environ["PATH"]])
        for number in (signal.SIGTERM, signal.SIGKILL):
            with subprocess.Popen(["merge-group", "out.db", self.edge_file("a.csv")], cwd=self.place,
                                  env=dict(os.environ, PATH=path), start_new_session=True) as step:
                while not (self.place / "merged").exists():
                    time.sleep(0.01)
                step.send_signal(number)
                self.assertNotEqual(step.wait(), 0)
                with contextlib.suppress(ProcessLookupError):
                    os.killpg(step.pid, signal.SIGKILL)
            (self.place / "merged").unlink()
            self.assertFalse((self.place / "out.db").exists())
            if number == signal.SIGTERM:
                self.assertEqual(list(self.place.glob("out.db*")), [])
        self.succeed(["merge-group", "out.db", "a.csv"])


if __name__ == "__main__":
    missing = [program for program in ("parallel", "make", "sqlite3") if not shutil.which(program)]
    if missing:
        sys.exit("not installed: " + ", ".join(missing))
    unittest.main(argv=sys.argv[:1])
