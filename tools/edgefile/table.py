"""Writes counted transfers of control as an edge file."""

from . import BadInput
from .positions import UNKNOWN, read_positions
from .program import CALL, COND, IND_CALL, IND_JUMP, JUMP, RET

# Addresses of code outside of the program begin here, so that none meets an address of the program.
FOREIGN = 0x7000_0000_0000

COLUMNS = ["FromAddress", "TypeOfBranch", "EntryBlock", "FromSourceFile", "FromSourceLine",
           "FromSourceOffsetLine", "FromSourceColumn", "FromSourceDiscriminator",
           "FromFunctionMangled", "DestinationAddress", "DestinationEndOfBlockAddress",
           "DestinationSourceFile", "DestinationSourceLine", "DestinationSourceOffsetLine",
           "DestinationSourceColumn", "DestinationSourceDiscriminator",
           "DestinationFunctionMangled", "HitCount"]


def branch_type(program, source, destination):
    """The word for a transfer by the branch instruction at the source."""
    kind = program.kind(source)
    within = program.same_function(source, destination)
    return {CALL: "Call", IND_CALL: "IndCall", RET: "Ret", IND_JUMP: "IndJump",
            COND: "Cond" if within else "Jump", JUMP: "Uncond" if within else "Jump"}[kind]


def field(text):
    """The text as a field: in brackets if it holds the separator."""
    if "\n" in text or "," in text and "]" in text:
        raise BadInput("no edge file can hold the name %r" % text)
    return "[%s]" % text if "," in text else text


class EdgeTable:
    """The rows of a program's transfers: (source, word, destination) -> count."""

    def __init__(self, program, transfers, root=None, symbolizer=None):
        self.program = program
        self.transfers = {key: count for key, count in transfers.items()
                          if count > 0 and program.function_at(key[0])}
        wanted = {function.start for function in program.functions}
        for source, _, destination in self.transfers:
            wanted.add(source)
            if program.function_at(destination):
                wanted.add(program.block_end(destination))
        self.positions = read_positions(program.path, wanted, root, symbolizer)

    def position(self, address):
        """As the debug information has it, with the function's file where it has none."""
        position = self.positions[address]
        if position.file == UNKNOWN.file:
            start = self.program.function_at(address).owner
            return position._replace(file=self.positions[start].file)
        return position

    def end(self, address):
        """The five fields of one end's position and its function's name."""
        function = self.program.function_at(address)
        position = self.position(address) if function else UNKNOWN
        return [field(position.file), *map(str, position[1:]), field(function.name if function else "NA")]

    def is_entry(self, source):
        owner = self.program.function_at(source).owner
        return self.program.is_instruction(owner) and self.program.block_end(owner) == source

    def row(self, source, word, destination):
        known = self.program.function_at(destination) is not None
        block_end = self.program.block_end(destination) if known else destination
        return ["0x%x" % source, word, "yes" if self.is_entry(source) else "no", *self.end(source),
                "0x%x" % destination, "0x%x" % block_end, *self.end(block_end)]

    def write(self, output):
        output.write(",".join(COLUMNS) + "\n")
        for key in sorted(self.transfers, key=lambda key: (key[0], key[2], key[1])):
            output.write(",".join(self.row(*key)) + ",%d\n" % self.transfers[key])
