#!/usr/bin/env python3
"""Measures perf2edges beside llvm-profgen on branch stacks that all differ.

    stacks.py --binary PERF2EDGES [--megabytes 500] [--repeat 5] [--keep DIR]

The program is edgefold itself, built with debug information; make_stacks.py walks through it. Both read the same text
in turn; times are medians, of the clock and of the processor (user and system), memory is the peak. A tenth of the
text shows what more of it costs.
"""

import argparse
import os
import pathlib
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

HERE = pathlib.Path(__file__).resolve().parent


def build_program(place):
    """edgefold with debug information"""
    build = place / "build"
    subprocess.run(["cmake", "-S", HERE.parent, "-B", build, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=RelWithDebInfo",
                    "-DEDGEFOLD_TESTS=OFF"], check=True, stdout=subprocess.DEVNULL)
    subprocess.run(["cmake", "--build", build, "--target", "edgefold"], check=True, stdout=subprocess.DEVNULL)
    return build / "edgefold"


def write_stacks(program, megabytes, path):
    with open(path, "wb") as out:
        subprocess.run([sys.executable, HERE / "make_stacks.py", program, "--megabytes", str(megabytes)], check=True,
                       stdout=out)


def measure(command):
    """(seconds of the clock, of the processor, peak memory in bytes)"""
    begin = time.monotonic()
    with open(os.devnull, "wb") as sink:
        child = subprocess.Popen([str(word) for word in command], stdout=sink, stderr=subprocess.PIPE)
        said = child.stderr.read()
        _, status, usage = os.wait4(child.pid, 0)
    child.returncode = os.waitstatus_to_exitcode(status)
    if child.returncode != 0:
        sys.exit("failed: %s\n%s" % (command, said.decode(errors="replace")))
    return time.monotonic() - begin, usage.ru_utime + usage.ru_stime, usage.ru_maxrss * 1024


def contest(contestants, repeat):
    """Prints the medians of the contestants, which run in turn."""
    runs = {name: [] for name in contestants}
    for _ in range(repeat):
        for name, command in contestants.items():
            runs[name].append(measure(command))
    for name, values in runs.items():
        clock, processor, memory = (statistics.median(column) for column in zip(*values))
        print("  %-14s %7.2f s  %7.2f s processor %9.1f MB" % (name, clock, processor, memory / 1e6))


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--binary", required=True)
    parser.add_argument("--megabytes", type=float, default=500)
    parser.add_argument("--repeat", type=int, default=5)
    parser.add_argument("--keep", metavar="DIR", help="leave the files there, and use those that are there")
    options = parser.parse_args()
    profgen = shutil.which("llvm-profgen") or shutil.which("llvm-profgen-14")
    if not profgen:
        sys.exit("llvm-profgen is missing: install Debian's package llvm")
    place = pathlib.Path(options.keep or tempfile.mkdtemp()).resolve()
    place.mkdir(exist_ok=True)
    try:
        program = build_program(place)
        for megabytes in (options.megabytes / 10, options.megabytes):
            stacks = place / ("stacks-%g.txt" % megabytes)
            if not stacks.exists():
                write_stacks(program, megabytes, stacks)
            print("stacks that all differ: %g MB" % megabytes)
            contest({"perf2edges": [options.binary, program, stacks],
                     "llvm-profgen": [profgen, "--binary=%s" % program, "--perfscript=%s" % stacks,
                                      "--output=%s" % (place / "profile.txt"), "--format=text",
                                      "--ignore-stack-samples"]}, options.repeat)
    finally:
        if not options.keep:
            shutil.rmtree(place)


if __name__ == "__main__":
    main()
