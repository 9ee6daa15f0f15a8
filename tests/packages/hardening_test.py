"""What makes a weakness harder to use: read from the programs that are shipped, not from the flags of their build."""

import re
import unittest

from scratch_root import PROJECT, installed_root, run, unpacked_archive

# A frame this large must be touched page by page.
PROBE = re.compile(r"(orq|orl)\s+\$0x0,(0x[0-9a-f]+)?\(%rsp\)")
CANARY = "%fs:0x28"


def headers(program):
    return run(["readelf", "--wide", "--file-header", "--program-headers", "--dynamic", program])[0]


def functions(program, name):
    """The instructions of each function whose symbol has such a name."""
    text, _ = run(["objdump", "--disassemble", "--demangle", "--no-show-raw-insn", program])
    found = {}
    for block in text.split("\n\n"):
        match = re.match(r"[0-9a-f]+ <(%s)>:\n" % name, block.lstrip("\n"))
        if match:
            found[match[1]] = block.split(":\n", 1)[1]
    return found


class Hardening(unittest.TestCase):
    def shipped(self):
        programs = [*(installed_root().path / "usr/bin").iterdir(), *(unpacked_archive() / "bin").iterdir()]
        self.assertEqual(len(programs), 10)
        return programs

    def test_the_programs_get_addresses_of_their_own_in_each_run(self):
        for program in self.shipped():
            with self.subTest(program):
                self.assertRegex(headers(program), r"Type: +DYN")
                self.assertRegex(headers(program), r"\(FLAGS_1\).*PIE")

    def test_tables_of_the_linker_are_filled_at_start_and_then_read_only(self):
        for program in self.shipped():
            with self.subTest(program):
                self.assertRegex(headers(program), r"GNU_RELRO")
                self.assertRegex(headers(program), r"\(FLAGS(_1)?\).*(BIND_NOW|NOW)")

    def test_no_memory_is_writable_and_executable(self):
        for program in self.shipped():
            with self.subTest(program):
                flags = re.findall(r"^  (\w+) +0x\S+ 0x\S+ 0x\S+ 0x\S+ 0x\S+ ([RWE ]{3})", headers(program),
                                   flags=re.M)
                self.assertIn(("GNU_STACK", "RW "), flags)
                self.assertEqual([kind for kind, right in flags if "W" in right and "E" in right], [])


class HardenedCode(unittest.TestCase):
    """The same programs in front of their stripping, since names tell which code is ours."""

    def programs(self):
        for preset in ("release", "fast"):
            yield PROJECT / "build" / preset / "edgefold"

    def test_functions_begin_with_a_mark_for_jumps(self):
        for program in self.programs():
            with self.subTest(program):
                entry = functions(program, "main")["main"]
                self.assertIn("endbr64", entry.split("\n")[0])
        named = functions(PROJECT / "build/release/edgefold", r"(?:tool|diag|hotpath)::[\w:]+\(.*\)")
        marked = [name for name, code in named.items() if "endbr64" in code.split("\n")[0]]
        self.assertGreater(len(marked), 100)

    def test_functions_guard_their_stack(self):
        for program in self.programs():
            with self.subTest(program):
                code = functions(program, r"(?:tool|diag|hotpath)::[\w:]+\(.*\)|main")
                self.assertGreater(len([name for name in code if CANARY in code[name]]), 10)

    def test_large_frames_are_touched_page_by_page(self):
        for program in self.programs():
            with self.subTest(program):
                code = functions(program, r"diag::platform::module_path.*")
                self.assertTrue(any(map(PROBE.search, code.values())), code.keys())

    def test_calls_of_the_c_library_are_checked(self):
        for program in self.programs():
            with self.subTest(program):
                names, _ = run(["nm", program])
                self.assertRegex(names, r"__(memcpy|sprintf|snprintf|readlink|vsnprintf|fread|read)_chk")

    def test_indexes_of_containers_are_checked(self):
        for program in self.programs():
            with self.subTest(program):
                self.assertIn("__glibcxx_assert_fail", run(["nm", "--demangle", program])[0])


if __name__ == "__main__":
    unittest.main()
