"""What the tests of the producers share: building the program, running a tool, reading its rows."""

import csv
import pathlib
import re
import shutil
import subprocess
import sys

HERE = pathlib.Path(__file__).resolve().parent
TOOLS = HERE.parent.parent / "producers"
SKIPPED = 77  # what CTest takes for a skipped test


def skip_without(*programs):
    missing = [program for program in programs if not shutil.which(program)]
    if missing:
        print("skipped: not installed: " + ", ".join(missing))
        sys.exit(SKIPPED)


def output_of(*command, place=None):
    done = subprocess.run([str(word) for word in command], cwd=place, capture_output=True, text=True,
                          check=False)
    if done.returncode != 0:
        raise AssertionError("%s\n%s%s" % (command, done.stdout, done.stderr))
    return done.stdout


def failure_of(*command, place=None):
    """(exit status, what was said) of a command that is expected to fail"""
    done = subprocess.run([str(word) for word in command], cwd=place, capture_output=True, text=True,
                          check=False)
    return done.returncode, done.stderr


def rows_of(text):
    """The rows of an edge file as dictionaries, hits as numbers."""
    rows = list(csv.DictReader(text.splitlines()))
    for row in rows:
        row["HitCount"] = int(row["HitCount"])
    return rows


def symbols(program):
    """name -> address of the program's functions"""
    return {name: int(address, 16) for address, name in
            re.findall(r"^(\w+) [tTwW] (.+)$", output_of("nm", program), re.MULTILINE)}


def instructions(program):
    """address -> text of the instruction, in order of address"""
    listing = output_of("objdump", "-d", "--no-show-raw-insn", program)
    return {int(address, 16): text for address, text in
            re.findall(r"^ *([0-9a-f]+):\t(.+)$", listing, re.MULTILINE)}
