#!/usr/bin/env python3
"""What callgrind2edges makes of recordings that are odd, damaged or not of the program, and of its options.

    callgrind_inputs_test.py COMPILER EDGEFOLD CALLGRIND2EDGES
"""

import collections
import pathlib
import random
import re
import shutil
import sqlite3
import struct
import subprocess
import sys
import tempfile
import unittest

from tool_support import output_of, rows_of, symbols

COMPILER = sys.argv[1]
EDGEFOLD, TOOL = (pathlib.Path(path).resolve() for path in sys.argv[2:4])
RECORD = ["valgrind", "-q", "--tool=callgrind", "--dump-instr=yes", "--collect-jumps=yes", "--demangle=no"]

# A loop whose only block is a string operation that repeats itself.
REPEAT = """
        .globl  main, fill, behind
        .text
        .type   main, @function
main:   mov     $5, %ebx
again:  mov     $100, %ecx
        lea     space(%rip), %rdi
        test    $1, %bl
        jz      fill
        nop
fill:   rep stosb
behind: dec     %ebx
        jz      out
        test    $1, %bl
        jz      again
        jmp     again
out:    xor     %eax, %eax
        ret
        .size   main, . - main
        .bss
space:  .zero   200
        .section .note.GNU-stack, "", @progbits
"""
LOOP = """
        .globl  main, again, out
        .text
        .type   main, @function
main:   xor     %eax, %eax
again:  dec     %ebx
        jnz     again
out:    ret
        .size   main, . - main
        .section .note.GNU-stack, "", @progbits
"""


def recording(name, costs, jumps=(), header=""):
    """Callgrind's output for one object: costs by address, (source, destination, count) of jumps."""
    lines = ["# callgrind format", "version: 1", "creator: callgrind-3.19.0", header, "positions: instr line",
             "events: Ir", "", "ob=(1) %s" % name, "fl=(1) loop.s", "fn=(1) main"]
    for address, count in costs.items():
        lines.append("0x%x 1 %d" % (address, count))
        for source, destination, taken in jumps:
            if source == address:
                lines += ["jcnd=%d/%d 0x%x 1" % (taken, count, destination), "0x%x 1" % address]
    return "\n".join(lines + ["", "totals: %d" % sum(costs.values()), ""])


