#!/usr/bin/env python3
"""Runs many writers and readers of one database at once, kept apart by flock(1) as the manual says.

    locked_runs.py --binary PATH [--writers N] [--readers N] [--directory DIR]

Each writer appends an edge file of its own. Nothing may be lost and nothing refused: all runs
succeed without a message, and at the end the database has the sum of all of them. Exit status 1 if
that doesn't hold.
"""

import argparse
import os
import sqlite3
import subprocess
import sys
import tempfile

HEADER = ("FromAddress,TypeOfBranch,FromSourceFile,FromSourceLine,FromFunctionMangled,"
          "DestinationEndOfBlockAddress,DestinationSourceFile,DestinationSourceLine,"
          "DestinationFunctionMangled,HitCount\n")
SHARED_EDGES = 400
LIMIT = 120  # seconds for all runs together


def edge_file(writer):
    """Edges that all writers have, and a function that only this one has."""
    rows = ["%x,Cond,s.c,%d,shared,%x,s.c,%d,shared,1\n" % (edge, edge, edge + 1, edge + 1)
            for edge in range(1, SHARED_EDGES + 1)]
    rows.append("%x,Cond,s.c,1,own%d,%x,s.c,2,own%d,7\n" % (writer, writer, writer + 1, writer))
    return HEADER + "".join(rows)


def start(program, directory, locks, words):
    return subprocess.Popen(["flock"] + locks + ["app.db.lock", program, "-nologo", "-quiet"] + words,
                            cwd=directory, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                            stderr=subprocess.PIPE, text=True)


def run_all(program, directory, writers, readers):
    """What went wrong in the runs, a text for each."""
    processes = []
    for number in range(max(writers, readers)):
        if number < writers:
            words = ["-file", "run%d.csv" % number, "-append", "app.db"]
            processes.append(start(program, directory, [], words))
        if number < readers:
            processes.append(start(program, directory, ["-s"], ["-file", "app.db", "-dump"]))
    faults = []
    for process in processes:
        _, error = process.communicate(timeout=LIMIT)
        if process.returncode != 0 or error:
            faults.append("%s: status %d, %s" % (process.args, process.returncode, error))
    return faults


def look(path, writers):
    """What differs from the sum of all writers, a text for each."""
    connection = sqlite3.connect(path)
    one = lambda sql: connection.execute(sql).fetchone()[0]
    found = {"runs": int(one("SELECT sf_value FROM sf_run_info")),
             "functions": one("SELECT count(*) FROM sf_functions"),
             "edges": one("SELECT count(*) FROM sf_edges"),
             "counts": one("SELECT sum(sf_exec_count) FROM sf_edges")}
    expected = {"runs": writers + 1, "functions": writers + 1, "edges": SHARED_EDGES + writers,
                "counts": (SHARED_EDGES + 7) * writers}
    connection.close()
    return ["%s: %d instead of %d" % (what, found[what], expected[what])
            for what in expected if found[what] != expected[what]]


def main():
    parser = argparse.ArgumentParser(description="Keep runs on one database apart by flock.")
    parser.add_argument("--binary", required=True)
    parser.add_argument("--writers", type=int, default=12)
    parser.add_argument("--readers", type=int, default=8)
    parser.add_argument("--directory", help="where to work")
    options = parser.parse_args()
    program = os.path.abspath(options.binary)
    with tempfile.TemporaryDirectory(prefix="edgefold_lock_", dir=options.directory) as directory:
        for writer in range(options.writers):
            with open(os.path.join(directory, "run%d.csv" % writer), "w", encoding="ascii") as file:
                file.write(edge_file(writer))
        with open(os.path.join(directory, "none.csv"), "w", encoding="ascii") as file:
            file.write(HEADER)
        # A reader may come first, so that the database must be there.
        subprocess.run([program, "-nologo", "-quiet", "-file", "none.csv", "-out", "app.db"],
                       cwd=directory, check=True, stdin=subprocess.DEVNULL)
        faults = run_all(program, directory, options.writers, options.readers)
        faults += look(os.path.join(directory, "app.db"), options.writers)
    if faults:
        sys.exit("\n".join(faults))
    print("%d writers and %d readers: all there" % (options.writers, options.readers))


if __name__ == "__main__":
    main()
