#!/usr/bin/env python3
"""Runs random cases through the program and through edge_model.py, and compares what is seen.

    compare.py --binary PATH [--cases N] [--seed S] [--keep-failures DIR]

After every command line the exit status, both streams and every file of the directory are
compared; databases by their schema texts and their rows with the type of each value. Exit status 1
if any case differs.
"""

import argparse
import os
import re
import shlex
import shutil
import sqlite3
import subprocess
import sys
import tempfile
import time

sys.dont_write_bytecode = True
sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

import edge_model  # noqa: E402
import random_case  # noqa: E402

# --- What has no defined value --------------------------------------------------------------------

POINTER = re.compile(rb"(DatabaseHandle::open\([^\n]*?\) : |DatabaseHandle::close )"
                     rb"(?:0x[0-9a-f]+|[0-9A-F]{16}|\(nil\))")
ASSERTION_PLACE = re.compile(rb"^[^\n ]+:\d+ (?=ASSERTX)", re.M)
RIGHTS_LINE = re.compile(re.escape(edge_model.VERSION_LINE) + rb"[^\n]+\n\n")
REPORT_EDGE = re.compile(rb"    0x08[0-9a-f]+\t0x08[0-9a-f]+\t(L\d+\.C\d+\.D\d+)\t"
                         rb"L\d+\.C\d+\.D\d+\t *[\d,]+")


def masked_error(text):
    text = POINTER.sub(rb"\1POINTER", text)
    text = ASSERTION_PLACE.sub(b"PLACE ", text)
    return RIGHTS_LINE.sub(edge_model.VERSION_LINE + b"RIGHTS LINE\n\n", text, count=1)


def masked_report(text, sort_text):
    """Under the sort by line, edges of one position have no order: they are put into one."""
    if edge_model.sort_kind(sort_text)[0] != b"L":
        return text
    lines = text.split(b"\n")
    at = 0
    while at < len(lines):
        first = REPORT_EDGE.fullmatch(lines[at])
        end = at + 1
        while first and end < len(lines):
            match = REPORT_EDGE.fullmatch(lines[end])
            if match is None or match[1] != first[1]:
                break
            end += 1
        lines[at:end] = sorted(lines[at:end])
        at = end
    return b"\n".join(lines)


def effective_sort(words):
    run = edge_model.Run([b""] + words, {})
    try:
        run.parse_options()
    except edge_model.ProgramEnd:
        pass
    return run.options[b"sort"]


# --- What a directory holds -----------------------------------------------------------------------


def open_for_look(path):
    connection = sqlite3.connect(os.fsdecode(path), isolation_level=None)
    connection.text_factory = bytes
    return connection


def quoted_name(name):
    return '"' + name.decode("utf-8").replace('"', '""') + '"'


def database_content(path):
    """Lines that describe a database: schema texts, then each table's rows by rowid."""
    lines = []
    connection = open_for_look(path)
    try:
        for row in connection.execute("SELECT type, name, tbl_name, sql FROM sqlite_master "
                                      "ORDER BY rowid"):
            lines.append("schema %r" % (row,))
        tables = [row[0] for row in connection.execute(
            "SELECT name FROM sqlite_master WHERE type='table' ORDER BY name")]
        for table in tables:
            columns = [row[1] for row in connection.execute(
                "PRAGMA table_info(%s)" % quoted_name(table))]
            cells = ", ".join("typeof(%s), %s" % (quoted_name(c), quoted_name(c)) for c in columns)
            for row in connection.execute("SELECT rowid, %s FROM %s ORDER BY rowid"
                                          % (cells, quoted_name(table))):
                lines.append("%s %r" % (table.decode("utf-8"), row))
    except sqlite3.Error as error:
        lines.append("error %s" % error)
    finally:
        connection.close()
    return lines


def directory_content(directory):
    content = {}
    for name in sorted(os.listdir(directory)):
        path = os.path.join(directory, name)
        if name.endswith((b"-journal", b"-wal", b"-shm")):
            continue
        if os.path.isdir(path):
            content[name] = ["directory"]
            continue
        with open(path, "rb") as stream:
            text = stream.read()
        is_database = len(text) >= 1024 and text.startswith(b"SQLite format 3\0")
        content[name] = database_content(path) if is_database else ["file %r" % text]
    return content


# --- Running --------------------------------------------------------------------------------------


def write_files(case, directory):
    os.mkdir(os.path.join(directory, b"dir"))
    for name, content in case.files.items():
        with open(os.path.join(directory, name), "wb") as stream:
            stream.write(content)


def damage(path, statements):
    """Statements that don't fit the database as it happens to be have no effect."""
    if not os.path.exists(path):
        return
    connection = open_for_look(path)
    try:
        for statement in statements:
            try:
                connection.execute(statement)
            except sqlite3.Error:
                pass
    finally:
        connection.close()


def run_model(program, words, mode, directory):
    environment = {} if mode is None else {b"HOTPATH_DB_MODE": mode}
    home = os.getcwd()
    os.chdir(directory)
    try:
        return edge_model.run_tool([program] + words, environment)
    finally:
        os.chdir(home)


def run_program(program, words, mode, directory):
    environment = {key: value for key, value in os.environb.items() if key != b"HOTPATH_DB_MODE"}
    if mode is not None:
        environment[b"HOTPATH_DB_MODE"] = mode
    try:
        done = subprocess.run([program] + words, cwd=directory, env=environment, timeout=60,
                              stdin=subprocess.DEVNULL, capture_output=True, check=False)
    except subprocess.TimeoutExpired:
        return "no end within 60 seconds", b"", b""
    return done.returncode, done.stdout, done.stderr


