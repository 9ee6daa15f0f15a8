#!/usr/bin/env python3
"""Runs the commands of a Markdown document and compares the output that it shows.

    run_document.py --binary EDGEFOLD DOCUMENT...

The commands of a document run one after the other in one shell, with the program and producers/ in the PATH, in a
scratch copy of examples/ (a document below examples/ in the copy of its own folder).

  ```sh       commands; each block must succeed
  ```console  commands after "$ ", continued after "> ", each followed by what it prints on both streams; a line
              "..." stands for any lines. A command that prints what is shown may fail, any other must succeed
  ```sql      statements that SQLite must take, block after block, in an empty database

A block after the comment <!-- not run: REASON --> is only parsed. The commands of a comment <!-- first: COMMANDS -->
run unseen before the block that follows: they make what the reader would have. A document with a comment <!-- needs: PROGRAM...
--> is skipped (exit status 77) where one of the programs is missing.
"""

import argparse
import collections
import os
import pathlib
import re
import shlex
import shutil
import sqlite3
import subprocess
import sys
import tempfile

PROJECT = pathlib.Path(__file__).resolve().parent.parent.parent
SKIPPED = 77
TIME_LIMIT = 120
MARK = "==== piece"

Block = collections.namedtuple("Block", "line language text not_run first")
# `shown` is None where nothing is compared.
Piece = collections.namedtuple("Piece", "line command shown")


def blocks_of(text):
    """The fenced blocks of a document."""
    blocks = []
    fence = start = language = None
    remarks = {}
    for number, line in enumerate(text.splitlines(), 1):
        opening = re.match(r" *(```+) *(\S*)", line)
        if fence is None and opening:
            fence, language, start, lines = opening[1], opening[2], number, []
        elif fence is not None and line.strip() == fence:
            blocks.append(Block(start, language, "\n".join(lines), remarks.get("not run"), remarks.get("first")))
            fence, remarks = None, {}
        elif fence is not None:
            lines.append(line)
        elif line.strip():
            comment = re.match(r"<!-- ([a-z ]+): (.+) -->", line.strip())
            remarks = dict(remarks, **{comment[1]: comment[2]}) if comment else {}
    if fence is not None:
        raise ValueError("line %d: the block has no end" % start)
    return blocks


def pieces_of(block):
    """The commands of a block, with the output shown."""
    first = [Piece(block.line - 1, block.first, None)] if block.first else []
    if block.language == "sh":
        return first + [Piece(block.line, block.text, None)]
    pieces = []
    for number, line in enumerate(block.text.splitlines(), block.line + 1):
        if line.startswith("$ "):
            pieces.append(Piece(number, line[2:], None))
        elif not pieces:
            raise ValueError("line %d: output without a command" % number)
        elif line.startswith("> ") and pieces[-1].shown is None:
            pieces[-1] = pieces[-1]._replace(command=pieces[-1].command + "\n" + line[2:])
        else:
            pieces[-1] = pieces[-1]._replace(shown=(pieces[-1].shown or "") + line + "\n")
    return first + pieces


def trimmed(text):
    """Without blanks at the ends of lines and empty lines at the end, which no document keeps."""
    return "".join(line.rstrip() + "\n" for line in text.rstrip().splitlines())


def same_output(shown, printed):
    shown, printed = trimmed(shown), trimmed(printed)
    parts = [re.escape(part) for part in re.split(r"(?m)^\.\.\.\n", shown)]
    return re.fullmatch("(?:.*\n)*?".join(parts), printed) is not None


def parse_error(command):
    done = subprocess.run(["bash", "-n"], input=command, capture_output=True, text=True, check=False)
    return done.stderr


