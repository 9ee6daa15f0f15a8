"""Transfers of control from branch stacks, as `perf script -F pid,brstack` prints them.

A sample holds the last branches that the processor took, the newest first. Between the destination of one and
the source of the next newer one the code ran straight on, so that each block in between was left at its lower
end.
"""

import collections
import os
import re

from . import BadInput
from .program import CALL, COND, IND_CALL, PLAIN, RET, TRANSFERS
from .table import FOREIGN, branch_type

ENTRY = re.compile(r"0x([0-9a-f]+)(?:\(.*?\))?/0x([0-9a-f]+)(?:\(.*?\))?/\S*")
PID = re.compile(r"\b(\d+)\b")
MAPPING = re.compile(r"PERF_RECORD_MMAP2? (-?\d+)/\d+: \[(?:0x)?([0-9a-f]+)\((?:0x)?([0-9a-f]+)\) @ "
                     r"(?:0x)?([0-9a-f]+)[^]]*\]: \S+ (.*)$")
LONGEST_WALK = 4096  # blocks between two branches; more is a stack with a gap


class Places:
    """Where the program's segments lay in each process: from run-time addresses to the file's."""

    def __init__(self, program):
        self.program = program
        self.real = os.path.realpath(program.path)
        self.mappings = collections.defaultdict(list)  # process -> (address, size, file offset)

    def add(self, process, address, size, offset, path):
        if path == self.real or os.path.basename(path) == os.path.basename(self.real):
            self.mappings[process].append((address, size, offset))

    def address(self, process, address):
        """The file's address, or one behind FOREIGN for code of others."""
        if not self.mappings:  # nothing is known: the program stands where it was linked to
            known = self.program.function_at(address) is not None
            return address if known else FOREIGN + address % FOREIGN
        # A forked process has its parent's mappings, and none of its own is on record.
        mappings = self.mappings.get(process) or next(iter(self.mappings.values()))
        for start, size, offset in mappings:
            if start <= address < start + size:
                return self.from_offset(address - start + offset)
        return FOREIGN + address % FOREIGN

    def from_offset(self, offset):
        for file_offset, address, size in self.program.segments:
            if file_offset <= offset < file_offset + size:
                return address + offset - file_offset
        return FOREIGN + offset


class BranchStacks:
    """Counts of a recording's branches and of the straight ways between them."""

    def __init__(self, program):
        self.program = program
        self.places = Places(program)
        self.branches = collections.Counter()  # (source, destination)
        self.ways = collections.Counter()  # (first address, last address)

    def read(self, path):
        with open(path, encoding="utf-8", errors="surrogateescape") as lines:
            for line in lines:
                mapping = MAPPING.search(line)
                if mapping:
                    process, *numbers, name = mapping.groups()
                    self.places.add(int(process), *(int(number, 16) for number in numbers), name.strip())
                else:
                    self._add_sample(line)
        if not self.branches:
            raise BadInput("%s has no branch stacks: record with perf record -b, print with "
                           "perf script -F pid,brstack --show-mmap-events" % path)

    def _add_sample(self, line):
        entries = list(ENTRY.finditer(line))
        if not entries:
            return
        pid = PID.search(line[:entries[0].start()])
        process = int(pid[1]) if pid else None
        newer_source = None
        for entry in entries:
            source, destination = (self.places.address(process, int(text, 16))
                                   for text in entry.groups())
            self.branches[source, destination] += 1
            if newer_source is not None:
                self.ways[destination, newer_source] += 1
            newer_source = source

    def targets(self):
        return {destination for _, destination in self.branches}

    def transfers(self):
        """(source, word, destination) -> count. The program is cut into blocks already."""
        rows = collections.Counter()
        for (source, destination), count in self.branches.items():
            if self.program.kind(source) in TRANSFERS:
                rows[source, branch_type(self.program, source, destination), destination] += count
            self._add_return(rows, source, destination, count)
        for (first, last), count in self.ways.items():
            for end, following in self._falls(first, last):
                rows[end, "FallThrough", following] += count
        return rows

    def _add_return(self, rows, source, destination, count):
        """A return brings the caller from its call to the instruction behind."""
        kind = self.program.kind(source)
        if kind not in (None, RET) or not self.program.is_instruction(destination):
            return
        site = self.program.preceding(destination)
        if site is not None and self.program.kind(site) in (CALL, IND_CALL):
            rows[site, "FallThrough", destination] += count

    def _falls(self, first, last):
        """The ends of blocks between the two, with what follows; none where the way isn't straight."""
        if not (self.program.is_instruction(first) and self.program.same_function(first, last)):
            return []
        falls = []
        end = self.program.block_end(first)
        while end < last and len(falls) < LONGEST_WALK:
            following = self.program.following(end)
            if self.program.kind(end) not in (PLAIN, COND) or following is None:
                return []
            falls.append((end, following))
            end = self.program.block_end(following)
        return falls if end == last else []
