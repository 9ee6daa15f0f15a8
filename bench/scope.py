#!/usr/bin/env python3
"""Measures edgescope on a synthetic database, beside the merge tool's report of the same file.

    scope.py --binary EDGEFOLD --scope EDGESCOPE [--edges 600000] [--repeat 5]

All contestants run in turn. Times are processor times (user and system) of the child process alone, medians of the rounds.
A command may take 1.5 times as long as the report; `compare`, which reads two files, 1.5 times as long as two reports. The
check of all pages of a file, which the merge tool doesn't make, is left out by --trust; the last row shows what it costs.
"""

import argparse
import os
import pathlib
import sqlite3
import statistics
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
MOST = 1.5
ROWS_FOR_EACH_EDGE = 1.22  # other rows of the edge file are calls and returns


def processor_time(command):
    with open(os.devnull, "wb") as sink:
        child = subprocess.Popen(command, stdout=sink, stderr=sink, stdin=subprocess.DEVNULL)
        _, status, usage = os.wait4(child.pid, 0)
    child.returncode = os.waitstatus_to_exitcode(status)
    if child.returncode not in (0, 1):  # 1: a finding
        sys.exit("failed: " + " ".join(command))
    return usage.ru_utime + usage.ru_stime


def make_database(program, edges):
    with open("edges.csv", "wb") as out:
        subprocess.run([sys.executable, str(HERE / "make_edges.py"), str(int(edges * ROWS_FOR_EACH_EDGE))],
                       check=True, stdout=out)
    subprocess.run([program, "-nologo", "-quiet", "-file", "edges.csv", "-out", "edges.db"], check=True)
    with sqlite3.connect("edges.db") as database:
        return database.execute("SELECT COUNT(*) FROM sf_edges").fetchone()[0]


def contestants(program, scope):
    yield "edgefold -dump", [program, "-nologo", "-file", "edges.db", "-dump"], None
    for by in ("functions", "edges", "calls"):
        yield "top --by " + by, [scope, "top", "--trust", "--by", by, "edges.db"], MOST
    yield "check", [scope, "check", "--trust", "edges.db"], MOST
    yield "compare", [scope, "compare", "--trust", "edges.db", "edges.db"], 2 * MOST
    for to in ("llvm", "callgrind", "lcov", "csv", "dot"):
        yield "export --to " + to, [scope, "export", "--trust", "--to", to, "edges.db"], MOST
    yield "top, with the gate", [scope, "top", "edges.db"], None


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--binary", required=True)
    parser.add_argument("--scope", required=True)
    parser.add_argument("--edges", type=int, default=600000)
    parser.add_argument("--repeat", type=int, default=5)
    options = parser.parse_args()
    program, scope = (str(pathlib.Path(path).resolve()) for path in (options.binary, options.scope))
    with tempfile.TemporaryDirectory() as place:
        os.chdir(place)
        print("%d edges" % make_database(program, options.edges))
        rows = list(contestants(program, scope))
        times = {name: [] for name, _, _ in rows}
        for _ in range(options.repeat):
            for name, command, _ in rows:
                times[name].append(processor_time(command))
        report = statistics.median(times[rows[0][0]])
        too_slow = False
        for name, _, most in rows:
            seconds = statistics.median(times[name])
            verdict = "" if most is None else "at most %.1f" % most
            if most is not None and seconds > most * report:
                verdict += ", TOO SLOW"
                too_slow = True
            print("%-22s %7.3f s %6.2f x  %s" % (name, seconds, seconds / report, verdict))
        os.chdir("/")
    return 1 if too_slow else 0


if __name__ == "__main__":
    sys.exit(main())
