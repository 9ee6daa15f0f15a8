#!/usr/bin/env python3
"""Runs the training program over inputs of all kinds, so that it leaves counts of what each place in it costs.

    train.py --program PATH --profile DIR

The same program leaves the same counts, wherever and whenever it is run: it has a fixed secret of hashes, its
addresses aren't random, and its environment, folder and arguments are always the same ones. Counts that this program
and this script have made already are kept.
"""

import argparse
import hashlib
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

PROJECT = pathlib.Path(__file__).resolve().parent.parent
EXAMPLES = ["fasttree.csv", "gtest-run1.csv", "minigzip.csv"]
MAKE_EDGES = PROJECT / "bench/make_edges.py"


def synthetic(name, *arguments):
    with open(name, "wb") as file:
        subprocess.run([sys.executable, MAKE_EDGES, *arguments], check=True, stdout=file)


def make_inputs():
    for example in EXAMPLES:
        shutil.copy(PROJECT / "examples" / example, example)
    synthetic("sorted.csv", "60000")
    synthetic("mixed.csv", "60000", "--order", "random", "--repeat", "6")
    synthetic("many.csv", "30000", "--order", "random", "--functions", "6000")
    synthetic("huge.csv", "30000", "--functions", "2", "--seed", "4")
    synthetic("part.csv", "600", "--functions", "36", "--seed", "5")
    for k in range(40):
        synthetic("run%02d.csv" % k, "800", "--functions", "100", "--seed", str(k))


def commands():
    """The command lines, each one with the files that the ones before have left."""
    runs = ";".join("run%02d.csv" % k for k in range(40))
    for k, inputs in enumerate(EXAMPLES + [";".join(EXAMPLES), "sorted.csv", "mixed.csv", "many.csv", "huge.csv",
                                           runs]):
        yield ["-file", inputs, "-out", "out%d.db" % k]
    for inputs, order in (("sorted.csv", "L"), ("mixed.csv", "C-"), ("many.csv", "A"), ("huge.csv", "L"),
                          (";".join(EXAMPLES), "A-"), ("out4.db", "L"), ("out6.db", "C")):
        yield ["-file", inputs, "-dump", "-sort", order]
    yield ["-file", "out4.db;out5.db", "-out", "merged.db"]
    yield ["-file", "out4.db;out4.db;out6.db", "-out", "again.db"]
    for inputs in ("part.csv", "minigzip.csv", "out2.db", "mixed.csv"):
        for database in ("out3.db", "out4.db", "out6.db"):
            yield ["-file", inputs, "-append", database]


def train(program, place):
    shutil.copy(program, place)
    os.chdir(place)
    make_inputs()
    for arguments in commands():
        subprocess.run(["setarch", "--addr-no-randomize", "./edgefold", "-nologo", "-quiet", *arguments],
                       check=True, env={"PATH": "/usr/bin:/bin"}, stdin=subprocess.DEVNULL,
                       stdout=subprocess.DEVNULL)


def mark_of(program):
    return hashlib.sha256(b"".join(path.read_bytes() for path in
                                   (program, pathlib.Path(__file__), MAKE_EDGES))).hexdigest()


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("--program", required=True, type=pathlib.Path)
    parser.add_argument("--profile", required=True, type=pathlib.Path)
    options = parser.parse_args()
    program, profile = options.program.resolve(), options.profile.resolve()
    trained = profile / "trained"
    if trained.exists() and trained.read_text(encoding="ascii") == mark_of(program):
        return
    shutil.rmtree(profile, ignore_errors=True)
    with tempfile.TemporaryDirectory(prefix="edgefold-", dir="/tmp") as place:
        train(program, place)
        os.chdir("/")
    if not list(profile.glob("*.gcda")):
        sys.exit("the runs of %s have left no counts in %s" % (program, profile))
    trained.write_text(mark_of(program), encoding="ascii")


if __name__ == "__main__":
    main()
