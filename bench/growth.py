#!/usr/bin/env python3
"""Measures how the cost of the program grows: one dimension of its input is doubled at a time.

    growth.py --binary PATH [--before PATH] [--only WORD...] [--scale 1.0] [--repeat 3] [--limit 600]

For each dimension it prints processor time per unit (user and system of the run alone), peak memory per unit, and the
exponent with which the time grows: 1 where twice the input costs twice as much, by least squares of the logarithms
over the last three sizes. Of repeated runs the quickest counts. --before names an older program, which runs in turn
with the new one. --scale makes all sizes smaller or larger. A run of more seconds than --limit has no figure, and the
three sizes in front of it give the exponent. Each result is held against the number of units that the
input has, so that no run is quick because it left something out.
"""

import argparse
import math
import os
import pathlib
import shutil
import sqlite3
import subprocess
import sys
import tempfile

HEADER = ("FromAddress,TypeOfBranch,FromSourceFile,FromSourceLine,FromFunctionMangled,"
          "DestinationEndOfBlockAddress,DestinationSourceFile,DestinationSourceLine,"
          "DestinationFunctionMangled,HitCount\n")
DOUBLINGS = 5
DIGITS = "0123456789abcdefghijklmnopqrstuvwxyz"
FUNCTIONS = "SELECT count(*) FROM sf_functions"
EDGES = "SELECT count(*) FROM sf_edges"
CALLS = "SELECT count(*) FROM sf_calls"
RUNS = "SELECT CAST(sf_value AS INTEGER) FROM sf_run_info"


# -- rows of an edge file; `i` counts the units

def edge(function, file, source, target, line=1):
    return "%x,Cond,%s,%d,%s,%x,%s,%d,%s,3\n" % (source, file, line, function, target, file, line + 1,
                                                 function)


def call(source, line, callee):
    return "%x,Call,s.c,%d,main,%x,s.c,5,%s,3\n" % (source, line, 0x90000000, callee)


def function_row(i):
    return edge("fn_%d" % i, "s%d.c" % (i % 500), 16 * i, 16 * i + 8, i % 900 + 1)


def callee_row(i):
    return call(0x400000 + 16 * i, 7, "callee_%d" % i)


def file_row(i):
    return edge("fn", "s%d.c" % i, 16 * i, 16 * i + 8, i % 900 + 1)


def call_site_row(i):
    return call(0x400000 + 16 * i, i + 1, "callee")


def edge_row(i):
    return edge("fn", "s.c", 16 * i, 16 * i + 8, i + 1)


def hub_row(i):
    return edge("fn", "s.c", 0x400000, 0x500000 + 16 * i, 7)


def raw_name_row(i):
    return edge("fn.%d" % i, "s.c", 16 * (i % 1000), 16 * (i % 1000) + 8, i % 1000 + 1)


def repeated_row(i):
    return edge_row(i * 7919 % 1000)


def write_rows(name, row, count, first=0):
    with open(name, "w", encoding="ascii") as file:
        file.write(HEADER)
        for i in range(first, first + count):
            file.write(row(i))


