#!/usr/bin/env python3
"""Holds what the library says of small programs against binutils and llvm-symbolizer, each build of two compilers.

    program_test.py DUMP_PROGRAM
"""

import collections
import json
import os
import pathlib
import random
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

DUMP = sys.argv[1]
HERE = pathlib.Path(__file__).resolve().parent
SOURCE = HERE.parent / "producers" / "tally.cpp"
BUILDS = [(compiler, level, version) for compiler in ("g++", "clang++")
          for level in ("-O0", "-O1", "-O2", "-O3", "-Os") for version in ("-gdwarf-4", "-gdwarf-5")]
BUILDS += [("g++", "-O2", "-flto"), ("g++", "-O2", "-no-pie"), ("clang++", "-O2", "-ffunction-sections"),
           ("clang++", "-O2", "-fdebug-info-for-profiling")]
OTHER, REPEAT, CONDITIONAL, JUMP, INDIRECT_JUMP, CALL, INDIRECT_CALL, RETURN, STOP = range(9)

Function = collections.namedtuple("Function", "start end owner name line file")
Instruction = collections.namedtuple("Instruction", "address size kind target position frames")
Position = collections.namedtuple("Position", "line column discriminator file")
Frame = collections.namedtuple("Frame", "name line file call")


def output_of(*command, text=None, place=None):
    done = subprocess.run([str(word) for word in command], input=text, cwd=place, capture_output=True, text=True,
                          check=False)
    if done.returncode != 0:
        raise AssertionError("%s\n%s%s" % (command, done.stdout, done.stderr))
    return done.stdout


def position_of(words):
    return Position(*map(int, words[:3]), words[3])


class Dump:
    """The library's word."""

    def __init__(self, *arguments):
        self.functions = []
        self.instructions = []
        for line in output_of(DUMP, *arguments).splitlines():
            kind, *words = line.split("\t")
            if kind == "program":
                self.build_id, self.has_debug = words[0], words[1] == "1"
            elif kind == "function":
                start, end, owner = (int(word, 16) for word in words[:3])
                self.functions.append(Function(start, end, owner, words[3], int(words[4]), words[5]))
            else:
                frames = [Frame(words[i], int(words[i + 1]), words[i + 2], position_of(words[i + 3:]))
                          for i in range(8, len(words), 7)]
                self.instructions.append(Instruction(int(words[0], 16), int(words[1]), int(words[2]),
                                                     int(words[3], 16), position_of(words[4:]), frames))


def symbolized(program, addresses):
    """llvm-symbolizer's frames, innermost first, of each address"""
    text = "".join("0x%x\n" % address for address in addresses)
    answers = output_of("llvm-symbolizer", "--obj=%s" % program, "--output-style=JSON", "--no-demangle", text=text)
    return [json.loads(line).get("Symbol") or [] for line in answers.splitlines()]


def listing(program):
    """address -> mnemonic and operands"""
    text = output_of("objdump", "-d", "-w", "--no-show-raw-insn", program)
    return {int(address, 16): words for address, words in re.findall(r"^ *([0-9a-f]+):\t(.+)$", text, re.MULTILINE)}


def kind_of(words):
    """What objdump's text says about where control goes."""
    words = re.sub(r"^((?:bnd|notrack|cs|ds|data16|addr32|rex\S*)\s+)+", "", words)
    mnemonic = words.split()[0]
    if re.fullmatch(r"rep\w*", mnemonic):
        return RETURN if "ret" in words else REPEAT
    star = "*" in words.split("#")[0]
    if mnemonic.startswith("call"):
        return INDIRECT_CALL if star else CALL
    if mnemonic.startswith("jmp"):
        return INDIRECT_JUMP if star else JUMP
    if mnemonic.startswith("ret"):
        return RETURN
    if mnemonic in ("hlt", "ud2", "int3"):
        return STOP
    return CONDITIONAL if mnemonic.startswith("j") else OTHER


