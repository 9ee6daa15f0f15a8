"""Transfers of control from a recording of `valgrind --tool=callgrind`.

Callgrind counts how often each instruction ran, each jump was taken and each call made. It doesn't say how
often a block was left at its lower end, nor which return went where: these follow from the counts, since
what enters a block leaves it.
"""

import collections
import os
import re

from . import BadInput
from .program import CALL, COND, IND_CALL, IND_JUMP, JUMP, PLAIN, RET
from .table import FOREIGN, branch_type

NAME = re.compile(r"\((\d+)\)(?: (.*))?")


class Recording:
    """Counts of the objects (programs and libraries) of one run, by name of the object and address."""

    def __init__(self, paths):
        self.executed = collections.defaultdict(collections.Counter)  # object -> address -> count
        self.jumps = collections.defaultdict(collections.Counter)  # object -> (source, destination)
        self.calls = collections.Counter()  # (object, source, object, destination)
        for path in paths:
            with open(path, encoding="utf-8", errors="surrogateescape") as lines:
                Parser(self, path).read(lines)

    def object_of(self, binary):
        """The name under which the recording knows the binary."""
        real = os.path.realpath(binary)
        names = [name for name in self.executed if os.path.realpath(name) == real]
        names = names or [name for name in self.executed
                          if os.path.basename(name) == os.path.basename(real)]
        if len(names) != 1:
            raise BadInput("the recording is not of %s, but of %s" %
                           (binary, ", ".join(sorted(self.executed)) or "nothing"))
        return names[0]


class Parser:
    """Reads the lines of one file into a recording."""

    def __init__(self, recording, path):
        self.recording = recording
        self.path = path
        self.names = {}
        self.object = self.callee_object = self.callee = ""
        self.address = 0  # addresses are written relative to the last one
        self.event = None  # index of the instruction count among a line's words
        self.transfer = None  # a call or jump whose source is on the next line

    def read(self, lines):
        for number, line in enumerate(lines, 1):
            try:
                self.line(line.strip())
            except (ValueError, IndexError, TypeError):
                raise BadInput("%s, line %d: not understood" % (self.path, number)) from None
        if self.event is None:
            raise BadInput("%s is no recording of callgrind" % self.path)

    def line(self, line):
        if re.match(r"[0-9+*-]", line):
            self.costs(line.split())
            return
        header = re.match(r"(positions|events): *(.*)", line)
        if header:
            self.header(header[1], header[2].split())
            return
        key, _, value = line.partition("=")
        if key == "ob":
            self.object = self.name("object", value)
        elif key == "cob":
            self.callee_object = self.name("object", value)
        elif key in ("fn", "cfn"):
            self.callee = self.name("function", value)
        elif key in ("calls", "jump", "jcnd"):
            count, target = value.split()[:2]
            self.transfer = (key, int(count.split("/")[0]), self.absolute(target))

    def header(self, key, words):
        if key == "positions":
            if words[0] != "instr":
                raise BadInput("%s has no addresses: record with --dump-instr=yes" % self.path)
            self.positions = len(words)
        else:
            self.event = self.positions + words.index("Ir")

    def name(self, kind, text):
        """A name stands in full once, behind its number; later the number alone."""
        match = NAME.fullmatch(text)
        if not match:
            return text
        if match[2] is not None:
            self.names[kind, match[1]] = match[2]
        return self.names.get((kind, match[1]), "")

    def absolute(self, text):
        if text == "*":
            return self.address
        return int(text, 0) + (self.address if text[0] in "+-" else 0)

    def costs(self, words):
        self.address = self.absolute(words[0])
        if self.transfer is None:
            if len(words) > self.event:  # trailing zeros are left out
                self.recording.executed[self.object][self.address] += int(words[self.event])
            return
        (kind, count, target), self.transfer = self.transfer, None
        if kind == "calls":
            callee = self.callee_object or self.object
            # The first call through a linkage stub stands there twice: once as the dynamic linker's.
            if not self.callee.startswith("_dl_runtime_resolve"):
                self.recording.calls[self.object, self.address, callee, target] += count
            self.callee_object = ""
        else:
            self.recording.jumps[self.object][self.address, target] += count