def short_name(i):
    """A path of three characters: a list of inputs is one argument, which a system keeps short."""
    return DIGITS[i // 1296] + DIGITS[i // 36 % 36] + DIGITS[i % 36]


# -- dimensions

class Dimension:
    """What is doubled: how its input of `count` units is made in the working directory, the options of the run,
    and what the database `out.db` must then hold (a query, and its answer for a count of units)."""

    smallest = 100000

    def __init__(self, title, row, query, answer=lambda count: count):
        self.title, self.row, self.query, self.answer = title, row, query, answer

    def make(self, _bench, count):
        write_rows("input.csv", self.row, count)

    def options(self, _count):
        return ["-file", "input.csv", "-out", "out.db"]

    def prepare(self):
        remove("out.db")


class Inputs(Dimension):
    """Runs of one program: a few of its functions in each file."""
    smallest = 1000

    def make(self, _bench, count):
        for i in range(count):
            write_rows(short_name(i), self.row, 10, i * 7 % 1000)

    def options(self, count):
        return ["-file", ";".join(map(short_name, range(count))), "-out", "out.db"]


class InputDatabases(Inputs):
    smallest = 32

    def make(self, bench, count):
        for i in range(count):
            write_rows("input.csv", self.row, 10, i * 7 % 1000)
            bench.merge(["-file", "input.csv", "-out", short_name(i)])


class UntouchedFunctions(Dimension):
    def make(self, bench, count):
        write_rows("all.csv", self.row, count)
        remove("all.db")
        bench.merge(["-file", "all.csv", "-out", "all.db"])
        write_rows("input.csv", self.row, 1)

    def options(self, _count):
        return ["-file", "input.csv", "-append", "out.db"]

    def prepare(self):
        shutil.copy("all.db", "out.db")


class FunctionsOfDatabase(UntouchedFunctions):
    def options(self, _count):
        return ["-file", "all.db", "-out", "out.db"]

    def prepare(self):
        remove("out.db")


DIMENSIONS = [
    Dimension("functions", function_row, FUNCTIONS),
    Dimension("callees of one function", callee_row, CALLS),
    Dimension("source files", file_row, "SELECT count(*) FROM sf_filenames"),
    Dimension("call sites of one function", call_site_row, CALLS),
    Dimension("edges of one function", edge_row, EDGES),
    Dimension("edges at one address", hub_row, EDGES),
    Dimension("raw names of one function", raw_name_row, FUNCTIONS, lambda count: 1),
    Dimension("rows of the same edges", repeated_row, "SELECT sum(sf_exec_count) FROM sf_edges",
              lambda count: 3 * count),
    Inputs("inputs in a list", function_row, RUNS),
    InputDatabases("input databases", function_row, RUNS),
    UntouchedFunctions("untouched functions of an append", function_row, FUNCTIONS),
    FunctionsOfDatabase("functions of an input database", function_row, FUNCTIONS),
]


# -- measuring

class Bench:
    def __init__(self, programs, repeat, limit):
        self.programs = programs  # label -> path; the first one makes the inputs that are databases
        self.repeat = repeat
        self.limit = limit

    def merge(self, options):
        program = next(iter(self.programs.values()))
        subprocess.run([program, "-nologo", "-quiet", *options], check=True)

    def run(self, program, options):
        """(processor seconds, peak memory in bytes) of one run; None if it takes too long"""
        child = subprocess.Popen(["timeout", "--foreground", str(self.limit), program, "-nologo", "-quiet",
                                  *options], stdin=subprocess.DEVNULL)
        _, status, usage = os.wait4(child.pid, 0)
        child.returncode = os.waitstatus_to_exitcode(status)
        if child.returncode == 124:
            return None
        if child.returncode != 0:
            sys.exit("failed: %s %s" % (program, " ".join(options)[:200]))
        return usage.ru_utime + usage.ru_stime, usage.ru_maxrss * 1024

    def measure(self, dimension, count):
        """label -> (processor seconds, peak memory in bytes), or None"""
        dimension.make(self, count)
        runs = {label: [] for label in self.programs}
        for _ in range(self.repeat):
            for label, program in self.programs.items():
                if None in runs[label]:
                    continue
                dimension.prepare()
                runs[label].append(self.run(program, dimension.options(count)))
                if runs[label][-1]:
                    check(dimension, count)
        return {label: None if None in of_one else min(of_one) for label, of_one in runs.items()}


def check(dimension, count):
    connection = sqlite3.connect("out.db")
    found = connection.execute(dimension.query).fetchone()[0]
    connection.close()
    if found != dimension.answer(count):
        sys.exit("%s: %d units gave %d, not %d" % (dimension.title, count, found, dimension.answer(count)))


def exponent(points):
    """The slope through the logarithms of (size, seconds)."""
    logs = [(math.log(size), math.log(seconds)) for size, seconds in points]
    x = sum(a for a, _ in logs) / len(logs)
    y = sum(b for _, b in logs) / len(logs)
    return sum((a - x) * (b - y) for a, b in logs) / sum((a - x) ** 2 for a, _ in logs)


def remove(*names):
    for name in names:
        if os.path.lexists(name):
            os.unlink(name)


def empty_directory():
    for name in os.listdir():
        os.unlink(name)


def report(dimension, sizes, results):
    say("\n%-33s" % dimension.title + "".join("%10d" % size for size in sizes) + "   growth")
    for label, runs in results.items():
        costs = [run and run[0] / size * 1e9 for run, size in zip(runs, sizes)]
        memory = [run and run[1] / size for run, size in zip(runs, sizes)]
        last = [(size, run[0]) for run, size in zip(runs, sizes) if run][-3:]
        growth = "%9.2f" % exponent(last)
        say("  %-31s" % (label + ": CPU, ns") + "".join(map(figure, costs)) + growth)
        say("  %-31s" % (label + ": memory, bytes") + "".join(map(figure, memory)))


def figure(value):
    return "         -" if value is None else "%10.0f" % value


def say(text):
    print(text, flush=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("--binary", required=True)
    parser.add_argument("--before", help="an older program to run beside it")
    parser.add_argument("--only", nargs="+", metavar="WORD", help="dimensions whose title has one of these words")
    parser.add_argument("--scale", type=float, default=1.0)
    parser.add_argument("--repeat", type=int, default=3)
    parser.add_argument("--limit", type=int, default=600)
    options = parser.parse_args()
    programs = {"now": os.path.abspath(options.binary)}
    if options.before:
        programs["before"] = os.path.abspath(options.before)
    bench = Bench(programs, options.repeat, options.limit)
    chosen = [dimension for dimension in DIMENSIONS
              if not options.only or any(word in dimension.title for word in options.only)]
    if not chosen:
        sys.exit("no dimension has such a title")
    say("cost of one unit; growth: the exponent over the last three sizes, 1 where the cost is linear")
    with tempfile.TemporaryDirectory() as place:
        os.chdir(place)
        for dimension in chosen:
            smallest = max(2, round(dimension.smallest * options.scale))
            sizes = [smallest << k for k in range(DOUBLINGS + 1)]
            results = {label: [] for label in programs}
            for size in sizes:
                for label, run in bench.measure(dimension, size).items():
                    results[label].append(run)
                empty_directory()
            report(dimension, sizes, results)
        os.chdir(pathlib.Path(place).root)


if __name__ == "__main__":
    main()