class AgainstOtherReaders(unittest.TestCase):
    maxDiff = 2000

    @classmethod
    def setUpClass(cls):
        cls.place = pathlib.Path(tempfile.mkdtemp())

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.place)

    def build(self, compiler, *flags, name=None):
        program = self.place / (name or re.sub(r"\W+", "_", "_".join((compiler,) + flags)))
        if not program.exists():
            output_of(compiler, *flags, SOURCE, "-o", program, place=self.place)
        return program

    def builds(self):
        for compiler, *flags in BUILDS:
            yield self.build(compiler, "-g", *flags)

    def test_instructions_are_those_of_objdump(self):
        for program in self.builds():
            known = listing(program)
            dump = Dump(program)
            self.assertGreater(len(dump.instructions), 200)
            for one in dump.instructions:
                self.assertIn(one.address, known)
                self.assertEqual(one.kind, kind_of(known[one.address]), (program, known[one.address]))
                if one.kind in (CONDITIONAL, JUMP, CALL):
                    target = re.search(r"\s([0-9a-f]+) <", known[one.address])
                    self.assertEqual(one.target, int(target[1], 16))
            for function in dump.functions:
                inside = sum(function.start <= address < function.end for address in known)
                ours = sum(function.start <= one.address < function.end for one in dump.instructions)
                self.assertEqual(ours, inside, function.name)

    def test_positions_and_inlined_functions_are_those_of_llvm_symbolizer(self):
        for program in self.builds():
            self.check_positions(program)

    def check_positions(self, program, reference=None):
        dump = Dump(program)
        answers = symbolized(reference or program, [one.address for one in dump.instructions])
        self.assertEqual(len(answers), len(dump.instructions))
        compared = 0
        for one, frames in zip(dump.instructions, answers):
            if not one.frames:
                continue
            compared += 1
            where = "%s %x" % (program, one.address)
            self.assertEqual([frame.name for frame in one.frames],
                             [frame["FunctionName"] for frame in frames], where)
            self.assertEqual([frame.line for frame in one.frames], [frame["StartLine"] for frame in frames], where)
            places = [one.position] + [frame.call for frame in one.frames[:-1]]
            self.assertEqual([place[:2] for place in places],
                             [(frame["Line"], frame["Column"]) for frame in frames], where)
            self.assertEqual([os.path.normpath(place.file) for place in places],
                             [os.path.normpath(frame["FileName"]) for frame in frames], where)
            self.assertEqual(one.position.discriminator, frames[0]["Discriminator"], where)
            for frame, other in zip(one.frames, frames):
                if other["StartFileName"]:  # it doesn't always say
                    self.assertEqual(os.path.normpath(frame.file), os.path.normpath(other["StartFileName"]), where)
        self.assertGreater(compared, 100)

    def test_debug_information_apart_gives_the_same(self):
        for compiler in ("g++", "clang++"):
            whole = self.build(compiler, "-g", "-O2")
            expected = Dump(whole)
            self.assertTrue(expected.has_debug)
            for name, commands in (
                    ("linked", [["objcopy", "--only-keep-debug", whole, "linked.debug"],
                                ["objcopy", "--strip-all", "--add-gnu-debuglink=linked.debug", whole, "linked"]]),
                    ("compressed", [["objcopy", "--compress-debug-sections=zlib", whole, "compressed"]])):
                for command in commands:
                    output_of(*command, place=self.place)
                self.assert_same(Dump(self.place / name), expected)
            (self.place / "linked.debug").rename(self.place / "moved")
            self.assertFalse(Dump(self.place / "linked").has_debug)
            self.assert_same(Dump(self.place / "linked", self.place / "moved"), expected)
            (self.place / ".debug").mkdir(exist_ok=True)
            (self.place / "moved").rename(self.place / ".debug" / "linked.debug")
            self.assert_same(Dump(self.place / "linked"), expected)

    def assert_same(self, dump, expected):
        self.assertEqual(dump.functions, expected.functions)
        self.assertEqual(dump.instructions, expected.instructions)

    def test_debug_information_of_split_units_is_found(self):
        for compiler in ("g++", "clang++"):
            for version in ("-gdwarf-4", "-gdwarf-5"):
                for level in ("-O0", "-O2"):
                    object_file = self.place / "split.o"
                    output_of(compiler, "-c", "-g", level, version, "-gsplit-dwarf", SOURCE, "-o", object_file)
                    program = self.place / "split"
                    output_of(compiler, object_file, "-o", program)
                    whole = Dump(self.build(compiler, "-g", level, version))
                    split = Dump(program)
                    self.assertEqual([(one.name, one.line, os.path.basename(one.file)) for one in split.functions],
                                     [(one.name, one.line, os.path.basename(one.file)) for one in whole.functions])
                    self.assertEqual([[frame.call[:3] for frame in one.frames] for one in split.instructions],
                                     [[frame.call[:3] for frame in one.frames] for one in whole.instructions])

    def test_file_of_another_build_is_refused(self):
        program = self.build("g++", "-g", "-O2")
        other = self.build("g++", "-g", "-O1", "-gdwarf-5")
        done = subprocess.run([DUMP, program, other], capture_output=True, text=True, check=False)
        self.assertEqual(done.returncode, 1)
        self.assertEqual(done.stderr, "%s: the debug file %s: is of another build\n" % (program, other))

    def test_functions_without_symbols_come_from_the_debug_information(self):
        program = self.build("g++", "-g", "-O2")
        bare = self.place / "bare"
        output_of("objcopy", "--remove-section=.symtab", "--remove-section=.strtab", program, bare)
        known = {(one.start, one.end, one.line) for one in Dump(program).functions if one.file}
        self.assertEqual({(one.start, one.end, one.line) for one in Dump(bare).functions if one.file}, known)

    def test_a_shared_library_is_read_like_a_program(self):
        library = self.build("g++", "-g", "-O2", "-shared", "-fPIC", name="libtally.so")
        self.check_positions(library)
        self.assertIn("work", {one.name for one in Dump(library).functions})

    def test_parts_that_are_seldom_run_belong_to_their_function(self):
        source = self.place / "cold.cpp"
        source.write_text("#include <cstdlib>\n#include <stdexcept>\n"
                          "__attribute__((noinline)) int half(int n) {\n"
                          "    if (n % 2) throw std::runtime_error(\"odd\");\n    return n / 2;\n}\n"
                          "int main(int argc, char**) { return half(argc - 1); }\n")
        program = self.place / "cold"
        output_of("g++", "-g", "-O2", source, "-o", program)
        parts = [one for one in Dump(program).functions if one.name == "_Z4halfi"]
        self.assertEqual(len(parts), 2)
        self.assertEqual({one.owner for one in parts}, {max(one.start for one in parts)})
        self.assertEqual({(one.line, os.path.basename(one.file)) for one in parts}, {(3, "cold.cpp")})

    def test_parts_belong_to_the_entry_even_if_the_debug_information_lists_it_last(self):
        source = self.place / "parts.c"
        source.write_text("#include <stdio.h>\nint total;\n__attribute__((noinline)) int work(int n) {\n"
                          "    if (n % 1000 == 999) {\n        printf(\"%d\\n\", n);\n        total += 7;\n    }\n"
                          "    return total += n;\n}\nint main(int argc, char** argv) { return work(argc); }\n")
        program = self.place / "parts"
        output_of("clang", "-g", "-gdwarf-4", "-O1", "-fbasic-block-sections=all", source, "-o", program)
        symbols = dict(reversed(line.split()[::2]) for line in output_of("nm", program).splitlines()
                       if line.split()[-1] in ("work", "main"))
        parts = [one for one in Dump(program).functions if one.name == "work"]
        self.assertGreater(len(parts), 1)
        self.assertEqual({one.owner for one in parts}, {int(symbols["work"], 16)})

    def test_damaged_programs_are_read_or_refused(self):
        whole = self.build("g++", "-g", "-O1", "-gdwarf-5").read_bytes()
        random.seed(1)
        damaged = self.place / "damaged"
        for i in range(200):
            data = bytearray(whole)
            for _ in range(random.choice((1, 10, 100))):
                data[random.randrange(len(data))] = random.randrange(256)
            damaged.write_bytes(data[:random.randrange(len(data))] if i % 4 == 0 else data)
            done = subprocess.run([DUMP, damaged], capture_output=True, check=False, timeout=60)
            self.assertIn(done.returncode, (0, 1), "round %d" % i)

    def test_what_is_no_program_is_reported(self):
        (self.place / "text").write_text("no program")
        for path, said in ((self.place / "text", "is no ELF file"), (self.place / "missing", "No such file or directory"),
                           (self.place, "is no ELF file")):
            done = subprocess.run([DUMP, path], capture_output=True, text=True, check=False)
            self.assertEqual((done.returncode, done.stderr), (1, "%s: %s\n" % (path, said)))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
