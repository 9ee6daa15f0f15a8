#!/usr/bin/env python3
"""Lets merges into a database fail by a limit on the size of files, as a full disk does, and looks
at what they leave.

    failed_merges.py --binary PATH [--limits N] [--directory DIR]

A merge that fails before its last step says so; where it fails in that step, the commit, it says
nothing. In the safe mode the database is sound after either, once a writer has opened it, and holds
each edge of the old state, unless the first step that fails writes a call: SQLite then takes back the
transaction, and the merge goes on without one, so that edges of the old state can be lost. In the
default mode the file can be damaged. Both must be seen here, since the documents warn of them; runs
on what is left come to an end. Single zeroed pages of a sound database,
which no run need notice, must be found by SQLite's integrity check. Exit status 1 if that doesn't
hold.
"""

import argparse
import os
import resource
import shutil
import sqlite3
import subprocess
import sys
import tempfile

HEADER = ("FromAddress,TypeOfBranch,FromSourceFile,FromSourceLine,FromFunctionMangled,"
          "DestinationEndOfBlockAddress,DestinationSourceFile,DestinationSourceLine,"
          "DestinationFunctionMangled,HitCount\n")
FAILED = (1, "error #30100: Internal error.\n")
UNNOTICED = (0, "")
FUNCTIONS = 2000
EDGES = 40
CALLS = 2000  # with names so long that they fill SQLite's cache, which is then written to the file
PAGE = 4096
SLOW_LIMITS = 3
LIMIT = 60  # seconds that a run may take


def edge_file(functions, edges):
    rows = [HEADER]
    for function in functions:
        for edge in range(edges):
            address = function * 0x1000 + edge * 16
            rows.append("%x,Cond,s%d.c,%d,f%d,%x,s%d.c,%d,f%d,1\n" % (
                address, function % 50, edge + 1, function, address + 8, function % 50, edge + 2,
                function))
    return "".join(rows)


def calls_file():
    """A function's calls, in order before the functions of an edge file."""
    callee = "z" * PAGE
    return HEADER + "".join("10,Call,a.c,%d,a,20,z.c,1,%s,1\n" % (line, callee)
                            for line in range(1, CALLS + 1))


