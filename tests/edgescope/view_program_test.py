#!/usr/bin/env python3
"""A page with the program at hand: each line's count is known from the source, those of an inlined
function too.

    view_program_test.py EDGEFOLD EDGESCOPE
"""

import base64
import gzip
import json
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True

import llvm_program_test as recording  # noqa: E402

DATA = re.compile(r'<script type="application/gzip" id="([^"]*)">([^<]*)</script>')


class Page(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.scratch = tempfile.TemporaryDirectory()
        cls.place = pathlib.Path(cls.scratch.name)
        cls.program, cls.database = recording.record(cls.place, "hot_paths", recording.FLAGS)
        page = cls.place / "page.html"
        recording.run(EDGESCOPE, "view", cls.database, "--program", cls.program, "--source",
                      recording.HERE, "-o", page)
        cls.data = {name: json.loads(gzip.decompress(base64.b64decode(text)))
                    for name, text in DATA.findall(page.read_text(encoding="utf-8"))}

    @classmethod
    def tearDownClass(cls):
        cls.scratch.cleanup()

    def id_of(self, name):
        return self.data["functions"]["names"].index(name)

    def lines_of(self, name):
        return dict(self.data["flow-0"]["functions"][self.id_of(name)]["l"])

    def test_the_page_says_that_the_program_was_there(self):
        self.assertEqual(self.data["overview"]["has_program"], True)

    def test_a_function_begins_where_it_is_declared(self):
        self.assertEqual(self.data["functions"]["line"][self.id_of("work")], 15)

    def test_lines_have_the_count_of_the_instruction_that_ran_most(self):
        lines = self.lines_of("work")
        self.assertEqual({line: lines[line] for line in (18, 19, 20, 22, 24)},
                         {18: 1000, 19: 1000, 20: 1000, 22: 10, 24: 10})

    def test_a_line_that_did_not_run_has_a_count_of_0(self):
        self.assertEqual(self.lines_of("work")[23], 0)

    def test_an_inlined_function_has_lines_of_its_own(self):
        self.assertEqual(self.lines_of("work")[5], 1000)
        self.assertNotIn(5, self.lines_of("choose"))

    def test_a_source_has_the_lines_of_all_functions(self):
        source = self.data["source-%d" % self.data["functions"]["source"][self.id_of("work")]]
        counts = dict(source["counts"])
        self.assertEqual({line: counts[line] for line in (5, 8, 9, 12, 18, 23)},
                         {5: 1000, 8: 1010, 9: 30, 12: 40, 18: 1000, 23: 0})
        self.assertEqual(source["lines"], recording.SOURCE.read_text(encoding="utf-8").splitlines())

    def test_a_program_that_did_not_run_is_refused(self):
        other = self.place / "other"
        recording.run("clang", *recording.FLAGS, "-no-pie", "-Wl,-Ttext-segment=0x70000000",
                      recording.SOURCE, "-o", other)
        done = subprocess.run([EDGESCOPE, "view", self.database, "--program", other, "-o",
                               self.place / "none.html"], capture_output=True, text=True, check=False)
        self.assertEqual(done.returncode, 2)
        self.assertIn("isn't the program that ran", done.stderr)
        self.assertFalse((self.place / "none.html").exists())


if __name__ == "__main__":
    recording.EDGEFOLD, EDGESCOPE = map(pathlib.Path, sys.argv[1:3])
    unittest.main(argv=sys.argv[:1])
