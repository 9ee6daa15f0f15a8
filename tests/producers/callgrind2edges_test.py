#!/usr/bin/env python3
"""Records tally.cpp under callgrind and holds the edge file against callgrind_annotate's sums.

    callgrind2edges_test.py COMPILER EDGEFOLD CALLGRIND2EDGES
"""

import collections
import pathlib
import re
import shutil
import sqlite3
import sys
import tempfile
import unittest

from tool_support import HERE, failure_of, instructions, output_of, rows_of, symbols

COMPILER = sys.argv[1]
EDGEFOLD, TOOL = (pathlib.Path(path).resolve() for path in sys.argv[2:4])
RECORD = ["valgrind", "-q", "--tool=callgrind", "--dump-instr=yes", "--collect-jumps=yes"]
HIDDEN = "_ZN12_GLOBAL__N_1"
FIB, PICK, LEAVE, FILL = (HIDDEN + rest for rest in ("3fibEi", "4pickEi", "5leaveEi", "4fillEPii"))
COMPARE = HIDDEN + "7compareEPKvS1_"
SQUARE, BOX = "_ZNK12_GLOBAL__N_16Square4areaEv", "_ZNK12_GLOBAL__N_13Box4areaEv"
OURS = ("main", "work", "sort", FIB, PICK, LEAVE, FILL, COMPARE, SQUARE, BOX)


def number(text):
    return int(text.replace(",", ""))


class Recorded:
    """One build of the program, recorded and converted."""

    def __init__(self, place, level):
        self.place = pathlib.Path(place)
        self.program = self.place / ("tally" + level)
        self.recording = self.place / ("tally%s.out" % level)
        output_of(COMPILER, "-g", level, HERE / "tally.cpp", "-o", self.program)
        output_of(*RECORD, "--demangle=no", "--callgrind-out-file=%s" % self.recording, self.program)
        self.text = output_of(TOOL, "--root", HERE, self.program, self.recording)
        self.rows = rows_of(self.text)
        self.annotation = output_of("callgrind_annotate", "--threshold=100", "--show-percs=no",
                                    "--tree=caller", self.recording)

    def hits(self, **wanted):
        return sum(row["HitCount"] for row in self.rows
                   if all(row[column] == value for column, value in wanted.items()))

    def hits_by_block(self, column, words):
        """block -> hits of the rows that leave or reach it"""
        sums = collections.Counter()
        for row in self.rows:
            if row["TypeOfBranch"] in words:
                sums[row[column]] += row["HitCount"]
        return sums

    def annotated_calls(self):
        """(caller, callee) -> calls, recursion levels taken together"""
        calls = collections.Counter()
        callers = []
        for line in self.annotation.splitlines():
            caller = re.match(r" *[\d,]+ +< \S*?:(\S+?)(?:'\d+)? \(([\d,]+)x\)", line)
            callee = re.match(r" *[\d,]+ +\* +\S*?:(\S+?)(?:'\d+)?(?: \[|$)", line)
            if caller:
                callers.append((caller[1], number(caller[2])))
            elif callee:
                for name, count in callers:
                    calls[name, callee[1]] += count
                callers = []
        return {pair: count for pair, count in calls.items() if pair[0] in OURS and pair[1] in OURS}

    def annotated_instructions(self):
        """function -> instructions executed in it, recursion levels taken together"""
        sums = collections.Counter()
        for line in self.annotation.splitlines():
            match = re.match(r" *([\d,]+) +\* +\S*?:(\S+?)(?:'\d+)?(?: \[|$)", line)
            if match and match[2] in OURS:
                sums[match[2]] += number(match[1])
        return sums


def for_each_build(test):
    def run(self):
        for level, build in self.builds.items():
            with self.subTest(level):
                test(self, build)
    return run