class Place:
    """A directory with a database and a run to be merged into it."""

    def __init__(self, program, directory):
        self.program, self.directory = program, directory
        self.write("base.csv", edge_file(range(FUNCTIONS), EDGES))
        # Half of it updates what is there, half is new.
        self.write("more.csv", edge_file(range(FUNCTIONS // 2, FUNCTIONS * 3 // 2), EDGES + 2))
        self.write("calls.csv", calls_file())
        self.write("none.csv", HEADER)
        assert self.run(["-file", "base.csv", "-out", "base.db"]) == (0, "")
        self.size = os.path.getsize(self.path("base.db"))

    def path(self, name):
        return os.path.join(self.directory, name)

    def write(self, name, text):
        with open(self.path(name), "w", encoding="ascii") as stream:
            stream.write(text)

    def restore(self):
        if os.path.exists(self.path("x.db-journal")):
            os.remove(self.path("x.db-journal"))
        shutil.copy(self.path("base.db"), self.path("x.db"))

    def run(self, words, mode="", file_size=resource.RLIM_INFINITY):
        """Status and error text."""
        limit = lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (file_size, file_size))
        done = subprocess.run([self.program, "-nologo", "-quiet"] + words, cwd=self.directory,
                              env=dict(os.environ, HOTPATH_DB_MODE=mode), preexec_fn=limit,
                              stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                              stderr=subprocess.PIPE, text=True, timeout=LIMIT, check=False)
        return done.returncode, done.stderr


def is_sound(path):
    connection = sqlite3.connect(path)
    try:
        return connection.execute("PRAGMA integrity_check").fetchall() == [("ok",)]
    except sqlite3.DatabaseError:
        return False
    finally:
        connection.close()


def edges_at(path):
    connection = sqlite3.connect(path)
    rows = connection.execute("SELECT sf_from_address, sf_to_bb_end_address FROM sf_edges")
    edges = set(rows.fetchall())
    connection.close()
    return edges


class Failures:
    """Merges that fail, counted by how they end and what they leave."""

    def __init__(self, place):
        self.place, self.old = place, edges_at(place.path("base.db"))
        self.told = self.unnoticed = self.damaged = self.bereft = 0
        self.faults = []

    def merge(self, mode, file_size, inputs="more.csv"):
        self.place.restore()
        outcome = self.place.run(["-file", inputs, "-append", "x.db"], mode, file_size)
        self.told += outcome == FAILED
        self.unnoticed += outcome == UNNOTICED
        if outcome not in (FAILED, UNNOTICED):
            self.faults.append("limit %d: a failed merge ends with %s" % (file_size, outcome))

    def recover(self, file_size):
        """The edges that are left when the next writer has opened the file, or None."""
        outcome = self.place.run(["-file", "none.csv", "-append", "x.db"], "FAILSAFE_MODE")
        if outcome != (0, ""):
            self.faults.append("safe, limit %d: the next writer ends with %s" % (file_size, outcome))
        elif not is_sound(self.place.path("x.db")):
            self.faults.append("safe, limit %d: damaged" % file_size)
        else:
            return edges_at(self.place.path("x.db"))
        return None

    def fail_safely(self, file_size):
        self.merge("FAILSAFE_MODE", file_size)
        edges = self.recover(file_size)
        if edges is not None and not self.old <= edges:
            self.faults.append("safe, limit %d: edges of the old state are lost" % file_size)

    def fail_at_a_call(self, file_size):
        self.merge("FAILSAFE_MODE", file_size, "calls.csv;more.csv")
        edges = self.recover(file_size)
        self.bereft += edges is not None and not self.old <= edges

    def fail_quickly(self, file_size):
        self.merge("", file_size)
        self.damaged += not is_sound(self.place.path("x.db"))
        for words in (["-file", "x.db", "-dump"], ["-file", "none.csv", "-append", "x.db"]):
            status, error = self.place.run(words)
            if status not in (0, 1):
                self.faults.append("default, limit %d: %s ends with %d: %s"
                                   % (file_size, words, status, error))


def zero_pages(place):
    """The number of pages, the number of those whose loss no run notices, and what is wrong."""
    with open(place.path("small.csv"), "w", encoding="ascii") as stream:
        stream.write(edge_file(range(40), 20))
    assert place.run(["-file", "small.csv", "-out", "small.db"]) == (0, "")
    with open(place.path("small.db"), "rb") as stream:
        whole = stream.read()
    unnoticed, faults = 0, []
    for begin in range(0, len(whole), PAGE):
        with open(place.path("x.db"), "wb") as stream:
            stream.write(whole[:begin] + bytes(PAGE) + whole[begin + PAGE:])
        status, error = place.run(["-file", "x.db", "-dump"])
        if status != 0:
            faults.append("page at %d: status %d" % (begin, status))
        unnoticed += error == ""
        if is_sound(place.path("x.db")):
            faults.append("page at %d: the integrity check finds nothing" % begin)
    return len(whole) // PAGE, unnoticed, faults


def main():
    parser = argparse.ArgumentParser(description="Let merges fail and look at what they leave.")
    parser.add_argument("--binary", required=True)
    parser.add_argument("--limits", type=int, default=10, help="sizes to try in each mode")
    parser.add_argument("--directory", help="where to work")
    options = parser.parse_args()
    with tempfile.TemporaryDirectory(prefix="edgefold_fail_", dir=options.directory) as directory:
        place = Place(os.path.abspath(options.binary), directory)
        failures = Failures(place)
        for number in range(1, options.limits + 1):
            # The merge makes the file half as large again.
            file_size = place.size + place.size * number // (options.limits + 1) // 2
            failures.fail_safely(file_size)
            failures.fail_quickly(file_size)
            # These take long where files are really synchronised.
            if number <= SLOW_LIMITS:
                failures.fail_at_a_call(file_size)
        pages, unnoticed_pages, page_faults = zero_pages(place)
    faults = failures.faults + page_faults
    print("failed merges: %d reported, %d not; in the default mode %d of %d damaged the file"
          % (failures.told, failures.unnoticed, failures.damaged, options.limits))
    print("with many calls: %d of %d merges in the safe mode lost edges of before"
          % (failures.bereft, min(options.limits, SLOW_LIMITS)))
    print("zeroed pages: %d of %d give a report without a warning" % (unnoticed_pages, pages))
    if failures.damaged == 0:
        faults.append("no failed merge of the default mode damaged its file: are the warnings true?")
    if failures.bereft == 0:
        faults.append("no merge with many calls lost edges of before: are the warnings true?")
    if faults:
        sys.exit("\n".join(faults))


if __name__ == "__main__":
    main()
