#!/usr/bin/env python3
"""Runs the examples of examples/fleet on real engines, and breaks things under them.

    engines_test.py EDGEFOLD [TEST...]

make, GNU parallel over ssh, Slurm and Dask each merge the same runs. A gate in front of edgefold holds all steps, so that
a fault meets each engine in the middle of its work. After every fault the result is right or there is none, and the same
command, given again, does what is left and no more.
"""

import functools
import http.server
import os
import pathlib
import random
import re
import shutil
import signal
import sqlite3
import subprocess
import sys
import tempfile
import threading
import unittest

import cluster

HERE = pathlib.Path(__file__).resolve().parent
EXAMPLES = HERE.parent.parent / "examples"
FLEET = EXAMPLES / "fleet"
EDGEFOLD = pathlib.Path(sys.argv[1]).resolve()

RUNS = 7
GROUP = 2  # so that there are four groups

# Tells which step it does, and waits while the gate is shut.
GATE = """#!/bin/bash
out=${@: -2:1}
echo "${out##*/}" >> '%(place)s/begun'
while [ -e '%(place)s/shut' ]; do sleep 0.05; done
%(edgefold)s "$@" || exit
echo "${out##*/}" >> '%(place)s/done'
"""

SUBMIT_TO_SLURM = """
set -euo pipefail
ls runs/*.csv | list-groups parts 2
array=$(sbatch --parsable --array=1-4 {fleet}/merge-array.sbatch parts)
last=$(sbatch --parsable --dependency=afterok:"$array" --kill-on-invalid-dep=yes \
    --output=last.log --wrap 'merge-group merged.db --parts parts')
echo "$array" > job
while squeue -h -j "$last" 2>/dev/null | grep -q .; do sleep 0.2; done
cat merge-*.log last.log >&2 || true
scontrol show job "$last" | grep -q JobState=COMPLETED
"""


def content_of(path):
    with sqlite3.connect(path) as database:
        return [database.execute("SELECT * FROM " + table).fetchall()
                for table in ("sf_run_info", "sf_filenames", "sf_functions", "sf_calls")] + database.execute(
                    "SELECT sf_from_func_id, sf_from_address, sf_to_bb_end_address, sf_exec_count FROM sf_edges").fetchall()


