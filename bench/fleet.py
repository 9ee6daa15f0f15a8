#!/usr/bin/env python3
"""Measures ways to merge many edge files of one program: at once, as a tree of two levels, one by one.

    fleet.py --binary PATH [--inputs 1000] [--rows 2000] [--group 32] [--jobs 2] [--keep DIR]

The files are dealt from one file of make_edges.py: each run saw another tenth of the program's rows, with other
counts. Time is that of the clock and of the processors, memory the peak of the largest process.
"""

import argparse
import os
import pathlib
import random
import resource
import shutil
import subprocess
import sys
import tempfile
import time

HERE = pathlib.Path(__file__).resolve().parent


def deal_files(names, rows):
    """Writes the runs."""
    made = subprocess.run([sys.executable, str(HERE / "make_edges.py"), str(10 * rows)], check=True,
                          capture_output=True, text=True).stdout
    header, *lines = made.splitlines()
    lines = [line.rpartition(",")[0] for line in lines]
    chance = random.Random(1)
    for name in names:
        with open(name, "w", encoding="ascii") as out:
            out.write(header + "\n")
            for k in sorted(chance.sample(range(len(lines)), rows)):
                out.write("%s,%d\n" % (lines[k], 1 + int(3 ** (chance.random() * 12))))


class Way:
    """One way to merge, made of commands in stages; the commands of a stage run side by side."""

    def __init__(self, program, jobs):
        self.program = program
        self.jobs = jobs

    def start(self, inputs, option, out):
        return subprocess.Popen([self.program, "-nologo", "-quiet", "-file", ";".join(inputs), option, out])

    def stage(self, merges):
        """Runs (inputs, out) merges on so many processors."""
        running = []
        for inputs, out in merges:
            if len(running) == self.jobs:
                finish(running.pop(0))
            running.append(self.start(inputs, "-out", out))
        for child in running:
            finish(child)

    def at_once(self, names):
        self.stage([(names, "once.db")])

    def tree(self, names, group):
        merges = [(names[n:n + group], "part%04d.db" % n) for n in range(0, len(names), group)]
        self.stage(merges)
        self.stage([([out for _, out in merges], "tree.db")])

    def one_by_one(self, names):
        for name in names:
            finish(self.start([name], "-append", "chain.db"))


def finish(child):
    if child.wait() != 0:
        sys.exit("a merge failed")


def apart(work):
    """Does the work in a process of its own: its children's figures are its alone, its memory goes with it."""
    sys.stdout.flush()
    child = os.fork()
    if child == 0:
        work()
        sys.stdout.flush()
        os._exit(0)
    if os.waitpid(child, 0)[1] != 0:
        sys.exit(1)


def measure(label, work):
    start = time.monotonic()
    work()
    usage = resource.getrusage(resource.RUSAGE_CHILDREN)
    print("  %-26s %8.2f s %10.2f s %8.1f MB" % (
        label, time.monotonic() - start, usage.ru_utime + usage.ru_stime, usage.ru_maxrss * 1024 / 1e6))


def content(database):
    """The sums of a database: equal for ways that count alike."""
    return subprocess.run(["sqlite3", database,
                           "SELECT sf_value FROM sf_run_info; SELECT SUM(sf_exec_count) FROM sf_functions;"
                           "SELECT COUNT(*), SUM(sf_exec_count) FROM sf_edges;"
                           "SELECT COUNT(*), SUM(sf_exec_count) FROM sf_calls"],
                          check=True, capture_output=True, text=True).stdout


def run(options, program):
    names = ["%04d.csv" % n for n in range(options.inputs)]
    apart(lambda: deal_files(names, options.rows))
    size = sum(os.path.getsize(name) for name in names)
    print("%d files of %d rows, %d MB; clock, processors, memory" %
          (len(names), options.rows, size // 1000000))
    way, single = Way(program, options.jobs), Way(program, 1)
    apart(lambda: measure("all at once", lambda: single.at_once(names)))
    apart(lambda: measure("tree, one processor", lambda: single.tree(names, options.group)))
    remove_databases("part*", "tree*")
    apart(lambda: measure("tree, %d processors" % options.jobs, lambda: way.tree(names, options.group)))
    apart(lambda: measure("one by one", lambda: single.one_by_one(names)))
    sums = {content(database) for database in ("once.db", "tree.db", "chain.db")}
    print("content: " + ("the same" if len(sums) == 1 else "NOT THE SAME"))
    return len(sums) == 1


def remove_databases(*patterns):
    for pattern in patterns:
        for path in pathlib.Path().glob(pattern + ".db"):
            path.unlink()


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("--binary", required=True)
    parser.add_argument("--inputs", type=int, default=1000)
    parser.add_argument("--rows", type=int, default=2000)
    parser.add_argument("--group", type=int, default=32)
    parser.add_argument("--jobs", type=int, default=2)
    parser.add_argument("--keep", help="directory for files and databases, which stay there")
    options = parser.parse_args()
    program = str(pathlib.Path(options.binary).resolve())
    place = os.path.abspath(options.keep) if options.keep else tempfile.mkdtemp()
    os.makedirs(place, exist_ok=True)
    os.chdir(place)
    try:
        remove_databases("*")
        same = run(options, program)
    finally:
        os.chdir("/")
        if not options.keep:
            shutil.rmtree(place)
    sys.exit(0 if same else 1)


if __name__ == "__main__":
    main()
