#!/usr/bin/env python3
"""Asks the tests whether they notice small mistakes in the code.

    mutate.py [COUNT] [--seed S] [--files PATH...] [--directory DIR]

Changes one comparison, constant or operator at a time in a copy of the sources, builds what depends
on it, and runs the tests until one fails. Mutants that no test notices are printed; exit status 1 if
there are any beside those of equivalent.txt, which can't be noticed. COUNT mutants are drawn from
all that there are, 150 by default; 0 takes all. With a directory the copy and what was built of it
stay there, and the next call begins sooner.
"""

import argparse
import contextlib
import filecmp
import os
import pathlib
import random
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
EQUIVALENT = pathlib.Path(__file__).resolve().parent / "equivalent.txt"

HOTPATH = "src/hotpath/"
FILES = [HOTPATH + name for name in (
    "model/edge_exec_counts.h", "model/edge_exec_counts.cpp", "model/call_counts.cpp",
    "model/function_key.cpp", "model/function_record.h", "model/function_record.cpp",
    "model/function_record_set.h", "model/function_record_set.cpp", "model/joined_hash.cpp",
    "model/source_position.h", "model/source_position.cpp", "readers/edge_fold.h",
    "readers/edge_fold.cpp", "readers/edge_numbers.h", "readers/edge_numbers.cpp", "readers/edge_columns.h",
    "readers/edge_columns.cpp", "readers/row_fields.h", "readers/row_fields.cpp",
    "readers/name_cache.cpp", "readers/entry_totals.h",
    "readers/entry_totals.cpp",
    "readers/edge_reader.cpp", "readers/db_reader.h", "readers/db_reader.cpp",
    "database/loader.cpp", "database/writer.cpp", "database/merge.cpp", "database/merge.h",
    "database/schema.cpp", "database/statements.cpp", "database/key_values.cpp",
    "database/file_table.h", "database/file_table.cpp", "database/row_ids.h",
    "database/row_ids.cpp")]

# What a token may become. Comparisons stand between blanks, template brackets do not.
SWAPS = [(re.compile(pattern), new) for pattern, new in (
    (r"(?<= )<(?= )", "<="), (r"(?<= )<=(?= )", "<"), (r"(?<= )>(?= )", ">="),
    (r"(?<= )>=(?= )", ">"), (r"(?<= )==(?= )", "!="), (r"(?<= )!=(?= )", "=="),
    (r"&&(?= )", "||"), (r"(?<= )\|\|", "&&"), (r"(?<= )\+(?= )", "-"), (r"(?<= )-(?= )", "+"),
    (r"\+=", "-="), (r"-=", "+="), (r"\|=", "="), (r"(?<= )<<(?= )", ">>"),
    (r"(?<= )>>(?= )", "<<"), (r"(?<=[ (])!(?=[\w(])", ""), (r"\btrue\b", "false"),
    (r"\bfalse\b", "true"), (r"\+\+(?=\w)", "--"))]
NUMBER = re.compile(r"(?<![\w.'])(0x[0-9A-Fa-f']+|[0-9][0-9']*)(?=[uUlL]*(?![\w.]))")
SKIPPED = re.compile(r"\s*(#|//|static_assert|using |template)")
TEXT_OR_COMMENT = re.compile(r'"(?:[^"\\]|\\.)*"|\'(?:[^\'\\]|\\.)\'|//.*')


class Mutant:
    def __init__(self, path, number, line, begin, end, new):
        self.path, self.number, self.line = path, number, line
        self.changed = line[:begin] + new + line[end:]
        self.sign = "%s | %s | %s" % (path, line.strip(), self.changed.strip())

    def __str__(self):
        return "%s:%d\n  - %s\n  + %s" % (self.path, self.number, self.line.strip(),
                                         self.changed.strip())


def changed_number(text):
    value = int(text.replace("'", ""), 0)
    return hex(value + 1) if text.startswith("0x") else str(value + 1)


