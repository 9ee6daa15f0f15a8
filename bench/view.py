#!/usr/bin/env python3
"""Measures the page of edgescope: how long it takes to write, its size, and how quickly it answers in Chromium.

    view.py --binary EDGEFOLD --scope EDGESCOPE --tools FOLDER [--edges 600000] [--functions 100000] [--repeat 5]

FOLDER is that of `./dev test view`, with what the browser is driven by. Times are medians: of writing the processor time,
in the browser the time on the clock, from the start of loading until the first view is drawn and from a letter typed until
its rows are drawn.
"""

import argparse
import json
import os
import pathlib
import shutil
import statistics
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
ROWS_FOR_EACH_EDGE = 1.22  # other rows of the edge file are calls and returns
LIMITS = {"writing": 3.0, "size": 12.0, "first table": 1.0, "search": 0.1}
UNITS = {"writing": "s", "size": "MB", "first table": "s", "search": "s"}


def make_database(program, edges, functions):
    with open("edges.csv", "wb") as out:
        subprocess.run([sys.executable, str(HERE / "make_edges.py"), str(int(edges * ROWS_FOR_EACH_EDGE)),
                        "--functions", str(functions)], check=True, stdout=out)
    subprocess.run([program, "-nologo", "-quiet", "-file", "edges.csv", "-out", "edges.db"], check=True)


def writing_time(scope):
    child = subprocess.Popen([scope, "view", "edges.db", "-o", "edges.html"], stdin=subprocess.DEVNULL)
    _, status, usage = os.wait4(child.pid, 0)
    child.returncode = os.waitstatus_to_exitcode(status)
    if child.returncode != 0:
        sys.exit("edgescope view failed")
    return usage.ru_utime + usage.ru_stime


def browser_times(tools, repeat):
    """Lists of times in seconds, by what they are of."""
    script = pathlib.Path(tools).resolve() / "view_times.mjs"
    shutil.copy(HERE / "view_times.mjs", script)
    found = subprocess.run(["node", str(script), "edges.html", str(repeat)], check=True, stdout=subprocess.PIPE)
    return json.loads(found.stdout)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--binary", required=True)
    parser.add_argument("--scope", required=True)
    parser.add_argument("--tools", required=True)
    parser.add_argument("--edges", type=int, default=600000)
    parser.add_argument("--functions", type=int, default=100000)
    parser.add_argument("--repeat", type=int, default=5)
    options = parser.parse_args()
    program, scope, tools = (str(pathlib.Path(path).resolve())
                             for path in (options.binary, options.scope, options.tools))
    with tempfile.TemporaryDirectory() as place:
        os.chdir(place)
        make_database(program, options.edges, options.functions)
        figures = {"writing": statistics.median(writing_time(scope) for _ in range(options.repeat)),
                   "size": os.path.getsize("edges.html") / 1e6}
        for name, times in browser_times(tools, options.repeat).items():
            figures[name] = statistics.median(times)
        os.chdir("/")
    for name, limit in LIMITS.items():
        verdict = "at most %g" % limit + ("" if figures[name] <= limit else ", TOO MUCH")
        print("%-12s %8.3f %-2s  %s" % (name, figures[name], UNITS[name], verdict))
    return 1 if any(figures[name] > limit for name, limit in LIMITS.items()) else 0


if __name__ == "__main__":
    sys.exit(main())