def first_difference(title, expected, actual):
    """Readable lines about the first place at which two lists of lines differ."""
    at = 0
    while at < min(len(expected), len(actual)) and expected[at] == actual[at]:
        at += 1
    lines = ["%s differs at line %d (of %d in the model, %d in the program)"
             % (title, at + 1, len(expected), len(actual))]
    for line in expected[max(0, at - 2):at]:
        lines.append("    both:    %s" % (line,))
    lines.append("    model:   %s" % (expected[at] if at < len(expected) else "<end>",))
    lines.append("    program: %s" % (actual[at] if at < len(actual) else "<end>",))
    return lines


def differences(words, model, program, model_files, program_files):
    found = []
    if model[0] != program[0]:
        found.append("exit status: model %s, program %s" % (model[0], program[0]))
    sort_text = effective_sort(words)
    streams = [("standard output", masked_report(model[1], sort_text),
                masked_report(program[1], sort_text)),
               ("standard error", masked_error(model[2]), masked_error(program[2]))]
    for title, expected, actual in streams:
        if expected != actual:
            found.extend(first_difference(title, expected.split(b"\n"), actual.split(b"\n")))
    for name in sorted(set(model_files) | set(program_files)):
        if name not in program_files or name not in model_files:
            found.append("file %r: only %s has it"
                         % (name, "the model" if name in model_files else "the program"))
        elif model_files[name] != program_files[name]:
            found.extend(first_difference("file %r" % name, model_files[name], program_files[name]))
    return found


def run_case(case, program, top):
    """The differences found after the first step that shows any, and the number of that step."""
    model_directory = os.path.join(top, b"model")
    program_directory = os.path.join(top, b"program")
    for directory in (model_directory, program_directory):
        os.mkdir(directory)
        write_files(case, directory)
    for number, step in enumerate(case.steps):
        if step[0] == "sql":
            damage(os.path.join(model_directory, step[1]), step[2])
            damage(os.path.join(program_directory, step[1]), step[2])
            continue
        _, words, mode = step
        model = run_model(program, words, mode, model_directory)
        outcome = run_program(program, words, mode, program_directory)
        found = differences(words, model, outcome, directory_content(model_directory),
                            directory_content(program_directory))
        if found:
            return found, number
    return [], None


# --- Failures -------------------------------------------------------------------------------------


def shell_step(step, program):
    if step[0] == "sql":
        lines = ["sqlite3 %s %s" % (shlex.quote(os.fsdecode(step[1])), shlex.quote(statement))
                 for statement in step[2]]
        return "\n".join(lines)
    mode = "" if step[2] is None else "HOTPATH_DB_MODE=%s " % shlex.quote(os.fsdecode(step[2]))
    return mode + " ".join(shlex.quote(os.fsdecode(word)) for word in [program] + step[1])


def keep_failure(directory, seed, case, program, text):
    """The case's files as they stood at the start, its steps as a shell script, the differences."""
    place = os.fsencode(os.path.join(directory, "seed-%d" % seed))
    shutil.rmtree(place, ignore_errors=True)
    os.makedirs(place)
    write_files(case, place)
    with open(os.path.join(place, b"steps.sh"), "wb") as stream:
        stream.write(os.fsencode("\n".join(shell_step(step,
                                                      program) for step in case.steps) + "\n"))
    with open(os.path.join(place, b"differences.txt"), "wb") as stream:
        stream.write(os.fsencode(text))


def describe(seed, case, number, found, program):
    lines = ["seed %d, step %d of %d:" % (seed, number + 1, len(case.steps))]
    lines += ["    " + line for step in case.steps[:number + 1]
              for line in shell_step(step, program).split("\n")]
    lines += ["  " + line for line in found]
    lines.append("  again: %s --binary %s --cases 1 --seed %d --keep-failures DIR"
                 % (sys.argv[0], os.fsdecode(program), seed))
    return "\n".join(lines) + "\n"


def main():
    parser = argparse.ArgumentParser(description="Compare the program with the model.")
    parser.add_argument("--binary", required=True)
    parser.add_argument("--cases", type=int, default=1000)
    parser.add_argument("--seed", type=int, default=1, help="seed of the first case")
    parser.add_argument("--keep-failures", metavar="DIR")
    parser.add_argument("--most-failures", type=int, default=10, help="stop after so many")
    options = parser.parse_args()
    program = os.fsencode(os.path.abspath(options.binary))
    place = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None

    failures = 0
    ran = 0
    begin = time.monotonic()
    for seed in range(options.seed, options.seed + options.cases):
        case = random_case.make_case(seed)
        with tempfile.TemporaryDirectory(prefix="edge_model_", dir=place) as top:
            found, number = run_case(case, program, os.fsencode(top))
        ran += 1
        if not found:
            continue
        failures += 1
        text = describe(seed, case, number, found, program)
        sys.stdout.buffer.write(os.fsencode(text))
        sys.stdout.flush()
        if options.keep_failures:
            keep_failure(options.keep_failures, seed, case, program, text)
        if failures >= options.most_failures:
            break
    print("%d cases, %d differ, %.1f cases per second"
          % (ran, failures, ran / max(time.monotonic() - begin, 0.001)))
    sys.exit(1 if failures else 0)


if __name__ == "__main__":
    main()