def run(pieces, place, path):
    """(exit status, output) of each piece"""
    # Of several commands in a piece none may fail; the status of the last failure is reported.
    script = "".join("echo '%s'; failure=0; trap 'failure=$?' ERR; eval %s </dev/null 2>&1; trap - ERR; "
                     "printf '\\n%s %%d\\n' $failure\n" % (MARK, shlex.quote(piece.command), MARK)
                     for piece in pieces)
    environment = dict(os.environ, PATH=path, LC_ALL="C", PYTHONDONTWRITEBYTECODE="1")
    for variable in ("MAKEFLAGS", "MFLAGS", "MAKELEVEL"):  # of a make that runs the tests
        environment.pop(variable, None)
    done = subprocess.run(["bash"], input=script, cwd=place, env=environment, capture_output=True, text=True,
                          errors="replace", timeout=TIME_LIMIT, check=False)
    results = re.findall(r"^%s\n(.*?)\n%s (\d+)$" % (MARK, MARK), done.stdout, re.DOTALL | re.MULTILINE)
    return [(int(status), output) for output, status in results]


def problems_of_run(pieces, results):
    problems = []
    for piece, (status, output) in zip(pieces, results):
        if piece.shown is None and status != 0:
            problems.append("line %d: exit status %d of: %s\n%s" % (piece.line, status, piece.command, output))
        elif piece.shown is not None and not same_output(piece.shown, output):
            problems.append("line %d: %s\nshown:\n%sprinted:\n%s" %
                            (piece.line, piece.command, piece.shown, output))
    for piece in pieces[len(results):]:
        problems.append("line %d: the shell ended before: %s" % (piece.line, piece.command))
    return problems


def problems_of_sql(blocks):
    problems = []
    database = sqlite3.connect(":memory:")
    for block in blocks:
        try:
            database.executescript(re.sub(r"(?m)\)$", ");", block.text))
        except sqlite3.Error as error:
            problems.append("line %d: %s" % (block.line, error))
    return problems


def check(document, place, path):
    """What is wrong with the document's commands, as texts."""
    blocks = blocks_of(document.read_text(encoding="utf-8"))
    problems = ["line %d: commands in a block that isn't marked as console" % block.line
                for block in blocks if not block.language and re.search(r"(?m)^\$ ", block.text)]
    commands = [block for block in blocks if block.language in ("sh", "console")]
    for block in commands:
        for piece in pieces_of(block):
            error = parse_error(piece.command)
            if error:
                problems.append("line %d: %s" % (piece.line, error))
    pieces = [piece for block in commands if not block.not_run for piece in pieces_of(block)]
    problems += problems_of_run(pieces, run(pieces, place, path))
    problems += problems_of_sql([block for block in blocks if block.language == "sql"])
    not_run = sum(1 for block in commands if block.not_run)
    print("%s: %d commands run, %d blocks only parsed" % (document, len(pieces), not_run))
    return problems


def missing_programs(document):
    text = document.read_text(encoding="utf-8")
    wanted = [name for line in re.findall(r"<!-- needs: (.+?) -->", text) for name in line.split()]
    return [name for name in wanted if not shutil.which(name)]


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--binary", required=True)
    parser.add_argument("documents", nargs="+", type=pathlib.Path)
    options = parser.parse_args()
    program = pathlib.Path(options.binary).resolve()
    path = os.pathsep.join([str(program.parent), str(PROJECT / "producers"), os.environ["PATH"]])
    examples = PROJECT / "examples"
    failed = False
    for document in options.documents:
        missing = missing_programs(document)
        if missing:
            print("%s: skipped: not installed: %s" % (document, " ".join(missing)))
            sys.exit(SKIPPED)
        with tempfile.TemporaryDirectory() as scratch:
            place = pathlib.Path(shutil.copytree(examples, pathlib.Path(scratch) / "examples"))
            folder = document.resolve().parent
            if folder.is_relative_to(examples):
                place = place / folder.relative_to(examples)
            for problem in check(document, place, path):
                print("%s, %s" % (document, problem))
                failed = True
    sys.exit(1 if failed else 0)


if __name__ == "__main__":
    main()