def mutants_of_line(path, number, line):
    if SKIPPED.match(line):
        return
    # Texts and comments are blanked out with their length kept, so that columns stay.
    code = TEXT_OR_COMMENT.sub(lambda match: "\0" * len(match[0]), line)
    for pattern, new in SWAPS:
        for match in pattern.finditer(code):
            yield Mutant(path, number, line, match.start(), match.end(), new)
    for match in NUMBER.finditer(code):
        yield Mutant(path, number, line, match.start(), match.end(), changed_number(match[0]))


def mutants_of(paths):
    found = []
    for path in paths:
        is_built = True  # of two ways to a result one is: by SSE2, and by the GNU C++ library
        for number, line in enumerate((ROOT / path).read_text().splitlines(), 1):
            if line.startswith("#if"):
                is_built = "_LIBCPP_VERSION" not in line
            elif line in ("#else", "#endif"):
                is_built = line == "#endif" or not is_built
            if is_built:
                found.extend(mutants_of_line(path, number, line))
    return found


def draw(mutants, count, seed):
    """The same share of each file's mutants, in the order of the files."""
    if count == 0 or count >= len(mutants):
        return mutants
    dice = random.Random(seed)
    places = list(range(len(mutants)))
    step = len(mutants) / count
    start = dice.random() * step
    return [mutants[places[int(start + step * i)]] for i in range(count)]


def copy_changed(source, target):
    """What stays as it is needn't be built again."""
    if not os.path.exists(target) or not filecmp.cmp(source, target, shallow=False):
        shutil.copyfile(source, target)


class Copy:
    """A copy of the tree, built without optimising, with shared libraries: a mutant then costs one
    compilation and the linking of one library."""

    def __init__(self, top):
        self.tree, self.build = top / "tree", top / "build"
        self.limits = {}
        self.environment = dict(os.environ)
        if os.access("/dev/shm", os.W_OK):
            self.environment["TMPDIR"] = "/dev/shm"
        shutil.copytree(ROOT, self.tree, dirs_exist_ok=True, copy_function=copy_changed,
                        ignore=shutil.ignore_patterns(".git", "build", "CMakeLists.txt"))
        for place in self.tree, *(path for path in self.tree.rglob("*") if path.is_dir()):
            source = ROOT / place.relative_to(self.tree) / "CMakeLists.txt"
            if source.exists():
                # No file comes or goes, so there is no need to look for that at each build.
                text = source.read_text().replace(" STATIC ", " SHARED ")
                (place / source.name).write_text(text.replace(" CONFIGURE_DEPENDS", ""))

    def run(self, words, limit=None, **more):
        """The exit status, or None where the time was over."""
        process = subprocess.Popen(words, cwd=self.build, env=self.environment,
                                   stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                   stderr=subprocess.DEVNULL, start_new_session=True, **more)
        try:
            return process.wait(limit)
        except subprocess.TimeoutExpired:
            return None
        finally:
            # Also where this script is being ended: nothing may go on building a mutant.
            if process.poll() is None:
                os.killpg(process.pid, signal.SIGKILL)
                process.wait()

    def configure(self):
        self.build.mkdir(exist_ok=True)
        subprocess.run(["cmake", "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Debug",
                        "-DCMAKE_CXX_FLAGS_DEBUG=-O0 -D_GLIBCXX_ASSERTIONS",
                        "-DCMAKE_LINK_DEPENDS_NO_SHARED=ON", self.tree],
                       cwd=self.build, check=True, stdout=subprocess.DEVNULL)

    def compile(self, *targets):
        return self.run(["ninja", "-j", "1", *targets]) == 0

    def program_tests(self):
        return [["tests/cli_test", "--gtest_fail_fast"],
                [sys.executable, self.tree / "tests/reference/compare.py", "--binary", "./edgefold",
                 "--cases", "200", "--most-failures", "1"]]

    def room_tests(self, first=""):
        """Those of the room `first` come first. The damaged files take long, and ask for an end
        rather than for a result."""
        return [["tests/%s_test" % room, "--gtest_fail_fast", "--gtest_filter=-*Damaged*"]
                for room in sorted(ROOMS, key=lambda room: room != first)]

    def failed_test(self, tests):
        """The first of the tests that fails, or None."""
        for words in tests:
            if self.run(words, self.limits.get(str(words))) != 0:
                return pathlib.Path(words[1 if words[0] == sys.executable else 0]).stem
        return None

    def measure_tests(self):
        """True if all tests pass; each gets a time limit from how long it took."""
        limits = {}
        for words in self.room_tests() + self.program_tests():
            begin = time.monotonic()
            if self.failed_test([words]):
                return False
            limits[str(words)] = 10 * (time.monotonic() - begin) + 5
        self.limits = limits
        return True

    def try_mutant(self, mutant):
        """The test that noticed it, "compiler", or None."""
        path = self.tree / mutant.path
        whole = path.read_text()
        lines = whole.splitlines(keepends=True)
        lines[mutant.number - 1] = mutant.changed + "\n"
        path.write_text("".join(lines))
        try:
            if not self.compile("edgefold"):
                return "compiler"
            if path.suffix == ".cpp":
                return self.failed_test(self.room_tests(path.parent.name) + self.program_tests())
            # A header's change is compiled into the tests of rooms too, which takes its time.
            return (self.failed_test(self.program_tests()) or
                    (None if self.compile(*ROOM_TARGETS) else "compiler") or
                    self.failed_test(self.room_tests()))
        finally:
            path.write_text(whole)