class Engine:
    """What is asked of each engine. A subclass says how to start a merge of runs/*.csv to merged.db."""

    servers = None
    lists = False

    @classmethod
    def setUpClass(cls):
        cls.place = pathlib.Path(tempfile.mkdtemp(prefix="fleet-"))
        cls.place.chmod(0o755)
        # A worker that ends may be removing its files at the same time.
        cls.addClassCleanup(shutil.rmtree, cls.place, ignore_errors=True)
        (cls.place / "bin").mkdir()
        gate = cls.place / "bin" / "edgefold"
        gate.write_text(GATE % {"place": cls.place, "edgefold": EDGEFOLD})
        gate.chmod(0o755)
        cls.path = os.pathsep.join([str(gate.parent), str(FLEET), str(EDGEFOLD.parent), os.environ["PATH"]])
        cls.running = None
        if cls.servers:
            (cls.place / "servers").mkdir()
            cls.running = cls.servers(cls.place / "servers", cls.path)  # pylint: disable=not-callable
            cls.addClassCleanup(cls.running.stop)

    def setUp(self):
        self.work = self.place / "work"
        self.work.mkdir()
        subprocess.run(["mount", "-t", "tmpfs", "-o", "size=40m", "fleet", self.work], check=True)
        self.addCleanup(self.leave_work)
        self.addCleanup(self.end_what_runs)
        (self.work / "runs").mkdir()
        chance = random.Random(1)
        for n in range(RUNS):
            header, *rows = (EXAMPLES / ("gtest-run1.csv", "fasttree.csv")[n % 2]).read_text().splitlines(True)
            self.run_file(n).write_text(header + "".join(row for row in rows if chance.random() < 2 / 3))
        for name in ("begun", "done"):
            (self.place / name).write_text("")
        self.begun = None

    def leave_work(self):
        subprocess.run(["umount", "--lazy", self.work], check=True)
        self.work.rmdir()

    def end_what_runs(self):
        self.open_gate()
        if self.begun:
            os.killpg(self.begun.pid, signal.SIGKILL)
            self.begun.communicate()
        if self.running:
            self.running.cancel_jobs()

    def run_file(self, n):
        return self.work / "runs" / ("%d.csv" % n)

    def shut_gate(self):
        (self.place / "shut").touch()

    def open_gate(self):
        (self.place / "shut").unlink(missing_ok=True)

    def steps(self, what="done"):
        """The steps that have begun or are done since the last call, by the names of their results."""
        path = self.place / what
        names = sorted(path.read_text().split())
        path.write_text("")
        return names

    def begin(self):
        variables = dict(os.environ, PATH=self.path, **(self.running.variables if self.running else {}))
        self.begun = subprocess.Popen(self.command(), cwd=self.work, env=variables, stdin=subprocess.PIPE, text=True,
                                      stdout=subprocess.PIPE, stderr=subprocess.STDOUT, start_new_session=True)
        if self.input():
            self.begun.stdin.write(self.input())
        self.begun.stdin.close()
        self.begun.stdin = None

    def input(self):
        return ""

    def end(self):
        """(whether it succeeded, what it said)"""
        said = self.begun.communicate(timeout=cluster.TIME_LIMIT)[0]
        succeeded = self.begun.returncode == 0
        self.begun = None
        return succeeded, said

    def merge(self):
        self.begin()
        return self.end()

    def wait_for_steps(self, count):
        """Until so many steps wait at the gate."""
        cluster.wait_until(lambda: len((self.place / "begun").read_text().split()) >= count, "steps at the gate")

    def assert_right(self, ended):
        self.assertTrue(ended[0], ended[1])
        expected = self.work / "expected.db"
        if not expected.exists():
            inputs = ";".join("runs/%d.csv" % n for n in range(RUNS))
            subprocess.run([EDGEFOLD, "-nologo", "-quiet", "-file", inputs, "-out", "expected.db"], cwd=self.work,
                           check=True)
        self.assertTrue(content_of(self.work / "merged.db") == content_of(expected), "another content")

    def assert_no_result(self, ended, text=""):
        self.assertFalse(ended[0], ended[1])
        self.assertIn(text, ended[1])
        self.assertFalse((self.work / "merged.db").exists())

    def assert_goes_on(self, not_again):
        """The same command does the rest, without the steps that were done, and then nothing."""
        self.assert_right(self.merge())
        again = self.steps()
        if self.lists:
            self.assertEqual([name for name in not_again if name in again], [])
            self.assertIn("merged.db", again)
            self.assert_right(self.merge())
            self.assertEqual(self.steps(), [])

    def test_runs_are_merged_and_nothing_is_done_twice(self):
        self.assert_goes_on([])

    def test_killed_step(self):
        self.shut_gate()
        self.begin()
        self.wait_for_steps(2)
        victim = cluster.pids_of("python3", "merge-group", "--part")[0]
        os.kill(victim, signal.SIGKILL)
        self.open_gate()
        ended = self.end()
        if self.retries:
            self.assert_right(ended)
        else:
            self.assert_no_result(ended)
        self.assert_goes_on(self.finished() if not ended[0] else [])

    def test_full_disk(self):
        filler = self.work / "filler"
        free = os.statvfs(self.work)
        with open(filler, "wb") as file:
            os.posix_fallocate(file.fileno(), 0, free.f_bavail * free.f_bsize - (300 << 10))
        self.assert_no_result(self.merge())
        filler.unlink()
        self.assert_goes_on(self.finished())

    def test_missing_input(self):
        aside = self.run_file(4).rename(self.work / "aside")
        self.run_file(4).symlink_to("nowhere")
        self.assert_no_result(self.merge())
        aside.rename(self.run_file(4))
        self.assert_goes_on(self.finished())

    def test_damaged_input(self):
        whole = self.run_file(4).read_bytes()
        self.run_file(4).write_bytes(whole[:len(whole) // 2])
        self.assert_no_result(self.merge(), "4.csv: cut off")
        self.run_file(4).write_bytes(whole)
        self.assert_goes_on(self.finished())

    def finished(self):
        """The groups that have their database, and are not to be merged again."""
        self.steps()
        self.steps("begun")
        return [path.name for path in self.work.glob(self.groups + "/*.db")]


class Nodes:
    """Engines of several machines."""

    def test_node_that_is_taken_down(self):
        self.shut_gate()
        self.begin()
        self.wait_for_steps(3)  # more than one node takes at once
        node = self.running.nodes[1]
        self.running.take_down(node)
        self.open_gate()
        try:
            self.assert_right(self.end())
        finally:
            self.running.bring_up(node)


class Parts:
    """Engines whose groups stay in a directory for the next time."""

    lists = True
    redone = ["00002.db", "merged.db"]

    def test_damaged_part(self):
        self.assert_right(self.merge())
        (self.work / "merged.db").unlink()
        part = next(self.work.glob(self.groups + "/00002.db"))
        with open(part, "r+b") as file:
            file.truncate(40960)
        self.steps()
        ended = self.merge()
        if ended[0]:
            self.assert_right(ended)
        else:  # make takes a file for what its time says
            self.assert_no_result(ended, "00002.db")
            part.unlink()
            self.assert_right(self.merge())
        self.assertEqual(self.steps(), self.redone)


class Make(Parts, Engine, unittest.TestCase):
    retries = False
    groups = "parts"

    def command(self):
        return ["make", "-j2", "-f", FLEET / "Makefile", "GROUP=%d" % GROUP, "merged.db"]


class ParallelOverSsh(Nodes, Parts, Engine, unittest.TestCase):
    servers = cluster.SshHosts
    retries = True
    redone = ["00001.db", "00002.db", "merged.db"]  # the first one is of the second level
    groups = "merged.db.tree/1"

    def command(self):
        return ["env", "GROUP=%d" % GROUP, "merge-tree", "merged.db", *("runs/%d.csv" % n for n in range(RUNS))]

    def assert_goes_on(self, not_again):
        # Groups of the second level have the same names as those of the first.
        self.assert_right(self.merge())
        self.steps()
        self.assert_right(self.merge())
        self.assertEqual(self.steps(), [])

    def test_groups_that_are_done_are_not_done_again(self):
        whole = self.run_file(6).read_bytes()
        self.run_file(6).write_bytes(whole[:-1])
        self.assert_no_result(self.merge(), "6.csv: cut off")
        first = {path: os.stat(path).st_ino for path in self.work.glob(self.groups + "/*.db")}
        self.run_file(6).write_bytes(whole)
        self.assert_right(self.merge())
        self.assertLessEqual(first.items(), {path: os.stat(path).st_ino for path in
                                             self.work.glob(self.groups + "/*.db")}.items())


class Slurm(Nodes, Parts, Engine, unittest.TestCase):
    servers = cluster.Slurm
    retries = False
    groups = "parts"

    def command(self):
        return ["bash", "-c", SUBMIT_TO_SLURM.format(fleet=FLEET)]

    def test_cancelled_task(self):
        self.shut_gate()
        self.begin()
        self.wait_for_steps(2)
        job = (self.work / "job").read_text().strip()
        self.running.ask("scancel", job + "_2")
        cluster.wait_until(lambda: len(cluster.pids_of("python3", "merge-group", "--part")) == 3, "the task to end")
        self.open_gate()
        self.assert_no_result(self.end())
        self.assert_goes_on(self.finished())


class QuietHandler(http.server.SimpleHTTPRequestHandler):
    def log_message(self, *_):  # pylint: disable=arguments-differ
        pass


class Dask(Nodes, Engine, unittest.TestCase):
    servers = cluster.Dask
    retries = True
    groups = "none"

    def command(self):
        return ["env", "GROUP=%d" % GROUP, sys.executable, FLEET / "merge_on_dask.py", cluster.Dask.address, "merged.db"]

    def input(self):
        return "".join("%s/runs/%d.csv\n" % (self.base(), n) for n in range(RUNS))

    def base(self):
        return str(self.work)

    def test_inputs_may_be_urls(self):
        handler = functools.partial(QuietHandler, directory=str(self.work))
        with http.server.ThreadingHTTPServer(("127.0.0.1", 8080), handler) as server:
            threading.Thread(target=server.serve_forever, daemon=True).start()
            self.base = lambda: "http://127.0.0.1:8080"
            self.assert_right(self.merge())
            server.shutdown()

    def test_progress_is_shown_on_a_terminal(self):
        (self.work / "list").write_text(self.input())
        command = " ".join(map(str, self.command())) + " < list"
        done = subprocess.run(["script", "-qec", command, "/dev/null"], cwd=self.work, stdin=subprocess.DEVNULL, text=True,
                              capture_output=True, check=False, env=dict(os.environ, PATH=self.path))
        self.assertEqual(done.returncode, 0, done.stdout)
        self.assertRegex(done.stdout, r"#+\] \| 100% Completed")


class Cluster(unittest.TestCase):
    def test_nothing_listens_on_anything_but_the_loopback(self):
        with tempfile.TemporaryDirectory() as scratch:
            os.chmod(scratch, 0o755)
            started = []
            try:
                for number, servers in enumerate((cluster.Slurm, cluster.SshHosts, cluster.Dask)):
                    place = pathlib.Path(scratch) / str(number)
                    place.mkdir()
                    started.append(servers(place, os.environ["PATH"]))
                listening = subprocess.run(["ss", "-Hltun"], capture_output=True, text=True, check=True).stdout
                addresses = {re.sub(r":\d+$", "", line.split()[4]) for line in listening.splitlines()}
                self.assertEqual(addresses, {"127.0.0.1"})
            finally:
                for servers in started:
                    servers.stop()


if __name__ == "__main__":
    cluster.enter_namespaces()
    unittest.main(argv=[sys.argv[0], *sys.argv[2:]], verbosity=2)
