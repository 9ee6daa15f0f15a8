#!/usr/bin/env python3
"""Runs the program over a fixed set of inputs and compares all that it gives with what it gave before.

    golden.py --program PATH [--launcher PATH] [--keep DIR] [--update]

Every build, on every system, must give the same exit statuses, streams and databases; only the line
ends of the streams are the system's. What is expected stands in expected/: `statuses`, a file for
each stream that isn't empty, and `databases.sha256` with a hash of each database's dump. --launcher
runs a program of another system; --keep leaves all results in a directory, so that those of two
builds can be compared; --update takes this build's results for the expected ones.
"""

import argparse
import difflib
import hashlib
import os
import pathlib
import shutil
import sqlite3
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
EXAMPLES = HERE.parent.parent / "examples"
EXPECTED = HERE / "expected"

HEADER = (b"FromAddress,TypeOfBranch,EntryBlock,FromSourceFile,FromSourceLine,FromSourceOffsetLine,"
          b"FromSourceColumn,FromSourceDiscriminator,FromFunctionMangled,DestinationAddress,"
          b"DestinationEndOfBlockAddress,DestinationSourceFile,DestinationSourceLine,"
          b"DestinationSourceOffsetLine,DestinationSourceColumn,DestinationSourceDiscriminator,"
          b"DestinationFunctionMangled,HitCount\n")
TEN = (b"FromAddress,TypeOfBranch,FromSourceFile,FromSourceLine,FromFunctionMangled,"
       b"DestinationEndOfBlockAddress,DestinationSourceFile,DestinationSourceLine,"
       b"DestinationFunctionMangled,HitCount\n")


def row(address, line, name, to_name, hits, kind=b"Cond"):
    return b",".join([address, kind, b"a.c", line, name, address + b"8", b"a.c", line, to_name,
                      hits]) + b"\n"


def rows_of_numbers(fields, make):
    return TEN + b"".join(make(field, b"n%d" % at) for at, field in enumerate(fields))


COUNTS = [b"0", b"1", b"-5", b"12.9", b"1e3", b"16777217", b"4294967296", b"9223372036854775807",
          b"9223372036854775808", b"1.8446744e19", b"1e20", b"inf", b"-inf", b"nan", b"nan(1)",
          b"0x1p4", b"0x.8p1", b"1e-50", b"1e50", b" 7", b"\t+8x", b"x", b"", b".", b"1e", b"0x"]
LINES = [b"0", b"1", b"-1", b"65536", b"4294967295", b"4294967296", b"9223372036854775807",
         b"9223372036854775808", b"-9223372036854775809", b" 12", b"+3", b"4x", b"x", b""]
ADDRESSES = [b"0", b"0x10", b"0XfF", b"-1", b"+a", b" b", b"ffffffffffffffff", b"10000000000000000",
             b"0x", b"x", b"", b"8000000000000000"]

FILES = {
    "crlf.csv": (HEADER + b"1,Cond,yes,a.c,1,1,2,3,f,2,2,a.c,2,1,2,3,f,5\n"
                 b"2,Call,no,a.c,2,1,2,3,f,9,9,b/c.c,9,0,0,0,g,6\n"
                 b"9,Ret,no,b/c.c,9,0,0,0,g,3,3,a.c,3,0,0,0,f,7\n").replace(b"\n", b"\r\n"),
    "odd.csv": TEN + row(b"10", b"1", b"f\x1a", b"f\x1a", b"1") + b"\n,,,\r\n\r\r\nshort,row\n" +
               row(b"20", b"2", b"nul\0name", b"nul\0name", b"2") + row(b"30", b"3", b"", b"", b"3") +
               row(b"40", b"4", b"gr\xc3\xbc\xff", b"gr\xc3\xbc\xff", b"4") + b"\xef\xbb\xbf" +
               row(b"50", b"5", b"x" * 5000, b"x" * 5000, b"5") + b"60,Cond,a.c,6,last,68,a.c,6,last,6\r",
    "names.csv": TEN + b"".join(
        row(b"1%x" % at, b"1", name, name, b"1") for at, name in enumerate([
            b"f.1", b"f.part.2", b"a.b.c", b".x", b"x.", b"f.constprop.0.isra.3", b"__N_3_xyzh",
            b"a__N_3_xyzb__N_1_qc", b"_Z3foov.cold", b"f.lto_priv.7", b"f.1x", b"..", b"f..2"])),
    "counts.csv": rows_of_numbers(COUNTS, lambda field, name: row(b"10", b"1", name, name, field)),
    "lines.csv": rows_of_numbers(LINES, lambda field, name: row(b"10", field, name, name, b"1")),
    "addresses.csv": rows_of_numbers(ADDRESSES, lambda field, name: row(field, b"1", name, name, b"1")),
    "calls.csv": TEN + b"".join(row(b"%x" % at, b"%d" % at, b"f%d" % (at % 7), b"f%d" % (at % 5),
                                    b"%d" % (at * at), kind)
                                for at in range(200)
                                for kind in (b"Call", b"Ret", b"Cond", b"Uncond", b"Jump")),
    "no_rows.csv": TEN,
    "no_table.txt": b"FromAddress,HitCount\n1,2\n",
    "empty": b"",
}
ODD = "crlf.csv;odd.csv;names.csv;counts.csv;lines.csv;addresses.csv;calls.csv;no_rows.csv"
REAL = "fasttree.csv;gtest-run1.csv;minigzip.csv"
SORTED = "calls.csv;crlf.csv;names.csv"

