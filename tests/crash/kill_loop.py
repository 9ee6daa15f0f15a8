#!/usr/bin/env python3
"""Kills merges at random moments and looks at what they leave.

    kill_loop.py --binary PATH [--rounds N] [--seed S] [--directory DIR]

Of four rounds, two append to a database in the safe mode, one creates one in the safe mode, and one
appends in the quick mode. In the safe mode a database holds what it held before the merge or what it
holds after it, once the next writer has recovered it. Until then it is refused as an input or gives
one of these two states. A file whose creation was cut short is refused until its version rows are
there; from then on it is accepted, with or without its indexes. In the quick mode a file may be
damaged, but later runs on it come to an end. Exit status 1 if that doesn't hold.
"""

import argparse
import collections
import os
import random
import shutil
import sqlite3
import statistics
import subprocess
import sys
import tempfile
import time

SAFE, QUICK = "FAILSAFE_MODE", ""
HEADER = ("FromAddress,TypeOfBranch,FromSourceFile,FromSourceLine,FromFunctionMangled,"
          "DestinationEndOfBlockAddress,DestinationSourceFile,DestinationSourceLine,"
          "DestinationFunctionMangled,HitCount\n")
INCOMPATIBLE = ("error #30096: File, %s, already exists, but is not compatible with this version. "
                "Delete and regenerate.\n")
REFUSED = "warning #30095: Unable to read hardware sampling data from '%s'\n"
# What a creation writes, step by step. After the last version row the file is a database.
STEPS = ["sf_version", "sf_run_info", "sf_filenames", "sf_functions", "sf_edges", "sf_calls",
         "schema_version=1", "filename_columns=2", "functions_columns=5", "edges_columns=14",
         "calls_columns=5", "idx1", "idx2"]
USABLE = STEPS.index("calls_columns=5") + 1
LIMIT = 60  # seconds that a run may take


class Fault(Exception):
    pass


def expect(holds, what):
    if not holds:
        raise Fault(what)


def edge_file(functions, edges):
    """Functions with so many edges and a call each."""
    rows = [HEADER]
    for function in functions:
        name, base = "f%d" % function, function * 0x1000
        for edge in range(edges):
            rows.append("%x,Cond,s%d.c,%d,%s,%x,s%d.c,%d,%s,%d\n" % (
                base + edge, function % 50, edge, name, base + edge + 1, function % 50, edge + 1,
                name, edge + 1))
        rows.append("%x,Call,s%d.c,7,%s,%x,s.c,1,callee%d,3\n" % (
            base, function % 50, name, base + 0x800, function % 9))
    return "".join(rows)


def content(connection):
    """All rows but the run counter's."""
    return [connection.execute("SELECT * FROM %s ORDER BY rowid" % table).fetchall()
            for table in ("sf_version", "sf_filenames", "sf_functions", "sf_edges", "sf_calls")]


def num_runs(connection):
    row = connection.execute("SELECT sf_value FROM sf_run_info").fetchone()
    return int(row[0]) if row else None


def look(path):
    """The content and run count of a database that is as SQLite wants it."""
    connection = sqlite3.connect(path)
    try:
        expect(connection.execute("PRAGMA integrity_check").fetchall() == [("ok",)], "damaged")
        return content(connection), num_runs(connection)
    except sqlite3.DatabaseError as error:
        raise Fault("damaged: %s" % error) from error
    finally:
        connection.close()


def steps_in(path):
    """What of STEPS stands in the file, in the order of writing."""
    connection = sqlite3.connect(path)
    try:
        names = [row[0] for row in connection.execute("SELECT name FROM sqlite_master "
                                                      "ORDER BY rowid")]
        rows = [] if "sf_version" not in names else [
            "%s=%s" % row for row in connection.execute("SELECT * FROM sf_version ORDER BY rowid")]
        return names[:6] + rows + names[6:]
    finally:
        connection.close()


