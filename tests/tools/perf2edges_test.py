#!/usr/bin/env python3
"""Converts branch stacks, written as perf script prints them, of a small program in assembler.

    perf2edges_test.py COMPILER EDGEFOLD
"""

import os
import pathlib
import shutil
import sys
import tempfile
import unittest

from tool_support import HERE, TOOLS, failure_of, output_of, rows_of, skip_without, symbols

COMPILER, EDGEFOLD = sys.argv[1], pathlib.Path(sys.argv[2]).resolve()
TOOL = TOOLS / "perf2edges"
LIBRARY = "0x7f1234567890"


class PerfToEdges(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.place = pathlib.Path(tempfile.mkdtemp())
        cls.builds = {}
        for flag in ("-pie", "-no-pie"):
            program = cls.place / ("steps" + flag)
            output_of(COMPILER, "-g", flag, HERE / "steps.s", "-o", program)
            cls.builds[flag] = (program, symbols(program))

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.place)

    def convert(self, text, flag="-no-pie"):
        stacks = self.place / "stacks.txt"
        stacks.write_text(text)
        self.text = output_of(TOOL, "--root", HERE, self.builds[flag][0], stacks)
        return rows_of(self.text)

    def stack(self, *branches, base=0, flag="-no-pie"):
        """One sample's entries; the branches are given the newest first, as in a stack."""
        names = self.builds[flag][1]

        def address(name):
            return name if name.startswith("0x") else "0x%x" % (base + names[name])

        return " ".join("%s/%s/P/-/-/1" % (address(a), address(b)) for a, b in branches)

    def named(self, rows, flag="-no-pie"):
        """(source, kind, destination's block, hits) of each row, addresses by their labels"""
        labels = {}
        for name, address in self.builds[flag][1].items():
            if name not in ("main", "call_work") or address not in labels:
                labels["0x%x" % address] = name
        labels["0x%x" % self.builds[flag][1]["main"]] = "call_work"
        return sorted((labels[row["FromAddress"]], row["TypeOfBranch"],
                       labels.get(row["DestinationEndOfBlockAddress"], "elsewhere"), row["HitCount"])
                      for row in rows)

    def mapping(self, process, base, offset=0x1000, program="-pie"):
        return ("steps %d 1.0: PERF_RECORD_MMAP2 %d/%d: [0x%x(0x1000) @ 0x%x fe:00 110 904]: r-xp %s\n" %
                (process, process, process, base + offset, offset, os.path.realpath(self.builds[program][0])))

    def test_branches_returns_and_straight_ways_become_rows(self):
        rows = self.convert("   77  " + self.stack(
            ("main_ret", LIBRARY), ("work_ret", "after_work"), ("skip", "skip_to"), ("loop_end", "loop"),
            ("loop_end", "loop"), ("call_work", "work"), (LIBRARY, "main")) + "\n")
        self.assertEqual(self.named(rows), [
            ("call_work", "Call", "work", 1),
            ("call_work", "FallThrough", "main_ret", 1),
            ("loop_end", "Cond", "loop_end", 2),
            ("loop_end", "FallThrough", "skip", 1),
            ("main_ret", "Ret", "elsewhere", 1),
            ("skip", "Uncond", "work_ret", 1),
            ("work", "FallThrough", "loop_end", 1),
            ("work_ret", "Ret", "main_ret", 1),
        ])

    def test_rows_hold_names_positions_and_entry_blocks(self):
        self.convert(self.stack(("loop_end", "loop"), ("call_work", "work")) + "\n")
        names = self.builds["-no-pie"][1]
        self.assertEqual(self.text.splitlines()[1:], [
            "0x%x,Call,yes,steps.s,7,0,0,0,main,0x%x,0x%x,steps.s,16,0,0,0,work,1" %
            (names["call_work"], names["work"], names["work"]),
            "0x%x,FallThrough,yes,steps.s,16,0,0,0,work,0x%x,0x%x,steps.s,20,0,0,0,work,1" %
            (names["work"], names["loop"], names["loop_end"]),
            "0x%x,Cond,no,steps.s,20,0,0,0,work,0x%x,0x%x,steps.s,20,0,0,0,work,1" %
            (names["loop_end"], names["loop"], names["loop_end"]),
        ])

    def test_hits_of_samples_add_up(self):
        sample = self.stack(("loop_end", "loop"), ("loop_end", "loop")) + "\n"
        self.assertEqual(self.named(self.convert(sample * 3)), [("loop_end", "Cond", "loop_end", 6)])

    def test_each_process_has_its_own_addresses(self):
        text = (self.mapping(77, 0x555500000000) + self.mapping(78, 0x556600000000) +
                "   77  " + self.stack(("loop_end", "loop"), base=0x555500000000, flag="-pie") + "\n" +
                "   78  " + self.stack(("loop_end", "loop"), base=0x556600000000, flag="-pie") + "\n")
        self.assertEqual(self.named(self.convert(text, "-pie"), "-pie"), [("loop_end", "Cond", "loop_end", 2)])

    def test_forked_process_has_its_parents_addresses(self):
        text = (self.mapping(77, 0x555500000000) +
                "   99  " + self.stack(("loop_end", "loop"), base=0x555500000000, flag="-pie") + "\n")
        self.assertEqual(self.named(self.convert(text, "-pie"), "-pie"), [("loop_end", "Cond", "loop_end", 1)])

    def test_segment_offset_leads_to_the_linked_address(self):
        text = (self.mapping(77, 0x400000, program="-no-pie") +
                "   77  " + self.stack(("loop_end", "loop")) + "\n")
        self.assertEqual(self.named(self.convert(text)), [("loop_end", "Cond", "loop_end", 1)])

    def test_library_at_a_like_address_has_no_rows(self):
        text = (self.mapping(77, 0x555500000000) +
                "   77  " + self.stack(("loop_end", "loop"), flag="-pie") + " " +
                self.stack(("loop_end", "loop"), base=0x555500000000, flag="-pie") + "\n")
        self.assertEqual(self.named(self.convert(text, "-pie"), "-pie"), [("loop_end", "Cond", "loop_end", 1)])

    def test_way_over_a_jump_is_a_gap_in_the_stack(self):
        rows = self.convert(self.stack(("work_ret", "after_work"), ("call_work", "work")) + "\n")
        self.assertEqual(self.named(rows), [
            ("call_work", "Call", "work", 1),
            ("call_work", "FallThrough", "main_ret", 1),
            ("work_ret", "Ret", "main_ret", 1),
        ])

    def test_return_of_a_library_leads_on_behind_the_call(self):
        rows = self.convert(self.stack((LIBRARY, "after_work")) + "\n")
        self.assertEqual(self.named(rows), [("call_work", "FallThrough", "main_ret", 1)])

    def test_file_names_and_further_flags_in_the_entries_are_passed_over(self):
        names = self.builds["-no-pie"][1]
        text = "  77 0x%x(/tmp/steps)/0x%x(/tmp/steps)/M/-/-/12/COND/NON_SPEC_CORRECT_PATH\n" % (
            names["loop_end"], names["loop"])
        self.assertEqual(self.named(self.convert(text)), [("loop_end", "Cond", "loop_end", 1)])

    def test_edgefold_reads_what_was_made(self):
        self.convert(self.stack(("work_ret", "after_work"), ("skip", "skip_to"), ("loop_end", "loop"),
                                ("call_work", "work")) + "\n")
        (self.place / "run.csv").write_text(self.text)
        report = output_of(EDGEFOLD, "-nologo", "-file", "run.csv", "-dump", place=self.place)
        self.assertIn("       7                   1    work\n", report)

    def test_text_without_branch_stacks_is_told(self):
        empty = self.place / "empty.txt"
        empty.write_text("  77  401136 main\n")
        status, error = failure_of(TOOL, self.builds["-pie"][0], empty)
        self.assertEqual((status, error), (
            1, "perf2edges: %s has no branch stacks: record with perf record -b, print with perf script "
            "-F pid,brstack --show-mmap-events\n" % empty))


if __name__ == "__main__":
    skip_without("objdump", "readelf", "nm", "llvm-symbolizer")
    unittest.main(argv=sys.argv[:1])
