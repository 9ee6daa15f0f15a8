#!/usr/bin/env python3
"""Measures the program on synthetic workloads, beside what a user would pick instead.

    run.py --binary PATH [--fast PATH] [--rows 1000000] [--repeat 5] [--keep DIR]

All contestants of a workload run in turn, five times each, so that the ratios hold on a busy machine. Times are
processor times (user and system) of the child process alone; the printed figures are medians. Peak memory is the
child's, and never reads below this script's own few megabytes. --fast names the program of the archives, which runs in
turn with the other.
"""

import argparse
import math
import os
import pathlib
import shutil
import statistics
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent


class Bench:
    def __init__(self, options):
        self.programs = {"": str(pathlib.Path(options.binary).resolve())}
        if options.fast:
            self.programs[", fast"] = str(pathlib.Path(options.fast).resolve())
        self.repeat = options.repeat
        self.rows = options.rows

    # -- runs

    def measure(self, command, before=None):
        """(processor seconds, peak memory in bytes) of one run"""
        if before:
            before()
        with open(os.devnull, "wb") as sink:
            child = subprocess.Popen(command, stdout=sink, stderr=sink, stdin=subprocess.DEVNULL)
            _, status, usage = os.wait4(child.pid, 0)
        child.returncode = os.waitstatus_to_exitcode(status)
        if child.returncode != 0:
            sys.exit("failed: " + " ".join(command)[:200])
        return usage.ru_utime + usage.ru_stime, usage.ru_maxrss * 1024

    def medians(self, contestants, repeat=None):
        """name -> (median seconds, peak bytes); one round after the other"""
        runs = {name: [] for name, _, _ in contestants}
        for _ in range(repeat or self.repeat):
            for name, command, before in contestants:
                runs[name].append(self.measure(command, before))
        return {name: (statistics.median(t for t, _ in values), max(m for _, m in values))
                for name, values in runs.items()}

    def edge_file(self, name, rows, *arguments):
        if not os.path.exists(name):
            with open(name, "wb") as out:
                subprocess.run([sys.executable, str(HERE / "make_edges.py"), str(rows), *arguments],
                               check=True, stdout=out)
        with open(name, "rb") as warm:
            while warm.read(1 << 20):
                pass
        return name

    def runs(self, label, arguments, before=None):
        """The contestant of each program with these arguments."""
        return [(label + column, [program, "-nologo", *arguments], before)
                for column, program in self.programs.items()]

    def report(self, name):
        return self.runs("report", ["-file", name, "-dump"])

    def job(self, inputs, label="job"):
        return self.runs(label, ["-file", inputs, "-out", "out.db"], lambda: remove("out.db"))

    # -- groups

    def compare(self, title, name):
        contestants = self.report(name) + self.job(name)
        if shutil.which("awk"):
            contestants.append(("awk", ["awk", "-f", str(HERE / "sum_edges.awk"), name], None))
        contestants.append(("sqlite3 import and SQL",
                            ["sqlite3", "import.db", ".read " + str(HERE / "sum_edges.sql")],
                            lambda: (remove("import.db", "edges.csv"), os.symlink(name, "edges.csv"))))
        results = self.medians(contestants)
        self.measure(*self.job(name)[0][1:])
        distinct = int(query("out.db", "SELECT count(*) FROM sf_edges"))
        say("\n%s: %d rows, %d MB, %d distinct edges" % (
            title, self.rows, os.path.getsize(name) // 1000000, distinct))
        base = results["job"][0]
        for label, (seconds, memory) in results.items():
            say("  %-24s %7.2f s  %6.2f x job  %7.1f MB  %6.0f bytes per edge" % (
                label, seconds, seconds / base, memory / 1e6, memory / distinct))

    def many_inputs(self):
        names = [self.edge_file("run%03d.csv" % k, self.rows // 100, "--functions",
                                str(max(2, self.rows // 400)), "--seed", str(k)) for k in range(100)]
        results = self.medians(self.job(";".join(names), "100 files") +
                               self.job(self.edge_file("sorted.csv", self.rows), "one file"))
        say("\n100 files of one program, %d rows in all" % self.rows)
        for label, (seconds, memory) in results.items():
            say("  %-24s %7.2f s  %7.1f MB" % (label, seconds, memory / 1e6))

    def databases(self):
        self.measure(*self.job(self.edge_file("sorted.csv", self.rows))[0][1:])
        shutil.copy("out.db", "base.db")
        part = self.edge_file("part.csv", self.rows // 100)
        append = self.runs("append of 1 %", ["-file", part, "-append", "target.db"],
                           lambda: shutil.copy("base.db", "target.db"))
        merge = self.job("base.db", "database as input")
        functions = int(query("base.db", "SELECT count(*) FROM sf_functions"))
        say("\na database of %d functions" % functions)
        for label, (seconds, memory) in self.medians(append + merge).items():
            say("  %-24s %7.2f s  %7.1f MB" % (label, seconds, memory / 1e6))

    def growth(self, order):
        sizes = [self.rows // 100, self.rows // 10, self.rows, 3 * self.rows]
        say("\ncost of a row in nanoseconds, rows in order of %s" % order)
        table = {}
        for rows in sizes:
            name = self.edge_file("%s_%d.csv" % (order, rows), rows, "--order", order)
            results = self.medians(self.report(name) + self.job(name),
                                   self.repeat if rows <= self.rows else min(3, self.repeat))
            for label, (seconds, _) in results.items():
                table.setdefault(label, []).append(seconds / rows * 1e9)
        say("  %-24s" % "rows" + "".join("%12d" % rows for rows in sizes))
        for label, costs in table.items():
            exponent = 1 + math.log(costs[3] / costs[1]) / math.log(sizes[3] / sizes[1])
            say("  %-24s" % label + "".join("%12.0f" % cost for cost in costs) +
                "   growth exponent %.2f" % exponent)

    def run(self):
        self.compare("each edge once, in order of address", self.edge_file("sorted.csv", self.rows))
        self.compare("each edge ten times, in random order",
                     self.edge_file("random.csv", self.rows, "--order", "random", "--repeat", "10"))
        self.compare("%d functions of five rows, in random order" % (self.rows // 5),
                     self.edge_file("many.csv", self.rows, "--order", "random", "--functions",
                                    str(self.rows // 5)))
        self.many_inputs()
        self.databases()
        self.growth("address")
        self.growth("random")


def say(text):
    print(text, flush=True)


def remove(*names):
    for name in names:
        if os.path.lexists(name):
            os.unlink(name)


def query(database, sql):
    return subprocess.run(["sqlite3", database, sql], check=True, capture_output=True).stdout


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("--binary", required=True)
    parser.add_argument("--fast")
    parser.add_argument("--rows", type=int, default=1000000)
    parser.add_argument("--repeat", type=int, default=5)
    parser.add_argument("--keep", help="directory for the workloads; kept for the next run")
    options = parser.parse_args()
    bench = Bench(options)
    place = os.path.abspath(options.keep) if options.keep else tempfile.mkdtemp()
    os.makedirs(place, exist_ok=True)
    os.chdir(place)
    try:
        bench.run()
    finally:
        os.chdir("/")
        if not options.keep:
            shutil.rmtree(place)


if __name__ == "__main__":
    main()
