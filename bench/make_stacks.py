#!/usr/bin/env python3
"""Writes branch stacks of a program as perf script prints them, from a random walk through its code.

    make_stacks.py PROGRAM [--megabytes 500] [--depth 32] [--seed 1] > stacks.txt

No two stacks are alike: the walk goes on from one to the next, and each branch has a chance of its own to be taken. Calls of libraries go through their stub to an address outside of the program and come back. The same
arguments give the same bytes.
"""

import argparse
import bisect
import collections
import os
import random
import re
import subprocess
import sys

BASE = 0x555555554000  # where a position-independent program is loaded
LIBRARY = 0x7ffff7a00000
LONGEST = 500  # branches of one walk: some loops have no way out

LINE = re.compile(r"^\s*([0-9a-f]+):\t(?:bnd |notrack )?([a-z]\w*)\s*(\*?)(?:([0-9a-f]+)\b)?")
FUNCTION = re.compile(r"^([0-9a-f]+) <(.*)>:$")


class Code:
    """The instructions of the program's .text: what each does, and where its function lies."""

    def __init__(self, program):
        listing = subprocess.run(["objdump", "-d", "--no-show-raw-insn", program], check=True,
                                 capture_output=True, text=True).stdout
        self.addresses, self.words, self.targets, self.function = [], [], [], []
        self.starts = []
        self.stub_jumps = []  # addresses of jumps in linkage stubs
        section = ""
        for line in listing.splitlines():
            head = FUNCTION.match(line)
            if line.startswith("Disassembly of section "):
                section = line.split()[-1].rstrip(":")
            elif head and section == ".text":
                self.starts.append(len(self.addresses))
            found = LINE.match(line)
            if found and section.startswith(".plt") and found[2] == "jmp" and found[3]:
                self.stub_jumps.append(int(found[1], 16))
            elif found and section == ".text":
                self.addresses.append(int(found[1], 16))
                self.words.append(found[2] + found[3])
                self.targets.append(int(found[4], 16) if found[4] else None)
                self.function.append(len(self.starts))
        self.starts = [start for start in self.starts if start < len(self.addresses)]
        self.index = {address: i for i, address in enumerate(self.addresses)}
        self.labels = collections.defaultdict(list)  # function -> places that its jumps lead to
        for i, target in enumerate(self.targets):
            place = self.index.get(target)
            if self.words[i].startswith("j") and place is not None and self.function[place] == self.function[i]:
                self.labels[self.function[i]].append(place)
        self.next_branch = self._next_branches()

    def is_branch(self, i):
        return self.words[i].startswith(("j", "call", "ret", "ud2", "hlt"))

    def _next_branches(self):
        """For each instruction the first branch from there on, or None at the end of the code."""
        result, branch = [None] * len(self.addresses), None
        for i in range(len(self.addresses) - 1, -1, -1):
            if self.is_branch(i):
                branch = i
            result[i] = branch
        return result


class Walk:
    """Walks through the code, called by a library time and again, and takes each way by chance."""

    def __init__(self, code, base, chance):
        self.code, self.base, self.chance = code, base, chance
        self.taken = [chance.choice((0.02, 0.3, 0.5, 0.7, 0.95)) for _ in code.addresses]
        self.texts = {}

    def text(self, source, destination):
        key = source, destination
        if key not in self.texts:
            self.texts[key] = "0x%x/0x%x/P/-/-/" % key
        return self.texts[key]

    def place(self, i):
        return self.base + self.code.addresses[i]

    def branches(self):
        """The text of each branch taken, for ever; None where the walk breaks off."""
        while True:
            i, calls = self.chance.choice(self.code.starts), []
            yield self.text(LIBRARY, self.place(i))
            for _ in range(LONGEST):
                i = self.code.next_branch[i]
                taken, i = self.step(i, calls) if i is not None else ((), None)
                yield from taken
                if i is None:
                    break
            if not taken:
                yield None

    def step(self, i, calls):
        """What the branch at i gives: the texts of branches taken, and where the walk goes on, if it does."""
        code, word, target = self.code, self.code.words[i], self.code.targets[i]
        following = i + 1 if i + 1 < len(code.addresses) else None
        if word[0] == "j" and not word.startswith("jmp"):
            if self.chance.random() >= self.taken[i]:
                return (), following
            to = code.index.get(target)
        elif word == "ret":
            to = calls.pop() if calls else None
            if to is None:
                return (self.text(self.place(i), LIBRARY + 64),), None
        elif word.startswith("call"):
            if word == "call" and target not in code.index:
                return self.library_call(i, target, following), following
            to = code.index[target] if word == "call" else self.chance.choice(code.starts)
            calls.append(following)
        elif word == "jmp":
            to = code.index.get(target)
        else:
            labels = code.labels[code.function[i]] if word == "jmp*" else ()
            to = self.chance.choice(labels) if labels else None
        return (self.text(self.place(i), self.place(to)),) if to is not None else (), to

    def library_call(self, i, target, following):
        """Through the stub to the library, a branch there, and back."""
        jump = bisect.bisect_left(self.code.stub_jumps, target)
        if following is None or jump == len(self.code.stub_jumps):
            return ()
        stub = self.base + self.code.stub_jumps[jump]
        outside = LIBRARY + target % 4096 * 64
        return (self.text(self.place(i), self.base + target), self.text(stub, outside),
                self.text(outside + 8, outside + 32), self.text(outside + 40, self.place(following)))


def samples(branches, depth):
    """The branches of each stack, the oldest first: none is like another, none goes over a place where a walk ends."""
    entries, seen = [], set()
    for branch in branches:
        if branch is None:
            entries = []
            continue
        entries.append(branch)
        if len(entries) == depth:
            mark = hash(tuple(entries))
            if mark not in seen:
                seen.add(mark)
                yield entries
            entries = []


def text_segment(program):
    """(file offset, address, size) of the program's code, and whether it is position-independent"""
    text = subprocess.run(["readelf", "-hlW", program], check=True, capture_output=True, text=True).stdout
    offset, address, size = re.search(r"LOAD\s+(0x\w+) (0x\w+) 0x\w+ \w+ (0x\w+) R E", text).groups()
    return int(offset, 16), int(address, 16), int(size, 16), "DYN (" in text


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("program")
    parser.add_argument("--megabytes", type=float, default=500)
    parser.add_argument("--depth", type=int, default=32)
    parser.add_argument("--seed", type=int, default=1)
    options = parser.parse_args()
    chance = random.Random(options.seed)
    offset, address, size, independent = text_segment(options.program)
    base = BASE if independent else 0
    write = sys.stdout.write
    written = write("prog 77/77 1.000000: PERF_RECORD_MMAP2 77/77: [0x%x(0x%x) @ 0x%x fe:00 110 904]: r-xp %s\n" %
                    (base + address, -(-size // 4096) * 4096, offset, os.path.realpath(options.program)))
    walk = Walk(Code(options.program), base, chance)
    cycles = [str(n) for n in range(1, 33)]
    for stack in samples(walk.branches(), options.depth):
        texts = [branch + cycles[int(chance.random() * 32)] for branch in reversed(stack)]
        written += write("%17s %s\n" % (texts[0].split("/")[0][2:], "  ".join(texts)))
        if written >= options.megabytes * 1e6:
            break


if __name__ == "__main__":
    main()
