#!/usr/bin/env python3
"""What makes a weakness harder to use, read from a program for another system or processor, in front of its stripping.

    cross_hardening_test.py OBJDUMP PROGRAM
"""

import re
import subprocess
import sys
import unittest

OBJDUMP, PROGRAM = sys.argv[1:3]
READELF = OBJDUMP.removesuffix("objdump") + "readelf"


def output(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def functions(name):
    """The instructions of each function whose symbol has such a name."""
    text = output(OBJDUMP, "--disassemble", "--demangle", "--no-show-raw-insn", PROGRAM)
    return dict(re.findall(r"(?ms)^[0-9a-f]+ <(%s)>:\n(.*?)(?=\n\n|\Z)" % name, text))


OUR_FUNCTIONS = r"(?:tool|diag|hotpath)::[\w:]+\([^\n]*\)|main"
HEADERS = output(OBJDUMP, "--private-headers", PROGRAM)
SYMBOLS = output(OBJDUMP, "--syms", "--demangle", PROGRAM)


class AnySystem(unittest.TestCase):
    def test_functions_guard_their_stack(self):
        self.assertIn("__stack_chk_fail", SYMBOLS)
        guarded = [name for name, code in functions(OUR_FUNCTIONS).items() if "__stack_chk" in code]
        self.assertGreater(len(guarded), 10)

    def test_indexes_of_containers_are_checked(self):
        self.assertIn("__glibcxx_assert_fail", SYMBOLS)


@unittest.skipUnless("DllCharacteristics" in HEADERS, "no program for Windows")
class Windows(unittest.TestCase):
    def test_it_gets_an_address_of_its_own_and_no_memory_is_writable_and_executable(self):
        marks = re.search(r"(?m)^DllCharacteristics.*\n((?:\s+\w+\n)+)", HEADERS)[1].split()
        self.assertLessEqual({"DYNAMIC_BASE", "HIGH_ENTROPY_VA", "NX_COMPAT"}, set(marks))

    def test_it_can_be_moved(self):
        self.assertRegex(output(OBJDUMP, "--section-headers", PROGRAM), r"(?m)^ *\d+ \.reloc ")

    def test_no_section_is_writable_and_executable(self):
        for name, flags in re.findall(r"(?m)^ *\d+ (\S+) .*\n +(.*)$", output(OBJDUMP, "--section-headers", PROGRAM)):
            self.assertTrue("CODE" not in flags or "READONLY" in flags, name)


@unittest.skipUnless("aarch64" in HEADERS, "no program for 64-bit ARM")
class Arm64(unittest.TestCase):
    def headers(self):
        return output(READELF, "--wide", "--file-header", "--program-headers", "--dynamic", PROGRAM)

    def test_it_gets_an_address_of_its_own(self):
        self.assertRegex(self.headers(), r"Type: +DYN")
        self.assertRegex(self.headers(), r"\(FLAGS_1\).*PIE")

    def test_tables_of_the_linker_are_filled_at_start_and_then_read_only(self):
        self.assertIn("GNU_RELRO", self.headers())
        self.assertRegex(self.headers(), r"\(FLAGS(_1)?\).*NOW")

    def test_no_memory_is_writable_and_executable(self):
        flags = re.findall(r"^  (\w+) +0x\S+ 0x\S+ 0x\S+ 0x\S+ 0x\S+ ([RWE ]{3})", self.headers(), flags=re.M)
        self.assertIn(("GNU_STACK", "RW "), flags)
        self.assertEqual([kind for kind, right in flags if "W" in right and "E" in right], [])

    def test_return_addresses_are_signed_and_jumps_lead_to_marked_places(self):
        code = functions(OUR_FUNCTIONS)
        self.assertGreater(len([name for name in code if "paciasp" in code[name]]), 100)
        marked = [name for name in code if re.search(r"\b(bti|paciasp)\b", code[name].split("\n")[0])]
        self.assertGreater(len(marked), 100)

    def test_calls_of_the_c_library_are_checked(self):
        self.assertRegex(SYMBOLS, r"__(memcpy|sprintf|snprintf|readlink|vsnprintf|fread|read)_chk")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
