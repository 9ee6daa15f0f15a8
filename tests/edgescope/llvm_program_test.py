#!/usr/bin/env python3
"""A program is recorded, merged, and its profile exported with the program at hand: each count of the
profile is known from the source. The compiler must take it.

    llvm_program_test.py EDGEFOLD EDGESCOPE
"""

import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

HERE = pathlib.Path(__file__).resolve().parent
PRODUCER = HERE.parent.parent / "producers/callgrind2edges"
SOURCE = HERE / "hot_paths.c"
FLAGS = ["-O2", "-gdwarf-4", "-fdebug-info-for-profiling"]


def run(*words, place=None):
    done = subprocess.run([str(word) for word in words], cwd=place, capture_output=True, text=True,
                          check=False)
    if done.returncode != 0:
        raise AssertionError("%s\n%s%s" % (words, done.stdout, done.stderr))
    return done.stdout


def record(place, name, flags):
    """Builds and records the program; gives the paths of program and database."""
    program, recording = place / name, place / (name + ".out")
    run("clang", *flags, SOURCE, "-o", program)
    run("valgrind", "-q", "--tool=callgrind", "--dump-instr=yes", "--collect-jumps=yes",
        "--callgrind-out-file=%s" % recording, program)
    (place / (name + ".csv")).write_text(run(PRODUCER, program, recording))
    run(EDGEFOLD, "-nologo", "-file", name + ".csv", "-out", name + ".db", place=place)
    return program, place / (name + ".db")


class Profile(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.scratch = tempfile.TemporaryDirectory()
        cls.place = pathlib.Path(cls.scratch.name)
        cls.program, cls.database = record(cls.place, "hot_paths", FLAGS)
        cls.profile = cls.place / "hot_paths.prof"
        cls.text = cls.export(cls.program)
        cls.profile.write_text(cls.text)

    @classmethod
    def tearDownClass(cls):
        cls.scratch.cleanup()

    @classmethod
    def export(cls, program):
        return run(EDGESCOPE, "export", "--to", "llvm", "--program", program, cls.database)

    def failure(self, program, database=None):
        done = subprocess.run([EDGESCOPE, "export", "--to", "llvm", "--program", program,
                               database or self.database],
                              capture_output=True, text=True, check=False)
        self.assertEqual(done.stdout, "")
        return done.returncode, done.stderr

    def function(self, name):
        """The lines of one function, its first one included."""
        lines = self.text.splitlines()
        begin = next(i for i, line in enumerate(lines) if line.startswith(name + ":"))
        end = next((i for i in range(begin + 1, len(lines)) if not lines[i].startswith(" ")),
                   len(lines))
        return lines[begin:end]

    def test_head_counts_are_the_entries(self):
        heads = {line.split(":")[0]: line.split(":")[2] for line in self.text.splitlines()
                 if not line.startswith(" ")}
        self.assertEqual(heads, {"main": "1", "work": "10", "choose": "40", "twice": "1010",
                                 "thrice": "30"})

    def test_lines_have_the_count_of_the_instruction_that_ran_most(self):
        lines = self.function("work")
        for line in (" 0: 10", " 3: 1000", " 4: 1000", " 7: 10", " 9: 10"):
            self.assertIn(line, lines)

    def test_a_line_that_did_not_run_has_a_count_of_0(self):
        self.assertIn(" 8: 0", self.function("work"))

    def test_an_inlined_function_is_a_nested_profile_at_the_line_of_its_call(self):
        lines = self.function("work")
        at = lines.index(" 4: half:1000")
        self.assertEqual(lines[at + 1], "  1: 1000")

    def test_a_direct_call_names_its_callee(self):
        self.assertIn(" 5: 1000 twice:1000", self.function("work"))
        self.assertIn(" 6: 40 choose:40", self.function("main"))

    def test_an_indirect_call_names_its_callees_with_their_counts_the_hottest_first(self):
        self.assertIn(" 1: 40 thrice:30 twice:10", self.function("choose"))

    def test_functions_stand_by_their_totals(self):
        totals = [int(line.split(":")[1]) for line in self.text.splitlines()
                  if not line.startswith(" ")]
        self.assertEqual(totals, sorted(totals, reverse=True))

    def test_the_compiler_takes_the_profile_without_a_warning(self):
        done = subprocess.run(["clang", *FLAGS, "-fprofile-sample-use=%s" % self.profile,
                               "-Rpass=inline", "-c", SOURCE, "-o", self.place / "again.o"],
                              capture_output=True, text=True, check=False)
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertNotIn("warning", done.stderr)
        run("llvm-profdata", "merge", "--sample", self.profile, "-o", self.place / "merged")

    def test_a_stripped_program_is_refused(self):
        stripped = self.place / "stripped"
        shutil.copy(self.program, stripped)
        run("strip", stripped)
        self.assertEqual(self.failure(stripped),
                         (2, "edgescope: %s: has no debug information\n" % stripped))

    def test_a_program_without_a_part_of_its_debug_information_is_refused(self):
        run("clang", *FLAGS, "-gsplit-dwarf", "-c", SOURCE, "-o", "part.o", place=self.place)
        run("clang", "part.o", "-o", "parted", place=self.place)
        (self.place / "part.dwo").unlink()
        self.assertEqual(self.failure(self.place / "parted"), (
            2, "edgescope: %s: lacks the part of its debug information that is in part.dwo\n" % (self.place / "parted")))

    def test_what_is_no_program_is_refused(self):
        status, message = self.failure(SOURCE)
        self.assertEqual((status, message.startswith("edgescope: %s: " % SOURCE)), (2, True))

    def test_a_program_that_did_not_run_is_refused(self):
        # It lies at other addresses.
        run("clang", *FLAGS, "-no-pie", "-Wl,-Ttext-segment=0x70000000", SOURCE, "-o",
            self.place / "other")
        status, message = self.failure(self.place / "other")
        self.assertEqual(status, 2)
        self.assertRegex(message, r"^edgescope: .*/other: isn't the program that ran, or was built "
                                  r"anew: edges that don't fit it: (\d+) of \1\n$")

    def test_a_program_that_was_built_otherwise_is_refused(self):
        run("clang", "-O0", "-g", SOURCE, "-o", self.place / "unoptimised")
        status, message = self.failure(self.place / "unoptimised")
        self.assertEqual((status, "isn't the program that ran" in message), (2, True))

    def test_the_profile_is_the_same_of_a_program_and_its_debug_file(self):
        apart = self.place / "apart"
        shutil.copy(self.program, apart)
        run("objcopy", "--only-keep-debug", apart, "apart.debug", place=self.place)
        run("strip", apart)
        run("objcopy", "--add-gnu-debuglink=apart.debug", "apart", place=self.place)
        self.assertEqual(self.export(apart), self.text)


if __name__ == "__main__":
    EDGEFOLD, EDGESCOPE = (pathlib.Path(word).resolve() for word in sys.argv[1:3])
    unittest.main(argv=sys.argv[:1])