class Run:
    """What one recording says about one program, in the program's addresses."""

    def __init__(self, program, recording):
        self.program = program
        name = recording.object_of(program.path)
        self.executed = recording.executed[name]
        if not all(program.is_instruction(address) for address in self.executed):
            raise BadInput("the recording is of another build of %s" % program.path)
        if not recording.jumps[name]:
            raise BadInput("the recording has no jumps: record with --collect-jumps=yes")
        self.branches = collections.Counter()  # (source, destination) -> count
        for (source, destination), count in recording.jumps[name].items():
            # A repeated string operation is recorded as a jump to itself.
            if program.kind(source) in (COND, JUMP, IND_JUMP):
                self.branches[source, destination] += count
        for (caller, source, callee, destination), count in recording.calls.items():
            if name in (caller, callee):
                self.branches[source + FOREIGN * (caller != name),
                              destination + FOREIGN * (callee != name)] += count

    def targets(self):
        return {destination for _, destination in self.branches}

    def transfers(self):
        """(source, word, destination) -> count. The program is cut into blocks already."""
        self.rows = collections.Counter()
        self.taken = collections.Counter()  # of each branch
        self.arrived = collections.Counter()  # by jumps, at each address
        for (source, destination), count in self.branches.items():
            kind = self.program.kind(source)
            if kind in (None, PLAIN):
                continue
            self.rows[source, branch_type(self.program, source, destination), destination] += count
            self.taken[source] += count
            if kind not in (CALL, IND_CALL):
                self.arrived[destination] += count
        self.counts = self._block_counts()
        self._add_fall_throughs()
        self._add_returns()
        return self.rows

    def _block_counts(self):
        """Last instruction of a block -> times the block was executed.

        The least count of its instructions holds: a repeated string operation counts each repetition, and a
        call the instructions of a linkage stub.
        """
        counts = {}
        for block in self.program.blocks():
            if block[0] in self.executed:
                counts[block[-1]] = min(self.executed[address] for address in block)
                if self.program.kind(block[-1]) in (CALL, IND_CALL):
                    counts[block[-1]] = min(counts[block[-1]], self.taken[block[-1]])
        return counts

    def _add_fall_throughs(self):
        for end, count in self.counts.items():
            following = self.program.following(end)
            kind = self.program.kind(end)
            if following is None or kind not in (PLAIN, COND, CALL, IND_CALL):
                continue
            if kind == COND:
                count -= self.taken[end]
            elif kind != PLAIN:
                # What didn't come by a jump came back from the call.
                next_count = self.counts.get(self.program.block_end(following), 0)
                count = min(count, next_count - self.arrived[following])
            if count > 0:
                self.rows[end, "FallThrough", following] += count

    def _add_returns(self):
        """Each call that came back did so by a return of the function called, or of one that this left for."""
        exits = self._exits()
        waiting = collections.deque(self._calls_that_came_back())
        while waiting:
            function, back, count = waiting.popleft()
            for (kind, place), part in take_shares(count, exits[function]).items():
                if kind == RET:
                    self.rows[place, "Ret", back] += part
                else:
                    waiting.append((place, back, part))

    def _exits(self):
        """Function -> its returns and its jumps to other functions -> count"""
        exits = collections.defaultdict(collections.Counter)
        for end, count in self.counts.items():
            function = self.program.function_at(end)
            if function and self.program.kind(end) == RET and count:
                exits[function.owner][RET, end] += count
        for (source, destination), count in sorted(self.branches.items()):
            function = self.program.function_at(source)
            if (function and self.program.kind(source) in (COND, JUMP, IND_JUMP)
                    and not self.program.same_function(source, destination)):
                heir = self.program.function_at(destination)
                exits[function.owner][JUMP, heir and heir.owner] += count
        return exits

    def _calls_that_came_back(self):
        """(function, address returned to, count) for each call site and function called there"""
        sites = collections.defaultdict(collections.Counter)
        for (source, destination), count in sorted(self.branches.items()):
            if source >= FOREIGN or self.program.kind(source) in (CALL, IND_CALL):
                callee = self.program.function_at(destination)
                sites[source][callee and callee.owner] += count
        for site, callees in sites.items():
            back, came = site, sum(callees.values())
            if site < FOREIGN:
                back = self.program.following(site)
                came = self.rows[site, "FallThrough", back]
            for callee, count in take_shares(came, callees).items():
                if callee is not None:
                    yield callee, back, count


def take_shares(count, supplies):
    """Takes up to `count` away from the supplies, from each in proportion, and returns what each gave."""
    total = sum(supplies.values())
    count = min(count, total)
    if count <= 0:
        return {}
    shares = {key: count * supply // total for key, supply in supplies.items()}
    rest = count - sum(shares.values())
    by_remainder = sorted(supplies, key=lambda key: -(count * supplies[key] % total))
    for key in by_remainder[:rest]:
        shares[key] += 1
    supplies.subtract(shares)
    return {key: share for key, share in shares.items() if share}