# The runs, in their order, each one with the files that the ones before have left.
RUNS = [
    ("banner", []),
    ("create", ["-file", REAL, "-out", "all.db"]),
    ("create_again", ["-nologo", "-file", REAL, "-out", "all.db"]),
    ("first", ["-nologo", "-file", "fasttree.csv", "-append", "steps.db", "-trace", "8"]),
    ("second", ["-nologo", "-file", "gtest-run1.csv", "-append", "steps.db"]),
    ("third", ["-nologo", "-file", "minigzip.csv", "-append", "steps.db", "-trace", "12"]),
    ("report", ["-nologo", "-file", "minigzip.csv", "-dump"]),
    ("by_address", ["-nologo", "-file", SORTED, "-dump", "-sort", "A"]),
    ("by_address_descending", ["-nologo", "-file", SORTED, "-dump", "-sort", "A-"]),
    ("by_count", ["-nologo", "-file", SORTED, "-dump", "-sort", "C"]),
    ("by_count_descending", ["-nologo", "-file", SORTED, "-dump", "-sort", "C-"]),
    ("by_line_descending", ["-nologo", "-file", SORTED, "-dump", "-sort", "L-"]),
    ("databases_together", ["-nologo", "-file", "all.db;fasttree.csv", "-append", "steps.db"]),
    ("odd_files", ["-nologo", "-file", ODD, "-out", "odd.db", "-dump", "-trace", "13"]),
    ("odd_database", ["-nologo", "-file", "odd.db;odd.csv", "-append", "odd.db", "-dump"]),
    ("one_odd_file", ["-nologo", "-file", "crlf.csv", "-append", "crlf.db", "-dump"]),
    ("database", ["-nologo", "-file", "crlf.db;crlf.db", "-dump"]),
    ("failing_inputs", ["-nologo", "-file", "gone;no_table.txt;empty;gr\u00fc\u00df.csv", "-dump"]),
    ("nothing_read", ["-nologo", "-file", "gone", "-out", "never.db"]),
    ("no_action", ["-nologo", "-file", "fasttree.csv"]),
    ("both_targets", ["-nologo", "-file", "fasttree.csv", "-out", "a.db", "-append", "b.db"]),
]


def dump_of(database):
    connection = sqlite3.connect(database)
    connection.text_factory = lambda text: text.decode("utf-8", "backslashreplace")
    try:
        return "\n".join(connection.iterdump()).encode("utf-8", "surrogateescape")
    finally:
        connection.close()


def results_of(program, directory):
    """All that the runs give: pairs of a file's name and its bytes."""
    environment = {key: value for key, value in os.environ.items() if key != "HOTPATH_DB_MODE"}
    statuses, hashes = [], []
    for name, arguments in RUNS:
        done = subprocess.run(program + arguments, cwd=directory, env=environment, timeout=120,
                              stdin=subprocess.DEVNULL, capture_output=True, check=False)
        statuses.append("%d  %s\n" % (done.returncode, name))
        yield name + ".output", done.stdout.replace(b"\r\n", b"\n")
        yield name + ".error", done.stderr.replace(b"\r\n", b"\n")
        for database in sorted(pathlib.Path(directory).glob("*.db")):
            hashes.append("%s  %s/%s\n" % (hashlib.sha256(dump_of(database)).hexdigest(), name,
                                           database.name))
    yield "statuses", "".join(statuses).encode()
    yield "databases.sha256", "".join(hashes).encode()


def fill(directory):
    for example in EXAMPLES.glob("*.csv"):
        shutil.copy(example, directory)
    for name, content in FILES.items():
        (pathlib.Path(directory) / name).write_bytes(content)


def keep(directory, results):
    """Leaves a file for each result that isn't empty, and no other."""
    shutil.rmtree(directory, ignore_errors=True)
    pathlib.Path(directory).mkdir(parents=True)
    for name, content in results.items():
        if content:
            (pathlib.Path(directory) / name).write_bytes(content)


def kept(directory, name):
    path = pathlib.Path(directory) / name
    return path.read_bytes() if path.exists() else b""


def lines_of(content):
    return content.decode("utf-8", "backslashreplace").splitlines(keepends=True)


def print_difference(name, expected, actual):
    difference = difflib.unified_diff(lines_of(expected), lines_of(actual), "expected/" + name,
                                      "this build", n=1)
    for number, line in enumerate(difference):
        if number == 40:
            print("...")
            return
        print(line.rstrip("\n"))


def main():
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("--program", required=True)
    parser.add_argument("--launcher")
    parser.add_argument("--keep")
    parser.add_argument("--update", action="store_true")
    options = parser.parse_args()
    program = ([options.launcher] if options.launcher else []) + [os.path.abspath(options.program)]
    with tempfile.TemporaryDirectory(dir=os.environ.get("TMPDIR")) as directory:
        fill(directory)
        results = dict(results_of(program, directory))
    if options.keep:
        keep(options.keep, results)
    if options.update:
        keep(EXPECTED, results)
    names = set(results) | {path.name for path in EXPECTED.iterdir()}
    wrong = [name for name in sorted(names) if kept(EXPECTED, name) != results.get(name, b"")]
    for name in wrong:
        print_difference(name, kept(EXPECTED, name), results.get(name, b""))
    print("%d results of %d runs, %d of them unlike the expected ones"
          % (len(names), len(RUNS), len(wrong)))
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
