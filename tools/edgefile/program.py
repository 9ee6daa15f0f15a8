"""The machine code of one x86 binary: its functions, instructions and blocks.

A block is a run of instructions that control enters at the first one and leaves at the last. Its name in an
edge file is the address of its last instruction. All addresses here are those of the ELF file.
"""

import array
import bisect
import collections
import re

from . import BadInput
from .run import output_of

# Kinds of instruction. PLAIN ones go on to the next; STOP ones go nowhere (traps).
PLAIN, COND, JUMP, IND_JUMP, CALL, IND_CALL, RET, STOP = range(8)
TRANSFERS = (COND, JUMP, IND_JUMP, CALL, IND_CALL, RET)

INSTRUCTION = re.compile(
    r"\s*([0-9a-f]+):\t"
    r"(?:(?:bnd|notrack|rep[a-z]*|lock|data16|addr32|[c-gs]s|rex\S*)\s+)*"
    r"([a-z]\w*)\S*\s*(\*?)(?:0x)?([0-9a-f]+\b)?")
MNEMONICS = {
    "call": CALL, "callq": CALL, "lcall": CALL,
    "jmp": JUMP, "jmpq": JUMP, "ljmp": JUMP,
    "ret": RET, "retq": RET, "lret": RET, "iret": RET, "iretq": RET,
    "ud1": STOP, "ud2": STOP, "hlt": STOP, "int3": STOP,
    "loop": COND, "loope": COND, "loopne": COND, "xbegin": COND,
}
INDIRECT = {CALL: IND_CALL, JUMP: IND_JUMP}

# `owner` is the address of the function that a part belongs to: usually the function's own.
Function = collections.namedtuple("Function", "start end name owner")


def kind_of(mnemonic, star):
    kind = MNEMONICS.get(mnemonic, COND if mnemonic.startswith("j") else PLAIN)
    return INDIRECT.get(kind, kind) if star else kind


class Program:
    def __init__(self, path):
        self.path = path
        self.segments = []  # (file offset, address, size) of what is loaded
        self._read_headers()
        self.functions = with_owners(self._read_symbols())
        self._starts = [function.start for function in self.functions]
        self.addresses = array.array("Q")
        self._kinds = bytearray()
        self._targets = set()  # of direct branches
        self._read_code()
        self._ends = bytearray(len(self.addresses))

    def _read_headers(self):
        text = output_of(["readelf", "--wide", "--file-header", "--program-headers", self.path])
        if not re.search(r"Machine:.*(X86-64|80386)", text):
            raise BadInput("%s is no program for x86" % self.path)
        for offset, address, size in re.findall(
                r"^\s+LOAD\s+(0x\w+) (0x\w+) 0x\w+ (0x\w+)", text, re.MULTILINE):
            self.segments.append((int(offset, 16), int(address, 16), int(size, 16)))

    def _read_symbols(self):
        """One (start, size, name) for each address: of aliases the most global, then the first by name."""
        best = {}
        ranks = {"GLOBAL": 0, "WEAK": 1}
        for line in output_of(["readelf", "--wide", "--symbols", self.path]).splitlines():
            words = line.split(None, 7)
            if len(words) < 8 or words[3] not in ("FUNC", "IFUNC") or not words[6].isdigit():
                continue
            name = words[7].split("@")[0].strip()
            candidate = (ranks.get(words[4], 2), name, int(words[2], 0))
            start = int(words[1], 16)
            best[start] = min(best.get(start, candidate), candidate)
        if not best:
            raise BadInput("%s names no functions: is it stripped?" % self.path)
        return [(start, size, name) for start, (_, name, size) in sorted(best.items())]

    def _read_code(self):
        listing = output_of(["objdump", "--disassemble", "--wide", "--no-show-raw-insn", self.path])
        for line in listing.splitlines():
            match = INSTRUCTION.match(line)
            if not match:
                continue
            address, mnemonic, star, target = match.groups()
            kind = kind_of(mnemonic, star)
            self.addresses.append(int(address, 16))
            self._kinds.append(kind)
            if kind in (COND, JUMP, CALL) and target:
                self._targets.add(int(target, 16))

    def _index(self, address):
        i = bisect.bisect_left(self.addresses, address)
        return i if i < len(self.addresses) and self.addresses[i] == address else None

    def is_instruction(self, address):
        return self._index(address) is not None

    def kind(self, address):
        """The kind of the instruction, or None where there is none."""
        i = self._index(address)
        return None if i is None else self._kinds[i]

    def function_at(self, address):
        i = bisect.bisect_right(self._starts, address) - 1
        return self.functions[i] if i >= 0 and address < self.functions[i].end else None

    def same_function(self, one, other):
        here, there = self.function_at(one), self.function_at(other)
        return here is not None and there is not None and here.owner == there.owner

    def following(self, address):
        """The next instruction of the same function part, or None."""
        i = self._index(address) + 1
        function = self.function_at(address)
        if i == len(self.addresses) or function is None or self.addresses[i] >= function.end:
            return None
        return self.addresses[i]

    def preceding(self, address):
        i = self._index(address)
        return self.addresses[i - 1] if i else None

    def cut(self, further_targets):
        """Cuts the code into blocks: at branches, before their targets and before `further_targets`."""
        leaders = self._targets.union(further_targets, self._starts)
        last = len(self.addresses) - 1
        for i, kind in enumerate(self._kinds):
            self._ends[i] = kind != PLAIN or i == last or self.addresses[i + 1] in leaders

    def block_end(self, address):
        """The last instruction of the block that the address lies in."""
        i = self._index(address)
        while not self._ends[i]:
            i += 1
        return self.addresses[i]

    def blocks(self):
        """The addresses of each block's instructions, block after block."""
        first = 0
        for i, ends in enumerate(self._ends):
            if ends:
                yield self.addresses[first:i + 1]
                first = i + 1


def with_owners(symbols):
    """Functions of symbols. A cold part, which a compiler moved away, goes under its function's name."""
    starts = collections.defaultdict(list)
    for start, _, name in symbols:
        starts[name].append(start)
    functions = []
    for i, (start, size, name) in enumerate(symbols):
        limit = symbols[i + 1][0] if i + 1 < len(symbols) else start + max(size, 1)
        end = min(start + size, limit) if size else limit
        parents = starts.get(name.removesuffix(".cold"), [])
        if name.endswith(".cold") and len(parents) == 1:
            functions.append(Function(start, end, name.removesuffix(".cold"), parents[0]))
        else:
            functions.append(Function(start, end, name, start))
    return functions