class Inputs(unittest.TestCase):
    maxDiff = 4000

    @classmethod
    def setUpClass(cls):
        cls.place = pathlib.Path(tempfile.mkdtemp())
        cls.loop = cls.built("loop", LOOP)
        names = symbols(cls.loop)
        cls.main, cls.again, cls.out = (names[name] for name in ("main", "again", "out"))

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.place)

    @classmethod
    def built(cls, name, text, *flags, ending=".s"):
        source = cls.place / (name + ending)
        source.write_text(text)
        output_of(COMPILER, "-g", *flags, source, "-o", cls.place / name)
        return cls.place / name

    def path(self, name, text):
        path = self.place / name
        path.write_text(text)
        return path

    def run_tool(self, *arguments, text=None):
        done = subprocess.run([str(word) for word in (TOOL,) + arguments], input=text, capture_output=True, text=True,
                              check=False, cwd=self.place, timeout=60)
        return done.returncode, done.stdout, done.stderr

    def loop_recording(self, passes, name="loop"):
        costs = {self.main: 1, self.main + 2: passes, self.main + 4: passes, self.out: 1}
        self.assertEqual(self.again, self.main + 2)
        return recording(name, costs, [(self.main + 4, self.again, passes - 1)])

    def hits(self, *arguments, text=None):
        """(type of branch, hits) of the loop's rows, in the file's order"""
        status, output, error = self.run_tool(*arguments, text=text)
        self.assertEqual(status, 0, error)
        return [(row["TypeOfBranch"], row["HitCount"]) for row in rows_of(output)], error

    def assert_refused(self, said, *arguments, text=None):
        status, output, error = self.run_tool(*arguments, text=text)
        self.assertEqual((status, output, error), (1, "", "callgrind2edges: %s\n" % said))

    # Counts

    def test_counts_that_a_float_rounds_are_written_in_exact_parts(self):
        passes = 2 ** 24 + 2
        rows, _ = self.hits(self.loop, self.path("large.out", self.loop_recording(passes)))
        self.assertEqual(rows, [("FallThrough", 1), ("Cond", 2 ** 24), ("Cond", 1), ("FallThrough", 1)])

    def test_the_database_has_the_sum_to_the_last_hit(self):
        passes = 0x6EDCBA98
        rows, _ = self.hits(self.loop, self.path("sum.out", self.loop_recording(passes)))
        for _, hits in rows:
            self.assertEqual(struct.unpack("f", struct.pack("f", hits))[0], hits)
        status, output, _ = self.run_tool(self.loop, "sum.out")
        self.assertEqual(status, 0)
        self.path("sum.csv", output)
        output_of(EDGEFOLD, "-file", "sum.csv", "-out", "sum.db", place=self.place)
        with sqlite3.connect(self.place / "sum.db") as database:
            counts = database.execute("SELECT sf_exec_count FROM sf_edges ORDER BY sf_exec_count").fetchall()
        self.assertEqual([count for count, in counts], [1, 1, passes - 1])

    def test_scale_divides_and_rounds_and_keeps_what_was_hit(self):
        path = self.path("scaled.out", self.loop_recording(1001))
        self.assertEqual(self.hits("--scale", "300", self.loop, path)[0],
                         [("FallThrough", 1), ("Cond", 3), ("FallThrough", 1)])
        path = self.path("scaled.out", self.loop_recording(1051))
        self.assertEqual(self.hits("--scale", "300", self.loop, path)[0][1], ("Cond", 4))

    def test_counts_that_no_database_gives_back_are_warned_of(self):
        _, error = self.hits(self.loop, self.path("huge.out", self.loop_recording(2 ** 31 + 1)))
        self.assertIn("callgrind2edges: warning: 1 edges have counts from 2147483648 on, which edgefold can't read "
                      "back from a database: use --scale 3 for all runs of the program\n", error)
        _, error = self.hits(self.loop, self.path("huge.out", self.loop_recording(2 ** 31)))
        self.assertNotIn("warning", error)
        _, error = self.hits("--scale", "3", self.loop, self.path("huge.out", self.loop_recording(2 ** 31 + 1)))
        self.assertNotIn("warning", error)

    def test_counts_whose_sums_would_wrap_are_refused(self):
        path = self.path("huge.out", self.loop_recording(2 ** 58))
        self.assertEqual(self.hits("--scale", 2 ** 30, self.loop, path)[0][1], ("Cond", 2 ** 28))
        path = self.path("huge.out", self.loop_recording(2 ** 59))
        self.assert_refused("%s: is damaged: its counts add up to 2^60 or more" % path, self.loop, path)
        path = self.path("huge.out", self.loop_recording(2 ** 62))
        self.assert_refused("%s: is damaged: its counts add up to 2^60 or more" % path, self.loop, path)
        # Of several recordings together
        some = [self.path("large.out-0%d" % i, self.loop_recording(2 ** 58)) for i in range(2)]
        self.assert_refused("%s: is damaged: its counts add up to 2^60 or more" % some[1], self.loop, *some)

    def test_a_summary_tells_rows_and_hits(self):
        _, error = self.hits(self.loop, self.path("some.out", self.loop_recording(10)))
        self.assertEqual(error, "callgrind2edges: 3 rows, 11 hits; 0.0 % of the hits without a line, which edgefold "
                                "doesn't count; 0.0 % of the recording outside of the program\n")

    def test_a_repeated_string_operation_counts_each_time_that_it_is_reached(self):
        program = self.built("repeat", REPEAT)
        output_of(*RECORD, "--callgrind-out-file=repeat.out", program, place=self.place)
        status, output, error = self.run_tool(program, "repeat.out")
        self.assertEqual(status, 0, error)
        names = {"0x%x" % address: name for name, address in symbols(program).items()}
        rows = [(row["TypeOfBranch"], row["HitCount"]) for row in rows_of(output)
                if row["DestinationAddress"] in names and names[row["DestinationAddress"]] == "behind"
                or names.get(row["FromAddress"]) == "fill"]
        self.assertEqual(rows, [])  # no block begins behind it
        leaving = collections.Counter()
        for row in rows_of(output):
            if row["FromFunctionMangled"] == "main":
                leaving[row["FromAddress"]] += row["HitCount"]
        self.assertEqual(max(leaving.values()), 5)

    # Recordings

    def test_a_recording_comes_from_standard_input_too(self):
        text = self.loop_recording(10)
        self.assertEqual(self.hits(self.loop, "-", text=text)[0],
                         [("FallThrough", 1), ("Cond", 9), ("FallThrough", 1)])

    def test_empty_recordings_of_threads_are_skipped(self):
        empty = self.path("empty.out-02", "# callgrind format\nversion: 1\nthread: 2\npositions: instr line\n"
                                          "events: Ir\n\ntotals: 0\n")
        full = self.path("full.out-01", self.loop_recording(10))
        self.assertEqual(len(self.hits(self.loop, full, empty)[0]), 3)
        self.assert_refused("the recording is empty", self.loop, empty)

    def test_recordings_of_threads_add_up(self):
        one, other = (self.path(name, self.loop_recording(10)) for name in ("out-01", "out-02"))
        self.assertEqual(self.hits(self.loop, one, other)[0], [("FallThrough", 2), ("Cond", 18), ("FallThrough", 2)])

    def test_a_recording_that_is_cut_off_is_refused(self):
        text = self.loop_recording(10)
        path = self.path("cut.out", text[:text.index("totals")])
        self.assert_refused("%s: is cut off: its totals are missing" % path, self.loop, path)
        path = self.path("cut.out", text.replace("totals: 22", "totals: 23"))
        self.assert_refused("%s: is damaged: its counts don't add up to its totals" % path, self.loop, path)

    def test_the_recording_of_a_crash_is_refused(self):
        program = self.built("crash", "int main() { __builtin_trap(); }\n", ending=".cpp")
        subprocess.run(RECORD + ["--callgrind-out-file=crash.out", program], cwd=self.place, check=False,
                       stderr=subprocess.DEVNULL)
        self.assert_refused("the recording ends with a crash of the program, or another signal (SIGILL where valgrind "
                            "doesn't know an instruction): if it is to count, say --unfinished", program, "crash.out")
        self.assertEqual(self.run_tool("--unfinished", program, "crash.out")[0], 0)

    def test_what_is_no_recording_is_reported(self):
        path = self.path("loop.txt", LOOP)
        self.assert_refused("%s: is no recording of callgrind" % path, self.loop, path)
        self.assert_refused("missing: No such file or directory", self.loop, "missing")
        path = self.path("lines.out", self.loop_recording(3).replace("instr line", "line"))
        self.assert_refused("%s: has no addresses: record with --dump-instr=yes" % path, self.loop, path)
        path = self.path("jumps.out", recording("loop", {self.main: 1}))
        self.assert_refused("the recording has no jumps: record with --collect-jumps=yes", self.loop, path)
        path = self.path("odd.out", self.loop_recording(3).replace("fn=(1) main", "fn=(1) main\ncalls=x 1\n"))
        self.assert_refused("%s: line 11: not understood" % path, self.loop, path)
        path = self.path("names.out", self.loop_recording(3).replace("ob=(1) loop", "ob=(1)"))
        self.assert_refused("%s: is damaged: it uses a name that it never gave" % path, self.loop, path)

    def test_a_file_of_another_program_is_reported(self):
        path = self.path("other.out", self.loop_recording(3, "/bin/other"))
        self.assert_refused("the recording is not of %s, but of /bin/other" % self.loop, self.loop, path)

    def test_a_program_built_again_is_reported(self):
        path = self.path("rebuilt.out", recording("loop", {self.main: 1, self.main + 1: 1, self.again: 1},
                                                  [(self.again, self.main, 1)]))
        self.assert_refused("%s: 50.0 %% of the addresses recorded don't fit its instructions: the recording is of "
                            "another build" % self.loop, self.loop, path)

    def test_swapped_arguments_are_reported(self):
        path = self.path("swapped.out", self.loop_recording(3))
        self.assert_refused("%s is a program and %s is none: the program comes first" % (self.loop, path), path,
                            self.loop)

    def test_a_program_without_debug_information_is_reported(self):
        bare = self.place / "bare" / "loop"
        bare.parent.mkdir(exist_ok=True)
        output_of("objcopy", "--strip-debug", self.loop, bare)
        self.assert_refused("%s: has no debug information: compile it with -g, or say where it is by --debug-file" %
                            bare, bare, self.path("bare.out", self.loop_recording(3)))
        debug = self.place / "loop.debug"
        output_of("objcopy", "--only-keep-debug", self.loop, debug)
        self.assertEqual(len(self.hits("--debug-file", debug, bare, "bare.out")[0]), 3)

    def test_mutated_recordings_give_rows_or_a_message(self):
        random.seed(7)
        program = self.built("mutated", REPEAT)
        output_of(*RECORD, "--callgrind-out-file=mutated.out", program, place=self.place)
        whole = (self.place / "mutated.out").read_bytes()
        words = re.findall(rb"[^\s=()]+|\s+|[=()]", b"".join(whole.partition(b"mutated\n")[1:])[:200] + whole[-4000:])
        said = collections.Counter()
        for i in range(2000):
            data = bytearray(whole)
            for _ in range(random.choice((1, 1, 2, 20))):
                at = random.randrange(len(data))
                change = random.randrange(4)
                if change == 0:
                    data[at] = random.randrange(256)
                elif change == 1:
                    del data[at:at + random.randrange(1, 30)]
                elif change == 2:
                    data[at:at] = random.choice(words)
                else:
                    data[at:at + 1] = random.choice((b"0xffffffffffffffff", b"-", b"99999999999999999999", b"(77)"))
            (self.place / "mutant.out").write_bytes(data)
            done = subprocess.run([TOOL, program, "mutant.out"], capture_output=True, check=False, cwd=self.place,
                                  timeout=60)
            self.assertIn(done.returncode, (0, 1), "round %d" % i)
            self.assertTrue(done.stderr.startswith(b"callgrind2edges: "), done.stderr)
            said[done.returncode] += 1
        self.assertGreater(min(said.values()), 10)

    # The command line

    def test_help_and_version(self):
        status, output, error = self.run_tool("--help")
        self.assertEqual((status, error), (0, ""))
        self.assertIn("-gdwarf-4", output)
        for option in ("--library", "--debug-file", "--root", "--scale", "--cut-like", "--version"):
            self.assertIn(option, output)
        status, output, error = self.run_tool("--version")
        self.assertEqual((status, error), (0, ""))
        self.assertRegex(output, r"^callgrind2edges \d+\.\d+\.\d+\n$")

    def test_wrong_use_is_reported(self):
        for arguments in ((), (self.loop,), ("--scale", "0", self.loop, "x"), ("--lines", self.loop, "x")):
            status, output, error = self.run_tool(*arguments)
            self.assertEqual((status, output), (2, ""))
            self.assertRegex(error, "^callgrind2edges: .*\nTry 'callgrind2edges --help'.\n$")

    def test_names_that_begin_with_a_minus_sign(self):
        shutil.copy(self.loop, self.place / "-loop")
        self.path("-out", self.loop_recording(3, "-loop"))
        self.assertEqual(len(self.hits("--", "-loop", "-out")[0]), 3)

    def test_a_closed_pipe_ends_quietly(self):
        path = self.path("piped.out", self.loop_recording(10))
        done = subprocess.run(["sh", "-c", 'trap "" PIPE; { "$0" "$1" "$2"; echo "status $?" >&2; } | :', TOOL,
                               self.loop, path], capture_output=True, text=True, check=False)
        self.assertEqual((done.stdout, done.stderr), ("", "status 1\n"))

    def test_a_full_disk_is_reported(self):
        path = self.path("full.out", self.loop_recording(10))
        with open("/dev/full", "w") as full:
            done = subprocess.run([TOOL, self.loop, path], stdout=full, stderr=subprocess.PIPE, text=True, check=False)
        self.assertEqual((done.returncode, done.stderr),
                         (1, "callgrind2edges: standard output: No space left on device\n"))


