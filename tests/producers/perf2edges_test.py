#!/usr/bin/env python3
"""Converts branch stacks, written as perf script prints them, of a small program in assembler.

    perf2edges_test.py COMPILER EDGEFOLD PERF2EDGES
"""

import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

from tool_support import HERE, failure_of, output_of, rows_of, symbols

COMPILER = sys.argv[1]
EDGEFOLD, TOOL = (pathlib.Path(program).resolve() for program in sys.argv[2:4])
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

    def convert(self, text, flag="-no-pie", *options):
        stacks = self.place / "stacks.txt"
        stacks.write_text(text)
        self.text = output_of(TOOL, "--root", HERE, *options, self.builds[flag][0], stacks)
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
            "0x%x,FallThrough,yes,steps.s,16,0,0,0,work,0x%x,0x%x,steps.s,20,4,0,0,work,1" %
            (names["work"], names["loop"], names["loop_end"]),
            "0x%x,Cond,no,steps.s,20,4,0,0,work,0x%x,0x%x,steps.s,20,4,0,0,work,1" %
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

    def loop_of(self, process, base=0, head=None):
        """One line: the loop's branch, taken by the process"""
        flag = "-pie" if base else "-no-pie"
        return "%s  %s\n" % (head or "   %d" % process, self.stack(("loop_end", "loop"), base=base, flag=flag))

    def hits_of_loop(self, text, flag="-pie"):
        rows = self.named(self.convert(text, flag), flag)
        self.assertEqual([row[:3] for row in rows], [("loop_end", "Cond", "loop_end")])
        return rows[0][3]

    def test_process_that_begins_the_program_counts_from_then_on(self):
        base = 0x555500000000
        shell = self.mapping(77, base).replace(os.path.realpath(self.builds["-pie"][0]), "/bin/sh")
        text = (shell + self.loop_of(77, base) + "sh 77 1.0: PERF_RECORD_COMM exec: steps:77/77\n" +
                self.mapping(77, base) + self.loop_of(77, base) * 2)
        self.assertEqual(self.hits_of_loop(text), 2)

    def test_process_that_begins_another_program_counts_no_longer(self):
        base = 0x555500000000
        text = (self.mapping(77, base) + self.loop_of(77, base) + "steps 77 1.0: PERF_RECORD_COMM exec: sh:77/77\n" +
                self.loop_of(77, base) * 2)
        self.assertEqual(self.hits_of_loop(text), 1)

    def test_child_of_the_second_process_has_its_addresses(self):
        text = (self.mapping(77, 0x555500000000) + self.mapping(78, 0x556600000000) +
                "steps 78 1.0: PERF_RECORD_FORK(99:99):(78:78)\n" + self.loop_of(99, 0x556600000000))
        self.assertEqual(self.hits_of_loop(text), 1)

    def test_threads_count_for_their_process(self):
        base = 0x556600000000
        text = (self.mapping(77, 0x555500000000) + self.mapping(78, base) +
                "steps 78 1.0: PERF_RECORD_FORK(78:80):(78:78)\n" + self.loop_of(80, base) +
                self.loop_of(78, base, "steps   78/80   [003] 1.5: 1 cycles:u:"))
        self.assertEqual(self.hits_of_loop(text), 2)

    def test_library_counts_while_it_is_loaded(self):
        base, library = 0x7f0000000000, self.builds["-pie"][0]
        other = self.mapping(77, base).replace(os.path.realpath(library), "/lib/other.so")
        text = (self.mapping(77, 0x400000, program="-no-pie") + self.loop_of(77) + self.loop_of(77, base) +
                self.mapping(77, base) + self.loop_of(77, base) * 2 + other + self.loop_of(77, base))
        rows = self.convert(text, "-no-pie", "--library", library)
        self.assertEqual([row["HitCount"] for row in rows], [1, 2])

    def test_kernel_and_processes_of_other_programs_are_left_out(self):
        other = self.mapping(78, 0x400000, program="-no-pie").replace(
            os.path.realpath(self.builds["-no-pie"][0]), "/bin/other")
        kernel = "swapper 0 1.0: PERF_RECORD_MMAP -1/0: [0xffffffff81000000(0x1f) @ 0xffffffff81000000]: x [kernel]\n"
        text = (kernel + self.mapping(77, 0x400000, program="-no-pie") + other + self.loop_of(78) + self.loop_of(77) +
                "   77  0xffffffff81000010/0xffffffff81000020/P/-/-/1\n")
        self.assertEqual(self.hits_of_loop(text, "-no-pie"), 1)

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

    def test_file_names_and_further_flags_in_the_entries_are_skipped(self):
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

    def test_entry_of_a_library_that_is_given_has_rows(self):
        library, places = self.builds["-pie"]
        text = (self.mapping(77, 0x400000, program="-no-pie") +
                self.mapping(77, 0x7f0000000000) +
                "   77  " + self.stack(("loop_end", "loop"), base=0x7f0000000000, flag="-pie") + " " +
                self.stack(("loop_end", "loop")) + "\n")
        rows = self.convert(text, "-no-pie", "--library", library)
        addresses = [int(row["FromAddress"], 16) for row in rows]
        self.assertEqual(addresses[0], self.builds["-no-pie"][1]["loop_end"])
        self.assertEqual(addresses[1] % (1 << 48), places["loop_end"])
        self.assertNotEqual(addresses[1], places["loop_end"])
        self.assertEqual([(row["FromFunctionMangled"], row["HitCount"]) for row in rows], [("work", 1)] * 2)

    def test_call_through_a_linkage_stub_goes_to_the_function_behind_it(self):
        library, places = self.builds["-pie"]
        program = self.place / "steps-calls"
        source = self.place / "calls.s"
        source.write_text("  .globl main\n .type main, @function\nmain:\n call labs@PLT\n ret\n .size main, . - main\n"
                          "  .section .note.GNU-stack, \"\", @progbits\n")
        output_of(COMPILER, "-g", "-no-pie", source, "-o", program)
        text = output_of("objdump", "-d", "--no-show-raw-insn", program)
        call, stub = re.search(r"(\w+):\s+call\s+(\w+) <labs@plt>", text).groups()
        jump = re.search(r"<labs@plt>:\n(?:.*endbr64.*\n)?\s*(\w+):\s+(?:bnd )?jmp", text)[1]
        mapped = self.mapping(77, 0x400000).replace(os.path.realpath(library), os.path.realpath(program))
        mapped = mapped.replace("[0x401000(0x1000) @ 0x1000", "[0x400000(0x3000) @ 0")
        base = 0x7f0000000000
        stack = "77 0x%x/0x%x/P 0x%s/0x%x/P/- 0x%s/0x%s/P/-\n" % (
            base + places["work_ret"], int(call, 16) + 5, jump, base + places["work"], call, stub)
        stacks = self.place / "stacks.txt"
        stacks.write_text(mapped + self.mapping(77, base) + stack)
        rows = rows_of(output_of(TOOL, "--library", library, program, stacks))
        self.assertEqual([(row["TypeOfBranch"], row["FromFunctionMangled"], row["DestinationFunctionMangled"])
                          for row in rows],
                         [("FallThrough", "main", "main"), ("Call", "main", "work"), ("Ret", "work", "main")])

    def names_of_calls_into_the_library(self, places, identity):
        """The names that calls from main get, of these places in the library, which isn't given."""
        base = 0x7f0000000000
        text = self.mapping(77, 0x400000, program="-no-pie") + self.mapping(77, base).replace("fe:00 110 904", identity)
        for place in places:
            text += "   77  " + self.stack(("call_work", "0x%x" % (base + place))) + "\n"
        return sorted(row["DestinationFunctionMangled"] for row in self.convert(text))

    def test_calls_of_a_file_that_isnt_given_go_by_the_names_that_the_file_has(self):
        library, places = self.builds["-pie"]
        inode = "fe:00 %d 904" % library.stat().st_ino
        self.assertEqual(self.names_of_calls_into_the_library([places["work"]] * 2, inode), ["work"])
        self.assertEqual(self.names_of_calls_into_the_library([places["main"]], inode), ["main."])  # not the caller
        self.assertEqual(self.names_of_calls_into_the_library([places["loop"]], inode), ["NA"])  # no function
        notes = output_of("readelf", "-n", library)
        build_id = re.search(r"Build ID: (\w+)", notes)[1]
        self.assertEqual(self.names_of_calls_into_the_library([places["work"]], "<%s>" % build_id), ["work"])

    def test_calls_of_a_file_that_may_be_another_one_have_no_name(self):
        work = self.builds["-pie"][1]["work"]
        inode = self.builds["-pie"][0].stat().st_ino
        for identity in ("<0123abcd>", "fe:00 %d 904" % (inode + 1), ""):
            self.assertEqual(self.names_of_calls_into_the_library([work], identity), ["NA"])

    def test_blocks_are_cut_where_branches_of_another_recording_lead(self):
        program, source = self.place / "table", self.place / "table.s"
        source.write_text("  .globl main\n .type main, @function\nmain:\n jmp *%rax\none:\n nop\ntwo:\n ret\n"
                          "  .size main, . - main\n .section .note.GNU-stack, \"\", @progbits\n")
        output_of(COMPILER, "-g", "-no-pie", source, "-o", program)
        places = symbols(program)
        for name in ("one", "two"):
            (self.place / name).write_text("77 0x%x/0x%x/P/-/-/1\n" % (places["main"], places[name]))
        for options, end in (((), "two"), (("--cut-like", self.place / "two"), "one")):
            rows = rows_of(output_of(TOOL, *options, program, self.place / "one"))
            self.assertEqual([(row["DestinationEndOfBlockAddress"], row["HitCount"]) for row in rows],
                             [("0x%x" % places[end], 1)])

    def test_interrupted_way_counts_up_to_the_block_and_on_from_it(self):
        names = self.builds["-no-pie"][1]
        kernel = "0xffffffff81000000"
        rows = self.convert(self.stack(("work_ret", "after_work"), (kernel, "skip_to"), ("skip_to", kernel),
                                       ("skip", "skip_to"), ("call_work", "work")) + "\n")
        self.assertEqual(self.named(rows), [
            ("call_work", "Call", "work", 1),
            ("call_work", "FallThrough", "main_ret", 1),
            ("loop_end", "FallThrough", "skip", 1),
            ("skip", "Uncond", "work_ret", 1),
            ("work", "FallThrough", "loop_end", 1),
            ("work_ret", "Ret", "main_ret", 1),
        ])
        self.assertNotEqual(names["skip_to"], names["work_ret"])

    def test_counts_are_divided_by_the_scale_and_stay_at_least_one(self):
        text = (self.stack(("loop_end", "loop")) + "\n") * 14 + self.stack(("skip", "skip_to")) + "\n"
        self.assertEqual(self.named(self.convert(text, "-no-pie", "--scale", "4")),
                         [("loop_end", "Cond", "loop_end", 4), ("skip", "Uncond", "work_ret", 1)])

    def test_summary_tells_rows_hits_and_what_is_missing(self):
        stacks = self.place / "stacks.txt"
        stacks.write_text(self.stack(("loop_end", "loop"), (LIBRARY, LIBRARY), ("loop_end", "loop")) + "\n")
        self.assertEqual(failure_of(TOOL, self.builds["-no-pie"][0], stacks), (
            0, "perf2edges: 1 rows, 2 hits; 0.0 % of the hits without a line, which edgefold doesn't count; 33.3 % of "
            "the recording outside of the program\n"))

    def test_standard_input_is_read_for_a_dash(self):
        self.assertEqual(self.failure("-", given=self.stack(("loop_end", "loop")) + "\n")[0], 0)

    def test_file_names_may_begin_with_a_dash(self):
        for name, text in (("-program", None), ("-stacks", self.stack(("loop_end", "loop")) + "\n")):
            if text is None:
                shutil.copy(self.builds["-no-pie"][0], self.place / name)
            else:
                (self.place / name).write_text(text)
        status, _ = failure_of(TOOL, "--", "-program", "-stacks", place=self.place)
        self.assertEqual(status, 0)

    # -- mistakes

    def failure(self, stacks, program=None, given=""):
        """(status, message) of a conversion, without the program's name in front"""
        done = subprocess.run([str(TOOL), str(program or self.builds["-no-pie"][0]), str(stacks)], input=given,
                              capture_output=True, text=True, check=False)
        if done.returncode:
            self.assertEqual(done.stdout, "")
        return done.returncode, done.stderr.removeprefix("perf2edges: ")

    def failure_with(self, text, flag="-no-pie"):
        stacks = self.place / "stacks.txt"
        stacks.write_text(text)
        return self.failure(stacks, self.builds[flag][0])

    def test_text_without_branch_stacks_is_reported(self):
        empty = self.place / "empty.txt"
        empty.write_text("  77  401136 main\n")
        self.assertEqual(self.failure(empty), (
            1, "%s has no branch stacks: record with perf record -b, print with perf script "
            "-F pid,brstack --show-mmap-events\n" % empty))

    def test_recording_that_wasnt_printed_is_reported(self):
        recording = self.place / "perf.data"
        recording.write_bytes(b"PERFILE2" + bytes(100))
        self.assertEqual(self.failure(recording), (
            1, "%s is what perf record wrote: print it with perf script -F pid,brstack --show-mmap-events\n" %
            recording))

    def test_swapped_arguments_are_reported(self):
        stacks = self.place / "stacks.txt"
        stacks.write_text("77 0x1/0x2/P/-/-/1\n")
        program = self.builds["-pie"][0]
        self.assertEqual(self.failure(program, stacks),
                         (1, "%s is a program and %s is none: the program comes first\n" % (program, stacks)))

    def test_files_that_cant_be_read_are_reported(self):
        missing = self.place / "missing"
        self.assertEqual(self.failure(missing), (1, "%s: No such file or directory\n" % missing))
        self.assertEqual(self.failure(self.place), (1, "%s: Is a directory\n" % self.place))
        self.assertEqual(self.failure(missing, missing)[0], 1)

    def test_recording_of_another_program_is_reported(self):
        text = self.mapping(77, 0x400000, program="-no-pie").replace("steps-no-pie", "other")
        self.assertEqual(self.failure_with(text + "77 0x401000/0x401010/P/-/-/1\n"), (
            1, "the recording is not of %s, but of %s\n" % (self.builds["-no-pie"][0], self.place / "other")))

    def test_recording_of_a_moved_program_without_its_places_is_reported(self):
        status, message = self.failure_with(self.stack(("loop_end", "loop"), base=0x555500000000, flag="-pie"), "-pie")
        self.assertEqual((status, message), (1, "no branch of %s lies in %s: print it with --show-mmap-events\n" %
                                             (self.place / "stacks.txt", self.builds["-pie"][0])))

    def test_other_build_id_is_reported(self):
        text = self.mapping(77, 0x400000, program="-no-pie").replace("fe:00 110 904", "<0123abcd>")
        status, message = self.failure_with(text + self.stack(("loop_end", "loop")))
        self.assertEqual(status, 1)
        self.assertIn("%s: the recording is of another build, with the build-id 0123abcd instead of" %
                      self.builds["-no-pie"][0], message)

    def test_branches_that_the_program_cant_have_taken_are_reported(self):
        fitting = (self.stack(("loop_end", "loop")) + "\n") * 9
        for branch in (("skip_to", "work"), ("loop_end", "skip"), ("loop_end", "0x401000")):
            status, message = self.failure_with(fitting + self.stack(branch) + "\n")
            self.assertEqual((status, message), (
                1, "%s: 10 %% of the branches recorded there don't fit its instructions: the recording is of another "
                "build\n" % self.builds["-no-pie"][0]))

    def test_few_branches_astray_are_left_out_with_a_warning(self):
        text = (self.stack(("loop_end", "loop")) + "\n") * 99 + self.stack(("skip_to", "work")) + "\n"
        status, message = self.failure_with(text)
        self.assertEqual(status, 0)
        self.assertIn("1 % of the branches recorded there don't fit its instructions\n", message)
        self.assertIn("1 rows, 99 hits", message)

    def test_damaged_entries_are_left_out_with_a_warning(self):
        status, message = self.failure_with(self.stack(("loop_end", "loop")) + " 0x4011/0x40\n")
        self.assertEqual(status, 0)
        self.assertIn("warning: %s: 1 entries or events can't be read\n" % (self.place / "stacks.txt"), message)

    def test_wrong_use_is_reported(self):
        self.assertEqual(failure_of(TOOL, "program"), (
            2, "perf2edges: STACKS is required\nTry 'perf2edges --help'.\n"))

    def test_version_is_reported(self):
        self.assertRegex(output_of(TOOL, "--version"), r"^perf2edges \d+\.\d+\.\d+\n$")

    def test_help_tells_how_to_record(self):
        text = output_of(TOOL, "--help")
        for word in ("Event and rate", "-a, --pid", "Machines without branch stacks", "One conversion"):
            self.assertIn(word, text)

    def test_reader_that_stops_early_gets_no_message(self):
        stacks = self.place / "stacks.txt"
        stacks.write_text(self.stack(("loop_end", "loop")) + "\n")
        gone, output = os.pipe()
        os.close(gone)
        done = subprocess.run([TOOL, self.builds["-no-pie"][0], stacks], stdout=output, stderr=subprocess.PIPE,
                              text=True, check=False)
        os.close(output)
        self.assertEqual((done.returncode, done.stderr), (1, ""))

    def test_rows_that_cant_be_written_are_reported(self):
        stacks = self.place / "stacks.txt"
        stacks.write_text(self.stack(("loop_end", "loop")) + "\n")
        with open("/dev/full", "w", encoding="ascii") as full:
            done = subprocess.run([TOOL, self.builds["-no-pie"][0], stacks], stdout=full, stderr=subprocess.PIPE,
                                  text=True, check=False)
        self.assertEqual((done.returncode, done.stderr),
                         (1, "perf2edges: standard output: No space left on device\n"))

    def test_program_without_debug_information_is_reported(self):
        bare = self.place / "bare"
        output_of(COMPILER, "-no-pie", HERE / "steps.s", "-o", bare)
        stacks = self.place / "stacks.txt"
        stacks.write_text("77 0x1/0x2/P/-/-/1\n")
        status, message = self.failure(stacks, bare)
        self.assertEqual(status, 1)
        self.assertIn("has no debug information: compile it with -g", message)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