class CallgrindToEdges(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.place = tempfile.mkdtemp()
        cls.builds = {level: Recorded(cls.place, level) for level in ("-O0", "-O2")}

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.place)

    @for_each_build
    def test_header_names_the_columns_of_the_format(self, build):
        self.assertEqual(
            build.text.splitlines()[0],
            "FromAddress,TypeOfBranch,EntryBlock,FromSourceFile,FromSourceLine,"
            "FromSourceOffsetLine,FromSourceColumn,FromSourceDiscriminator,FromFunctionMangled,"
            "DestinationAddress,DestinationEndOfBlockAddress,DestinationSourceFile,"
            "DestinationSourceLine,DestinationSourceOffsetLine,DestinationSourceColumn,"
            "DestinationSourceDiscriminator,DestinationFunctionMangled,HitCount")

    @for_each_build
    def test_calls_are_those_of_callgrind_annotate(self, build):
        calls = collections.Counter()
        for row in build.rows:
            if row["TypeOfBranch"] in ("Call", "IndCall", "Jump", "IndJump"):
                calls[row["FromFunctionMangled"], row["DestinationFunctionMangled"]] += row["HitCount"]
        ours = {pair: n for pair, n in calls.items() if pair[0] in OURS and pair[1] in OURS}
        # Inside a function an indirect jump is one of a jump table, no call.
        ours = {pair: n for pair, n in ours.items() if pair != (PICK, PICK)}
        self.assertEqual(ours, build.annotated_calls())
        self.assertEqual(ours["work", SQUARE], 75)
        self.assertEqual(ours[LEAVE, PICK], 50)

    @for_each_build
    def test_instructions_of_the_blocks_are_those_of_callgrind_annotate(self, build):
        code, starts = list(instructions(build.program)), symbols(build.program)
        blocks = {row["DestinationEndOfBlockAddress"]: int(row["DestinationAddress"], 16)
                  for row in build.rows}
        executed = build.hits_by_block("FromAddress", ("Call", "IndCall"))
        for end, hits in build.hits_by_block(
                "FromAddress", ("Cond", "Uncond", "IndJump", "Jump", "FallThrough", "Ret")).items():
            executed.setdefault(end, hits)
        sums = collections.Counter()
        for end, function, entry in {(row["FromAddress"], row["FromFunctionMangled"], row["EntryBlock"])
                                     for row in build.rows}:
            if function in OURS:
                first = starts[function] if entry == "yes" else blocks[end]
                length = sum(first <= address <= int(end, 16) for address in code)
                sums[function] += executed[end] * length
        expected = build.annotated_instructions()
        # There the instructions of linkage stubs count as the caller's: sort, work and main call libraries.
        for function in ("sort", "work", "main"):
            self.assertLessEqual(expected[function] - sums[function], 10)
            self.assertLessEqual(sums[function], expected[function])
            del expected[function], sums[function]
        self.assertEqual(sums, expected)

    @for_each_build
    def test_what_enters_a_block_leaves_it(self, build):
        inside = ("Cond", "Uncond", "IndJump", "FallThrough")
        reached = build.hits_by_block("DestinationEndOfBlockAddress", inside + ("Jump", "Call", "IndCall"))
        left = build.hits_by_block("FromAddress", inside + ("Jump", "Ret"))
        ends = {row["FromAddress"] for row in build.rows
                if row["FromFunctionMangled"] in OURS and row["FromFunctionMangled"] not in
                ("main", COMPARE)}  # these two are called by libraries
        self.assertGreater(len(ends), 20)
        self.assertEqual({end: reached[end] for end in ends}, {end: left[end] for end in ends})

    @for_each_build
    def test_each_call_of_ours_returns(self, build):
        returns = sum(build.hits(TypeOfBranch="Ret", FromFunctionMangled=name,
                                 DestinationFunctionMangled="work") for name in OURS)
        self.assertEqual(returns, 300)
        self.assertEqual(build.hits(TypeOfBranch="Ret", FromFunctionMangled=COMPARE),
                         build.annotated_instructions()[COMPARE] // build_length(build, COMPARE))

    @for_each_build
    def test_blocks_chain_up(self, build):
        known = {row["FromAddress"] for row in build.rows}
        reached = {row["DestinationEndOfBlockAddress"] for row in build.rows
                   if row["DestinationFunctionMangled"] in OURS}
        self.assertEqual(reached - known, set())

    @for_each_build
    def test_positions_are_those_of_the_source(self, build):
        source = (HERE / "tally.cpp").read_text().splitlines()
        call = [row for row in build.rows if row["DestinationFunctionMangled"] == "work"
                and row["TypeOfBranch"] == "Call"]
        self.assertEqual([row["FromSourceFile"] for row in call], ["tally.cpp"])
        line = source[int(call[0]["FromSourceLine"]) - 1]
        self.assertIn("work(falling", line)
        self.assertGreater(int(call[0]["FromSourceColumn"]), line.index("std"))
        self.assertEqual(call[0]["FromSourceOffsetLine"], "3")

    def test_inlined_code_stands_under_the_function_that_it_is_in(self):
        rows = [row for row in self.builds["-O2"].rows if row["FromFunctionMangled"] == "work"]
        self.assertEqual({row["FromSourceFile"] for row in rows}, {"tally.cpp"})

    @unittest.skipIf("clang" in COMPILER, "this compiler writes none unless asked")
    def test_blocks_of_one_line_are_told_apart_by_discriminators(self):
        fill = {row["FromSourceDiscriminator"] for row in self.builds["-O0"].rows
                if row["FromFunctionMangled"] == FILL}
        self.assertGreater(len(fill), 1)

    @for_each_build
    def test_edgefold_reads_what_was_made(self, build):
        with tempfile.TemporaryDirectory() as place:
            (pathlib.Path(place) / "run.csv").write_text(build.text)
            output_of(EDGEFOLD, "-file", "run.csv", "-out", "run.db", place=place)
            with sqlite3.connect(pathlib.Path(place) / "run.db") as database:
                entries = dict(database.execute(
                    "SELECT sf_func_name, sf_exec_count FROM sf_functions"))
                hottest = database.execute(
                    "SELECT MAX(e.sf_exec_count) FROM sf_edges e JOIN sf_functions f "
                    "ON f.sf_id = e.sf_from_func_id WHERE f.sf_func_name = 'work'").fetchone()[0]
        self.assertEqual({name: entries[name] for name in ("work", PICK, LEAVE, SQUARE, BOX)},
                         {"work": 1, PICK: 150, LEAVE: 100, SQUARE: 75, BOX: 25})
        self.assertEqual(hottest, 100)

    def test_blocks_are_cut_like_those_of_another_recording(self):
        full = self.builds["-O0"]
        recording = full.place / "falling.out"
        output_of(*RECORD, "--callgrind-out-file=%s" % recording, full.program, "falling")

        def edges(rows):
            return {(row["FromAddress"], row["DestinationAddress"], row["DestinationEndOfBlockAddress"])
                    for row in rows
                    if row["FromFunctionMangled"] == row["DestinationFunctionMangled"] == PICK}

        alone = edges(rows_of(output_of(TOOL, full.program, recording)))
        alike = edges(rows_of(output_of(TOOL, "--cut-like", full.recording, full.program, recording)))
        self.assertFalse(alone <= edges(full.rows))
        self.assertLessEqual(alike, edges(full.rows))

    def test_calls_through_stubs_and_calls_that_never_come_back_have_their_true_counts(self):
        program, recording = pathlib.Path(self.place) / "astray", pathlib.Path(self.place) / "astray.out"
        output_of(COMPILER, "-g", HERE / "astray.s", "-o", program)
        output_of(*RECORD, "--callgrind-out-file=%s" % recording, program)
        labels = {"0x%x" % address: name for name, address in symbols(program).items()}
        rows = sorted((labels[row["FromAddress"]], row["TypeOfBranch"],
                       labels.get(row["DestinationAddress"], "elsewhere"), row["HitCount"])
                      for row in rows_of(output_of(TOOL, program, recording))
                      if row["FromFunctionMangled"] in ("main", "away"))
        self.assertEqual(rows, [
            ("beside_end", "Cond", "beside", 2),
            ("beside_end", "FallThrough", "turn", 1),
            ("enter", "Uncond", "beside", 1),
            ("first", "Call", "elsewhere", 1),
            ("first", "FallThrough", "second", 1),
            ("leave", "Call", "elsewhere", 1),
            ("second", "Call", "elsewhere", 1),
            ("second", "FallThrough", "third", 1),
            ("site", "Call", "away", 1),
            ("third", "Call", "elsewhere", 1),
            ("third", "FallThrough", "enter", 1),
            ("turn", "Uncond", "site", 1),
        ])

    def calls_of_namesakes(self, name):
        """(calls by file and name, executions by file and name) where a static function calls one of the same name"""
        place = pathlib.Path(tempfile.mkdtemp(dir=self.place))
        helper = 'static int helper(int n) __asm__("%s");\n__attribute__((noinline)) static int helper(int n)' % name
        (place / "a.c").write_text("extern int (*other)(int);\n%s { return other(n) + 1; }\n"
                                   "int main(void) { int sum = 0; for (int i = 0; i < 5; ++i) sum += helper(i);\n"
                                   "    return sum == 0; }\n" % helper)
        (place / "b.c").write_text("%s { return n * 3; }\nint (*other)(int) = helper;\n" % helper)
        output_of("gcc", "-g", "-O1", "a.c", "b.c", "-o", "program", place=place)
        output_of(*RECORD, "--callgrind-out-file=recording", "./program", place=place)
        (place / "run.csv").write_text(output_of(TOOL, "--root", place, "program", "recording", place=place))
        output_of(EDGEFOLD, "-nologo", "-quiet", "-file", "run.csv", "-out", "run.db", place=place)
        with sqlite3.connect(place / "run.db") as database:
            functions = "sf_functions f JOIN sf_filenames n ON n.sf_id = f.sf_file_id"
            calls = database.execute("SELECT sf_filename, sf_func_name, sf_to_func_name, c.sf_exec_count FROM %s "
                                     "JOIN sf_calls c ON f.sf_id = sf_from_func_id WHERE sf_filename = 'A.C'" % functions)
            entries = database.execute("SELECT sf_filename, f.sf_exec_count FROM %s WHERE sf_func_name <> 'main' "
                                       "AND sf_filename IN ('A.C', 'B.C') ORDER BY 1" % functions)
            return set(calls.fetchall()), entries.fetchall()

    def test_call_of_a_function_of_the_callers_name_counts_for_the_other_one(self):
        for name, stored in (("helper", "helper"), ("helper.isra.0", "helperisra.0"), ("helper.12", "helper")):
            self.assertEqual(self.calls_of_namesakes(name), (
                {("A.C", "main", stored, 5), ("A.C", stored, stored, 5)}, [("A.C", 5), ("B.C", 5)]))

    def test_program_without_a_part_of_its_debug_information_is_told(self):
        place = pathlib.Path(tempfile.mkdtemp(dir=self.place))
        (place / "part.c").write_text("int main(void) { return 0; }\n")
        output_of("gcc", "-c", "-gdwarf-4", "-gsplit-dwarf", "part.c", "-o", "part.o", place=place)
        output_of("gcc", "part.o", "-o", "program", place=place)
        part = place / "part.dwo"
        recording = place / "recording"
        output_of(*RECORD, "--callgrind-out-file=%s" % recording, place / "program")
        rows = rows_of(output_of(TOOL, place / "program", recording))
        part.rename(place / "away")
        missing = (1, "callgrind2edges: %s: its debug information is incomplete: part.dwo isn't there, or not of this "
                      "build (packed .dwp files aren't read)\n" % (place / "program"))
        self.assertEqual(failure_of(TOOL, place / "program", recording), missing)
        part.write_bytes(b"no debug information")
        self.assertEqual(failure_of(TOOL, place / "program", recording), missing)
        (place / "away").replace(part)
        self.assertEqual(rows_of(output_of(TOOL, place / "program", recording)), rows)

    def test_several_recordings_are_one_run(self):
        build = self.builds["-O2"]
        twice = rows_of(output_of(TOOL, "--root", HERE, build.program, build.recording, build.recording))
        self.assertEqual(sum(row["HitCount"] for row in twice), 2 * sum(row["HitCount"] for row in build.rows))


def build_length(build, function):
    """Instructions of a function without branches."""
    starts = sorted(symbols(build.program).values())
    first = symbols(build.program)[function]
    end = next(start for start in starts if start > first)
    code = [(address, text) for address, text in instructions(build.program).items() if first <= address < end]
    return next(i for i, (_, text) in enumerate(code, 1) if text.startswith("ret"))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