class Loop:
    def __init__(self, program, directory, dice):
        self.program, self.directory, self.dice = program, directory, dice
        self.seen = collections.defaultdict(collections.Counter)
        self.ends = {}

    def path(self, name):
        return os.path.join(self.directory, name)

    def exists(self, name):
        return os.path.exists(self.path(name))

    def write(self, name, text):
        with open(self.path(name), "w", encoding="ascii") as stream:
            stream.write(text)

    def start(self, words, mode):
        return subprocess.Popen([self.program, "-nologo", "-quiet"] + words, cwd=self.directory,
                                env=dict(os.environ, HOTPATH_DB_MODE=mode),
                                stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE, text=True)

    def run(self, words, mode):
        """Status and error text of a run that is let alone."""
        process = self.start(words, mode)
        try:
            _, error = process.communicate(timeout=LIMIT)
        except subprocess.TimeoutExpired:
            process.kill()
            process.communicate()
            raise Fault("a later run hangs: %s" % words) from None
        expect(process.returncode in (0, 1), "a later run crashes with status %d: %s\n%s"
               % (process.returncode, words, error))
        return process.returncode, error

    def run_well(self, words, mode):
        outcome = self.run(words, mode)
        expect(outcome == (0, ""), "%s: %s" % (words, outcome))

    def duration(self, words, mode, prepare):
        taken = []
        for _ in range(3):
            prepare()
            begin = time.monotonic()
            self.run_well(words, mode)
            taken.append(time.monotonic() - begin)
        return statistics.median(taken)

    def kill_after(self, words, mode, duration):
        process = self.start(words, mode)
        time.sleep(self.dice.random() * 1.3 * duration)
        process.kill()
        process.communicate()

    def kill_while_growing(self, words, mode, name):
        """A file grows only while changed pages are written to it, which takes little time."""
        size = os.path.getsize(self.path(name))
        process = self.start(words, mode)
        while process.poll() is None and os.path.getsize(self.path(name)) == size:
            time.sleep(0.00005)
        time.sleep(self.dice.random() * 0.002)
        process.kill()
        process.communicate()

    def read_as_input(self, name):
        """What a merge gets of a file, or None where it refuses it."""
        self.remove("read.db")
        status, error = self.run(["-file", name, "-out", "read.db"], QUICK)
        if error == REFUSED % name:
            expect(status == 0 and not self.exists("read.db"), "a refused input was merged")
            return None
        expect((status, error) == (0, ""), "as an input: %s" % ((status, error),))
        return look(self.path("read.db"))[0]

    def remove(self, *names):
        for name in names:
            if self.exists(name):
                os.remove(self.path(name))

    # --- Appending --------------------------------------------------------------------------------

    def restore(self):
        self.remove("x.db-journal", "x.db")
        shutil.copy(self.path("base.db"), self.path("x.db"))

    def has_killed_a_writer(self):
        return self.seen["append, safe"]["within"] > 0

    def prepare_appending(self, functions):
        self.write("none.csv", HEADER)
        self.write("base.csv", edge_file(range(functions), 12))
        # Half of it updates what is there, half is new.
        self.write("more.csv", edge_file(range(functions // 2, functions * 3 // 2), 14))
        self.remove("base.db")
        self.run_well(["-file", "base.csv", "-out", "base.db"], QUICK)
        self.restore()
        self.before, self.runs_before = look(self.path("x.db"))
        self.read_before = self.read_as_input("x.db")
        self.run_well(["-file", "more.csv", "-append", "x.db"], SAFE)
        self.after, self.runs_after = look(self.path("x.db"))
        self.read_after = self.read_as_input("x.db")
        expect(self.before != self.after, "the merge changes nothing")
        self.measure_appending()

    def measure_appending(self):
        words = ["-file", "more.csv", "-append", "x.db"]
        self.ends = {mode: self.duration(words, mode, self.restore) for mode in (SAFE, QUICK)}

    def kill_appending(self, mode):
        words = ["-file", "more.csv", "-append", "x.db"]
        if self.dice.random() < 0.5:
            self.kill_after(words, mode, self.ends[mode])
        else:
            self.kill_while_growing(words, mode, "x.db")

    def append_safely(self):
        self.restore()
        self.kill_appending(SAFE)
        has_journal = self.exists("x.db-journal")
        read = self.read_as_input("x.db")
        expect(read in (self.read_before, self.read_after) or (read is None and has_journal),
               "a killed file gives the next merge something else")
        # The next run takes back what was begun; it adds a run of its own.
        self.run_well(["-file", "none.csv", "-append", "x.db"], SAFE)
        found, runs = look(self.path("x.db"))
        expect(found in (self.before, self.after), "neither the state before nor the one after")
        counted = runs == self.runs_after + 1
        # The counter's row is deleted before it is written again.
        expect(counted or runs in (self.runs_before + 1, 1), "run count %s" % runs)
        expect(found == self.before or counted, "merged, but not counted")
        expect(self.read_as_input("x.db") == (self.read_before if found == self.before
                                              else self.read_after), "recovered, but read otherwise")
        self.seen["killed file as an input, safe"]["refused" if read is None else "read"] += 1
        self.seen["append, safe"]["after" if found == self.after else
                                  "within" if counted and has_journal else "before"] += 1

    def append_quickly(self):
        self.restore()
        self.kill_appending(QUICK)
        shutil.copy(self.path("x.db"), self.path("killed.db"))
        try:
            found, _ = look(self.path("killed.db"))
            state = ("before" if found == self.before else
                     "after" if found == self.after else "damaged")
        except Fault:
            state = "damaged"
        self.seen["append, quick"][state] += 1
        for words in (["-file", "x.db", "-dump"], ["-file", "none.csv;x.db", "-append", "copy.db"],
                      ["-file", "none.csv", "-append", "x.db"],
                      ["-file", "more.csv", "-append", "x.db"]):
            self.run(words, self.dice.choice([SAFE, QUICK]))
        os.remove(self.path("copy.db"))

    # --- Creating ---------------------------------------------------------------------------------

    def remove_new(self):
        self.remove("new.db", "new.db-journal", "looked.db", "looked.db-journal")

    def prepare_creating(self):
        self.write("few.csv", edge_file(range(40), 12))
        words = ["-file", "few.csv", "-out", "new.db"]
        self.created = self.duration(words, SAFE, self.remove_new)
        self.whole, _ = look(self.path("new.db"))
        self.read_whole = self.read_as_input("new.db")
        expect(steps_in(self.path("new.db")) == STEPS, "the schema isn't the known one")

    def create_safely(self):
        self.remove_new()
        self.kill_after(["-file", "few.csv", "-out", "new.db"], SAFE, self.created)
        if not self.exists("new.db"):
            self.seen["create, safe"]["before"] += 1
            return
        for name in ("new.db", "new.db-journal"):
            if self.exists(name):
                shutil.copy(self.path(name), self.path(name.replace("new", "looked")))
        steps = steps_in(self.path("looked.db"))
        expect(steps == STEPS[:len(steps)], "no prefix of the schema: %s" % steps)
        has_journal = self.exists("new.db-journal")
        read = self.read_as_input("new.db")
        expect(read is not None or has_journal or len(steps) < USABLE, "a usable file is refused")
        expect(read is None or read[1:] == [[]] * 4 or read == self.read_whole,
               "a killed creation gives the next merge something else")
        later = self.run(["-file", "none.csv", "-append", "new.db"], SAFE)
        if len(steps) < USABLE:
            expect(later == (1, INCOMPATIBLE % "new.db"), "with %s: %s" % (steps, later))
            self.seen["create, safe"]["within the schema"] += 1
            return
        expect(later == (0, ""), "with %s: %s" % (steps, later))
        found, _ = look(self.path("new.db"))
        is_empty = found[1:] == [[]] * 4
        expect(is_empty or found == self.whole, "neither empty nor whole")
        state = "with the schema" if is_empty else "after"
        self.seen["create, safe"]["without indexes" if len(steps) < len(STEPS) else state] += 1


# Chance may kill no run while it writes: then there are more rounds, up to so many times the number asked for.
MOST_ROUNDS = 20


def main():
    parser = argparse.ArgumentParser(description="Kill merges and look at what they leave.")
    parser.add_argument("--binary", required=True)
    parser.add_argument("--rounds", type=int, default=200)
    parser.add_argument("--seed", type=int, default=None)
    parser.add_argument("--functions", type=int, default=1500, help="of the database")
    parser.add_argument("--directory", help="where to work")
    options = parser.parse_args()
    seed = options.seed if options.seed is not None else random.randrange(1 << 31)

    begin = time.monotonic()
    with tempfile.TemporaryDirectory(prefix="edgefold_kill_", dir=options.directory) as directory:
        loop = Loop(os.path.abspath(options.binary), directory, random.Random(seed))
        loop.prepare_appending(options.functions)
        loop.prepare_creating()
        print("seed %d; a run takes %.0f ms safely, %.0f ms quickly, %.1f ms to create"
              % (seed, 1e3 * loop.ends[SAFE], 1e3 * loop.ends[QUICK], 1e3 * loop.created))
        rounds = [loop.append_safely, loop.create_safely, loop.append_safely, loop.append_quickly]
        for number in range(MOST_ROUNDS * options.rounds):
            if number >= options.rounds and (options.rounds < 20 or loop.has_killed_a_writer()):
                break
            try:
                # The machine may have more or less to do by now.
                if number % 50 == 49 or number >= options.rounds and number % 4 == 0:
                    loop.measure_appending()
                rounds[number % 4]()
            except Fault as fault:
                sys.exit("round %d, %s: %s" % (number + 1, rounds[number % 4].__name__, fault))
        for kind, states in sorted(loop.seen.items()):
            print("%s: %s" % (kind, ", ".join("%d %s" % (count, state)
                                              for state, count in sorted(states.items()))))
    print("%.1f s" % (time.monotonic() - begin))
    if options.rounds >= 20 and not loop.has_killed_a_writer():
        sys.exit("no run was killed while it wrote")


if __name__ == "__main__":
    main()
