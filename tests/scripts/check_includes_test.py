#!/usr/bin/env python3
"""Tests that the check of includes finds what it looks for."""

import pathlib
import sys
import unittest

sys.dont_write_bytecode = True
ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
sys.path.insert(0, str(ROOT / "scripts"))
import check_includes  # noqa: E402

# One include for each arrow that is allowed.
ALL_ARROWS = [("%s/a.cpp" % floor, "%s/b.h" % target)
              for floor, targets in check_includes.ALLOWED.items() for target in targets]
ALL_ARROWS += sorted(getattr(check_includes, "KNOWN_ARROWS", ()))


class CheckIncludesTest(unittest.TestCase):
    def faults(self, name, *lines):
        return list(check_includes.faults_of_lines({name: lines}))

    def circles(self, *includes):
        known = getattr(check_includes, "KNOWN_CIRCLES", ())
        return [fault for fault in check_includes.circles(includes)
                if not any(fault.startswith(room + " stands") for room in known)]

    def test_an_include_of_a_lower_floor_is_fine(self):
        self.assertEqual(self.faults("edgefold/a.cpp", '#include "diag/trace.h"'), [])

    def test_an_include_of_a_higher_floor_is_a_fault(self):
        self.assertEqual(self.faults("diag/a.cpp", "", '#include "edgefold/b.h"'),
                         ["src/diag/a.cpp:2: includes edgefold/b.h, which its floor may not"])

    def test_a_header_on_no_floor_is_a_fault(self):
        self.assertEqual(len(self.faults("diag/a.cpp", '#include "a.h"')), 1)
        self.assertEqual(len(self.faults("edgefold/a.cpp", '#include "../diag/a.h"')), 1)

    def test_the_system_is_seen_by_the_platform_alone(self):
        self.assertEqual(len(self.faults("diag/a.cpp", "#include <unistd.h>")), 1)
        self.assertEqual(len(self.faults("diag/a.cpp", "#ifdef _WIN32")), 1)
        self.assertEqual(self.faults("diag/platform_posix.cpp", "#include <unistd.h>"), [])
        self.assertEqual(self.faults("diag/a.cpp", "#include <vector>"), [])

    def test_each_arrow_must_be_used(self):
        self.assertEqual(list(check_includes.unused_arrows(ALL_ARROWS)), [])
        self.assertEqual(len(list(check_includes.unused_arrows(ALL_ARROWS[1:]))), 1)

    def test_rooms_that_include_each_other_are_a_fault(self):
        self.assertEqual(len(self.circles(("diag/a.h", "diag/b.h"), ("diag/b.cpp", "diag/a.h"))), 2)

    def test_a_circle_may_have_more_rooms(self):
        self.assertEqual(len(self.circles(("diag/a.h", "diag/b.h"), ("diag/b.h", "diag/c.h"),
                                          ("diag/c.h", "diag/a.h"))), 3)

    def test_a_source_and_its_header_are_one_room(self):
        self.assertEqual(self.circles(("diag/a.cpp", "diag/a.h"), ("diag/a_posix.cpp", "diag/a.h")),
                         [])

    def test_a_row_of_rooms_is_no_circle(self):
        self.assertEqual(self.circles(("diag/a.h", "diag/b.h"), ("diag/c.h", "diag/a.h"),
                                      ("diag/c.h", "diag/b.h")), [])

    def test_the_drawing_must_have_the_same_arrows(self):
        text = check_includes.DRAWING.read_text(encoding="utf-8")
        self.assertEqual(list(check_includes.faults_of_drawing(text)), [])
        wrong = text.replace("| `hotpath/names/` |", "| `hotpath/other/` |")
        self.assertGreaterEqual(len(list(check_includes.faults_of_drawing(wrong))), 2)

    def test_the_drawing_must_name_each_folder(self):
        text = check_includes.DRAWING.read_text(encoding="utf-8").replace("`tests/cli/`", "")
        self.assertEqual(list(check_includes.faults_of_drawing(text)),
                         ["docs/architecture.md: doesn't name the folder cli/"])


if __name__ == "__main__":
    unittest.main()