class Libraries(unittest.TestCase):
    """A program of two files, one of them a library that calls back."""

    @classmethod
    def setUpClass(cls):
        cls.place = pathlib.Path(tempfile.mkdtemp())
        (cls.place / "library.cpp").write_text(
            "#include <cstdlib>\n"
            "extern \"C\" int twice(int (*step)(int), const char* text) {\n"
            "    int sum = 0;\n"
            "    for (int i = 0; i < 7; ++i) sum += step(i);\n"
            "    return sum + atoi(text);\n"
            "}\n")
        (cls.place / "program.cpp").write_text(
            "extern \"C\" int twice(int (*)(int), const char*);\n"
            "__attribute__((noinline)) static int step(int n) { return n * n; }\n"
            "int main() {\n"
            "    int sum = 0;\n"
            "    for (int i = 0; i < 3; ++i) sum += twice(step, \"12\");\n"
            "    return sum == 0;\n"
            "}\n")
        output_of(COMPILER, "-g", "-O1", "-shared", "-fPIC", "library.cpp", "-o", "libtwice.so", place=cls.place)
        output_of(COMPILER, "-g", "-O1", "program.cpp", "-o", "program", "-L.", "-ltwice", "-Wl,-rpath," + str(cls.place),
                  place=cls.place)
        output_of(*RECORD, "--callgrind-out-file=run.out", "./program", place=cls.place)

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.place)

    def convert(self, *arguments):
        done = subprocess.run([TOOL, *arguments], capture_output=True, text=True, check=False, cwd=self.place)
        self.assertEqual(done.returncode, 0, done.stderr)
        return rows_of(done.stdout)

    @staticmethod
    def calls(rows):
        calls = collections.Counter()
        for row in rows:
            if row["TypeOfBranch"] in ("Call", "IndCall", "Jump") and \
                    row["FromFunctionMangled"] != row["DestinationFunctionMangled"]:
                calls[row["FromFunctionMangled"], row["DestinationFunctionMangled"]] += row["HitCount"]
        return calls

    def test_calls_into_libraries_have_the_name_that_the_recording_has(self):
        calls = self.calls(self.convert("program", "run.out"))
        self.assertEqual(calls["main", "twice"], 3)
        self.assertNotIn(("twice", "_ZL4stepi"), calls)

    def test_a_library_is_converted_too(self):
        rows = self.convert("--library", "libtwice.so", "program", "run.out")
        calls = self.calls(rows)
        self.assertEqual(calls["main", "twice"], 3)
        self.assertEqual(calls["twice", "_ZL4stepi"], 21)
        self.assertTrue({("twice", "strtol"), ("twice", "atoi")} & set(calls))
        returns = [row for row in rows if row["TypeOfBranch"] == "Ret" and row["FromFunctionMangled"] == "twice"]
        self.assertEqual([(row["DestinationFunctionMangled"], row["HitCount"]) for row in returns], [("main", 3)])
        loop = [row["HitCount"] for row in rows if row["TypeOfBranch"] == "Cond"
                and row["FromFunctionMangled"] == row["DestinationFunctionMangled"] == "twice"]
        self.assertEqual(loop, [18])

    def test_the_addresses_of_a_library_are_its_own_whatever_else_is_converted(self):
        shutil.copy(self.place / "libtwice.so", self.place / "libother.so")
        alone = self.convert("--library", "libtwice.so", "program", "run.out")
        both = self.convert("--library", "libother.so", "--library", "libtwice.so", "program", "run.out")
        self.assertEqual(alone, both)
        bases = {int(row["FromAddress"], 16) >> 48 for row in alone if row["FromFunctionMangled"] == "twice"}
        self.assertEqual(len(bases), 1)
        self.assertNotEqual(bases, {0})
        own = {int(row["FromAddress"], 16) >> 48 for row in alone if row["FromFunctionMangled"] == "main"}
        self.assertEqual(own, {0})


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