ROOMS = ("model", "readers", "database")
ROOM_TARGETS = ["%s_test" % room for room in ROOMS]


def known_equivalents():
    lines = EQUIVALENT.read_text().splitlines() if EQUIVALENT.exists() else []
    return {line for line in lines if line and not line.startswith("#")}


def main():
    parser = argparse.ArgumentParser(description="Change the code and see whether tests notice.")
    parser.add_argument("count", nargs="?", type=int, default=150)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--files", nargs="+", default=FILES)
    parser.add_argument("--directory", type=pathlib.Path, help="where to build, and to leave it")
    options = parser.parse_args()

    signal.signal(signal.SIGTERM, lambda *_: sys.exit("ended"))
    equivalents = known_equivalents()
    outdated = equivalents - {mutant.sign for mutant in mutants_of(FILES)}
    if outdated:
        sys.exit("equivalent.txt names what is no mutant any more:\n" + "\n".join(sorted(outdated)))
    mutants = draw(mutants_of(options.files), options.count, options.seed)
    outcomes = {"killed": 0, "survived": 0, "equivalent": 0, "invalid": 0}
    place = (contextlib.nullcontext(options.directory.resolve()) if options.directory
             else tempfile.TemporaryDirectory(prefix="edgefold_mutate_"))
    with place as top:
        copy = Copy(pathlib.Path(top))
        copy.configure()
        if not copy.compile("edgefold", "cli_test", *ROOM_TARGETS) or not copy.measure_tests():
            sys.exit("the tests fail without a change")
        # No mutant comes twice, so a compiler cache would cost time for nothing.
        copy.environment["CCACHE_DISABLE"] = "1"
        for number, mutant in enumerate(mutants, 1):
            if mutant.sign in equivalents:
                outcomes["equivalent"] += 1
                continue
            noticed = copy.try_mutant(mutant)
            outcome = {None: "survived", "compiler": "invalid"}.get(noticed, "killed")
            outcomes[outcome] += 1
            print("%d/%d %s%s: %s" % (number, len(mutants), outcome,
                                      " by " + noticed if noticed else "", mutant), flush=True)
    print(", ".join("%d %s" % (count, name) for name, count in outcomes.items()))
    sys.exit(1 if outcomes["survived"] else 0)


if __name__ == "__main__":
    main()
